// Intake of the server's statusReply: each command element becomes a stored
// command. One bad command is logged and skipped; a malformed document ends
// the intake but keeps the commands already taken, which are stored by then.
//
// A reply may carry thousands of commands, or one of many megabytes, so it is
// never parsed whole: a flat walk finds where each command lies, each one is
// checked by another walk and stored straight from the reply's text, and only
// its row id is kept; the command object is made from its row when its turn
// comes.
#include "server/status_reply.h"

#include "commands/core/command.h"
#include "commands/core/command_store.h"
#include "commands/core/dispatch.h"
#include "common/errors.h"
#include "common/env.h"
#include "common/xml.h"
#include "common/xml_tokens.h"

#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace dorel_remote_control {

namespace {


// Where the commands of a reply lie in its text: the first element child and
// every later element child of the first commands element of the first
// statusReply at the top. The whole reply is checked first, so that a reply
// the parser would refuse gives no command at all.
struct ReplyLayout {
    bool hasReply = false;
    bool hasCommands = false;
    std::vector<std::pair<size_t, size_t>> commands;  // [begin, end) of each element
    const char* error = nullptr;
};

ReplyLayout layoutOf(const char* text) {
    ReplyLayout layout;
    XmlTokens tokens(text, strlen(text));
    enum { Before, InReply, InCommands, Done } where = Before;
    int depth = 0;
    bool takingCommands = false;
    size_t commandBegin = 0;
    for (;;) {
        const XmlToken token = tokens.next();
        switch (token.kind) {
        case XmlToken::Text:
            if (depth == 0 && !blankOutsideRoots(text, token)) layout.error = "expected <";
            break;
        case XmlToken::StartTag:
        case XmlToken::EmptyTag: {
            const bool empty = token.kind == XmlToken::EmptyTag;
            if (where == Before && depth == 0 && token.named("statusReply")) {
                layout.hasReply = true;
                where = empty ? Done : InReply;
            } else if (where == InReply && depth == 1 && token.named("commands")) {
                layout.hasCommands = true;
                where = empty ? Done : InCommands;
            } else if (where == InCommands && depth == 2) {
                // Whatever follows the first command element is taken as a
                // command too; the factory rejects what is not one.
                takingCommands = takingCommands || token.named("command");
                if (takingCommands && empty) layout.commands.emplace_back(token.begin, token.end);
                commandBegin = token.begin;
            }
            if (!empty && ++depth > kMaxXmlDepth) layout.error = "document nested too deep";
            break;
        }
        case XmlToken::EndTag:
            if (depth == 0) {
                layout.error = "expected element name";
                break;
            }
            --depth;
            if (where == InCommands && depth == 2 && takingCommands) layout.commands.emplace_back(commandBegin, token.end);
            if (where == InCommands && depth == 1) where = Done;
            if (where == InReply && depth == 0) where = Done;
            break;
        case XmlToken::Malformed:
            layout.error = "malformed tag";
            break;
        case XmlToken::End:
            if (depth > 0) layout.error = "unexpected end of data";
            return layout;
        }
        if (layout.error != nullptr) return layout;
    }
}

// Checks each command of the reply as the factory would (its envelope and its
// name) and hands its text and id to take, in document order, without making
// it: a command's text goes from the reply into the store once, and the
// command is made from its row when it runs. A command the factory would
// refuse is logged and skipped. A command whose text does not parse ends the
// walk (logged), keeping those taken before.
template <class Take>
void forEachCommand(Env& env, const char* text, const ReplyLayout& layout, Take take) {
    try {
        for (const auto& range : layout.commands) {
            env.log(7, "New command");
            const std::string_view envelope(text + range.first, range.second - range.first);
            try {
                const EnvelopeLayout parts(envelope);
                if (!knownCommand(parts.element.name)) throw InvalidCommandError(std::string(parts.element.name));
                env.log(7, "New command id: %d", parts.commandId);
                take(envelope, parts.commandId);
            } catch (const CommandParsingError& e) {
                env.log(3, "Command parsing error: %s", e.what());
            } catch (const InvalidCommandError& e) {
                env.log(3, "Invalid command: %s", e.what());
            }
        }
    } catch (const rapidxml::parse_error& e) {
        env.log(4, "XML parsing error: %s\n", e.what());
    }
}

// Stores the commands in one transaction and returns their rows. Without a
// store, or when the commit fails, they are handed over unstored, as texts.
std::vector<QueuedCommand> storeCommands(Env& env, const char* text, const ReplyLayout& layout) {
    std::vector<QueuedCommand> taken;
    StoreBatch batch(env);
    forEachCommand(env, text, layout, [&](std::string_view envelope, int commandId) {
        QueuedCommand queued;
        if (!batch.writeReceived(envelope, commandId, queued.rowId)) {
            queued.rowId = 0;
            queued.envelope = std::string(envelope);
        }
        taken.push_back(std::move(queued));
    });
    if (batch.commit() || taken.empty()) return taken;

    env.log(3, "Could not store the commands of the reply; running them unstored");
    taken.clear();
    forEachCommand(env, text, layout, [&](std::string_view envelope, int) {
        taken.push_back(QueuedCommand{0, std::string(envelope)});
    });
    return taken;
}

}  // namespace

std::vector<QueuedCommand> takeReplyCommands(Env& env, const char* body) {
    const char* text = body ? body : "";
    const ReplyLayout layout = layoutOf(text);
    if (layout.error != nullptr) {
        env.log(4, "XML parsing error: %s\n", layout.error);
    } else if (!layout.hasReply) {
        env.log(4, "XML parsing error: no 'statusReply' node.");
    } else if (!layout.hasCommands) {
        // Most replies carry no commands at all.
        env.log(6, "XML parsing error: no 'commands' node.");
    } else if (!layout.commands.empty()) {
        return storeCommands(env, text, layout);
    }
    return {};
}

}  // namespace dorel_remote_control
