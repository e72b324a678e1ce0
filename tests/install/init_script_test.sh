#!/bin/sh
# Installs the agent and its init script into a temporary DESTDIR, lays a
# simulated headend out in the same directory and drives the init script
# there: status codes, start, a second start refused, stop, stop again,
# restart, and a pid file left by a dead process. The checks run twice: under
# the build machine's /bin/sh, and under BusyBox's sh with BusyBox's applets
# first in PATH, as the controller's init runs the script.
#
#   init_script_test.sh CMAKE BUILD_DIR SCRIPT_NAME [EMULATOR]
#
# With EMULATOR (a cross-built agent) the installed binary is wrapped so the
# script starts it through the emulator; the wrapper execs, so the pid the
# agent records is still the one the script stops.
set -u
CMAKE=$1
BUILD=$2
SCRIPT=$3
EMULATOR=${4:-}
SRC=$(cd "$(dirname "$0")/../.." && pwd)

busybox=$(command -v busybox) || { echo "FAIL: busybox is not installed (scripts/setup.sh installs it)"; exit 1; }
root=$(mktemp -d "${TMPDIR:-/tmp}/rc-install-XXXXXX") || exit 1
applets=$(mktemp -d "${TMPDIR:-/tmp}/rc-busybox-XXXXXX") || { rm -rf "$root"; exit 1; }
init="$root/etc/init.d/$SCRIPT"
pidfile="$root/var/run/remote-control.pid"
export REMOTE_CONTROL_ROOT="$root"
failures=0

cleanup() {
    if [ -r "$pidfile" ]; then
        pid=$(cat "$pidfile")
        kill -KILL "$pid" 2>/dev/null
    fi
    rm -rf "$root" "$applets"
}
trap cleanup EXIT
trap 'exit 1' INT TERM

shell=
fail() {
    echo "FAIL${shell:+ under $shell}: $*"
    failures=$((failures + 1))
}

# expect STATUS ACTION WHAT: runs the init script with ACTION under $shell,
# with $path as its PATH.
expect() {
    expected=$1
    action=$2
    what=$3
    out=$(PATH=$path $shell "$init" "$action" 2>&1)
    got=$?
    if [ "$got" -eq "$expected" ]; then
        echo "ok: $what (exit $got: $out)"
    else
        fail "$what: exit $got, expected $expected"
        echo "$out" | sed 's/^/    /'
    fi
}

alive() {
    kill -0 "$1" 2>/dev/null && [ "$(sed 's/.*) //; s/ .*//' "/proc/$1/stat" 2>/dev/null)" != Z ]
}

"$SRC/devkit/make-headend" "$root" --no-certs >/dev/null || { echo "FAIL: make-headend"; exit 1; }
DESTDIR="$root" "$CMAKE" --install "$BUILD" --prefix /usr >/dev/null || { echo "FAIL: cmake --install"; exit 1; }
[ -x "$root/usr/bin/remote-control" ] || fail "the agent is not installed in DESTDIR/usr/bin"
[ -x "$init" ] || { fail "the init script is not installed as /etc/init.d/$SCRIPT"; exit 1; }
grep -q '^DAEMON="$ROOT/usr/bin/remote-control"$' "$init" || fail "the init script does not name the installed agent"

if [ -n "$EMULATOR" ]; then
    mv "$root/usr/bin/remote-control" "$root/usr/bin/remote-control.target"
    printf '#!/bin/sh\nexec "%s" "%s" "$@"\n' "$EMULATOR" "$root/usr/bin/remote-control.target" \
        >"$root/usr/bin/remote-control"
    chmod 755 "$root/usr/bin/remote-control"
fi

"$busybox" --install -s "$applets" || { echo "FAIL: busybox --install"; exit 1; }
for shell in /bin/sh "$busybox sh"; do
    case $shell in
        /bin/sh) path=$PATH ;;
        *) path=$applets:$PATH ;;
    esac
    echo "--- $shell"
    expect 3 status "status before the first start"
    expect 0 start "start"
    first=$(cat "$pidfile" 2>/dev/null)
    alive "${first:-0}" || fail "no live agent behind the pid file after start"
    # Without this setting glibc's per-thread cache makes the daemon's memory creep.
    tr '\0' '\n' <"/proc/${first:-0}/environ" 2>/dev/null | grep -q '^GLIBC_TUNABLES=.*glibc.malloc.tcache_count=0' ||
        fail "the agent was started without glibc's per-thread cache turned off"
    expect 1 start "a second start is refused"
    [ "$(cat "$pidfile" 2>/dev/null)" = "$first" ] || fail "the refused start touched the pid file"
    alive "${first:-0}" || fail "the refused start stopped the running agent"
    expect 0 status "status while running"

    expect 0 stop "stop"
    alive "${first:-0}" && fail "the agent $first is still there after stop"
    [ -e "$pidfile" ] && fail "stop left the pid file"
    expect 0 stop "stop again"
    expect 3 status "status after stop"

    expect 0 start "start after stop"
    second=$(cat "$pidfile" 2>/dev/null)
    expect 0 restart "restart"
    third=$(cat "$pidfile" 2>/dev/null)
    alive "${second:-0}" && fail "restart left the old agent $second running"
    alive "${third:-0}" || fail "no live agent after restart"
    [ "$second" != "$third" ] || fail "restart kept the same pid $second"
    expect 0 stop "stop after restart"

    sh -c 'echo $$' >"$pidfile"  # a process that has certainly ended
    expect 1 status "status with a pid file left by a dead process"
    expect 0 stop "stop cleans up a stale pid file"
    [ -e "$pidfile" ] && fail "stop left the stale pid file"
    expect 2 reload "an unknown action"
done

if [ "$failures" -ne 0 ]; then
    echo "$failures check(s) failed"
    exit 1
fi
echo "all checks passed"
