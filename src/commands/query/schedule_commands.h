// scheduleCommands: stores a list of commands to run at one moment (UTC). The
// inner commands and the command's own finished state are committed in one
// transaction, so an attempt either stored all of them, once, or nothing.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdScheduleCommands : public Command {
public:
    explicit CmdScheduleCommands(Env& env, Envelope envelope) : Command(env, std::move(envelope), "scheduleCommands") {}

protected:
    void execute() override;

private:
    // The inner command made from its element; null (error 101 recorded) when
    // the factory refuses it.
    std::shared_ptr<Command> innerCommand(const XmlNode& element);
};

}  // namespace dorel_remote_control
