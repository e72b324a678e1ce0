// What every fuzz target shares: a simulated headend laid out once per process
// under a temporary directory (removed at exit), with the agent's paths led
// into it, every sleep skipped and every network request sent to a dead proxy,
// so that whatever a fuzzed command tries stays inside the dev kit's
// stand-ins.
#pragma once

#include "common/env.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace rcfuzz {

// Lays out the headend on first use; later calls return at once.
void prepareHeadend();

// The Env of every fuzzed command: under the headend's root, a clock that
// stands still, waits skipped, nothing logged.
dorel_remote_control::Env& env();

// Empties the command table, so that one input's rows do not pile up into
// the next input's work.
void clearCommands();

// Puts every database back as it was laid out, so that what one input wrote
// (a configuration, a CAM list, a password) does not shape the next input's
// run, and a crash reproduces from its own file.
void restoreHeadend();

// The input as text (it may hold NUL bytes).
inline std::string text(const uint8_t* data, size_t size) {
    return std::string(reinterpret_cast<const char*>(data), size);
}

}  // namespace rcfuzz
