#include "common/numbers.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>

namespace dorel_remote_control {

int32_t atoi32(const char* text) {
    const int saved = errno;
    // strtoll saturates at 64 bits, far beyond 32, so clamping afterwards
    // gives the 32-bit saturation.
    long long value = std::strtoll(text, nullptr, 10);
    errno = saved;  // atoi() never reports anything
    if (value > INT32_MAX) return INT32_MAX;
    if (value < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(value);
}

uint32_t strtoul32(const char* text, char** end, int base) {
    const int saved = errno;
    errno = 0;
    unsigned long long value = std::strtoull(text, end, base);
    const bool overflow = errno == ERANGE;
    errno = saved;

    const char* p = text;
    while (std::isspace(static_cast<unsigned char>(*p))) ++p;
    const bool negative = *p == '-';
    // strtoull already negated "-N" in 64 bits; the magnitude is what has to
    // fit into 32.
    const unsigned long long magnitude = negative ? 0ULL - value : value;
    if (overflow || magnitude > UINT32_MAX) {
        errno = ERANGE;
        return UINT32_MAX;
    }
    const uint32_t small = static_cast<uint32_t>(magnitude);
    return negative ? 0u - small : small;
}

}  // namespace dorel_remote_control
