#include "db/packed_rows.h"

#include <cstring>
#include <utility>

namespace doreldb {

namespace {

void putNumber(std::string& out, size_t n) {
    while (n >= 0x80) {
        out += static_cast<char>(0x80 | (n & 0x7F));
        n >>= 7;
    }
    out += static_cast<char>(n);
}

size_t takeNumber(const char*& p) {
    size_t n = 0;
    for (unsigned shift = 0;; shift += 7) {
        const unsigned char c = static_cast<unsigned char>(*p++);
        n |= static_cast<size_t>(c & 0x7F) << shift;
        if ((c & 0x80) == 0) return n;
    }
}

}  // namespace

void PackedRows::clear() {
    std::string().swap(bytes_);
    std::vector<uint32_t>().swap(at_);
}

void PackedRows::pack(const Record& row) {
    putNumber(bytes_, row.size());
    for (size_t column = 0; column < row.size(); ++column) {
        const tSqlite3parent& value = row.value(column);
        const std::string_view text = value.view();
        putNumber(bytes_, value.isNull() ? 0 : text.size() + 1);
        bytes_.append(text.data(), text.size());
    }
}

void PackedRows::push_back(const Record& row) {
    at_.push_back(static_cast<uint32_t>(bytes_.size()));
    pack(row);
}

Record PackedRows::at(size_t row) const {
    const char* p = bytes_.data() + at_[row];
    std::vector<tSqlite3parent> values(takeNumber(p));
    for (tSqlite3parent& value : values) {
        const size_t length = takeNumber(p);
        if (length == 0) continue;
        value = tSqlite3parent(p, length - 1);
        p += length - 1;
    }
    return Record(*table_, std::move(values));
}

std::string_view PackedRows::text(size_t row, size_t column) const {
    const char* p = bytes_.data() + at_[row];
    const size_t count = takeNumber(p);
    for (size_t i = 0; i < count; ++i) {
        const size_t length = takeNumber(p);
        const size_t size = length == 0 ? 0 : length - 1;
        if (i == column) return std::string_view(p, size);
        p += size;
    }
    return std::string_view();
}

void PackedRows::replace(size_t row, const Record& record) {
    const char* p = bytes_.data() + at_[row];
    const size_t count = takeNumber(p);
    for (size_t i = 0; i < count; ++i) {
        const size_t length = takeNumber(p);
        p += length == 0 ? 0 : length - 1;
    }
    const size_t room = static_cast<size_t>(p - bytes_.data()) - at_[row];
    const size_t start = bytes_.size();
    pack(record);
    const size_t size = bytes_.size() - start;
    if (size <= room) {
        memcpy(&bytes_[at_[row]], bytes_.data() + start, size);
        bytes_.resize(start);
    } else {
        at_[row] = static_cast<uint32_t>(start);
    }
}

}  // namespace doreldb
