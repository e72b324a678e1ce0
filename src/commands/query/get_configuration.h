// getConfiguration: the whole configuration of the headend as one document.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdGetConfiguration : public Command {
public:
    explicit CmdGetConfiguration(Env& env, Envelope envelope) : Command(env, std::move(envelope), "getConfiguration") {}

protected:
    void execute() override;

private:
    void writeDocument(XmlWriter& out);
};

}  // namespace dorel_remote_control
