# Shared steps of the command benchmarks (get_configuration.sh,
# set_configuration.sh): the tools they need, the rc-bench-command driver, a
# work directory removed at exit, and callgrind's instruction count of a run.
# Sourced with `here` set to bench/ and the build directory as $1.

src=$(dirname "$here")
build=${1:-$src/build}
services=60
pids=8

if command -v dpkg-query >/dev/null; then
    "$here/needs.sh" valgrind sqlite3 time python3
fi
for tool in valgrind sqlite3 python3 /usr/bin/time; do
    command -v "$tool" >/dev/null || { echo "bench: $tool is needed" >&2; exit 1; }
done
# RC_BENCH_DRIVER=path measures another build's driver (built beforehand).
if [ -n "${RC_BENCH_DRIVER:-}" ]; then
    driver=$RC_BENCH_DRIVER
else
    cmake --build "$build" --target rc-bench-command -j2 >/dev/null
    driver="$build/rc-bench-command"
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/rc-bench-XXXXXX")
trap 'rm -rf "$work"' EXIT INT TERM

# Instructions of one run: callgrind's total, from its summary line.
instructions() {
    out="$work/callgrind.out"
    rm -f "$out"
    valgrind --tool=callgrind --callgrind-out-file="$out" "$@" >/dev/null 2>"$work/valgrind.log" || {
        cat "$work/valgrind.log" >&2
        exit 1
    }
    sed -n 's/^summary: *\([0-9]*\).*/\1/p' "$out"
}

# Peak RSS (KiB) of a plain run, the least of three.
peak_rss() {
    best=
    for _ in 1 2 3; do
        /usr/bin/time -f %M -o "$work/time" "$@" >/dev/null 2>&1 </dev/null
        rss=$(tail -n 1 "$work/time")
        if [ -z "$best" ] || [ "$rss" -lt "$best" ]; then best=$rss; fi
    done
    echo "$best"
}

# The memory bound of a whole-headend document: the run's peak RSS above the
# driver's own with a command that holds nothing (settings loaded, factory,
# result printed: what an empty pass holds), at most twice the document.
# Prints "above-base-KiB ratio" for PEAK-KiB DOCUMENT-BYTES BASE-KiB.
above_base() {
    python3 -c 'import sys; p, d, b = map(int, sys.argv[1:]); print("%d %.2f" % (p - b, (p - b) * 1024 / d))' "$@"
}
