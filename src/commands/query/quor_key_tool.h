// The controller's Quorvex key tool, which rebuilds the key file from the CAM
// list, or with -r first makes a new scrambling key.
#pragma once

namespace dorel_remote_control {

class Env;

enum class QuorKeyRun { kRebuildKeyFile, kNewScramblingKey };

// Runs "/dorel/bin/QuorKey [-r] /dorel/datosWeb/ScramblingKeys/quorkeys.txt"
// and returns its exit code (-1 when it did not exit in time); a failure is
// logged with its command line.
int runQuorKey(Env& env, QuorKeyRun run);

}  // namespace dorel_remote_control
