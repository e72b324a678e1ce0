// The headend's programs the agent runs, and the one way it runs them.
//
// A program is started directly (posix_spawn), never through a shell: one
// process per call, and no text from the server or the database is ever read
// by a shell. Each runs in a process group of its own with a time-out from one
// table (programs.cpp); when the time-out passes, the whole group (a script
// and whatever it started) is killed and reaped, and the call has failed like
// any other failure of that program. Standard input is /dev/null, so nothing
// waits on a terminal; standard output is the agent's unless it is captured.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

namespace dorel_remote_control {

class Paths;

enum class Program {
    kSerial,          // /dorel/script/SERIAL
    kMac,             // /dorel/script/MAC
    kModelo,          // /dorel/script/MODELO
    kHostname,        // hostname
    kClienteXmlRpcStatus,  // /dorel/bin/clienteXMLRPC ... GetTable (a module's status)
    kClienteXmlRpcReset,   // /dorel/bin/clienteXMLRPC ... resetCAM / EjecutarScript reboot
    kMd5sum,          // /usr/bin/md5sum
    kFwUploadStart,   // /dorel/script/fw_upload_start.sh
    kFwUploadEnd,     // /dorel/script/fw_upload_end.sh
    kQuorKey,         // /dorel/bin/QuorKey
    kWanFromDb,       // /dorel/script/WAN_from_DB.sh
    kGetTimeOffsets,  // /dorel/script/get_time_offsets.sh
    kCrond,           // /etc/init.d/S60crond
    kReboot,          // reboot
    kCount
};

// One argument, and how the headend's command lines have always written it:
// the logged command line shows it that way, the program gets the text alone.
struct ProgramArgument {
    enum Quoting { kBare, kDouble, kSingle };
    ProgramArgument(std::string text, Quoting quoting = kBare) : text(std::move(text)), quoting(quoting) {}
    ProgramArgument(const char* text, Quoting quoting = kBare) : text(text), quoting(quoting) {}
    std::string text;
    Quoting quoting;
};

struct ProgramCall {
    ProgramCall(Program program, std::initializer_list<ProgramArgument> arguments = {})
        : program(program), arguments(arguments) {}
    Program program;
    std::vector<ProgramArgument> arguments;
};

struct ProgramResult {
    // The exit status; -1 when the program could not be started, was killed
    // by a signal or ran out of time.
    int exitCode = -1;
    bool timedOut = false;
    // What it printed, when the call captured its output (at most the limit
    // asked for; the rest is read and dropped, so the program never blocks).
    std::string output;
};

// The path a program is started from: its fixed path under the root, or, for
// the programs the headend finds through PATH (hostname, reboot), the bare
// name (<root>/bin/hostname and <root>/sbin/reboot under a root).
std::string programPath(const Paths& paths, Program program);

// The call as the headend's shell command line would read: what the agent
// logs. An argument that a shell would not take literally inside its quotes
// is shown single-quoted, so the line still says exactly what was passed.
std::string commandLine(const Paths& paths, const ProgramCall& call);

// The time-out of a program, in seconds (the table in programs.cpp).
unsigned programTimeoutSeconds(Program program);

// Starts the call's program (searched in PATH when its path holds no '/'),
// waits at most timeoutMillis, and returns its outcome; output is captured
// when captureLimit is above 0. A time-out or a failure to start is logged
// with the call's command line.
class Env;
ProgramResult runProgram(Env& env, const ProgramCall& call, unsigned timeoutMillis, size_t captureLimit);

}  // namespace dorel_remote_control
