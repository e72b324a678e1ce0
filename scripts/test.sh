#!/usr/bin/env bash
# The one command that builds the agent and runs every test, on a fresh Debian
# machine too: as root it installs what is missing first. Needs no terminal
# (works with CI=true and no standard input). Exits with CTest's status, and
# CTest's summary is the last thing printed.
set -euo pipefail

cd "$(dirname "$0")/.."

BUILD_DIR=${RC_BUILD_DIR:-build}
JOBS=2

# Installs what is missing and builds the agent and every test.
RC_BUILD_DIR="$BUILD_DIR" bash scripts/setup.sh </dev/null

# One certificate set for the self-check and every test that makes a headend.
export RC_DEVKIT_CERT_CACHE="$PWD/$BUILD_DIR/devkit-cert-cache"
# A broken dev kit is reported as such, but the agent's tests still run.
selftest=0
bash devkit/selftest.sh </dev/null || selftest=$?

# ---- hardening: the suite under ASan/UBSan, fuzz smoke runs (fuzz/README.md) ----
hardening=0
bash scripts/test-sanitizers.sh </dev/null || hardening=1
bash scripts/fuzz-smoke.sh </dev/null || hardening=1
# ---- end of hardening ----

status=0
ctest --test-dir "$BUILD_DIR" --output-on-failure -j"$JOBS" </dev/null || status=$?
if [ "$status" -eq 0 ] && [ "$selftest" -ne 0 ]; then
    echo "test.sh: the dev kit self-check failed (see above)" >&2
    status=$selftest
fi
if [ "$status" -eq 0 ] && [ "$hardening" -ne 0 ]; then
    echo "test.sh: the sanitizer suite or a fuzz smoke run failed (see above)" >&2
    status=1
fi
exit "$status"
