#!/usr/bin/env bash
# Peak memory of a `--once` pass whose status reply carries many commands:
# one reply of 10 commands and one of 5,000 (getScheduledCommands, which
# changes nothing), each answered by the test server. The agent stores every
# command before the first runs, runs them in order and posts each result.
#
#   bench/reply_memory.sh [COUNTS...]     (default 10 5000)
#
# Prints peak RSS per count, the growth over the first count (target: at most
# 4 MB for 5,000 commands), and whether every result came back in reply order.
set -euo pipefail
source "$(dirname "$0")/lib.sh"
bench_setup remote-control
AGENT=${RC_AGENT:-$BUILD_DIR/remote-control}
counts=("$@")
[ ${#counts[@]} -gt 0 ] || counts=(10 5000)

printf '%-9s %-11s %-9s %s\n' commands peak-RSS growth "results in order"
base_rss=
for n in "${counts[@]}"; do
    root=$WORK/h$n
    headend "$root" --modules 2
    python3 - "$n" "$WORK/reply.json" <<'PY'
import json, sys
n = int(sys.argv[1])
commands = "".join("<command><id>%d</id><data><getScheduledCommands/></data></command>" % (i + 1)
                   for i in range(n))
body = ('<?xml version="1.0" encoding="utf-8"?>\n<statusReply><result>0</result><commands>%s'
        '</commands></statusReply>' % commands)
json.dump({"routes": {"/rc/status": [{"body": body}]}}, open(sys.argv[2], "w"))
PY
    start_server "$root" "$WORK/reply.json"
    REMOTE_CONTROL_ROOT=$root /usr/bin/time -f '%M' -o "$WORK/time" \
        "$AGENT" --once -p "$root/var/run/remote-control.pid" >/dev/null 2>&1 </dev/null
    rss=$(cat "$WORK/time")
    order=$(python3 - "$WORK/requests.jsonl" "$n" <<'PY'
import json, re, sys
ids = [int(m.group(1)) for line in open(sys.argv[1])
       for m in [re.search(r"<commandId>(\d+)</commandId>", json.loads(line).get("body", ""))]
       if json.loads(line).get("path", "").endswith("/commandResult") and m]
print("yes" if ids == list(range(1, int(sys.argv[2]) + 1)) else "NO (%d results)" % len(ids))
PY
)
    [ -n "$base_rss" ] || base_rss=$rss
    printf '%-9s %-11s %-9s %s\n' "$n" "${rss}K" "$((rss - base_rss))K" "$order"
done
