// SQLite's SQL math functions (sin(), pow(), ...) are the agent's only use of
// the C math library, and no statement of the agent calls them. Linked to
// libm, the agent would still map it at every start and run its function
// selectors, about 340 KB resident for code that never runs. CMakeLists.txt
// points SQLite's references here instead (the linker's --wrap), and the
// library is opened the first time a statement calls one of the functions.
// floor() and ceil() are computed here: on ARM the C++ runtime's hash tables
// call them on every rehash, which must not load the library.
// Linked into the agent, next to the static SQLite, and into the app tests.
#include <dlfcn.h>
#include <gnu/lib-names.h>

#include <cmath>

namespace {

void* mathSymbol(const char* name) {
    static void* const library = dlopen(LIBM_SO, RTLD_NOW | RTLD_LOCAL);
    return library ? dlsym(library, name) : nullptr;
}

using Unary = double (*)(double);
using Binary = double (*)(double, double);

// 2^52: from here on every double is a whole number.
const double kWhole = 4503599627370496.0;

// x rounded towards zero, for |x| < 2^52; a zero keeps the sign of x, as
// the library's functions give it.
double towardsZero(double x) {
    return __builtin_copysign(static_cast<double>(static_cast<long long>(x)), x);
}

}  // namespace

extern "C" double __wrap_floor(double x) {
    if (!(__builtin_fabs(x) < kWhole)) return x;  // whole already, infinite or NaN
    const double whole = towardsZero(x);
    return whole > x ? whole - 1.0 : whole;
}

extern "C" double __wrap_ceil(double x) {
    if (!(__builtin_fabs(x) < kWhole)) return x;
    const double whole = towardsZero(x);
    return whole < x ? whole + 1.0 : whole;
}

// A library that cannot be opened makes the value "not a number", which
// SQLite turns into NULL, as it does for a value outside a function's domain.
#define RC_MATH(name, Type, params, args)                                          \
    extern "C" double __wrap_##name params {                                       \
        static const Type real = reinterpret_cast<Type>(mathSymbol(#name));       \
        return real ? real args : NAN;                                             \
    }
#define RC_UNARY(name) RC_MATH(name, Unary, (double x), (x))
#define RC_BINARY(name) RC_MATH(name, Binary, (double x, double y), (x, y))

RC_UNARY(acos)
RC_UNARY(acosh)
RC_UNARY(asin)
RC_UNARY(asinh)
RC_UNARY(atan)
RC_UNARY(atanh)
RC_UNARY(cos)
RC_UNARY(cosh)
RC_UNARY(exp)
RC_UNARY(log)
RC_UNARY(sin)
RC_UNARY(sinh)
RC_UNARY(sqrt)
RC_UNARY(tan)
RC_UNARY(tanh)
RC_UNARY(trunc)
RC_BINARY(atan2)
RC_BINARY(fmod)
RC_BINARY(pow)
