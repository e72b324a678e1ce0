// Benchmark driver (not part of the agent): runs the agent's own poll loop
// pass after pass in one process, as the daemon does from its second pass on,
// but without the minute's wait between passes. Linked against the same
// library as the agent; nothing in the agent knows about it.
//
//   rc-bench-passes [--memory] PASSES
//
// Set-up as the agent's start-up does it (logging configuration, settings);
// the passes then run exactly PollLoop::runPass(). Without --memory nothing
// else runs, so callgrind counts the passes alone. With --memory the process's
// memory is read after every pass and printed on standard error, in KiB,
// after every pass that is a power of two and after the last one:
//   after-2 <owned> <file>
//   after-4 <owned> <file> ...
//   after-N <owned> <file>
//   highest-from-16 <owned>
// "owned" is the memory only this process holds and the kernel cannot take
// back without swapping: its anonymous pages (heap, stacks, the libraries'
// written data) plus any of them swapped out (Anonymous + Swap of
// /proc/self/smaps_rollup). "file" is the rest of Private_Clean +
// Private_Dirty: pages of the program's and libraries' files that no other
// process maps at that moment. Those are page cache, not the process's
// memory: they turn shared when any other process maps the same library, and
// the kernel drops them when it needs room, so they jump by megabytes between
// samples and between runs; a freshly linked binary's pages even count as
// dirty until they are written back. Growth is judged on "owned" alone.
#include "app/poll_cycle.h"
#include "common/dorelcommon.h"
#include "common/env.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <sys/inotify.h>

using namespace dorel_remote_control;

namespace {

struct Memory {
    long owned = 0;  // KiB
    long file = 0;   // KiB
};

Memory memoryNow() {
    std::ifstream rollup("/proc/self/smaps_rollup");
    std::string line;
    long priv = 0, anonymous = 0, swap = 0;
    auto value = [&line] { return std::atol(line.c_str() + line.find(':') + 1); };
    while (std::getline(rollup, line)) {
        if (line.rfind("Private_Clean:", 0) == 0 || line.rfind("Private_Dirty:", 0) == 0) priv += value();
        else if (line.rfind("Anonymous:", 0) == 0) anonymous = value();
        else if (line.rfind("Swap:", 0) == 0) swap = value();
    }
    Memory memory;
    memory.owned = anonymous + swap;
    memory.file = std::max(0L, priv - anonymous);
    return memory;
}

}  // namespace

int main(int argc, char** argv) {
    const bool memory = argc > 1 && std::strcmp(argv[1], "--memory") == 0;
    const int passes = argc > 1 + memory ? std::atoi(argv[1 + memory]) : 0;
    if (passes < 2) {
        std::fprintf(stderr, "usage: %s [--memory] PASSES (at least 2)\n", argv[0]);
        return 2;
    }
    const char* const ident = "remote-control";
    Env env(Env::rootFromEnvironment());
    LoggingState logging;
    logging.inotifyFd = inotify_init1(IN_NONBLOCK);
    logging.watch = configure_global_syslog(ident, ident, &env.debugMask(), logging.inotifyFd);

    PollContext context(env);
    PollLoop loop(context, logging);
    // From pass 16 on the heap has settled; the highest sample after it shows
    // a transient peak that the sampled passes might miss.
    long highest = 0;
    for (int pass = 1; pass <= passes; ++pass) {
        loop.runPass();
        if (!memory || pass < 2) continue;
        const Memory now = memoryNow();
        if (pass >= 16) highest = std::max(highest, now.owned);
        // Powers of two show whether memory settles or keeps growing.
        if ((pass & (pass - 1)) == 0 || pass == passes)
            std::fprintf(stderr, "after-%d %ld %ld\n", pass, now.owned, now.file);
    }
    if (memory && passes >= 16) std::fprintf(stderr, "highest-from-16 %ld\n", highest);
    return 0;
}
