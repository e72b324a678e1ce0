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

// After "<!DOCTYPE ": up to the '>' outside any bracketed internal subset.
const char* skipDoctype(const char* p, const char* end) {
    int brackets = 0;
    for (; p < end; ++p) {
        if (*p == '[') ++brackets;
        else if (*p == ']' && brackets > 0) --brackets;
        else if (*p == '>' && brackets == 0) return p + 1;
    }
    return end;
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
        if (close == nullptr) return XmlToken::Malformed;
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
            p_ = open != nullptr ? open : end_;
            token.kind = XmlToken::Text;
            token.end = static_cast<size_t>(p_ - text_);
            return token;
        }
        const char* q = p_ + 1;
        if (startsWith(q, end_, "/")) {
            p_ = skipPast(q, end_, ">");
            token.kind = XmlToken::EndTag;
            token.end = static_cast<size_t>(p_ - text_);
            return token;
        }
        if (startsWith(q, end_, "!--")) {
            p_ = skipPast(q + 3, end_, "-->");
        } else if (startsWith(q, end_, "![CDATA[")) {
            p_ = skipPast(q + 8, end_, "]]>");
        } else if (startsWith(q, end_, "!DOCTYPE") && q + 8 < end_ && isSpace(q[8])) {
            p_ = skipDoctype(q + 9, end_);
        } else if (startsWith(q, end_, "!")) {
            p_ = skipPast(q, end_, ">");
        } else if (startsWith(q, end_, "?")) {
            p_ = skipPast(q + 1, end_, "?>");
        } else {
            token.name = q;
            const char* name = q;
            token.kind = readStartTag(q, end_);
            token.nameLength = 0;
            while (name + token.nameLength < end_ && isNameChar(name[token.nameLength])) ++token.nameLength;
            // The parser stops with an error on a malformed tag, so nothing
            // after it counts.
            if (token.kind == XmlToken::Malformed) {
                stopped_ = true;
                token.end = static_cast<size_t>(q - text_);
                return token;
            }
            p_ = q;
            token.end = static_cast<size_t>(p_ - text_);
            return token;
        }
    }
    if (stopped_) {
        token.kind = XmlToken::Malformed;
        return token;
    }
    token.kind = XmlToken::End;
    token.begin = token.end = static_cast<size_t>(end_ - text_);
    return token;
}

}  // namespace dorel_remote_control
