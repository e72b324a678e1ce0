// The commands the agent knows: one row per command, name and maker. The
// factory looks names up here ignoring letter case; a name without a row is an
// unknown command.
#pragma once

#include <memory>
#include <string>

namespace dorel_remote_control {

class Command;
class Env;
class Envelope;

struct CommandEntry {
    const char* name;
    std::shared_ptr<Command> (*create)(Env& env, Envelope&& envelope);
};

// The row whose name equals name ignoring case, or null.
const CommandEntry* findCommand(const char* name);

// Every row, for tools that go through all commands (the fuzz targets).
struct CommandRows {
    const CommandEntry* first;
    const CommandEntry* last;  // one past the end
    const CommandEntry* begin() const { return first; }
    const CommandEntry* end() const { return last; }
};
CommandRows allCommands();

}  // namespace dorel_remote_control
