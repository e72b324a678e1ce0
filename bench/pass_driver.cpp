// Benchmark driver (not part of the agent): runs the agent's own poll loop
// pass after pass in one process, as the daemon does from its second pass on,
// but without the minute's wait between passes. Linked against the same
// library as the agent; nothing in the agent knows about it.
//
//   rc-bench-passes PASSES
//
// Set-up as the agent's start-up does it (logging configuration, settings);
// the passes then run exactly PollLoop::runPass(). Prints the process's private
// memory (Private_Clean + Private_Dirty of /proc/self/smaps_rollup) after
// every pass that is a power of two and after the last one, in KiB, on
// standard error:
//   private-after-2 <KiB>
//   private-after-4 <KiB> ...
//   private-after-N <KiB>
#include "app/poll_cycle.h"
#include "common/dorelcommon.h"
#include "common/log.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <sys/inotify.h>

using namespace dorel_remote_control;

namespace {

long privateKib() {
    std::ifstream rollup("/proc/self/smaps_rollup");
    std::string line;
    long total = 0;
    while (std::getline(rollup, line)) {
        if (line.rfind("Private_Clean:", 0) == 0 || line.rfind("Private_Dirty:", 0) == 0)
            total += std::atol(line.c_str() + line.find(':') + 1);
    }
    return total;
}

}  // namespace

int main(int argc, char** argv) {
    const int passes = argc > 1 ? std::atoi(argv[1]) : 0;
    if (passes < 2) {
        std::fprintf(stderr, "usage: %s PASSES (at least 2)\n", argv[0]);
        return 2;
    }
    const char* const ident = "remote-control";
    debugMask = 0;
    LoggingState logging;
    logging.inotifyFd = inotify_init1(IN_NONBLOCK);
    logging.watch = configure_global_syslog(ident, ident, &debugMask, logging.inotifyFd);

    PollContext context;
    PollLoop loop(context, logging);
    for (int pass = 1; pass <= passes; ++pass) {
        loop.runPass();
        // Powers of two show whether memory settles or keeps growing.
        if (pass >= 2 && (pass & (pass - 1)) == 0 && pass != passes)
            std::fprintf(stderr, "private-after-%d %ld\n", pass, privateKib());
    }
    std::fprintf(stderr, "private-after-%d %ld\n", passes, privateKib());
    return 0;
}
