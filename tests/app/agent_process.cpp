#include "agent_process.h"

#include "common/fs.h"
#include "support/process_helpers.h"

#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

namespace rctest {

std::vector<std::string> agentCommandLine(const std::vector<std::string>& args) {
    std::vector<std::string> line;
#ifdef RC_AGENT_EMULATOR
    // The emulator passes the binary's path on as the agent's argv[0].
    line.push_back(RC_AGENT_EMULATOR);
#endif
    line.push_back(RC_AGENT_BINARY);
    line.insert(line.end(), args.begin(), args.end());
    return line;
}

AgentRun runAgent(const std::vector<std::string>& args, int timeoutSeconds) {
    AgentRun run;
    const std::string dir = makeTempDir("rc-agent-"), out = dir + "/out", err = dir + "/err";
    std::vector<std::string> line = agentCommandLine(args);
    std::vector<char*> argv;
    for (std::string& a : line) argv.push_back(&a[0]);
    argv.push_back(nullptr);
    run.pid = fork();
    if (run.pid == 0) {
        const int files[] = {open("/dev/null", O_RDONLY), open(out.c_str(), O_WRONLY | O_CREAT, 0600),
                             open(err.c_str(), O_WRONLY | O_CREAT, 0600)};
        for (int fd = 0; fd < 3; ++fd) {
            if (files[fd] < 0 || dup2(files[fd], fd) < 0) _exit(127);
        }
        flock(1, LOCK_SH);  // held while any process of the run holds its output
        execv(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    pid_t ended = 0;
    for (int i = 0; i < timeoutSeconds * 100 && ended == 0; ++i) {
        ended = waitpid(run.pid, &status, WNOHANG);
        if (ended == 0) usleep(10000);
    }
    if (ended != run.pid) {
        kill(run.pid, SIGKILL);
        waitpid(run.pid, &status, 0);
    }
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    // A process the agent left behind with its output (a daemon that kept it)
    // still writes there until it ends.
    const int held = open(out.c_str(), O_RDONLY);
    for (int i = 0; i < timeoutSeconds * 100 && flock(held, LOCK_EX | LOCK_NB) != 0; ++i) usleep(10000);
    close(held);
    dorel_remote_control::readFile(out, run.out);
    dorel_remote_control::readFile(err, run.err);
    removeTreeNoShell(dir);
    return run;
}

}  // namespace rctest
