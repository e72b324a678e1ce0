// Intake of the server's answer to a status document or a result: every
// command it carries is checked by the factory and stored with status 0, all
// of them in one transaction, before the first one runs. Bad content ends in
// log lines, never in an exception.
#pragma once

#include "commands/core/poll_context.h"

#include <vector>

namespace dorel_remote_control {

// Parses body as a statusReply, stores its commands and returns them in
// document order, each as its stored row (or, when the store would not take
// them, as its envelope text, so that it still runs). A command that fails
// parsing is logged and skipped; a malformed document ends the intake, keeping
// what was taken before.
class Env;

std::vector<QueuedCommand> takeReplyCommands(Env& env, const char* body);

}  // namespace dorel_remote_control
