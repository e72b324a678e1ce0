// The command factory and the command steps of the poll cycle: running
// commands and getting their results to the server, keeping in the store
// whatever has not got there yet.
#include "commands/core/dispatch.h"

#include "commands/core/command.h"
#include "commands/core/command_store.h"
#include "commands/core/command_table.h"
#include "common/env.h"
#include "common/errors.h"
#include "db/access.h"
#include "db/tables.h"
#include "server/https_client.h"
#include "server/settings.h"
#include "server/status_reply.h"

#include <cstdio>

namespace dorel_remote_control {
namespace {

// Rows of the store, read with the database open only for the select: every
// command saves itself through its own connection while it is handled.
template <class Select, class... Args>
std::vector<doreldb::Record> readRows(Env& env, Select select, Args... args) {
    doreldb::DbHandle db = doreldb::openDatabase(env, env.paths().remoteControlDb());
    if (!db) return {};
    return select(db, args...);
}

void writeToStdout(const std::string& text) {
    fwrite(text.data(), 1, text.size(), stdout);
    fputc('\n', stdout);
    fflush(stdout);
}

}  // namespace

std::shared_ptr<Command> createCommand(Env& env, const XmlNode& commandElement) {
    return createCommand(env, printXml(commandElement));
}

std::shared_ptr<Command> createCommand(Env& env, std::string envelopeText) {
    Envelope envelope(std::move(envelopeText));
    const std::string name(envelope.element().name);
    const CommandEntry* entry = findCommand(name.c_str());
    if (entry == nullptr) throw InvalidCommandError(name);
    return entry->create(env, std::move(envelope));
}

bool knownCommand(std::string_view name) { return findCommand(std::string(name).c_str()) != nullptr; }

std::shared_ptr<Command> createFromRow(Env& env, const doreldb::Record& row, std::string text) {
    std::shared_ptr<Command> command = createCommand(env, std::move(text));
    load(*command, row);
    return command;
}

void runAndReport(PollContext& context, Command& command) {
    command.run();
    sendResult(context, command);
}

void sendResult(PollContext& context, Command& command) {
    const std::string& text = command.result().print(context.env);
    writeToStdout(text);

    const std::string url = settings().serverAddress() + "commandResult";
    Env& env = context.env;
    env.log(7, "Sending commandResult");
    std::vector<QueuedCommand> replyCommands;
    try {
        ResponseBuffer response = HttpsClient::instance().request(env, url, text.c_str(), [&] {
            command.certificateRolledBack();
            return command.result().print(env);
        });
        replyCommands = takeReplyCommands(env, response.data() != nullptr ? response.data() : "");
    } catch (const CurlError& e) {
        env.log(3, "Error sending remote-control request to server: %s", e.what());
        // Still status 2: a later pass delivers it.
        save(command);
        return;
    }
    for (QueuedCommand& next : replyCommands) context.queue.push_back(std::move(next));
    command.setStatus(kStatusDelivered);
    save(command);
}

namespace {

// A stored row that cannot be made into a command again stays where it is: it
// is logged on every pass rather than silently dropped, and it never stops the
// loop (a damaged table must not take the daemon down on every restart).
std::shared_ptr<Command> recreate(Env& env, const doreldb::Record& row, std::string text) {
    try {
        return createFromRow(env, row, std::move(text));
    } catch (const InvalidCommandError& e) {
        env.log(3, "Invalid command: %s", e.what());
    } catch (const CommandParsingError& e) {
        env.log(3, "Command parsing error: %s", e.what());
    } catch (const rapidxml::parse_error&) {
        env.log(3, "Could not parse command from DB");
    }
    return nullptr;
}

std::shared_ptr<Command> recreate(Env& env, const doreldb::Record& row) {
    return recreate(env, row, row.text(doreldb::RCCommand::command));
}

}  // namespace

void runQueued(PollContext& context, const QueuedCommand& queued) {
    Env& env = context.env;
    std::shared_ptr<Command> command;
    if (queued.rowId > 0) {
        // The text is read apart from the rest of the row, once: a command
        // may be megabytes long.
        std::vector<doreldb::Record> rows;
        std::string text;
        {
            doreldb::DbHandle db = doreldb::openDatabase(env, env.paths().remoteControlDb());
            if (db) rows = selectIdWithoutText(db, queued.rowId);
            if (!rows.empty() && rows.front().toInt(doreldb::RCCommand::status) == kStatusReceived) {
                text = readCommandText(db, queued.rowId);
            }
        }  // the command saves itself through its own connection
        if (rows.empty() || rows.front().toInt(doreldb::RCCommand::status) != kStatusReceived) {
            env.log(7, "Queued command %d is no longer waiting", queued.rowId);
            return;
        }
        command = recreate(env, rows.front(), std::move(text));
    } else {
        try {
            command = createCommand(env, queued.envelope);
        } catch (const std::exception& e) {
            // It was made once already at the intake.
            env.log(3, "Could not parse queued command: %s", e.what());
        }
    }
    if (command) runAndReport(context, *command);
}

void reportFinished(PollContext& context) {
    Env& env = context.env;
    env.log(7, "Checking if there are finished commands");
    for (const doreldb::Record& row : readRows(env, selectFinished)) {
        if (std::shared_ptr<Command> command = recreate(env, row)) sendResult(context, *command);
    }
}

void runPending(PollContext& context) {
    Env& env = context.env;
    env.log(7, "Checking if there are pending commands");
    for (const doreldb::Record& row : readRows(env, selectDue, env.now())) {
        const long due = row.toInt(doreldb::RCCommand::nextTime);
        const long now = static_cast<long>(env.now());
        if (due > now && due - now < kDueLookAheadSeconds) env.sleepSeconds(static_cast<unsigned>(due - now));

        if (std::shared_ptr<Command> command = recreate(env, row)) runAndReport(context, *command);
    }
}

}  // namespace dorel_remote_control
