#!/usr/bin/env bash
# Configures and builds the second build directory (build-sanitize/, or
# $RC_SANITIZE_BUILD_DIR): clang with -fsanitize=address,undefined, the tests
# and the libFuzzer targets. Shared by scripts/test-sanitizers.sh and
# scripts/fuzz-smoke.sh; arguments name the targets to build (default: all).
# Installs clang and its runtime libraries when run as
# root; otherwise, when they are missing, prints a skip line and exits 3.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(clang libclang-rt-14-dev)
have_toolchain() {
    command -v clang++ >/dev/null 2>&1 &&
        ls /usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-*.a >/dev/null 2>&1
}
if ! have_toolchain; then
    if [ "$(id -u)" -eq 0 ] && command -v apt-get >/dev/null 2>&1; then
        echo "sanitizer-build: installing ${packages[*]}"
        export DEBIAN_FRONTEND=noninteractive
        apt-get -o DPkg::Lock::Timeout=600 update -qq </dev/null
        apt-get -o DPkg::Lock::Timeout=600 install -y -qq --no-install-recommends "${packages[@]}" </dev/null
    fi
    if ! have_toolchain; then
        echo "sanitizer-build: SKIP: clang or its sanitizer/fuzzer runtime (${packages[*]}) is missing; run as root to install it" >&2
        exit 3
    fi
fi

build_dir=${RC_SANITIZE_BUILD_DIR:-build-sanitize}
flags="-O1 -gline-tables-only -fno-omit-frame-pointer -fsanitize=address,undefined -fno-sanitize-recover=undefined"
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Debug \
      -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
      -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" \
      -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined" \
      -DRC_BUILD_FUZZERS=ON >/dev/null
if [ $# -gt 0 ]; then
    cmake --build "$build_dir" -j2 --target "$@"
else
    cmake --build "$build_dir" -j2
fi
