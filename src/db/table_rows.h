// A table read once, filtered in memory. Commands that walk the whole headend
// (a document of every module, a reset of every module) read each table with
// one select and group its rows here, instead of one select per module or
// row, whose cost would grow with the square of the headend. A filter gives
// the rows, in table order, that "WHERE c1 LIKE v1 and c2 LIKE v2 ..." would.
#pragma once

#include "db/access.h"
#include "db/record.h"

#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace doreldb {

// The value a LIKE condition compares with, without a copy of it: it refers
// to the text it was made from, which must outlive the call it is passed to.
class LikeValue {
public:
    // Implicit, so that a filter is written {column, value} with any of these.
    LikeValue(const tSqlite3parent& value) : text_(value.view()), null_(value.isNull()) {}
    LikeValue(const std::string& text) : text_(text) {}
    LikeValue(const char* text) : text_(text ? text : ""), null_(text == nullptr) {}
    LikeValue(std::string_view text) : text_(text) {}

    bool isNull() const { return null_; }
    std::string_view text() const { return text_; }

private:
    std::string_view text_;
    bool null_ = false;
};

// One condition "<column> LIKE <value>"; a null value selects nothing.
struct LikeFilter {
    size_t column;
    LikeValue value;
};

// The rows a filter selected, in table order: a view into the table's index
// where it can be, so a lookup copies nothing. Valid while the table lives.
class RowSelection {
public:
    class iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = const Record*;
        using difference_type = std::ptrdiff_t;
        using pointer = const Record* const*;
        using reference = const Record*;

        iterator(const Record* rows, const size_t* at) : rows_(rows), at_(at) {}
        const Record* operator*() const { return rows_ + *at_; }
        iterator& operator++() {
            ++at_;
            return *this;
        }
        iterator operator++(int) {
            iterator before = *this;
            ++at_;
            return before;
        }
        bool operator==(const iterator& other) const { return at_ == other.at_; }
        bool operator!=(const iterator& other) const { return at_ != other.at_; }

    private:
        const Record* rows_;
        const size_t* at_;
    };

    RowSelection() = default;
    // Rows [begin, end) of an index.
    RowSelection(const Record* rows, const size_t* begin, const size_t* end) : rows_(rows), begin_(begin), end_(end) {}
    // Rows picked one by one.
    RowSelection(const Record* rows, std::vector<size_t> picked)
        : rows_(rows), picked_(std::move(picked)), owns_(true) {}

    iterator begin() const { return iterator(rows_, first()); }
    iterator end() const { return iterator(rows_, last()); }
    size_t size() const { return static_cast<size_t>(last() - first()); }
    bool empty() const { return first() == last(); }
    const Record* operator[](size_t i) const { return rows_ + first()[i]; }
    const Record* front() const { return (*this)[0]; }
    operator std::vector<const Record*>() const { return std::vector<const Record*>(begin(), end()); }

private:
    const size_t* first() const { return owns_ ? picked_.data() : begin_; }
    const size_t* last() const { return owns_ ? picked_.data() + picked_.size() : end_; }

    const Record* rows_ = nullptr;
    const size_t* begin_ = nullptr;
    const size_t* end_ = nullptr;
    std::vector<size_t> picked_;
    bool owns_ = false;
};

class TableRows {
public:
    TableRows() = default;
    explicit TableRows(std::vector<Record> rows) : rows_(std::move(rows)) {}

    const std::vector<Record>& all() const { return rows_; }
    RowSelection where(std::initializer_list<LikeFilter> filters);
    // The first row the filter selects, or null.
    const Record* first(std::initializer_list<LikeFilter> filters);
    // Lets go of the values of rows a walk has written and will not select
    // again (see Record::release); the index stays as it is.
    void release(const RowSelection& selected);

private:
    // The rows whose filtered columns are all non-NULL, ordered by a hash of
    // their values as LIKE compares them and then by position: the rows equal to
    // a value are one run, found by a binary search, without a key built.
    struct Index {
        std::vector<size_t> columns;
        std::vector<uint32_t> hashes;
        std::vector<size_t> rows;
    };
    const Index& indexOn(std::initializer_list<LikeFilter> filters);
    bool rowMatches(size_t row, std::initializer_list<LikeFilter> filters) const;

    std::vector<Record> rows_;
    std::vector<Index> indexes_;   // one per set of columns, built on first use
};

// The tables of one walk over the headend: each declared table is read at its
// first use from the database that holds it, and kept for the walk.
class HeadendRows {
public:
    // Either handle may be null or closed: its tables then have no rows.
    HeadendRows(const DbHandle* configGlobal, const DbHandle* tempGlobal)
        : configGlobal_(configGlobal), tempGlobal_(tempGlobal) {}

    TableRows& table(const TableDef& definition);

private:
    const DbHandle* configGlobal_;
    const DbHandle* tempGlobal_;
    std::map<const TableDef*, TableRows> tables_;
};

}  // namespace doreldb
