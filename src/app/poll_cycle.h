// The endless loop that drives the agent, once a minute: settings, finished
// and due commands, the status exchange, the commands the server sent, the
// connection flag, and the wait.
#pragma once

#include "commands/core/poll_context.h"

#include <string>

namespace dorel_remote_control {

// The logging state that start-up hands to the loop.
struct LoggingState {
    int inotifyFd = -1;
    int watch = -1;
};

// Runs passes until the process ends; returns after one pass in single-cycle
// mode.
void pollCycle(PollContext& context, LoggingState& logging);

// Records the outcome of a contact with the server (1 answered, 2 did not) in
// the connection flag servidorZAT_conectado.
void setConnection(PollContext& context, int status);

// Posts the status and takes the reply. 0 on success, -1 when the request
// failed, -2 when the reply could not be handled.
int sendStatus(PollContext& context, const std::string& statusText);

}  // namespace dorel_remote_control
