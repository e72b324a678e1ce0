#include "db/like.h"

#include <cstring>

namespace doreldb {

namespace {

char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

// Length of the UTF-8 character starting at text[i] ('_' matches one
// character, not one byte).
size_t charLength(const std::string& text, size_t i) {
    size_t n = 1;
    while (i + n < text.size() && (static_cast<unsigned char>(text[i + n]) & 0xC0) == 0x80) ++n;
    return n;
}

bool matchFrom(const std::string& p, size_t pi, const std::string& t, size_t ti) {
    while (pi < p.size()) {
        const char c = p[pi];
        if (c == '%') {
            while (pi < p.size() && (p[pi] == '%' || p[pi] == '_')) {
                // A '_' among the '%' still needs a character of its own.
                if (p[pi] == '_') {
                    if (ti >= t.size()) return false;
                    ti += charLength(t, ti);
                }
                ++pi;
            }
            if (pi == p.size()) return true;
            for (size_t start = ti; start <= t.size(); ++start) {
                if (matchFrom(p, pi, t, start)) return true;
            }
            return false;
        }
        if (ti >= t.size()) return false;
        if (c == '_') {
            ti += charLength(t, ti);
            pi += charLength(p, pi);
            continue;
        }
        if (lower(c) != lower(t[ti])) return false;
        ++pi;
        ++ti;
    }
    return ti == t.size();
}

}  // namespace

bool likeMatch(const std::string& pattern, const std::string& text) { return matchFrom(pattern, 0, text, 0); }

bool hasLikeWildcard(std::string_view pattern) {
    return std::memchr(pattern.data(), '%', pattern.size()) != nullptr ||
           std::memchr(pattern.data(), '_', pattern.size()) != nullptr;
}

bool equalIgnoringAsciiCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (a[i] != b[i] && lower(a[i]) != lower(b[i])) return false;
    }
    return true;
}

uint32_t asciiLowerHash(std::string_view text, uint32_t seed) {
    // 32-bit FNV-1a, the same on every machine; the length goes in first so
    // that no two values can pose as one.
    uint32_t hash = seed ^ static_cast<uint32_t>(text.size());
    for (char c : text) hash = (hash ^ static_cast<unsigned char>(lower(c))) * 16777619u;
    return hash;
}

std::string asciiLower(const std::string& text) {
    std::string out(text);
    for (char& c : out) c = lower(c);
    return out;
}

}  // namespace doreldb
