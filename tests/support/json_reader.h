// JSON string quoting for the test server's answer scripts (the request log
// is read through python's own json module, see test_server.cpp).
#pragma once

#include <string>

namespace rctest {
namespace json {

// The text as a JSON string literal, quotes included: for building answer
// scripts whose bodies hold XML with quotes and line breaks.
std::string quote(const std::string& text);

}  // namespace json
}  // namespace rctest
