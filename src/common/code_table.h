// Fixed tables from a numeric code to the text the server shows for it (result
// codes, alarm codes): each table is plain data, looked up by one routine.
#pragma once

#include <cstddef>

namespace dorel_remote_control {

struct CodeText {
    int code;
    const char* text;
};

// The text of code in table, or fallback for a code the table lacks.
template <size_t N>
const char* codeText(const CodeText (&table)[N], int code, const char* fallback) {
    for (const CodeText& entry : table) {
        if (entry.code == code) return entry.text;
    }
    return fallback;
}

}  // namespace dorel_remote_control
