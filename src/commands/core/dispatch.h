// From command text to command object, and from finished command to delivered
// result: the factory by name (letter case ignored) and the three command
// steps of the poll cycle.
#pragma once

#include "commands/core/poll_context.h"
#include "common/xml.h"
#include "db/record.h"

#include <memory>
#include <string>
#include <string_view>

namespace dorel_remote_control {

class Command;
class Env;

// Creates the command of the class the element's data names, to work in env.
// Throws CommandParsingError ("'command' has no 'data'", "'data' has no
// command"), InvalidCommandError (message: the unknown name) or
// rapidxml::parse_error. The text is taken over, not copied.
std::shared_ptr<Command> createCommand(Env& env, const XmlNode& commandElement);
std::shared_ptr<Command> createCommand(Env& env, std::string envelopeText);

// Whether the factory makes a command of that name (letter case ignored).
bool knownCommand(std::string_view name);

// Re-creates a stored command from its text (the row's, or read apart from
// the row, see command_store.h) and loads its row.
std::shared_ptr<Command> createFromRow(Env& env, const doreldb::Record& row, std::string text);

// run() then sendResult().
void runAndReport(PollContext& context, Command& command);

// Makes the queued command from its row (or its text) and runs and reports
// it. A row that is gone or no longer waits with status 0 was taken care of
// already and is left alone.
void runQueued(PollContext& context, const QueuedCommand& queued);

// Posts the result to <server>commandResult. Delivered: the reply's commands
// join the context's queue and the command's row is deleted. Not delivered:
// the command is saved with status 2 for a later pass.
void sendResult(PollContext& context, Command& command);

// Delivers the results of finished commands (status 2) from the store.
void reportFinished(PollContext& context);

// Runs the due commands of the store (status 0, and status 4 due within 70
// seconds, sleeping until a scheduled one's second).
void runPending(PollContext& context);

}  // namespace dorel_remote_control
