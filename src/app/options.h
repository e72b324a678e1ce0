// The command line: remote-control [ -pdoxvh ] configDB tmpDB modelo
#pragma once

#include <cstdio>
#include <string>

namespace dorel_remote_control {

struct Options {
    std::string pidfile;          // empty: the fixed pid-file path
    bool daemon = false;
    bool once = false;
    bool showxml = false;         // accepted; no effect in this version
    bool version = false;
    bool help = false;
    std::string programName;
    int firstPositional = 0;      // the parser's position when it stopped
};

enum class ParseOutcome { kRun, kExitSuccess, kExitFailure };

// Parses argv. -h prints the usage to out (kExitSuccess); an unknown option or
// a missing -p argument prints "Try `<prog> --help' for more information." to
// err (kExitFailure).
// Plain stdio rather than streams: the agent links no stream code at all.
ParseOutcome parseCommandLine(int argc, char** argv, Options& options, FILE* out, FILE* err);

void printUsage(const std::string& programName, FILE* out);
void printVersion(FILE* out);

}  // namespace dorel_remote_control
