// Column values against the texts they were made from. The input's first
// byte cuts the rest into two texts of any bytes and length, on either side
// of the in-place limit; every way of making, copying and moving a value must
// give back its text (a C string up to the first NUL), NULL must stay NULL,
// toInt() must be a 32-bit C library's atoi() of the text, and two values
// must compare as their texts do. Any difference aborts.
#include "db/value.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

using doreldb::tSqlite3parent;

namespace {

void check(bool same, const char* what) {
    if (same) return;
    fprintf(stderr, "value: %s\n", what);
    abort();
}

// atoi() where int and long are 32 bits: blanks, a sign, decimal digits, the
// result held at the 32-bit limits.
int32_t atoiOf(const char* s) {
    while (*s == ' ' || (*s >= '\t' && *s <= '\r')) ++s;
    const bool negative = *s == '-';
    if (*s == '-' || *s == '+') ++s;
    int64_t value = 0;
    for (; *s >= '0' && *s <= '9'; ++s) value = std::min<int64_t>(value * 10 + (*s - '0'), INT64_C(1) << 32);
    return static_cast<int32_t>(std::clamp<int64_t>(negative ? -value : value, INT32_MIN, INT32_MAX));
}

// text null: the value must be SQL NULL.
void expect(const tSqlite3parent& value, const std::string* text, const char* what) {
    const std::string untilNul = text ? text->c_str() : "";
    check(value.isNull() == !text && (value.c_str() == nullptr) == !text && value.view() == (text ? *text : "") &&
              value.str() == value.view() && (!text || untilNul == value.c_str()) &&
              value.toInt() == atoiOf(untilNul.c_str()),
          what);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::string a = rest.substr(0, data[0] % (rest.size() + 1));
    const std::string b = rest.substr(a.size());
    const std::string aUntilNul = a.c_str();

    tSqlite3parent va(a.data(), a.size());
    tSqlite3parent vb(b);
    const tSqlite3parent fromCString(a.c_str());
    const tSqlite3parent null;
    const tSqlite3parent nullPointer(static_cast<const char*>(nullptr));
    expect(va, &a, "made from text and length");
    expect(vb, &b, "made from a string");
    expect(fromCString, &aUntilNul, "made from a C string");
    expect(null, nullptr, "made empty");
    expect(nullPointer, nullptr, "made from a null pointer");
    check((va == vb) == (a == b) && (va != vb) == (a != b), "two values compare unlike their texts");
    check(va != null && !(null == va) && null == nullPointer, "NULL compares like a text");

    tSqlite3parent copy(va);
    expect(copy, &a, "copied");
    copy = vb;
    expect(copy, &b, "copy-assigned over a text");
    tSqlite3parent moved(std::move(copy));
    expect(moved, &b, "moved");
    moved = std::move(va);
    expect(moved, &a, "move-assigned");
    va = null;   // a moved-from value is assigned again
    expect(va, nullptr, "NULL assigned after a move");

    // Integers from the input's bytes, as wide as a time stamp and as an int.
    long long n = 0;
    std::memcpy(&n, rest.data(), std::min(rest.size(), sizeof n));
    const std::string decimals[] = {std::to_string(n), std::to_string(static_cast<int>(n))};
    expect(doreldb::tSqlite3int(n), &decimals[0], "tSqlite3int(long long)");
    expect(doreldb::tSqlite3int(static_cast<int>(n)), &decimals[1], "tSqlite3int(int)");
    return 0;
}
