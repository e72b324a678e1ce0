#!/bin/sh
# bench/needs.sh PACKAGE...: makes sure the Debian packages a benchmark uses
# are installed (installing the missing ones when run as root). The tests do
# not need them, so scripts/setup.sh leaves them out.
set -eu
missing=
for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing="$missing $p"
done
[ -z "$missing" ] && exit 0
if [ "$(id -u)" -ne 0 ]; then
    echo "bench: missing packages$missing; run as root or install them first" >&2
    exit 1
fi
echo "bench: installing$missing" >&2
export DEBIAN_FRONTEND=noninteractive
apt-get -o DPkg::Lock::Timeout=600 update -qq </dev/null
# shellcheck disable=SC2086
apt-get -o DPkg::Lock::Timeout=600 install -y -qq --no-install-recommends $missing </dev/null
