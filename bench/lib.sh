# Shared steps of the benchmarks: a simulated headend with a running test
# server, and the two measurements every table shows (callgrind instructions;
# peak RSS and CPU time of a plain run). Sourced, not run.

BENCH_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
SOURCE_DIR=$(dirname "$BENCH_DIR")
BUILD_DIR=${RC_BUILD_DIR:-$SOURCE_DIR/build}
WORK=$(mktemp -d "${TMPDIR:-/tmp}/rc-bench.XXXXXX")
SERVER_PID=
CERT_CACHE=${RC_DEVKIT_CERT_CACHE:-$BUILD_DIR/devkit-cert-cache}

bench_cleanup() {
    if [ -n "$SERVER_PID" ]; then kill "$SERVER_PID" 2>/dev/null || true; wait "$SERVER_PID" 2>/dev/null || true; fi
    rm -rf "$WORK"
}
trap bench_cleanup EXIT

# Installs what the benchmarks use when missing (bench/needs.sh) and builds
# the targets named, unless RC_AGENT names an agent built beforehand.
bench_setup() {
    if command -v dpkg-query >/dev/null; then "$BENCH_DIR/needs.sh" valgrind curl sqlite3 time python3; fi
    [ -n "${RC_AGENT:-}" ] || RC_BUILD_DIR="$BUILD_DIR" bash "$SOURCE_DIR/scripts/setup.sh" "$@" >/dev/null
}

# headend ROOT MAKE-HEADEND-OPTIONS...: lays out an active headend.
headend() {
    local root=$1; shift
    RC_DEVKIT_CERT_CACHE=$CERT_CACHE "$SOURCE_DIR/devkit/make-headend" "$root" --active 1 "$@" >/dev/null
}

# start_server ROOT [SCRIPT]: a fresh test server (script SCRIPT, default
# "{}") that the headend points at; its port is in $PORT.
start_server() {
    local root=$1 script=${2:-}
    [ -n "$script" ] || { script=$WORK/script.json; echo '{}' >"$script"; }
    if [ -n "$SERVER_PID" ]; then kill "$SERVER_PID" 2>/dev/null || true; wait "$SERVER_PID" 2>/dev/null || true; fi
    rm -f "$WORK/port" "$WORK/requests.jsonl"
    python3 "$SOURCE_DIR/devkit/testserver.py" --root "$root" --script "$script" \
        --log "$WORK/requests.jsonl" --port-file "$WORK/port" --idle-exit 600 &
    SERVER_PID=$!
    for _ in $(seq 300); do [ -s "$WORK/port" ] && break; sleep 0.1; done
    PORT=$(cat "$WORK/port")
    sqlite3 "$root/dorel/DB/config_global.sqlite" \
        "UPDATE configuracionWebGlobal SET valor='https://127.0.0.1:$PORT/rc' WHERE nombre='servidorZAT_direccion'"
}

# instructions OUT COMMAND...: the command's instructions under callgrind (its
# own process only, not the programs it starts).
instructions() {
    local out=$1; shift
    valgrind --tool=callgrind --callgrind-out-file="$out" "$@" >/dev/null 2>&1 </dev/null
    awk '/^summary:/ {print $2}' "$out"
}

# usage COMMAND...: "peak-RSS-KiB cpu-seconds" of a plain run, the least of three.
usage() {
    local best_rss= best_cpu=
    for _ in 1 2 3; do
        /usr/bin/time -f '%M %U %S' -o "$WORK/time" "$@" >/dev/null 2>&1 </dev/null
        read -r rss user sys <"$WORK/time"
        local cpu; cpu=$(awk -v u="$user" -v s="$sys" 'BEGIN {printf "%.3f", u + s}')
        if [ -z "$best_rss" ] || [ "$rss" -lt "$best_rss" ]; then best_rss=$rss; fi
        if [ -z "$best_cpu" ] || awk -v a="$cpu" -v b="$best_cpu" 'BEGIN {exit !(a < b)}'; then best_cpu=$cpu; fi
    done
    echo "$best_rss $best_cpu"
}

# millions N: N instructions in millions, one decimal.
millions() { awk -v n="$1" 'BEGIN {printf "%.1f M", n / 1e6}'; }
thousands() { awk -v n="$1" 'BEGIN {printf "%.1f K", n / 1e3}'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN {printf "%.2f", a / b}'; }

# script_commands ROOT STATUS-FILE: the script a user would write for one
# pass, as two command arrays: RUN_SQLITE reads every row of the tables the
# status document is built from, RUN_CURL posts STATUS-FILE the way the agent
# does (same certificate, key, CA, password and headers). Needs $PORT.
STATUS_TABLES_CONFIG="configuracionWebGlobal RedesModulos EntradasGlobal NimGlobal SalidasLogicasGlobal"
STATUS_TABLES_TEMP="ModulosCabecera CAMInfoGlobal TempNIMGlobal"
script_commands() {
    local root=$1 status=$2 certs=$1/dorel/certs
    local sql="ATTACH '$root/tmp/temp_global.sqlite' AS t;"
    for table in $STATUS_TABLES_CONFIG; do sql+=" SELECT * FROM main.$table;"; done
    for table in $STATUS_TABLES_TEMP; do sql+=" SELECT * FROM t.$table;"; done
    RUN_SQLITE=(sqlite3 "$root/dorel/DB/config_global.sqlite" "$sql")
    RUN_CURL=(curl -sS -o /dev/null --cert "$certs/module/wmb-client.crt" --key "$certs/module/wmb.key"
              --cacert "$certs/dorel/wmb-ca-chain.pem" --capath "$certs/capath" -u rc-user:rc-pass
              -H "Accept: application/xml" -H "Content-Type: application/xml"
              --data-binary "@$status" "https://127.0.0.1:$PORT/rc/status")
}

# first_status FILE: the first status document the test server received.
first_status() {
    python3 -c 'import json,sys; print(json.loads(open(sys.argv[1]).readline())["body"], end="")' \
        "$WORK/requests.jsonl" >"$1"
}
