#!/usr/bin/env bash
# The steady-state pass: one process making pass after pass, the way the
# daemon runs from its second pass on (no process start, no dynamic linking,
# libcurl's handle, connection and TLS session kept), without waiting a real
# minute between passes: bench/pass_driver.cpp runs the agent's own
# PollLoop::runPass() in a loop.
#
#   bench/steady_state.sh [MODULES] [PASSES]     (default 8 modules, 1000 passes)
#
# Instructions per pass = (callgrind of 12 passes - callgrind of 2 passes) / 10,
# next to the script a user would write for one pass (bench/poll_pass.sh).
# Measured twice: with the test server keeping the connection open, and with
# the server closing it after every answer (as a server does after a minute of
# idleness), where the TLS session is resumed rather than negotiated afresh.
# Then the memory the process owns (its anonymous pages, see
# bench/pass_driver.cpp) after pass 2, 4, 8, ... and after pass PASSES, and its
# growth from pass 2 and from pass 16 (once the heap has settled) to the last.
set -euo pipefail
source "$(dirname "$0")/lib.sh"
bench_setup remote-control rc-bench-passes
DRIVER=$BUILD_DIR/rc-bench-passes
modules=${1:-8}
passes=${2:-1000}

root=$WORK/headend
headend "$root" --modules "$modules"
export REMOTE_CONTROL_ROOT=$root

# A script whose status answers all ask the client to close the connection.
closing=$WORK/closing.json
python3 - "$closing" <<'PY'
import json, sys
answer = {"code": 200, "body": '<?xml version="1.0" encoding="utf-8"?>\n<statusReply></statusReply>',
          "headers": {"Connection": "close"}}
json.dump({"routes": {"/rc/status": [answer] * 40}}, open(sys.argv[1], "w"))
PY

per_pass() {
    local two twelve
    two=$(instructions "$WORK/p2.out" "$DRIVER" 2)
    twelve=$(instructions "$WORK/p12.out" "$DRIVER" 12)
    echo $(( (twelve - two) / 10 ))
}

start_server "$root"
kept=$(per_pass)
first_status "$WORK/status.xml"
script_commands "$root" "$WORK/status.xml"
script=$(( $(instructions "$WORK/c.out" "${RUN_CURL[@]}") + $(instructions "$WORK/s.out" "${RUN_SQLITE[@]}") ))
start_server "$root" "$closing"
closed=$(per_pass)

echo "steady-state pass, $modules modules (target: at most 0.50 x the script)"
printf '%-34s %-10s %s\n' "" instructions "ratio to script"
printf '%-34s %-10s %s\n' "script (curl + sqlite3), one pass" "$(millions "$script")" "1.00"
printf '%-34s %-10s %s\n' "agent pass, connection kept" "$(millions "$kept")" "$(ratio "$kept" "$script")"
printf '%-34s %-10s %s\n' "agent pass, server closes" "$(millions "$closed")" "$(ratio "$closed" "$script")"

start_server "$root"
"$DRIVER" --memory "$passes" >/dev/null 2>"$WORK/memory"
owned() { awk -v p="after-$1" '$1 == p {print $2}' "$WORK/memory"; }
echo
echo "memory over $passes passes, KiB (target: owned memory grows less than 64 KiB)"
printf '  %-10s %-7s %s\n' "after pass" owned "file pages no other process maps (page cache, not counted)"
awk '/^after-/ {n = $1; sub("after-", "", n); printf "  %-10s %-7s %s\n", n, $2, $3}' "$WORK/memory"
last=$(owned "$passes")
growth() { local from; from=$(owned "$1"); [ -n "$from" ] && echo "$((last - from)) KiB" || echo "-"; }
highest=$(awk '/^highest-from-16 / {print $2}' "$WORK/memory")
echo "growth to pass $passes: from pass 2 $(growth 2), from pass 16 $(growth 16)" \
     "(target: under 64 KiB); highest after pass 16: ${highest:--} KiB"
