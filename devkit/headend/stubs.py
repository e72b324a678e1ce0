"""Stand-ins for the headend programs the agent runs.

Each stub is a small sh script with the root baked in. It appends its command
line (the program's fixed path, then each argument after one blank) to
ROOT/devkit/calls.log and behaves as the files under ROOT/devkit/ say; see
devkit/README.md. Any stub hangs, as a real program can, while
ROOT/devkit/hang/<basename> exists.
"""

import os
import shlex

_PREAMBLE = r"""#!/bin/sh
# Dev-kit stand-in for {fixed}: records how it was called, never touches the
# host. Behaviour files live under $DEVKIT (see devkit/README.md).
ROOT={root}
DEVKIT="$ROOT/devkit"

{{ printf '%s' {fixed_q}; for a in "$@"; do printf ' %s' "$a"; done; printf '\n'; }} >>"$DEVKIT/calls.log"

# hang: stops answering the way a stuck program does, with a child stuck as
# well that keeps standard output and error open, so only killing the whole
# process group ends both. The pids go to hang/pids for the test to check.
hang() {{
    mkdir -p "$DEVKIT/hang"
    sleep 100000 </dev/null &
    child=$!
    printf '%s\n%s\n' "$$" "$child" >>"$DEVKIT/hang/pids"
    wait "$child"
    exit 1
}}

[ ! -f "$DEVKIT/hang/{name}" ] || hang

# status_of FILE DEFAULT: the exit status written in FILE, DEFAULT without one.
status_of() {{
    if [ -f "$1" ]; then
        s=
        IFS= read -r s <"$1" || true
        case $s in
            ''|*[!0-9]*) echo "devkit: bad exit status in $1" >&2; echo 1 ;;
            *) echo "$s" ;;
        esac
    else
        echo "$2"
    fi
}}
"""

_SIMPLE = r"""
exit "$(status_of "$DEVKIT/exit/{name}" 0)"
"""

# A reboot keeps a copy of the command store as it was at that moment, so a
# test can see what the agent had stored before it asked for the reboot.
_REBOOT = r"""
mkdir -p "$DEVKIT/reboot"
if [ -f "$ROOT/dorel/DB/remote_control.sqlite" ]; then
    cp "$ROOT/dorel/DB/remote_control.sqlite" "$DEVKIT/reboot/remote_control.sqlite"
fi
exit "$(status_of "$DEVKIT/exit/{name}" 0)"
"""

# The value line of an identity script; `hostname` prints only this.
_VALUE_LINE = r"""
value="$DEVKIT/identity/{name}"
[ -f "$value" ] || exit 1
line=
IFS= read -r line <"$value" || true
printf '%s\n' "$line"
"""

_IDENTITY = _VALUE_LINE + r"""if [ -f "$value.status" ]; then
    cat "$value.status"
else
    echo OK
fi
"""

_TIME_OFFSETS = r"""
status=$(status_of "$DEVKIT/exit/{name}" 0)
if [ "$status" = 0 ]; then
    out="$ROOT/tmp/temp_tot_file_web"
    if [ -f "$DEVKIT/get_time_offsets.out" ]; then
        cat "$DEVKIT/get_time_offsets.out" >"$out"
    else
        # One line per zone asked for (the first argument is the mode).
        : >"$out"
        shift
        for zone in "$@"; do printf '%s +0100\n' "$zone" >>"$out"; done
    fi
fi
exit "$status"
"""

# The PHP-serialize layout the module's XML-RPC service leaves behind, made
# from name=value lines. Lengths are byte counts, hence LC_ALL=C.
_SERIALIZE_AWK = r"""
BEGIN { n = 0 }
/^[ \t]*(#|$)/ { next }
{
    i = index($0, "=")
    if (i == 0) next
    name[n] = substr($0, 1, i - 1)
    value[n] = substr($0, i + 1)
    sub(/\r$/, "", value[n])
    n++
}
END {
    printf "a:%d:{", n
    for (k = 0; k < n; k++)
        printf "i:%d;O:15:\"tAlarmasEstadoE\":2:{s:7:\"fnombre\";s:%d:\"%s\";s:6:\"fvalor\";s:%d:\"%s\";}", \
            k, length(name[k]), name[k], length(value[k]), value[k]
    printf "}\n"
}
"""

_XMLRPC = r"""
address=$1
method=$2
case $address in
    ''|*/*) exit 1 ;;
esac
module="$DEVKIT/modules/$address"
case $method in
    ''|*/*) ;;
    *) [ ! -f "$module.$method.hang" ] || hang ;;
esac
[ ! -f "$module.hang" ] || hang
# A module the dev kit knows nothing about cannot be reached.
if [ ! -f "$module.vars" ] && [ ! -f "$module.raw" ] && [ ! -f "$module.exit" ]; then
    exit 1
fi
case $method in
    GetTable)
        status=$(status_of "$module.exit" 0)
        if [ "$status" = 0 ]; then
            out="$ROOT/tmp/PHPserialize.txt"
            if [ -f "$module.raw" ]; then
                cat "$module.raw" >"$out"
            elif [ -f "$module.vars" ]; then
                LC_ALL=C awk {awk} <"$module.vars" >"$out"
            else
                printf 'a:0:{{}}\n' >"$out"
            fi
        fi
        exit "$status"
        ;;
    *)
        if [ -f "$module.$method.exit" ]; then
            exit "$(status_of "$module.$method.exit" 0)"
        fi
        exit "$(status_of "$DEVKIT/xmlrpc-$method.exit" 0)"
        ;;
esac
"""

# The real md5sum does the work unless the test wants it stuck.
_MD5SUM = r"""
exec /usr/bin/md5sum "$@"
"""

# (path under the root, fixed name recorded in calls.log, body template)
STUBS = [
    ("dorel/script/SERIAL", "/dorel/script/SERIAL", _IDENTITY),
    ("dorel/script/MAC", "/dorel/script/MAC", _IDENTITY),
    ("dorel/script/MODELO", "/dorel/script/MODELO", _IDENTITY),
    ("bin/hostname", "hostname", _VALUE_LINE),
    ("sbin/reboot", "reboot", _REBOOT),
    ("dorel/bin/clienteXMLRPC", "/dorel/bin/clienteXMLRPC", _XMLRPC),
    ("dorel/bin/QuorKey", "/dorel/bin/QuorKey", _SIMPLE),
    ("dorel/script/fw_upload_start.sh", "/dorel/script/fw_upload_start.sh", _SIMPLE),
    ("dorel/script/fw_upload_end.sh", "/dorel/script/fw_upload_end.sh", _SIMPLE),
    ("dorel/script/WAN_from_DB.sh", "/dorel/script/WAN_from_DB.sh", _SIMPLE),
    ("dorel/script/get_time_offsets.sh", "/dorel/script/get_time_offsets.sh", _TIME_OFFSETS),
    ("etc/init.d/S60crond", "/etc/init.d/S60crond", _SIMPLE),
    ("usr/bin/md5sum", "/usr/bin/md5sum", _MD5SUM),
]


def stub_text(root, fixed, body):
    name = os.path.basename(fixed)
    text = _PREAMBLE.format(fixed=fixed, fixed_q=shlex.quote(fixed), root=shlex.quote(root),
                            name=name)
    return text + body.format(name=name, awk=shlex.quote(_SERIALIZE_AWK))


def install_stubs(root):
    for relative, fixed, body in STUBS:
        path = os.path.join(root, relative)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as f:
            f.write(stub_text(root, fixed, body))
        os.chmod(path, 0o755)
