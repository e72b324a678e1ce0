// The data of every command the factory table knows, run as the agent runs
// it. An input that starts with a command's name and a newline goes to that
// command alone; any other input goes to each command of the table in turn.
// The table is read at run time, so a command added to it is fuzzed without
// a line written here.
#include "fuzz_root.h"

#include "commands/core/command.h"
#include "commands/core/command_table.h"
#include "commands/core/dispatch.h"
#include "db/like.h"
#include "server/settings.h"

#include <exception>

namespace {

// A reset that names the controller's own MAC reboots it, and the agent then
// exits: libFuzzer would report that as a crash (the reboot path has tests of
// its own). Letter case does not matter to the reset, nor here.
bool namesOwnMac(const std::string& data) {
    const std::string mac = dorel_remote_control::settings().mac();
    return !mac.empty() && doreldb::likeKey(data).find(doreldb::likeKey(mac)) != std::string::npos;
}

void runWith(const dorel_remote_control::CommandEntry& entry, const std::string& data) {
    const std::string name = entry.name;
    if ((name == "resetModules" || name == "resetCAMModules") && namesOwnMac(data)) return;
    const std::string envelope =
        "<command><id>1</id><data><" + name + ">" + data + "</" + name + "></data></command>";
    try {
        auto command = dorel_remote_control::createCommand(rcfuzz::env(), envelope);
        command->run();
        command->result().print(rcfuzz::env());
    } catch (const std::exception&) {
        // Data that does not parse is refused before the command exists.
    }
    rcfuzz::restoreHeadend();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rcfuzz::prepareHeadend();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input = rcfuzz::text(data, size);
    const size_t newline = input.find('\n');
    if (newline != std::string::npos) {
        const std::string name = input.substr(0, newline);
        if (const auto* entry = dorel_remote_control::findCommand(name.c_str())) {
            runWith(*entry, input.substr(newline + 1));
            return 0;
        }
    }
    for (const auto& entry : dorel_remote_control::allCommands()) runWith(entry, input);
    return 0;
}
