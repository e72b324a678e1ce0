// Column values: every value of every table travels as text (SQL NULL stays a
// null value, distinct from the empty text).
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace doreldb {

class tSqlite3parent {
public:
    tSqlite3parent() = default;                  // SQL NULL
    explicit tSqlite3parent(const char* text);   // null pointer is SQL NULL
    explicit tSqlite3parent(const std::string& text);
    tSqlite3parent(const char* text, size_t length) : text_(std::in_place, text, length) {}

    // Values are moved, not copied, where rows are built and set.
    tSqlite3parent(const tSqlite3parent&) = default;
    tSqlite3parent& operator=(const tSqlite3parent&) = default;
    tSqlite3parent(tSqlite3parent&&) noexcept = default;
    tSqlite3parent& operator=(tSqlite3parent&&) noexcept = default;
    ~tSqlite3parent() = default;

    bool isNull() const { return !text_.has_value(); }
    // The text, or null for SQL NULL (what %Q turns into NULL).
    const char* c_str() const { return text_ ? text_->c_str() : nullptr; }
    // The text, or "" for SQL NULL.
    std::string str() const { return text_ ? *text_ : std::string(); }
    // The same without a copy, valid while the value lives unchanged.
    std::string_view view() const { return text_ ? std::string_view(*text_) : std::string_view(); }
    // atoi() of the text; 0 for SQL NULL.
    int toInt() const;
    bool operator==(const tSqlite3parent& other) const { return text_ == other.text_; }
    bool operator!=(const tSqlite3parent& other) const { return !(*this == other); }

private:
    std::optional<std::string> text_;
};

// An integer stored in its decimal text ("%d", or "%ld" for time stamps).
class tSqlite3int : public tSqlite3parent {
public:
    explicit tSqlite3int(int value);
    explicit tSqlite3int(long value);
    explicit tSqlite3int(long long value);
};

}  // namespace doreldb
