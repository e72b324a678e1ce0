#!/usr/bin/env bash
# The size of the stripped agent as it ships to the controller: the armhf
# release build, with the C++ runtime and SQLite linked in (the default) and
# without them. Installs the cross toolchain through scripts/setup-armhf.sh.
#
#   bench/armhf_size.sh
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup-armhf.sh </dev/null
for static in ON OFF; do
    dir=build-armhf-release-$static
    cmake -S . -B "$dir" -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-armhf.cmake -DRC_RELEASE=ON \
          -DRC_STATIC_RUNTIME=$static >/dev/null
    cmake --build "$dir" -j2 --target remote-control >/dev/null
    arm-linux-gnueabihf-strip -o "$dir/remote-control.stripped" "$dir/remote-control"
    printf 'RC_STATIC_RUNTIME=%-3s  stripped %9d bytes  needs: %s\n' "$static" \
        "$(stat -c %s "$dir/remote-control.stripped")" \
        "$(arm-linux-gnueabihf-readelf -d "$dir/remote-control" | sed -n 's/.*Shared library: \[\(.*\)\]/\1/p' | tr '\n' ' ')"
done
