// JSON string quoting for the test server's answer scripts.
#pragma once

#include <cstdio>
#include <string>

namespace rctest {
namespace json {

// The text as a JSON string literal, quotes included: for building answer
// scripts whose bodies hold XML with quotes and line breaks.
inline std::string quote(const std::string& text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, c < 0x20 ? "\\u%04x" : c == '"' || c == '\\' ? "\\%c" : "%c", c);
        out += escaped;
    }
    return out + "\"";
}

}  // namespace json
}  // namespace rctest
