// remote-control: links a headend's controller to the central remote-control
// server. Start-up: command line, logging, daemon mode, single instance, then
// the poll cycle.
#include "app/options.h"
#include "app/poll_cycle.h"
#include "common/dorelcommon.h"
#include "common/env.h"
#include "server/settings.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/inotify.h>
#include <unistd.h>

using namespace dorel_remote_control;

namespace {

const char* const kIdent = "remote-control";

// A broken connection must turn into a failed write, not kill the daemon.
void ignoreSignal(int) {}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    switch (parseCommandLine(argc, argv, options, stdout, stderr)) {
        case ParseOutcome::kExitSuccess: return 0;
        case ParseOutcome::kExitFailure: return 1;
        case ParseOutcome::kRun: break;
    }

    Env env(Env::rootFromEnvironment());
    env.debugMask() = 0;
    LoggingState logging;
    logging.inotifyFd = inotify_init1(IN_NONBLOCK);
    logging.watch = configure_global_syslog(kIdent, kIdent, &env.debugMask(), logging.inotifyFd);

    if (options.version) {
        printVersion(stdout);
        return 0;
    }

    if (options.daemon) {
        env.log(6, "Entering deamon mode...");
        if (daemon(1, 0) != 0) env.log(3, "daemon() failed; staying in the foreground");
    }

    if (options.pidfile.empty()) options.pidfile = env.paths().defaultPidFile();
    EvitarMultiplesInstancias(options.pidfile.c_str());

    if (options.once) settings().setRunOnce(true);

    struct sigaction action {};
    action.sa_handler = ignoreSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;
    sigaction(SIGPIPE, &action, nullptr);

    PollContext context(env);
    pollCycle(context, logging);
    return 0;
}
