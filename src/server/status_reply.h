// Intake of the server's answer to a status document: every command it
// carries is created, stored with status 0 and handed over in document order.
// Bad content ends in log lines, never in an exception.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace dorel_remote_control {

class Command;

// Parses body as a statusReply, stores each command and returns them in order.
// A command that fails parsing is logged and skipped; a malformed document ends
// the intake, keeping what was taken before.
std::vector<std::shared_ptr<Command>> takeReplyCommands(const char* body);

}  // namespace dorel_remote_control
