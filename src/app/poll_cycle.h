// The endless loop that drives the agent, once a minute: settings, finished
// and due commands, the status exchange, the commands the server sent, the
// connection flag, and the wait.
#pragma once

#include "commands/core/poll_context.h"

#include <ctime>
#include <string>

namespace dorel_remote_control {

// The logging state that start-up hands to the loop.
struct LoggingState {
    int inotifyFd = -1;
    int watch = -1;
};

// One poll loop and the little it remembers between passes: the last status
// it sent and how many passes in a row it has held back an unchanged one.
class PollLoop {
public:
    PollLoop(PollContext& context, LoggingState& logging) : context_(context), logging_(logging) {}

    // Passes until the process ends; one pass only in single-cycle mode.
    void run();

    // One pass, without the wait that follows it.
    void runPass();
    // Re-reads the logging configuration when it changed, then sleeps out the
    // rest of the minute that began at passStart (not at all after a long pass).
    void waitForNextPass(time_t passStart);

private:
    // The pass itself; runPass() then gives back the memory it freed.
    void passBody();

    PollContext& context_;
    LoggingState& logging_;
    std::string lastStatus_;
    unsigned skipCount_ = 0;
};

inline void pollCycle(PollContext& context, LoggingState& logging) { PollLoop(context, logging).run(); }

// Records the outcome of a contact with the server (1 answered, 2 did not) in
// the connection flag servidorZAT_conectado.
void setConnection(PollContext& context, int status);

// Posts the status and takes the reply. 0 on success, -1 when the request
// failed, -2 when the reply could not be handled.
int sendStatus(PollContext& context, const std::string& statusText);

}  // namespace dorel_remote_control
