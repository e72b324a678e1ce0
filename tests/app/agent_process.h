// Runs the built agent binary as a child process and collects what it did.
#pragma once

#include <string>
#include <vector>

namespace rctest {

struct AgentRun {
    int exitCode = -1;
    int pid = -1;
    std::string out;
    std::string err;
};

// Runs RC_AGENT_BINARY with args (argv[0] is the binary's path) in the current
// environment (so under the current REMOTE_CONTROL_ROOT) until it and every
// process that kept its output have ended; gives up after timeoutSeconds and
// kills it.
AgentRun runAgent(const std::vector<std::string>& args, int timeoutSeconds = 60);

// The command line that starts the built agent with args: the binary itself,
// or, for a cross-built agent, the emulator followed by the binary (so that
// no binfmt_misc registration is needed).
std::vector<std::string> agentCommandLine(const std::vector<std::string>& args);

}  // namespace rctest
