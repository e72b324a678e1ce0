#include "app/poll_cycle.h"

#include "common/errors.h"
#include "common/log.h"
#include "server/settings.h"

namespace dorel_remote_control {

// The full loop comes with the command queue; until then one settings load.
void pollCycle(PollContext&, LoggingState&) {
    try {
        bool changed = settings().load();
        logf(7, "Settings loaded (%s): active %d, interval %u, server %s", changed ? "changed" : "unchanged",
             settings().active() ? 1 : 0, static_cast<unsigned>(settings().interval()),
             settings().serverAddress().c_str());
    } catch (const ReadConfigError& error) {
        logf(3, "Could not load settings: %s", error.what());
    }
}

void setConnection(PollContext&, int) {}

int sendStatus(PollContext&, const std::string&) { return -1; }

}  // namespace dorel_remote_control
