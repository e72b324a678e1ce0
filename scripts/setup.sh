#!/usr/bin/env bash
# Installs what the build needs (Debian packages, when run as root) and builds
# the agent and its tests into build/ ($RC_BUILD_DIR), or only the targets
# named as arguments. Shared by scripts/test.sh and scripts/demo.sh, so a
# fresh machine needs nothing else.
set -euo pipefail
cd "$(dirname "$0")/.."

if ! command -v dpkg >/dev/null 2>&1; then
    echo "setup: not a Debian system; assuming the build tools are present" >&2
    packages=()
else
    packages=(g++ cmake make pkg-config libsqlite3-dev libcurl4-openssl-dev libssl-dev librapidxml-dev
              zlib1g-dev libgtest-dev python3 openssl sqlite3 busybox)
fi
installed() {
    dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'
}
missing=()
for p in "${packages[@]}"; do
    installed "$p" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    if [ "$(id -u)" -eq 0 ]; then
        echo "setup: installing ${missing[*]}"
        export DEBIAN_FRONTEND=noninteractive
        apt-get update -qq </dev/null
        apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null
    else
        echo "setup: missing packages ${missing[*]}; run as root or install them first" >&2
        exit 1
    fi
fi

build_dir=${RC_BUILD_DIR:-build}
# Optimised without debug information: the build is done afresh on every CI
# machine, and debug information costs a fifth of its compile time.
build_type=${RC_BUILD_TYPE:-Release}
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE="$build_type" -DCMAKE_CXX_FLAGS_RELEASE="-O2 -DNDEBUG" >/dev/null
if [ $# -gt 0 ]; then
    cmake --build "$build_dir" -j"$(nproc)" --target "$@"
else
    cmake --build "$build_dir" -j"$(nproc)"
fi
