#!/usr/bin/env bash
# Peak memory of a `--once` pass whose status reply carries many commands, or
# one large one, each answered by the test server. The agent stores every
# command before the first runs, runs them in order and posts each result.
#
#   bench/reply_memory.sh [CASES...]     (default 0 10 5000 large-known large-unknown setconfig)
#
# A number N: a reply of N getScheduledCommands (which change nothing).
# large-known: one changePassword whose element holds 10 MB of small elements
# beside its parameters; large-unknown: the same under a name no command has.
# setconfig: the whole-headend setConfiguration of a 48-module headend (60
# services of 8 PIDs), made from its own getConfiguration.
#
# Prints peak RSS per case, the growth over the first case (targets: 5,000
# commands at most 4 MB above 10; a large command at most twice the reply's
# size above the first case, an empty reply), and whether every result came
# back in reply order. RC_AGENT=path measures another build; RC_BENCH_DRIVER
# (the rc-bench-command that makes the setconfig document) likewise.
set -euo pipefail
source "$(dirname "$0")/lib.sh"
bench_setup remote-control
AGENT=${RC_AGENT:-$BUILD_DIR/remote-control}
cases=("$@")
[ ${#cases[@]} -gt 0 ] || cases=(0 10 5000 large-known large-unknown setconfig)

# reply_body CASE ROOT: the reply's body on standard output; the number of
# results the server must get back, in order, on the last line of $WORK/expected.
reply_body() {
    python3 - "$1" "$2" "$WORK" <<'PY'
import sys
case, root, work = sys.argv[1:]
def small(i):
    return "<command><id>%d</id><data><getScheduledCommands/></data></command>" % i
def padded(name):
    padding = "<p>0123456789abcdefghij</p>" * (10 * 1024 * 1024 // 27)
    return ("<command><id>1</id><data><%s><username>nobody</username><password>x</password>%s</%s></data>"
            "</command>" % (name, padding, name))
if case == "large-known":
    commands, expected = padded("changePassword"), 1
elif case == "large-unknown":
    commands, expected = padded("noSuchCommand"), 0
elif case == "setconfig":
    commands, expected = open(work + "/setconfig.xml").read(), 1
else:
    commands, expected = "".join(small(i + 1) for i in range(int(case))), int(case)
sys.stdout.write('<?xml version="1.0" encoding="utf-8"?>\n<statusReply><result>0</result><commands>%s'
                 '</commands></statusReply>' % commands)
open(work + "/expected", "w").write("%d\n" % expected)
PY
}

# The setConfiguration envelope of a headend: its own configuration sent back.
setconfig_document() {
    local root=$1 driver=${RC_BENCH_DRIVER:-}
    if [ -z "$driver" ]; then
        cmake --build "$BUILD_DIR" --target rc-bench-command -j2 >/dev/null
        driver=$BUILD_DIR/rc-bench-command
    fi
    REMOTE_CONTROL_ROOT=$root "$driver" --print '<command><id>1</id><data><getConfiguration/></data></command>' \
        >"$WORK/get.xml"
    python3 - "$WORK/get.xml" "$WORK/setconfig.xml" <<'PY'
import sys
import xml.etree.ElementTree as ET
configuration = ET.parse(sys.argv[1]).getroot().find("data/getConfigurationResult/configuration")
text = ET.tostring(configuration.find("modules"), encoding="unicode")
open(sys.argv[2], "w").write("<command><id>1</id><data><setConfiguration><configuration>%s</configuration>"
                             "</setConfiguration></data></command>" % text)
PY
}

printf '%-13s %-11s %-11s %-9s %-6s %s\n' case reply peak-RSS growth "x doc" "results in order"
base_rss=
for c in "${cases[@]}"; do
    root=$WORK/h$c
    if [ "$c" = setconfig ]; then
        headend "$root" --modules 48 --services 60 --pids 8
        setconfig_document "$root"
    else
        headend "$root" --modules 2
    fi
    reply_body "$c" "$root" >"$WORK/body.xml"
    bytes=$(wc -c <"$WORK/body.xml")
    python3 -c 'import json, sys; json.dump({"routes": {"/rc/status": [{"body": open(sys.argv[1]).read()}]}},
                                             open(sys.argv[2], "w"))' "$WORK/body.xml" "$WORK/reply.json"
    start_server "$root" "$WORK/reply.json"
    REMOTE_CONTROL_ROOT=$root /usr/bin/time -f '%M' -o "$WORK/time" \
        "$AGENT" --once -p "$root/var/run/remote-control.pid" >/dev/null 2>&1 </dev/null
    rss=$(tail -n 1 "$WORK/time")
    order=$(python3 - "$WORK/requests.jsonl" "$(cat "$WORK/expected")" <<'PY'
import json, re, sys
ids = [int(m.group(1)) for line in open(sys.argv[1])
       for m in [re.search(r"<commandId>(\d+)</commandId>", json.loads(line).get("body", ""))]
       if json.loads(line).get("path", "").endswith("/commandResult") and m]
print("yes" if ids == list(range(1, int(sys.argv[2]) + 1)) else "NO (%d results)" % len(ids))
PY
)
    [ -n "$base_rss" ] || base_rss=$rss
    times=$(python3 -c 'import sys; g, b = int(sys.argv[1]), int(sys.argv[2]); print("%.2f" % (g * 1024 / b))' \
        "$((rss - base_rss))" "$bytes")
    printf '%-13s %-11s %-11s %-9s %-6s %s\n' "$c" "$bytes" "${rss}K" "$((rss - base_rss))K" "$times" "$order"
    rm -rf "$root"
done
echo "(x doc: growth over the first case / the reply's size; target at most 2.00 for a large command)"
