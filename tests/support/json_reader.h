// A small JSON reader and string quoter for the test server's request log and
// answer scripts (no JSON library is a dependency of the project).
#pragma once

#include <string>
#include <vector>

namespace rctest {
namespace json {

struct Value {
    enum class Kind { Null, Bool, Number, String, Array, Object };
    Kind kind = Kind::Null;
    bool boolean = false;
    double number = 0;
    std::string text;                 // Kind::String
    std::vector<Value> items;         // Kind::Array
    std::vector<std::string> keys;    // Kind::Object, in document order,
    std::vector<Value> values;        // with the value at the same index

    // Member of an object (first match; null when absent or not an object).
    const Value* find(const std::string& key) const;
    // Text of a string member, "" when absent or not a string.
    std::string string(const std::string& key) const;
};

// Parses one JSON text (surrounding white space allowed). Throws
// std::runtime_error naming the offset on malformed input.
Value parse(const std::string& text);

// The text as a JSON string literal, quotes included: for building answer
// scripts whose bodies hold XML with quotes and line breaks.
std::string quote(const std::string& text);

}  // namespace json
}  // namespace rctest
