#include "commands/query/schedule_commands.h"

#include "commands/core/command_store.h"
#include "commands/core/dispatch.h"
#include "commands/core/result_codes.h"
#include "commands/query/utc_time.h"
#include "common/errors.h"
#include "common/log.h"

namespace dorel_remote_control {

std::shared_ptr<Command> CmdScheduleCommands::innerCommand(const XmlNode& element) {
    try {
        return createCommand(element);
    } catch (const CommandParsingError& e) {
        logf(3, "Command parsing error: %s", e.what());
        addError(kInvalidCommand, e.what());
    } catch (const InvalidCommandError& e) {
        logf(3, "Invalid command: %s", e.what());
        addError(kInvalidCommand, e.what());
    } catch (const rapidxml::parse_error& e) {
        // The element came out of a parsed document, so this needs text
        // the printer cannot round-trip; refuse it like any bad command.
        logf(4, "Could not parse scheduled command: %s", e.what());
        addError(kInvalidCommand, e.what());
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
        logf(3, "Invalid datetime");
        addError(kInvalidDatetime, when);
        return;
    }

    XmlNode* commands = requiredParameter("commands", "No 'commands' field found.");
    if (commands == nullptr) return;

    StoreBatch batch;
    if (!batch.ok()) {
        logf(3, "Could not open the command store");
        addError(kCouldNotAccessDatabase);
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
            logf(3, "Could not store scheduled command %d", inner->commandId());
            addError(kCouldNotAccessDatabase);
            return;
        }
    }
    finishInStore(batch);
}

}  // namespace dorel_remote_control
