// Numbers read from text (server documents, database rows, files) the way the
// controller's C library reads them. Its long is 32 bits: atoi()/atol() of a
// value beyond the 32-bit range saturate there, while on a 64-bit build they
// would keep or wrap the excess and compute something the controller never
// does. Every number the agent takes from text goes through these.
#pragma once

#include <cstdint>

namespace dorel_remote_control {

// atoi() of a 32-bit C library: leading blanks and a sign, then decimal
// digits; out-of-range values give INT32_MAX or INT32_MIN; no digits give 0.
int32_t atoi32(const char* text);

// strtoul() of a 32-bit C library: a value beyond 32 bits gives UINT32_MAX
// and sets errno to ERANGE; "-N" is N negated in 32 bits. `end`, when given,
// points after the digits read (at `text` when there were none).
uint32_t strtoul32(const char* text, char** end, int base);

}  // namespace dorel_remote_control
