// Data no command can be handed: nested far deeper than the parser's stack
// would take. Every command of the factory table, those added later too,
// refuses it as malformed XML before it exists.
#include "commands/core/command_table.h"
#include "commands/core/dispatch.h"

#include <gtest/gtest.h>

#include <string>

using namespace dorel_remote_control;

TEST(HostileData, EveryCommandRefusesDataNestedTooDeepAsAnXmlError) {
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += "<a>";
    for (int i = 0; i < 100000; ++i) deep += "</a>";
    for (const CommandEntry& entry : allCommands()) {
        const std::string name = entry.name;
        const std::string envelope =
            "<command><id>1</id><data><" + name + ">" + deep + "</" + name + "></data></command>";
        EXPECT_THROW(createCommand(envelope), rapidxml::parse_error) << name;
    }
}
