#!/usr/bin/env bash
# The one command that builds the agent and runs every test, on a fresh Debian
# machine too: as root it installs what is missing first. Needs no terminal
# (works with CI=true and no standard input). Exits with CTest's status, and
# CTest's summary is the last thing printed.
set -euo pipefail

cd "$(dirname "$0")/.."

PACKAGES=(g++ cmake pkg-config libsqlite3-dev libcurl4-openssl-dev librapidxml-dev
          zlib1g-dev libgtest-dev python3 openssl sqlite3)
BUILD_DIR=${RC_BUILD_DIR:-build}
JOBS=2

installed() {
    dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'
}

install_missing() {
    if ! command -v dpkg-query >/dev/null 2>&1; then
        echo "test.sh: not a Debian system; assuming the build tools are present" >&2
        return
    fi
    local missing=()
    for p in "${PACKAGES[@]}"; do
        installed "$p" || missing+=("$p")
    done
    [ ${#missing[@]} -eq 0 ] && return
    if [ "$(id -u)" -ne 0 ]; then
        echo "test.sh: missing packages: ${missing[*]} (run as root to install them)" >&2
        exit 1
    fi
    echo "test.sh: installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update </dev/null
    apt-get install -y --no-install-recommends "${missing[@]}" </dev/null
}

install_missing

cmake -S . -B "$BUILD_DIR" -DCMAKE_BUILD_TYPE=RelWithDebInfo </dev/null
cmake --build "$BUILD_DIR" -j"$JOBS" </dev/null

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
exit "$status"
