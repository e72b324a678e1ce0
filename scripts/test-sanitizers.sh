#!/usr/bin/env bash
# The CTest suite once more, built with -fsanitize=address,undefined
# (clang) into build-sanitize/: a leak, an overflow or undefined behaviour
# anywhere a test reaches fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir=${RC_SANITIZE_BUILD_DIR:-build-sanitize}
status=0
bash scripts/sanitizer-build.sh || status=$?
if [ "$status" -eq 3 ]; then
    echo "test-sanitizers: SKIP: no clang toolchain (see above)"
    exit 0
elif [ "$status" -ne 0 ]; then
    echo "test-sanitizers: the sanitizer build failed" >&2
    exit "$status"
fi

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
export RC_DEVKIT_CERT_CACHE=${RC_DEVKIT_CERT_CACHE:-$PWD/$build_dir/devkit-cert-cache}
built=$SECONDS
status=0
# The chaos test is left out: its fifty kills of a sanitized agent would take
# minutes and check nothing the plain build does not.
ctest --test-dir "$build_dir" --output-on-failure -j3 -E '^Chaos\.' </dev/null || status=$?
echo "test-sanitizers: build ${built} s, suite $((SECONDS - built)) s"
exit "$status"
