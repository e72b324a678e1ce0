#!/usr/bin/env bash
# Installs what the build needs (Debian packages, when run as root) and builds
# the agent and its tests into build/ (or only the targets named as arguments). Shared by scripts/test.sh and
# scripts/demo.sh, so a fresh machine needs nothing else.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(g++ cmake make pkg-config libsqlite3-dev libcurl4-openssl-dev librapidxml-dev zlib1g-dev
          libgtest-dev python3 openssl sqlite3)
missing=()
for p in "${packages[@]}"; do
    dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    if [ "$(id -u)" -eq 0 ]; then
        echo "setup: installing ${missing[*]}"
        export DEBIAN_FRONTEND=noninteractive
        apt-get update -qq
        apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
    else
        echo "setup: missing packages ${missing[*]}; run as root or install them first" >&2
        exit 1
    fi
fi

build_type=${RC_BUILD_TYPE:-RelWithDebInfo}
cmake -S . -B build -DCMAKE_BUILD_TYPE="$build_type" >/dev/null
if [ $# -gt 0 ]; then
    cmake --build build -j"$(nproc)" --target "$@"
else
    cmake --build build -j"$(nproc)"
fi
