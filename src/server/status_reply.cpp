// Intake of the server's statusReply: each command element becomes a stored
// command. One bad command is logged and skipped; a malformed document ends
// the intake but keeps the commands already taken, which are stored by then.
#include "server/status_reply.h"

#include "commands/core/command.h"
#include "commands/core/command_store.h"
#include "commands/core/dispatch.h"
#include "common/errors.h"
#include "common/log.h"
#include "common/xml.h"

namespace dorel_remote_control {

namespace {

XmlNode* nextElement(XmlNode* node) {
    do {
        node = node->next_sibling();
    } while (node && node->type() != rapidxml::node_element);
    return node;
}

void takeCommand(const XmlNode& element, std::vector<std::shared_ptr<Command>>& taken) {
    try {
        std::shared_ptr<Command> command = createCommand(element);
        save(*command);
        taken.push_back(std::move(command));
    } catch (const CommandParsingError& e) {
        logf(3, "Command parsing error: %s", e.what());
    } catch (const InvalidCommandError& e) {
        logf(3, "Invalid command: %s", e.what());
    }
}

}  // namespace

std::vector<std::shared_ptr<Command>> takeReplyCommands(const char* body) {
    std::vector<std::shared_ptr<Command>> taken;
    try {
        // A private copy: the parser works in place and the nodes point into it.
        ParsedXml document(body ? body : "");
        XmlNode* reply = document.doc().first_node("statusReply");
        if (!reply) {
            logf(4, "XML parsing error: no 'statusReply' node.");
            return taken;
        }
        XmlNode* commands = reply->first_node("commands");
        if (!commands) {
            // Most replies carry no commands at all.
            logf(6, "XML parsing error: no 'commands' node.");
            return taken;
        }
        // Whatever follows the first command element is taken as a command
        // too; the factory rejects what is not one.
        for (XmlNode* element = commands->first_node("command"); element;
             element = nextElement(element)) {
            logf(7, "New command");
            takeCommand(*element, taken);
        }
    } catch (const rapidxml::parse_error& e) {
        logf(4, "XML parsing error: %s\n", e.what());
    }
    return taken;
}

}  // namespace dorel_remote_control
