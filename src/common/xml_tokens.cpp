#include "common/xml_tokens.h"

#include <rapidxml/rapidxml.hpp>

#include <cstring>

namespace dorel_remote_control {
namespace {

using Tables = rapidxml::internal::lookup_tables<0>;

bool isSpace(char c) { return Tables::lookup_whitespace[static_cast<unsigned char>(c)] != 0; }
bool isNameChar(char c) { return Tables::lookup_node_name[static_cast<unsigned char>(c)] != 0; }
bool isAttributeNameChar(char c) { return Tables::lookup_attribute_name[static_cast<unsigned char>(c)] != 0; }

const char* skipSpace(const char* p, const char* end) {
    while (p < end && isSpace(*p)) ++p;
    return p;
}

// Position just past the first occurrence of terminator at or after p, or
// null when the text ends first (the parser's "unexpected end of data").
const char* skipPast(const char* p, const char* end, const char* terminator) {
    const size_t length = strlen(terminator);
    for (; p + length <= end; ++p) {
        if (memcmp(p, terminator, length) == 0) return p + length;
    }
    return nullptr;
}

bool startsWith(const char* p, const char* end, const char* prefix) {
    const size_t length = strlen(prefix);
    return static_cast<size_t>(end - p) >= length && memcmp(p, prefix, length) == 0;
}

// After "<!DOCTYPE ": up to the '>' outside any bracketed internal subset, or
// null when the text ends first.
const char* skipDoctype(const char* p, const char* end) {
    int brackets = 0;
    for (; p < end; ++p) {
        if (*p == '[') ++brackets;
        else if (*p == ']' && brackets > 0) --brackets;
        else if (*p == '>' && brackets == 0) return p + 1;
    }
    return nullptr;
}

// Whether the parser can decode every character reference in [p, end), a run
// of text or an attribute value. Named references it does not know it keeps
// as written; a numeric one must end in ';' and name a Unicode code point,
// counted in unsigned long as the parser counts (so a number that wraps round
// on the controller's 32 bits wraps here too). Its digit table takes the hex
// letters in a decimal reference as well.
bool referencesDecode(const char* p, const char* end) {
    while ((p = static_cast<const char*>(memchr(p, '&', end - p))) != nullptr) {
        ++p;
        if (p == end || *p != '#') continue;
        ++p;
        unsigned long base = 10;
        if (p < end && *p == 'x') {
            base = 16;
            ++p;
        }
        unsigned long code = 0;
        for (; p < end && Tables::lookup_digits[static_cast<unsigned char>(*p)] != 0xFF; ++p) {
            code = code * base + Tables::lookup_digits[static_cast<unsigned char>(*p)];
        }
        if (code >= 0x110000 || p == end || *p != ';') return false;
    }
    return true;
}

// After "<": a start tag, ending exactly where the parser's would.
XmlToken::Kind readStartTag(const char*& p, const char* end) {
    const char* name = p;
    while (p < end && isNameChar(*p)) ++p;
    if (p == name) return XmlToken::Malformed;
    p = skipSpace(p, end);
    while (p < end && isAttributeNameChar(*p)) {
        while (p < end && isAttributeNameChar(*p)) ++p;
        p = skipSpace(p, end);
        if (p == end || *p != '=') return XmlToken::Malformed;
        p = skipSpace(p + 1, end);
        if (p == end || (*p != '"' && *p != '\'')) return XmlToken::Malformed;
        const char* close = static_cast<const char*>(memchr(p + 1, *p, end - p - 1));
        if (close == nullptr || !referencesDecode(p + 1, close)) return XmlToken::Malformed;
        p = skipSpace(close + 1, end);
    }
    if (p < end && *p == '>') {
        ++p;
        return XmlToken::StartTag;
    }
    if (end - p >= 2 && p[0] == '/' && p[1] == '>') {
        p += 2;
        return XmlToken::EmptyTag;
    }
    return XmlToken::Malformed;
}

}  // namespace

XmlTokens::XmlTokens(const char* text, size_t size) : text_(text), p_(text) {
    const char* nul = static_cast<const char*>(memchr(text, '\0', size));
    end_ = nul != nullptr ? nul : text + size;
}

XmlToken XmlTokens::next() {
    XmlToken token;
    while (!stopped_ && p_ < end_) {
        token.begin = static_cast<size_t>(p_ - text_);
        if (*p_ != '<') {
            const char* open = static_cast<const char*>(memchr(p_, '<', end_ - p_));
            const char* runEnd = open != nullptr ? open : end_;
            if (!referencesDecode(p_, runEnd)) break;
            p_ = runEnd;
            token.kind = XmlToken::Text;
            token.end = static_cast<size_t>(p_ - text_);
            return token;
        }
        const char* q = p_ + 1;
        const char* after = nullptr;  // past the markup, null when the parser refuses it
        if (startsWith(q, end_, "/")) {
            // The parser takes any name here, not only the open element's.
            token.name = ++q;
            while (q < end_ && isNameChar(*q)) ++q;
            token.nameLength = static_cast<size_t>(q - token.name);
            q = skipSpace(q, end_);
            if (q == end_ || *q != '>') break;
            p_ = q + 1;
            token.kind = XmlToken::EndTag;
            token.end = static_cast<size_t>(p_ - text_);
            return token;
        }
        if (startsWith(q, end_, "!--")) {
            after = skipPast(q + 3, end_, "-->");
        } else if (startsWith(q, end_, "![CDATA[")) {
            after = skipPast(q + 8, end_, "]]>");
        } else if (startsWith(q, end_, "!DOCTYPE") && q + 8 < end_ && isSpace(q[8])) {
            after = skipDoctype(q + 9, end_);
        } else if (startsWith(q, end_, "!")) {
            after = skipPast(q, end_, ">");
        } else if (startsWith(q, end_, "?")) {
            after = skipPast(q + 1, end_, "?>");
        } else {
            token.name = q;
            const char* name = q;
            token.kind = readStartTag(q, end_);
            token.nameLength = 0;
            while (name + token.nameLength < end_ && isNameChar(name[token.nameLength])) ++token.nameLength;
            if (token.kind == XmlToken::Malformed) break;
            p_ = q;
            token.end = static_cast<size_t>(p_ - text_);
            return token;
        }
        if (after == nullptr) break;
        p_ = after;
    }
    // The parser stops with an error at the first markup it refuses, so
    // nothing after it counts.
    if (stopped_ || p_ < end_) {
        stopped_ = true;
        token.kind = XmlToken::Malformed;
        token.begin = token.end = static_cast<size_t>(p_ - text_);
        token.name = "";
        token.nameLength = 0;
        return token;
    }
    token.kind = XmlToken::End;
    token.begin = token.end = static_cast<size_t>(end_ - text_);
    return token;
}

bool XmlToken::named(const char* other) const {
    return nameLength == strlen(other) && memcmp(name, other, nameLength) == 0;
}

bool blankOutsideRoots(const char* base, const XmlToken& token) {
    size_t i = token.begin;
    if (i == 0 && token.end >= 3 && memcmp(base, "\xEF\xBB\xBF", 3) == 0) i = 3;
    for (; i < token.end; ++i) {
        const char c = base[i];
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n') return false;
    }
    return true;
}

}  // namespace dorel_remote_control
