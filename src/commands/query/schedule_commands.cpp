#include "commands/query/schedule_commands.h"

#include "commands/core/command_store.h"
#include "commands/core/dispatch.h"
#include "commands/core/result_codes.h"
#include "commands/query/utc_time.h"
#include "common/errors.h"
#include "common/env.h"

namespace dorel_remote_control {

std::shared_ptr<Command> CmdScheduleCommands::innerCommand(const XmlNode& element) {
    try {
        return createCommand(env(), element);
    } catch (const CommandParsingError& e) {
        fail(kInvalidCommand, e.what(), "Command parsing error: %s", e.what());
    } catch (const InvalidCommandError& e) {
        fail(kInvalidCommand, e.what(), "Invalid command: %s", e.what());
    } catch (const rapidxml::parse_error& e) {
        // The element came out of a parsed document, so this needs text
        // the printer cannot round-trip; refuse it like any bad command.
        env().log(4, "Could not parse scheduled command: %s", e.what());
        fail(kInvalidCommand, e.what());
    }
    return nullptr;
}

void CmdScheduleCommands::execute() {
    startResult();

    XmlNode* datetime = requiredParameter("datetime", "No 'datetime' field found.");
    if (datetime == nullptr) return;
    const std::string when = nodeText(datetime);
    long nextTime = 0;
    if (!parseServerDatetime(when, nextTime)) {
        fail(kInvalidDatetime, when, "Invalid datetime");
        return;
    }

    XmlNode* commands = requiredParameter("commands", "No 'commands' field found.");
    if (commands == nullptr) return;

    StoreBatch batch(env());
    if (!batch.ok()) {
        fail(kCouldNotAccessDatabase, std::string(), "Could not open the command store");
        return;
    }
    for (XmlNode* child = commands->first_node(); child != nullptr; child = child->next_sibling()) {
        if (child->type() != rapidxml::node_element) continue;
        std::shared_ptr<Command> inner = innerCommand(*child);
        // The ones before stay stored: the server learns from the error text
        // which command of the list was refused.
        if (!inner) break;
        inner->setSchedule(when);
        inner->setNextTime(nextTime);
        inner->setStatus(kStatusScheduled);
        if (!batch.write(*inner)) {
            // Nothing of this attempt stays; run() tries again.
            fail(kCouldNotAccessDatabase, std::string(), "Could not store scheduled command %d", inner->commandId());
            return;
        }
    }
    finishInStore(batch);
}

}  // namespace dorel_remote_control
