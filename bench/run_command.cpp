// Benchmark driver: runs one command, given as its envelope text, against the
// headend under REMOTE_CONTROL_ROOT the way the agent would (settings loaded,
// factory, run, result printed), and reports the size of the result.
#include "commands/core/command.h"
#include "commands/core/dispatch.h"
#include "server/settings.h"

#include <cstdio>
#include <exception>

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s ENVELOPE\n", argv[0]);
        return 2;
    }
    try {
        dorel_remote_control::settings().load();
        auto command = dorel_remote_control::createCommand(argv[1]);
        if (!command) {
            fprintf(stderr, "unknown command\n");
            return 1;
        }
        command->run();
        const std::string printed = command->result().print();
        printf("%zu bytes\n", printed.size());
        return 0;
    } catch (const std::exception& e) {
        fprintf(stderr, "%s\n", e.what());
        return 1;
    }
}
