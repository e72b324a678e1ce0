// regenerateSSLCertificate: has the server sign the controller's CSR and installs the certificate it returns as the agent's client certificate, keeping the previous one as a backup.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdRegenerateSSLCertificate : public Command {
public:
    explicit CmdRegenerateSSLCertificate(const std::string& envelopeText) : Command(envelopeText, "regenerateSSLCertificate") {}

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
