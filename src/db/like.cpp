#include "db/like.h"

#include <cstring>

namespace doreldb {

namespace {

// SQLite's LIKE refuses a longer pattern ("LIKE or GLOB pattern too
// complex"): the select then fails, and selects nothing.
constexpr size_t kMaxPatternBytes = 50000;

uint32_t lower(uint32_t c) { return (c >= 'A' && c <= 'Z') ? c - 'A' + 'a' : c; }

// The value bits of a lead byte 0xC0..0xFF, as SQLite's decoder takes them.
const unsigned char kLeadBits[64] = {
    0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0a, 0x0b, 0x0c, 0x0d, 0x0e, 0x0f,
    0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0x19, 0x1a, 0x1b, 0x1c, 0x1d, 0x1e, 0x1f,
    0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0a, 0x0b, 0x0c, 0x0d, 0x0e, 0x0f,
    0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x00, 0x01, 0x02, 0x03, 0x00, 0x01, 0x00, 0x00,
};

// A text as LIKE reads it, one character at a time, the way SQLite decodes
// UTF-8: a byte below 0xC0 is a character of its own (a stray continuation
// byte too), a lead byte takes every continuation byte after it, and an
// overlong form, a surrogate or U+FFFE/U+FFFF reads as U+FFFD. The text ends
// at its end or at a NUL byte, where SQLite's text ends.
class Chars {
public:
    explicit Chars(std::string_view text)
        : p_(reinterpret_cast<const unsigned char*>(text.data())), end_(p_ + text.size()) {}

    // The next character; 0 at the end.
    uint32_t next() {
        if (p_ == end_) return 0;
        uint32_t c = *p_++;
        if (c >= 0xC0) {
            c = kLeadBits[c - 0xC0];
            while (p_ != end_ && (*p_ & 0xC0) == 0x80) c = (c << 6) + (0x3F & *p_++);
            if (c < 0x80 || (c & 0xFFFFF800) == 0xD800 || (c & 0xFFFFFFFE) == 0xFFFE) c = 0xFFFD;
        }
        return c;
    }
    bool atEnd() const { return p_ == end_ || *p_ == 0; }
    // Past the next byte that is one of the two ASCII characters; false at
    // the end. ASCII never sits inside another character, so any byte will do.
    bool skipPast(unsigned char a, unsigned char b) {
        while (!atEnd() && *p_ != a && *p_ != b) ++p_;
        if (atEnd()) return false;
        ++p_;
        return true;
    }

private:
    const unsigned char* p_;
    const unsigned char* end_;
};

enum class Match { kYes, kNo, kNoWildcard };

// SQLite's own LIKE walk: after a '%' the rest of the pattern is tried from
// each place where its next character occurs; once that fails everywhere, no
// earlier '%' can help either (kNoWildcard), which keeps the walk linear
// instead of exponential.
Match compare(Chars pattern, Chars text) {
    uint32_t c;
    while ((c = pattern.next()) != 0) {
        if (c == '%') {
            while ((c = pattern.next()) == '%' || c == '_') {
                // A '_' among the '%' still needs a character of its own.
                if (c == '_' && text.next() == 0) return Match::kNoWildcard;
            }
            if (c == 0) return Match::kYes;
            if (c < 0x80) {
                const unsigned char upper = static_cast<unsigned char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
                while (text.skipPast(upper, static_cast<unsigned char>(lower(c)))) {
                    const Match rest = compare(pattern, text);
                    if (rest != Match::kNo) return rest;
                }
            } else {
                uint32_t t;
                while ((t = text.next()) != 0) {
                    if (t != c) continue;
                    const Match rest = compare(pattern, text);
                    if (rest != Match::kNo) return rest;
                }
            }
            return Match::kNoWildcard;
        }
        const uint32_t t = text.next();
        if (c == t || (c < 0x80 && t < 0x80 && lower(c) == lower(t))) continue;
        if (c == '_' && t != 0) continue;
        return Match::kNo;
    }
    return text.atEnd() ? Match::kYes : Match::kNo;
}

}  // namespace

bool likeMatch(std::string_view pattern, std::string_view text) {
    return pattern.size() <= kMaxPatternBytes && compare(Chars(pattern), Chars(text)) == Match::kYes;
}

bool hasLikeWildcard(std::string_view pattern) {
    return std::memchr(pattern.data(), '%', pattern.size()) != nullptr ||
           std::memchr(pattern.data(), '_', pattern.size()) != nullptr;
}

bool likeEqual(std::string_view a, std::string_view b) {
    Chars x(a), y(b);
    for (;;) {
        const uint32_t c = x.next();
        const uint32_t d = y.next();
        if (c != d && !(c < 0x80 && d < 0x80 && lower(c) == lower(d))) return false;
        if (c == 0) return true;
    }
}

uint32_t likeHash(std::string_view text, uint32_t seed) {
    // 32-bit FNV-1a over the characters, the same on every machine; the
    // count goes in last so that no two values can pose as one.
    uint32_t hash = seed;
    uint32_t count = 0;
    Chars chars(text);
    for (uint32_t c; (c = chars.next()) != 0; ++count) {
        c = lower(c);
        for (int shift = 0; shift < 32 && (shift == 0 || (c >> shift) != 0); shift += 8) {
            hash = (hash ^ ((c >> shift) & 0xFF)) * 16777619u;
        }
    }
    return (hash ^ count) * 16777619u;
}

std::string likeKey(std::string_view text) {
    std::string key;
    key.reserve(text.size());
    Chars chars(text);
    for (uint32_t c; (c = chars.next()) != 0;) {
        if (c < 0x80) {
            key += static_cast<char>(lower(c));
        } else {
            // A byte no ASCII character has, then the character in four:
            // equal keys for equal characters however the text spelled them.
            key += '\xFF';
            for (int shift = 24; shift >= 0; shift -= 8) key += static_cast<char>((c >> shift) & 0xFF);
        }
    }
    return key;
}

}  // namespace doreldb
