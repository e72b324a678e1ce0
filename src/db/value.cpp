#include "db/value.h"
#include "common/numbers.h"

#include <cstdio>
#include <cstdlib>

namespace doreldb {

tSqlite3parent::tSqlite3parent(const char* text) {
    if (text != nullptr) text_ = std::string(text);
}

tSqlite3parent::tSqlite3parent(const std::string& text) : text_(text) {}

int tSqlite3parent::toInt() const { return text_ ? dorel_remote_control::atoi32(text_->c_str()) : 0; }

namespace {

std::string decimal(long long value) {
    char text[32];
    snprintf(text, sizeof text, "%lld", value);
    return text;
}

}  // namespace

tSqlite3int::tSqlite3int(int value) : tSqlite3parent(decimal(value)) {}
tSqlite3int::tSqlite3int(long value) : tSqlite3parent(decimal(value)) {}
tSqlite3int::tSqlite3int(long long value) : tSqlite3parent(decimal(value)) {}

}  // namespace doreldb
