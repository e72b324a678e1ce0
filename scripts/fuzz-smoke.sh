#!/usr/bin/env bash
# A short run of every libFuzzer target over its seed corpus (fuzz/corpus/),
# built with AddressSanitizer and UndefinedBehaviorSanitizer in
# build-sanitize/. A fixed number of runs per target, bounded in time as well;
# new inputs and crash files go to a temporary directory, never into the
# repository. doc/fuzzing.md tells how to run a long campaign.
set -euo pipefail
cd "$(dirname "$0")/.."

RUNS=${RC_FUZZ_RUNS:-3000}
SECONDS_PER_TARGET=${RC_FUZZ_SECONDS:-15}
build_dir=${RC_SANITIZE_BUILD_DIR:-build-sanitize}
targets=(reply_intake command_envelope stored_row command_data server_reply xml_stream xml_print like value packed_rows)

status=0
bash scripts/sanitizer-build.sh "${targets[@]/#/fuzz_}" >/dev/null || status=$?
if [ "$status" -eq 3 ]; then
    echo "fuzz-smoke: SKIP: no clang toolchain (see above)"
    exit 0
elif [ "$status" -ne 0 ]; then
    echo "fuzz-smoke: the fuzz targets did not build" >&2
    exit "$status"
fi

# The targets' headends live in memory when possible: every input commits to
# the command store, and a disk sync per input would leave few runs.
if [ -z "${TMPDIR:-}" ] && [ -d /dev/shm ] && [ -w /dev/shm ]; then
    export TMPDIR=/dev/shm
fi
work=$(mktemp -d "${TMPDIR:-/tmp}/rc-fuzz-smoke-XXXXXX")
trap 'rm -rf "$work"' EXIT
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

failed=0
for t in "${targets[@]}"; do
    mkdir -p "$work/$t"
    start=$(date +%s)
    if "$build_dir/fuzz/fuzz_$t" "$work/$t" "fuzz/corpus/$t" -runs="$RUNS" \
            -max_total_time="$SECONDS_PER_TARGET" -max_len=65536 -timeout=10 \
            -artifact_prefix="$work/" >"$work/$t.log" 2>&1; then
        echo "fuzz-smoke: $t ok ($(grep -o 'Done [0-9]* runs' "$work/$t.log" | tail -1 || true), $(( $(date +%s) - start )) s)"
    else
        echo "fuzz-smoke: $t FAILED; its output:" >&2
        tail -60 "$work/$t.log" >&2
        for crash in "$work"/crash-* "$work"/leak-* "$work"/timeout-*; do
            [ -e "$crash" ] || continue
            keep="fuzz/corpus/$t/$(basename "$crash")"
            cp "$crash" "$keep"
            echo "fuzz-smoke: input kept as $keep (fix the fault, keep the input)" >&2
            rm -f "$crash"
        done
        failed=1
    fi
done
echo "fuzz-smoke: ${SECONDS} s in all"
exit "$failed"
