#!/usr/bin/env bash
# Makes the machine ready to cross-build the agent for the controller (32-bit
# ARM, Debian's armhf) and to run the result under qemu-user: the armhf
# architecture in dpkg, the cross compiler, the emulator and the armhf -dev
# packages the agent and its tests link against.
#
# Exit status: 0 ready; 3 the armhf suite cannot run here (one line on
# standard output says why; the caller goes on without it); anything else is
# a real failure.
#
# The archive's armhf index sometimes lags behind the amd64 one, and then the
# amd64 and armhf twins of a library (libssl3, linux-libc-dev, ...) cannot be
# installed at the same version. On CI (CI=true) the twins are then both taken
# from the main release by a pin; on anyone else's machine nothing of theirs
# is ever downgraded: the armhf suite is skipped instead.
set -euo pipefail

added_arch=0
skip() {
    # A machine left as it was found: its apt would otherwise fetch the armhf
    # indexes from now on.
    if [ "$added_arch" -eq 1 ]; then
        dpkg --remove-architecture armhf && apt-get -o DPkg::Lock::Timeout=600 -qq update </dev/null >/dev/null 2>&1 || true
    fi
    echo "armhf: SKIPPED, $*"
    exit 3
}

[ "$(uname -m)" = x86_64 ] || skip "the cross-build is set up for an amd64 build machine only (this is $(uname -m))"
command -v dpkg >/dev/null 2>&1 || skip "not a Debian system"

APT=(apt-get -o DPkg::Lock::Timeout=600 -y -qq --no-install-recommends)
export DEBIAN_FRONTEND=noninteractive

# Ordinary (Multi-Arch: same) packages are named with :armhf; the tools run on
# the build machine.
TOOLS=(g++-arm-linux-gnueabihf qemu-user-static)
LIBS=(libc6-dev:armhf libstdc++6:armhf libsqlite3-dev:armhf libcurl4-openssl-dev:armhf
      libssl-dev:armhf zlib1g-dev:armhf libgtest-dev:armhf)

installed() {
    dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'
}

missing=()
for p in "${TOOLS[@]}" "${LIBS[@]}"; do
    installed "$p" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

[ "$(id -u)" -eq 0 ] || skip "missing ${missing[*]}; run as root or install them first"

if ! dpkg --print-foreign-architectures | grep -qx armhf; then
    dpkg --add-architecture armhf
    added_arch=1
fi
echo "setup-armhf: installing ${missing[*]}"
# A mirror in the middle of a sync fails one index or another; what did come
# in is enough to decide below whether the packages can be installed.
"${APT[@]}" update </dev/null || "${APT[@]}" update </dev/null ||
    echo "setup-armhf: some package indexes could not be fetched; going on with what is there"

PIN=/etc/apt/preferences.d/remote-control-armhf
candidate() {
    LC_ALL=C apt-cache policy "$1" 2>/dev/null | awk '/^  Candidate:/ {print $2}'
}
# The armhf libraries this install pulls in whose amd64 twin is installed and
# would have to move to another version than the archive offers for amd64.
skewed_twins() {
    local name
    LC_ALL=C apt-cache depends --recurse --no-recommends --no-suggests --no-conflicts \
            --no-breaks --no-replaces --no-enhances "${missing[@]}" 2>/dev/null |
        sed -n 's/^\([^ <][^ ]*\):armhf$/\1/p' | sort -u |
        while read -r name; do
            installed "$name:amd64" || continue
            [ "$(candidate "$name:amd64")" = "$(candidate "$name:armhf")" ] || echo "$name"
        done
}
# Every installed amd64 library built from the same sources as the twins: they
# depend on their twin's exact version and must move with it.
same_source_amd64() {
    local sources
    sources=$(for t in "$@"; do dpkg-query -W -f='${source:Package}\n' "$t:amd64"; done | sort -u)
    dpkg-query -W -f='${binary:Package} ${source:Package} ${Multi-Arch}\n' |
        awk -v s=" $(echo $sources) " '$3 == "same" && index(s, " " $2 " ") {print $1}'
}

if ! "${APT[@]}" -s install "${missing[@]}" </dev/null >/dev/null 2>&1; then
    twins=$(skewed_twins | tr '\n' ' ')
    if [ "${CI:-}" != true ]; then
        skip "the armhf packages cannot be installed beside the amd64 ones (version skew: ${twins:-unknown}); not changing this machine's packages (allowed only with CI=true)"
    fi
    [ -n "$twins" ] || { echo "setup-armhf: the armhf packages cannot be installed, and no version skew explains it" >&2; exit 1; }
    codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
    echo "setup-armhf: CI: taking $twins from the main release $codename for both architectures"
    sources=$(for t in $twins; do dpkg-query -W -f='src:${source:Package}\n' "$t:amd64"; done | sort -u | tr '\n' ' ')
    {
        echo "# Written by remote-control's scripts/setup-armhf.sh (CI only): the amd64"
        echo "# and armhf twins of these libraries from the one release that has both."
        echo "Package: $sources"
        echo "Pin: release n=$codename"
        echo "Pin-Priority: 1001"
    } >"$PIN"
    both=($(same_source_amd64 $twins))
    for t in $twins; do both+=("$t:armhf"); done
    "${APT[@]}" --allow-downgrades install "${missing[@]}" "${both[@]}" </dev/null
else
    "${APT[@]}" install "${missing[@]}" </dev/null
fi
