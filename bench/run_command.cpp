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
#include <string>
#include <utility>

int main(int argc, char** argv) {
    const bool print = argc == 3 && std::strcmp(argv[1], "--print") == 0;
    if (argc != 2 && !print) {
        fprintf(stderr, "usage: %s [--print] ENVELOPE|@FILE\n", argv[0]);
        return 2;
    }
    std::string envelope = argv[argc - 1];
    if (!envelope.empty() && envelope[0] == '@') {
        // Read into one string of the file's size: the agent holds a
        // command's text once, and so does the driver.
        FILE* file = fopen(envelope.c_str() + 1, "rb");
        long size = -1;
        if (file != nullptr && fseek(file, 0, SEEK_END) == 0) size = ftell(file);
        if (size < 0 || fseek(file, 0, SEEK_SET) != 0) {
            fprintf(stderr, "cannot read %s\n", envelope.c_str() + 1);
            if (file != nullptr) fclose(file);
            return 1;
        }
        std::string text(static_cast<size_t>(size), '\0');
        const size_t read = fread(&text[0], 1, text.size(), file);
        fclose(file);
        text.resize(read);
        envelope = std::move(text);
    }
    try {
        dorel_remote_control::Env env(dorel_remote_control::Env::rootFromEnvironment());
        dorel_remote_control::settings().load(env);
        auto command = dorel_remote_control::createCommand(env, std::move(envelope));
        if (!command) {
            fprintf(stderr, "unknown command\n");
            return 1;
        }
        command->run();
        const std::string& printed = command->result().print(env);
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
