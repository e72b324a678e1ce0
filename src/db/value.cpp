#include "db/value.h"
#include "common/numbers.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>

namespace doreldb {

namespace {

// The blocks of long texts come from the standard allocator; the value owns
// its block and gives it back in release().
char* allocateText(size_t bytes) { return std::allocator<char>().allocate(bytes); }
void freeText(char* block, size_t bytes) { std::allocator<char>().deallocate(block, bytes); }

}  // namespace

tSqlite3parent::tSqlite3parent(const char* text) {
    if (text == nullptr) {
        bytes_[kTag] = kNullTag;
    } else {
        assign(text, std::strlen(text));
    }
}

tSqlite3parent::tSqlite3parent(const tSqlite3parent& other) {
    if (other.onHeap()) {
        const std::string_view text = other.view();
        assign(text.data(), text.size());
    } else {
        std::memcpy(bytes_, other.bytes_, kBytes);
    }
}

tSqlite3parent& tSqlite3parent::operator=(const tSqlite3parent& other) {
    if (this != &other) *this = tSqlite3parent(other);
    return *this;
}

tSqlite3parent::tSqlite3parent(tSqlite3parent&& other) noexcept {
    std::memcpy(bytes_, other.bytes_, kBytes);
    other.bytes_[kTag] = kNullTag;
}

tSqlite3parent& tSqlite3parent::operator=(tSqlite3parent&& other) noexcept {
    if (this != &other) {
        release();
        std::memcpy(bytes_, other.bytes_, kBytes);
        other.bytes_[kTag] = kNullTag;
    }
    return *this;
}

const char* tSqlite3parent::data() const {
    if (!onHeap()) return reinterpret_cast<const char*>(bytes_);
    const char* block;
    std::memcpy(&block, bytes_, sizeof block);
    return block;
}

std::string_view tSqlite3parent::view() const {
    const unsigned char tag = bytes_[kTag];
    if (tag == kNullTag) return std::string_view();
    if (tag != kHeapTag) return std::string_view(reinterpret_cast<const char*>(bytes_), kLocal - tag);
    uint32_t length;
    std::memcpy(&length, bytes_ + sizeof(char*), sizeof length);
    return std::string_view(data(), length);
}

void tSqlite3parent::assign(const char* text, size_t length) {
    if (length <= kLocal) {
        std::memcpy(bytes_, text, length);
        bytes_[length] = 0;   // the tag itself when length == kLocal
        bytes_[kTag] = static_cast<unsigned char>(kLocal - length);
        return;
    }
    if (length >= std::numeric_limits<uint32_t>::max()) throw std::length_error("column value too long");
    char* block = allocateText(length + 1);
    std::memcpy(block, text, length);
    block[length] = '\0';
    const uint32_t stored = static_cast<uint32_t>(length);
    std::memcpy(bytes_, &block, sizeof block);
    std::memcpy(bytes_ + sizeof(char*), &stored, sizeof stored);
    bytes_[kTag] = kHeapTag;
}

void tSqlite3parent::release() {
    if (!onHeap()) return;
    freeText(const_cast<char*>(data()), view().size() + 1);
    bytes_[kTag] = kNullTag;
}

int tSqlite3parent::toInt() const { return isNull() ? 0 : dorel_remote_control::atoi32(data()); }

namespace {

std::string decimal(long long value) {
    char text[32];
    snprintf(text, sizeof text, "%lld", value);
    return text;
}

}  // namespace

tSqlite3int::tSqlite3int(int value) : tSqlite3parent(decimal(value)) {}
tSqlite3int::tSqlite3int(long value) : tSqlite3parent(decimal(value)) {}
tSqlite3int::tSqlite3int(long long value) : tSqlite3parent(decimal(value)) {}

}  // namespace doreldb
