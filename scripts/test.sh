#!/usr/bin/env bash
# The one command that builds the agent and runs every test, on a fresh Debian
# machine too: as root it installs what is missing first. Needs no terminal
# (works with CI=true and no standard input). Stages, in order: the native
# suite, the suite under ASan/UBSan with the fuzz smoke runs, and the suite
# cross-built for the controller (armhf) under qemu-user. The last line names
# each stage's outcome; the exit status is non-zero when any stage failed.
set -euo pipefail

cd "$(dirname "$0")/.."

BUILD_DIR=${RC_BUILD_DIR:-build}
# The tests spend most of their time waiting on servers, stand-ins and
# retries, so three run at once on two cores.
JOBS=3

# Installs what is missing and builds the agent and every test.
RC_BUILD_DIR="$BUILD_DIR" bash scripts/setup.sh </dev/null

# The dev kit's Python tools start a thousand times in a run: a version
# manager's shim in front of python3 (pyenv's costs 0.6 s a start) would cost
# more than the tests themselves, so the system's own python3 comes first.
if [ -x /usr/bin/python3 ]; then
    mkdir -p "$BUILD_DIR/python-bin"
    ln -sf /usr/bin/python3 "$BUILD_DIR/python-bin/python3"
    export PATH="$PWD/$BUILD_DIR/python-bin:$PATH"
fi

# One certificate set for the self-check and every test that makes a headend.
export RC_DEVKIT_CERT_CACHE="$PWD/$BUILD_DIR/devkit-cert-cache"
# A broken dev kit is reported as such, but the agent's tests still run.
selftest=0
bash devkit/selftest.sh </dev/null || selftest=$?

status=0
ctest --test-dir "$BUILD_DIR" --output-on-failure -j"$JOBS" </dev/null || status=$?
if [ "$status" -eq 0 ] && [ "$selftest" -ne 0 ]; then
    echo "test.sh: the dev kit self-check failed (see above)" >&2
    status=$selftest
fi
native_result=$([ "$status" -eq 0 ] && echo passed || echo FAILED)

# ---- hardening: the suite under ASan/UBSan, fuzz smoke runs (doc/fuzzing.md) ----
hardening=0
bash scripts/test-sanitizers.sh </dev/null || hardening=1
bash scripts/fuzz-smoke.sh </dev/null || hardening=1
hardening_result=$([ "$hardening" -eq 0 ] && echo passed || echo FAILED)
[ "$hardening" -eq 0 ] || status=1
# ---- end of hardening ----

# --- armhf: the same suite cross-built for the controller, under qemu-user ---
armhf=0
bash scripts/test-armhf.sh </dev/null || armhf=$?
case "$armhf" in
    0) armhf_result=passed ;;
    3) armhf_result="skipped (see the line above)" ;;
    *) armhf_result="FAILED (see its CTest summary above)"
       [ "$status" -ne 0 ] || status=$armhf ;;
esac
# --- end of the armhf block ---

echo "test.sh: amd64 $native_result, sanitizers and fuzz smoke $hardening_result, armhf $armhf_result"
exit "$status"
