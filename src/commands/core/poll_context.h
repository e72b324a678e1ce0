// State that the poll cycle keeps between passes and shares with command
// dispatch.
#pragma once

#include <ctime>
#include <deque>
#include <memory>

namespace dorel_remote_control {

class Command;
class PassDatabases;

enum ConnectionState : int {
    kConnectionUnknown = 0,
    kConnected = 1,
    kNotConnected = 2,
};

struct PollContext {
    int connectionState = kConnectionUnknown;
    time_t lastFlagWrite = 0;
    // Commands that arrived in replies to result deliveries, to be run after
    // the next status exchange.
    std::deque<std::shared_ptr<Command>> queue;
    // The databases of the pass under way (null outside a pass).
    PassDatabases* databases = nullptr;
};

}  // namespace dorel_remote_control
