#include "common/xml_depth.h"

#include <rapidxml/rapidxml.hpp>

#include <cstring>

namespace dorel_remote_control {
namespace {

// Position just past the first occurrence of terminator at or after p, or end.
const char* skipPast(const char* p, const char* end, const char* terminator) {
    const size_t length = strlen(terminator);
    for (; p + length <= end; ++p) {
        if (memcmp(p, terminator, length) == 0) return p + length;
    }
    return end;
}

bool startsWith(const char* p, const char* end, const char* prefix) {
    const size_t length = strlen(prefix);
    return static_cast<size_t>(end - p) >= length && memcmp(p, prefix, length) == 0;
}

// After "<!DOCTYPE": up to the '>' outside any bracketed internal subset.
const char* skipDoctype(const char* p, const char* end) {
    int brackets = 0;
    for (; p < end; ++p) {
        if (*p == '[') ++brackets;
        else if (*p == ']' && brackets > 0) --brackets;
        else if (*p == '>' && brackets == 0) return p + 1;
    }
    return end;
}

using Tables = rapidxml::internal::lookup_tables<0>;

bool isSpace(char c) { return Tables::lookup_whitespace[static_cast<unsigned char>(c)] != 0; }
bool isNameChar(char c) { return Tables::lookup_node_name[static_cast<unsigned char>(c)] != 0; }
bool isAttributeNameChar(char c) { return Tables::lookup_attribute_name[static_cast<unsigned char>(c)] != 0; }

const char* skipSpace(const char* p, const char* end) {
    while (p < end && isSpace(*p)) ++p;
    return p;
}

enum class Tag { Open, SelfClosed, Malformed };

// After "<": a start tag read with the parser's own character classes (names,
// attributes, quoted values that may hold any markup), so that where the
// parser accepts a tag this scan ends exactly where the parser does.
Tag readStartTag(const char*& p, const char* end) {
    const char* name = p;
    while (p < end && isNameChar(*p)) ++p;
    if (p == name) return Tag::Malformed;
    p = skipSpace(p, end);
    while (p < end && isAttributeNameChar(*p)) {
        while (p < end && isAttributeNameChar(*p)) ++p;
        p = skipSpace(p, end);
        if (p == end || *p != '=') return Tag::Malformed;
        p = skipSpace(p + 1, end);
        if (p == end || (*p != '"' && *p != '\'')) return Tag::Malformed;
        const char* close = static_cast<const char*>(memchr(p + 1, *p, end - p - 1));
        if (close == nullptr) return Tag::Malformed;
        p = skipSpace(close + 1, end);
    }
    if (p < end && *p == '>') {
        ++p;
        return Tag::Open;
    }
    if (end - p >= 2 && p[0] == '/' && p[1] == '>') {
        p += 2;
        return Tag::SelfClosed;
    }
    return Tag::Malformed;
}

}  // namespace

long xmlDepthExceeded(const char* text, size_t size, int limit) {
    const char* nul = static_cast<const char*>(memchr(text, '\0', size));
    const char* end = nul != nullptr ? nul : text + size;
    int depth = 0;
    const char* p = text;
    while (p < end) {
        const char* open = static_cast<const char*>(memchr(p, '<', end - p));
        if (open == nullptr) break;
        const char* q = open + 1;
        if (startsWith(q, end, "/")) {
            if (depth > 0) --depth;
            p = skipPast(q, end, ">");
        } else if (startsWith(q, end, "!--")) {
            p = skipPast(q + 3, end, "-->");
        } else if (startsWith(q, end, "![CDATA[")) {
            p = skipPast(q + 8, end, "]]>");
        } else if (startsWith(q, end, "!DOCTYPE") && q + 8 < end && isSpace(q[8])) {
            p = skipDoctype(q + 9, end);
        } else if (startsWith(q, end, "!")) {
            p = skipPast(q, end, ">");
        } else if (startsWith(q, end, "?")) {
            p = skipPast(q + 1, end, "?>");
        } else {
            p = q;
            const Tag tag = readStartTag(p, end);
            // The parser stops with an error on a malformed tag, before any
            // deeper level, so nothing after it needs counting.
            if (tag == Tag::Malformed) break;
            if (tag == Tag::Open && ++depth > limit) return open - text;
        }
    }
    return -1;
}

}  // namespace dorel_remote_control
