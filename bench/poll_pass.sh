#!/usr/bin/env bash
# One `--once` poll pass against a scripted mutual-TLS test server, next to
# the script a user would write for the same work: sqlite3 reading every row
# of the tables the status document is built from, and curl posting that same
# document with the same certificate, key and password.
#
#   bench/poll_pass.sh [MODULES...]      (default 8 16 32 48)
#   RC_AGENT=path/to/remote-control bench/poll_pass.sh   (another build)
#
# Prints instructions (callgrind, the agent's own process: the XML-RPC stubs it
# starts are not counted), peak RSS and CPU time (user + system, the stubs
# included, least of three runs), the ratios and the targets.
set -euo pipefail
source "$(dirname "$0")/lib.sh"
bench_setup remote-control
AGENT=${RC_AGENT:-$BUILD_DIR/remote-control}
sizes=("$@")
[ ${#sizes[@]} -gt 0 ] || sizes=(8 16 32 48)

printf '%-7s | %-10s %-10s %-5s | %-9s %-9s %-5s | %-7s %-7s\n' modules agent script ratio \
    "agent-RSS" "curl-RSS" ratio "agent-s" "script-s"
declare -A agent_ir script_ir
for n in "${sizes[@]}"; do
    root=$WORK/h$n
    headend "$root" --modules "$n"
    start_server "$root"
    export REMOTE_CONTROL_ROOT=$root
    run_agent=("$AGENT" --once -p "$root/var/run/remote-control.pid")
    agent_ir[$n]=$(instructions "$WORK/agent.$n.out" "${run_agent[@]}")
    read -r agent_rss agent_cpu < <(usage "${run_agent[@]}")

    # The document the agent posted is the one curl posts.
    first_status "$WORK/status.xml"
    script_commands "$root" "$WORK/status.xml"
    run_curl=("${RUN_CURL[@]}")
    run_sqlite=("${RUN_SQLITE[@]}")
    curl_ir=$(instructions "$WORK/curl.$n.out" "${run_curl[@]}")
    sqlite_ir=$(instructions "$WORK/sqlite.$n.out" "${run_sqlite[@]}")
    script_ir[$n]=$((curl_ir + sqlite_ir))
    read -r curl_rss curl_cpu < <(usage "${run_curl[@]}")
    read -r _ sqlite_cpu < <(usage "${run_sqlite[@]}")
    script_cpu=$(awk -v a="$curl_cpu" -v b="$sqlite_cpu" 'BEGIN {printf "%.3f", a + b}')

    printf '%-7s | %-10s %-10s %-5s | %-9s %-9s %-5s | %-7s %-7s\n' "$n" \
        "$(millions "${agent_ir[$n]}")" "$(millions "${script_ir[$n]}")" "$(ratio "${agent_ir[$n]}" "${script_ir[$n]}")" \
        "${agent_rss}K" "${curl_rss}K" "$(ratio "$agent_rss" "$curl_rss")" "$agent_cpu" "$script_cpu"
    [ -z "${KEEP_PROFILES:-}" ] || cp "$WORK/agent.$n.out" "$KEEP_PROFILES/agent.$n.callgrind"
done

first=${sizes[0]}; last=${sizes[${#sizes[@]}-1]}
echo
echo "targets: ratio <= 1.00 at 8 modules, <= 1.10 at 48; RSS ratio <= 1.10"
if [ "$first" != "$last" ]; then
    per_agent=$(( (agent_ir[$last] - agent_ir[$first]) / (last - first) ))
    per_script=$(( (script_ir[$last] - script_ir[$first]) / (last - first) ))
    echo "per added module: agent $(thousands "$per_agent"), script $(thousands "$per_script")," \
         "ratio $(ratio "$per_agent" "$per_script") (target <= 2.00)"
fi
