#include "commands/query/schedule_commands.h"

#include "commands/core/command_store.h"
#include "commands/core/dispatch.h"
#include "commands/core/result_codes.h"
#include "commands/query/utc_time.h"
#include "common/errors.h"
#include "common/log.h"

namespace dorel_remote_control {

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

    size_t position = 0;
    for (XmlNode* child = commands->first_node(); child != nullptr; child = child->next_sibling()) {
        if (child->type() != rapidxml::node_element) continue;
        if (position++ < stored_) continue;

        std::shared_ptr<Command> inner;
        try {
            inner = createCommand(*child);
        } catch (const CommandParsingError& e) {
            // The ones before stay stored: the server learns from the error
            // text which command of the list was refused.
            logf(3, "Command parsing error: %s", e.what());
            addError(kInvalidCommand, e.what());
            return;
        } catch (const InvalidCommandError& e) {
            logf(3, "Invalid command: %s", e.what());
            addError(kInvalidCommand, e.what());
            return;
        } catch (const rapidxml::parse_error& e) {
            // The element came out of a parsed document, so this needs text
            // the printer cannot round-trip; refuse it like any bad command.
            logf(4, "Could not parse scheduled command: %s", e.what());
            addError(kInvalidCommand, e.what());
            return;
        }
        inner->setSchedule(when);
        inner->setNextTime(nextTime);
        inner->setStatus(kStatusScheduled);
        if (!save(*inner)) {
            logf(3, "Could not store scheduled command %d", inner->commandId());
            addError(kCouldNotAccessDatabase);
            return;
        }
        ++stored_;
    }
}

}  // namespace dorel_remote_control
