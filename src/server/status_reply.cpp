// Intake of the server's statusReply: each command element becomes a stored
// command. One bad command is logged and skipped; a malformed document ends
// the intake but keeps the commands already taken, which are stored by then.
//
// Only the row id of a stored command is kept: a reply may carry thousands of
// commands, and each is made into a command object again when its turn comes.
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

// The reply's commands element; null (logged) when there is none.
XmlNode* replyCommands(XmlDocument& document) {
    XmlNode* reply = document.first_node("statusReply");
    if (!reply) {
        logf(4, "XML parsing error: no 'statusReply' node.");
        return nullptr;
    }
    XmlNode* commands = reply->first_node("commands");
    // Most replies carry no commands at all.
    if (!commands) logf(6, "XML parsing error: no 'commands' node.");
    return commands;
}

// Hands every command of the reply the factory accepts to take, in document
// order. Whatever follows the first command element is taken as a command
// too; the factory rejects what is not one.
template <class Take>
void forEachCommand(XmlNode* commands, Take take) {
    for (XmlNode* element = commands->first_node("command"); element; element = nextElement(element)) {
        logf(7, "New command");
        try {
            std::shared_ptr<Command> command = createCommand(*element);
            take(*command);
        } catch (const CommandParsingError& e) {
            logf(3, "Command parsing error: %s", e.what());
        } catch (const InvalidCommandError& e) {
            logf(3, "Invalid command: %s", e.what());
        }
    }
}

// Stores the commands in one transaction and returns their rows. Without a
// store, or when the commit fails, they are handed over unstored, as texts.
std::vector<QueuedCommand> storeCommands(XmlNode* commands) {
    std::vector<QueuedCommand> taken;
    StoreBatch batch;
    try {
        forEachCommand(commands, [&](Command& command) {
            QueuedCommand queued;
            if (batch.write(command)) {
                queued.rowId = command.id();
            } else {
                queued.envelope = command.envelopeText();
            }
            taken.push_back(std::move(queued));
        });
    } catch (const rapidxml::parse_error& e) {
        logf(4, "XML parsing error: %s\n", e.what());
    }
    if (batch.commit() || taken.empty()) return taken;

    logf(3, "Could not store the commands of the reply; running them unstored");
    const size_t count = taken.size();
    taken.clear();
    try {
        forEachCommand(commands, [&](Command& command) {
            if (taken.size() < count) taken.push_back(QueuedCommand{0, command.envelopeText()});
        });
    } catch (const rapidxml::parse_error&) {
        // Logged by the first walk.
    }
    return taken;
}

}  // namespace

std::vector<QueuedCommand> takeReplyCommands(const char* body) {
    try {
        // A private copy: the parser works in place and the nodes point into it.
        ParsedXml document(body ? body : "");
        XmlNode* commands = replyCommands(document.doc());
        // An empty list needs no transaction.
        if (commands && commands->first_node("command")) return storeCommands(commands);
    } catch (const rapidxml::parse_error& e) {
        logf(4, "XML parsing error: %s\n", e.what());
    }
    return {};
}

}  // namespace dorel_remote_control
