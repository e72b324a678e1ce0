// SQLite's SQL math functions as the agent links them: each name must reach
// its own function of the math library, opened on first use. A mix-up (two
// functions sharing one looked-up address, an argument order swapped) shows
// as a wrong value here. Expected values are literals: the test's own calls
// into the math library go through the same wrappers.
#include <sqlite3.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>

extern "C" double __wrap_floor(double);
extern "C" double __wrap_ceil(double);

namespace {

// The value of `expression`, "NULL", or what SQLite says is wrong with it.
std::string evaluate(sqlite3* db, const std::string& expression) {
    sqlite3_stmt* raw = nullptr;
    const std::string sql = "SELECT " + expression;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &raw, nullptr) != SQLITE_OK) return sqlite3_errmsg(db);
    const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> statement(raw, sqlite3_finalize);
    if (sqlite3_step(raw) != SQLITE_ROW) return "no row";
    return sqlite3_column_type(raw, 0) == SQLITE_NULL ? "NULL" : std::to_string(sqlite3_column_double(raw, 0));
}

TEST(SqliteMath, EachFunctionReachesItsOwnImplementation) {
    sqlite3* raw = nullptr;
    const int opened = sqlite3_open(":memory:", &raw);
    const std::unique_ptr<sqlite3, int (*)(sqlite3*)> db(raw, sqlite3_close);
    ASSERT_EQ(SQLITE_OK, opened);

    const struct {
        const char* expression;
        const char* value;
    } cases[] = {
        {"sin(1)", "0.841471"},     {"cos(1)", "0.540302"},      {"tan(1)", "1.557408"},
        {"asin(0.5)", "0.523599"},  {"acos(0.5)", "1.047198"},   {"atan(2)", "1.107149"},
        {"sinh(1)", "1.175201"},    {"cosh(1)", "1.543081"},     {"tanh(1)", "0.761594"},
        {"asinh(1)", "0.881374"},   {"acosh(2)", "1.316958"},    {"atanh(0.5)", "0.549306"},
        {"exp(1)", "2.718282"},     {"ln(2)", "0.693147"},       {"log(1000)", "3.000000"},
        {"sqrt(2)", "1.414214"},    {"trunc(-2.7)", "-2.000000"}, {"atan2(1, 2)", "0.463648"},
        {"mod(7.5, 2)", "1.500000"}, {"pow(2, 10)", "1024.000000"}, {"pow(10, 2)", "100.000000"},
        {"floor(-2.5)", "-3.000000"}, {"ceil(2.1)", "3.000000"},
        // Outside the domain: NULL, as SQLite answers everywhere.
        {"sqrt(-1)", "NULL"},       {"acos(2)", "NULL"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(evaluate(db.get(), c.expression), c.value) << c.expression;
    }
}

// floor() and ceil() are computed without the library (the C++ runtime's hash
// tables call them on ARM): whole numbers, both sides of zero, the sign of a
// zero result, the edge where every double is whole, infinities and NaN.
TEST(SqliteMath, FloorAndCeilAgreeWithTheLibraryDefinition) {
    const double inf = std::numeric_limits<double>::infinity();
    const double big = 4503599627370496.0;  // 2^52
    const struct {
        double x, floor, ceil;
    } cases[] = {
        {0.0, 0.0, 0.0},           {-0.0, -0.0, -0.0},       {0.5, 0.0, 1.0},
        {-0.5, -1.0, -0.0},        {1.0, 1.0, 1.0},           {-1.0, -1.0, -1.0},
        {2.7, 2.0, 3.0},           {-2.7, -3.0, -2.0},        {1e-300, 0.0, 1.0},
        {big - 0.5, big - 1, big}, {-(big - 0.5), -big, -(big - 1)},
        {big + 1, big + 1, big + 1}, {-1e300, -1e300, -1e300}, {inf, inf, inf},
        {-inf, -inf, -inf},
    };
    for (const auto& c : cases) {
        const double f = __wrap_floor(c.x), up = __wrap_ceil(c.x);
        EXPECT_EQ(f, c.floor) << c.x;
        EXPECT_EQ(std::signbit(f), std::signbit(c.floor)) << c.x;
        EXPECT_EQ(up, c.ceil) << c.x;
        EXPECT_EQ(std::signbit(up), std::signbit(c.ceil)) << c.x;
    }
    EXPECT_TRUE(std::isnan(__wrap_floor(std::nan(""))));
    EXPECT_TRUE(std::isnan(__wrap_ceil(std::nan(""))));
}

}  // namespace
