// regenerateSSLCertificate: has the server sign the controller's CSR and installs the certificate it returns as the agent's client certificate, keeping the previous one as a backup.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

// What the server's signCSRReply gave: the certificate text, or the failure
// text the result reports and the line that logs it.
struct SignedCertificate {
    std::string crt;
    const char* failure = nullptr;
    std::string logLine;
};

// Reads a signCSRReply text.
SignedCertificate readSignReply(const std::string& text);

class CmdRegenerateSSLCertificate : public Command {
public:
    explicit CmdRegenerateSSLCertificate(Env& env, Envelope envelope) : Command(env, std::move(envelope), "regenerateSSLCertificate") {}

    // The server refused the certificate this command installed, and the
    // previous one was put back: the result says so.
    void certificateRolledBack() override;

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
