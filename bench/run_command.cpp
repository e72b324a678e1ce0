// Benchmark driver: runs one command, given as its envelope text, against the
// headend under REMOTE_CONTROL_ROOT the way the agent would (settings loaded,
// factory, run, result printed), and reports the size of the result.
//
//   rc-bench-command [--print] ENVELOPE | @FILE
//
// "@FILE" reads the envelope from a file (a whole-headend setConfiguration is
// far longer than one command-line argument may be); --print writes the
// printed result instead of its size.
#include "commands/core/command.h"
#include "commands/core/dispatch.h"
#include "server/settings.h"

#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <sstream>

int main(int argc, char** argv) {
    const bool print = argc == 3 && std::strcmp(argv[1], "--print") == 0;
    if (argc != 2 && !print) {
        fprintf(stderr, "usage: %s [--print] ENVELOPE|@FILE\n", argv[0]);
        return 2;
    }
    std::string envelope = argv[argc - 1];
    if (!envelope.empty() && envelope[0] == '@') {
        std::ifstream file(envelope.substr(1), std::ios::binary);
        if (!file) {
            fprintf(stderr, "cannot read %s\n", envelope.c_str() + 1);
            return 1;
        }
        std::ostringstream text;
        text << file.rdbuf();
        envelope = text.str();
    }
    try {
        dorel_remote_control::Env env(dorel_remote_control::Env::rootFromEnvironment());
        dorel_remote_control::settings().load(env);
        auto command = dorel_remote_control::createCommand(env, envelope);
        if (!command) {
            fprintf(stderr, "unknown command\n");
            return 1;
        }
        command->run();
        const std::string printed = command->result().print(env);
        if (print) {
            fwrite(printed.data(), 1, printed.size(), stdout);
        } else {
            printf("%zu bytes\n", printed.size());
        }
        return 0;
    } catch (const std::exception& e) {
        fprintf(stderr, "%s\n", e.what());
        return 1;
    }
}
