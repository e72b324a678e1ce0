#include "agent_process.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
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
    int out[2], err[2];
    if (pipe(out) != 0 || pipe(err) != 0) return run;
    pid_t pid = fork();
    if (pid == 0) {
        dup2(out[1], 1);
        dup2(err[1], 2);
        close(out[0]);
        close(err[0]);
        int devnull = open("/dev/null", O_RDONLY);
        dup2(devnull, 0);
        std::vector<std::string> line = agentCommandLine(args);
        std::vector<char*> argv;
        for (std::string& a : line) argv.push_back(&a[0]);
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(out[1]);
    close(err[1]);
    run.pid = pid;
    struct pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
    std::string* sinks[2] = {&run.out, &run.err};
    int open = 2;
    time_t deadline = time(nullptr) + timeoutSeconds;
    while (open > 0 && time(nullptr) < deadline) {
        if (poll(fds, 2, 200) <= 0) continue;
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP))) continue;
            char buffer[4096];
            ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0) {
                sinks[i]->append(buffer, static_cast<size_t>(n));
            } else {
                close(fds[i].fd);
                fds[i].fd = -1;
                --open;
            }
        }
    }
    if (open > 0) kill(pid, SIGKILL);
    for (auto& f : fds) {
        if (f.fd >= 0) close(f.fd);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

}  // namespace rctest
