// State that the poll cycle keeps between passes and shares with command
// dispatch.
#pragma once

#include <ctime>
#include <deque>
#include <string>

namespace dorel_remote_control {

class Env;
class PassDatabases;

enum ConnectionState : int {
    kConnectionUnknown = 0,
    kConnected = 1,
    kNotConnected = 2,
};

// A command of a server reply waiting for its turn: its row in the store, or,
// when the store would not take it, its envelope text. The command object is
// made only when it runs, so a long list costs little until then.
struct QueuedCommand {
    int rowId = 0;
    std::string envelope;
};

struct PollContext {
    explicit PollContext(Env& env) : env(env) {}
    // The outside world of the whole process.
    Env& env;
    int connectionState = kConnectionUnknown;
    time_t lastFlagWrite = 0;
    // Commands that arrived in replies to result deliveries, to be run after
    // the next status exchange.
    std::deque<QueuedCommand> queue;
    // The databases of the pass under way (null outside a pass).
    PassDatabases* databases = nullptr;
};

}  // namespace dorel_remote_control
