// Runs the built agent binary as a child process and collects what it did.
#pragma once

#include "support/process_helpers.h"

#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/file.h>
#include <unistd.h>
#include <vector>

namespace rctest {

// The command line that starts the built agent with args: the binary itself,
// or, for a cross-built agent, the emulator followed by the binary (so that
// no binfmt_misc registration is needed; it passes the binary's path on as
// the agent's argv[0]).
inline std::vector<std::string> agentCommandLine(const std::vector<std::string>& args) {
    std::vector<std::string> line;
#ifdef RC_AGENT_EMULATOR
    line.push_back(RC_AGENT_EMULATOR);
#endif
    line.push_back(RC_AGENT_BINARY);
    line.insert(line.end(), args.begin(), args.end());
    return line;
}

struct AgentRun {
    int exitCode = -1;
    int pid = -1;
    std::string out;
    std::string err;
};

// Runs the agent with args in the current environment (so under the current
// REMOTE_CONTROL_ROOT) until it and every process that kept its output have
// ended; gives up after timeoutSeconds and kills it.
inline AgentRun runAgent(const std::vector<std::string>& args, int timeoutSeconds = 60) {
    AgentRun run;
    const std::string dir = makeTempDir("rc-agent-"), out = dir + "/out", err = dir + "/err";
    Child agent(agentCommandLine(args), out, err);
    run.pid = agent.pid();
    run.exitCode = agent.finish(std::chrono::seconds(timeoutSeconds));
    // A process the agent left behind with its output (a daemon that kept it)
    // still writes there until it ends.
    const int held = open(out.c_str(), O_RDONLY);
    for (int i = 0; i < timeoutSeconds * 100 && flock(held, LOCK_EX | LOCK_NB) != 0; ++i) usleep(10000);
    close(held);
    std::ifstream outFile(out), errFile(err);
    run.out.assign(std::istreambuf_iterator<char>(outFile), std::istreambuf_iterator<char>());
    run.err.assign(std::istreambuf_iterator<char>(errFile), std::istreambuf_iterator<char>());
    removeTreeNoShell(dir);
    return run;
}

}  // namespace rctest
