#!/usr/bin/env bash
# Cross-builds the agent and its tests for the controller (32-bit ARM, armhf)
# and runs the same CTest suite under qemu-user. Called by scripts/test.sh;
# runs on its own too. Installs what it needs through scripts/setup-armhf.sh.
#
# Exit status: CTest's; 3 when the armhf suite cannot run on this machine
# (one line says why).
set -euo pipefail
cd "$(dirname "$0")/.."

BUILD_DIR=${RC_ARMHF_BUILD_DIR:-build-armhf}
JOBS=2
# Under the emulator a test spends most of its time starting up and waiting
# for the dev kit's servers, so one more test than cores runs at once.
TEST_JOBS=3
export RC_DEVKIT_CERT_CACHE=${RC_DEVKIT_CERT_CACHE:-$PWD/$BUILD_DIR/devkit-cert-cache}

stage_start=$SECONDS
lap() {
    echo "armhf: $1 took $((SECONDS - stage_start)) s"
    stage_start=$SECONDS
}

setup=0
bash scripts/setup-armhf.sh </dev/null || setup=$?
[ "$setup" -eq 0 ] || exit "$setup"
lap "setup"

# Optimised like the native build but without debug information, which is
# most of the compile and link time of the tests; the build directory is
# kept between runs, so only what changed is built again.
cmake -S . -B "$BUILD_DIR" -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-armhf.cmake \
      -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE="-O2 -DNDEBUG" >/dev/null
cmake --build "$BUILD_DIR" -j"$JOBS"
lap "cross-build"

status=0
ctest --test-dir "$BUILD_DIR" --output-on-failure -j"$TEST_JOBS" </dev/null || status=$?
lap "suite under qemu-user"
exit "$status"
