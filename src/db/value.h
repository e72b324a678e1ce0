// Column values: every value of every table travels as text (SQL NULL stays a
// null value, distinct from the empty text).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace doreldb {

// A whole-headend walk holds hundreds of thousands of these at once, so a
// value is 16 bytes on every target (std::optional<std::string> took 40 on
// x86-64, 28 on 32-bit ARM): a text of up to 15 bytes is kept in place, a
// longer one in a block of its own.
class tSqlite3parent {
public:
    tSqlite3parent() { bytes_[kTag] = kNullTag; }   // SQL NULL
    explicit tSqlite3parent(const char* text);       // null pointer is SQL NULL
    explicit tSqlite3parent(const std::string& text) : tSqlite3parent(text.data(), text.size()) {}
    tSqlite3parent(const char* text, size_t length) { assign(text, length); }

    tSqlite3parent(const tSqlite3parent& other);
    tSqlite3parent& operator=(const tSqlite3parent& other);
    tSqlite3parent(tSqlite3parent&& other) noexcept;
    tSqlite3parent& operator=(tSqlite3parent&& other) noexcept;
    ~tSqlite3parent() { release(); }

    bool isNull() const { return bytes_[kTag] == kNullTag; }
    // The text, or null for SQL NULL (what %Q turns into NULL).
    const char* c_str() const { return isNull() ? nullptr : data(); }
    // The text, or "" for SQL NULL.
    std::string str() const { return std::string(view()); }
    // The same without a copy, valid while the value lives unchanged.
    std::string_view view() const;
    // atoi() of the text; 0 for SQL NULL.
    int toInt() const;
    bool operator==(const tSqlite3parent& other) const {
        return isNull() == other.isNull() && view() == other.view();
    }
    bool operator!=(const tSqlite3parent& other) const { return !(*this == other); }

private:
    // The last byte tells what the others hold. A text in place has its
    // length as kLocal - tag, so a text of kLocal bytes ends on the tag 0,
    // which is its terminator. A text in a block has the block's address and
    // its 32-bit length at the start (enough: SQLite refuses texts of 2^31
    // bytes or more, and longer ones are refused when a value is made).
    static constexpr size_t kBytes = 16;
    static constexpr size_t kTag = kBytes - 1;
    static constexpr size_t kLocal = kBytes - 1;
    static constexpr unsigned char kNullTag = 0x40;
    static constexpr unsigned char kHeapTag = 0x80;
    static_assert(sizeof(char*) + sizeof(uint32_t) <= kTag, "a block's address and length fit before the tag");

    bool onHeap() const { return bytes_[kTag] == kHeapTag; }
    const char* data() const;
    void assign(const char* text, size_t length);
    void release();

    alignas(char*) unsigned char bytes_[kBytes];
};

// An integer stored in its decimal text ("%d", or "%ld" for time stamps).
class tSqlite3int : public tSqlite3parent {
public:
    explicit tSqlite3int(int value);
    explicit tSqlite3int(long value);
    explicit tSqlite3int(long long value);
};

}  // namespace doreldb
