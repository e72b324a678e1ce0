#!/bin/sh
# setConfiguration of a whole-headend document on simulated headends of 12, 24
# and 48 modules (60 services of 8 PIDs each), counted in instructions with
# valgrind's callgrind, next to sqlite3 reading (and rewriting) the same rows.
# The document is the headend's own getConfiguration, sent back unchanged
# (nothing to write) and with every service renamed (one row write per
# service). Prints the figures and the ratios. Not a test: run it by hand.
#
#   bench/set_configuration.sh [BUILD_DIR]     (default: build)
set -eu

here=$(cd "$(dirname "$0")" && pwd)
. "$here/command_lib.sh"

# The two setConfiguration envelopes made from a getConfiguration result, and
# the SQL of sqlite3's share: the section's tables read whole once, and for
# the renaming document the same rename written row by row.
make_documents() {
    python3 - "$1" "$work" <<'PY'
import sys
import xml.etree.ElementTree as ET

result, work = sys.argv[1], sys.argv[2]
configuration = ET.parse(result).getroot().find("data/getConfigurationResult/configuration")
modules = configuration.find("modules")

def envelope(name):
    text = ET.tostring(modules, encoding="unicode")
    with open("%s/%s.xml" % (work, name), "w") as f:
        f.write("<command><id>2</id><data><setConfiguration><configuration>%s"
                "</configuration></setConfiguration></data></command>" % text)

envelope("unchanged")
count = 0
for name in modules.iter("outputName"):
    name.text = (name.text or "") + " *"
    count += 1
envelope("renamed")

tables = ["configuracionWebGlobal", "RedesModulos", "EntradasGlobal", "NimGlobal", "NimCOFDMGlobal",
          "NimQAMGlobal", "SalidasLogicasGlobal", "RFOutGlobal", "ServiciosSalidaGlobal",
          "PIDsSalidaGlobal", "DiSEqCGlobal"]
reads = "".join("SELECT * FROM %s;\n" % t for t in tables)
with open("%s/read.sql" % work, "w") as f:
    f.write("BEGIN;\n" + reads + "COMMIT;\n")
with open("%s/rewrite.sql" % work, "w") as f:
    f.write("BEGIN;\n" + reads)
    for key in range(1, count + 1):
        f.write("UPDATE ServiciosSalidaGlobal SET NombreSalida = NombreSalida || ' +' WHERE idSSG = '%d';\n" % key)
    f.write("COMMIT;\n")
PY
}

get='<command><id>1</id><data><getConfiguration/></data></command>'
empty='<command><id>1</id><data><getScheduledCommands/></data></command>'
printf '%-7s %8s %13s %13s %6s %7s %13s %6s %7s %13s %10s %10s %9s %6s\n' modules "doc KiB" "sqlite3 r+w" unchanged \
    ratio growth renamed ratio growth "sqlite3 read" "peak RSS" "base RSS" "above" "x doc"
prev_same=
prev_renamed=
for modules in 12 24 48; do
    root="$work/h$modules"
    "$src/devkit/make-headend" "$root" --modules "$modules" --services $services --pids $pids --no-certs >/dev/null
    db="$root/dorel/DB/config_global.sqlite"
    REMOTE_CONTROL_ROOT="$root" "$driver" --print "$get" >"$work/get.xml"
    make_documents "$work/get.xml"
    bytes=$(wc -c <"$work/unchanged.xml")
    size=$(( bytes / 1024 ))

    same=$(REMOTE_CONTROL_ROOT="$root" instructions "$driver" "@$work/unchanged.xml")
    rss=$(REMOTE_CONTROL_ROOT="$root" peak_rss "$driver" "@$work/unchanged.xml")
    base=$(REMOTE_CONTROL_ROOT="$root" peak_rss "$driver" "$empty")
    read -r above times <<EOF
$(above_base "$rss" "$bytes" "$base")
EOF
    read=$(instructions sqlite3 -init "$work/read.sql" "$db" .quit)
    renamed=$(REMOTE_CONTROL_ROOT="$root" instructions "$driver" "@$work/renamed.xml")
    rewrite=$(instructions sqlite3 -init "$work/rewrite.sql" "$db" .quit)
    python3 - "$modules" "$size" "$rewrite" "$same" "$renamed" "$read" "${prev_same:-0}" "${prev_renamed:-0}" "$rss" \
        "$base" "$above" "$times" <<'PY'
import sys
m, size, rewrite, same, renamed, read, prev_same, prev_renamed, rss, base, above, times = sys.argv[1:]
rewrite, same, renamed, read = int(rewrite), int(same), int(renamed), int(read)
prev_same, prev_renamed = int(prev_same), int(prev_renamed)
growth = lambda now, before: "%.2fx" % (now / before) if before else "-"
print("%-7s %8s %13d %13d %6.2f %7s %13d %6.2f %7s %13d %6s KiB %6s KiB %5s KiB %6s" % (
    m, size, rewrite, same, same / rewrite, growth(same, prev_same),
    renamed, renamed / rewrite, growth(renamed, prev_renamed), read, rss, base, above, times))
PY
    prev_same=$same
    prev_renamed=$renamed
    rm -rf "$root"
done
echo "(sqlite3 r+w: the section's tables read whole, then every service row rewritten one by one in a"
echo " transaction; unchanged: the headend's own getConfiguration sent back, nothing to write; renamed: every"
echo " service renamed, one row write each; ratio = agent / sqlite3 r+w; growth = against the half-size"
echo " headend; sqlite3 read: the reads alone; peak RSS of the unchanged run, least of three; base RSS: the"
echo " driver running getScheduledCommands on the same headend; above = peak - base; x doc = above / document"
echo " size. Targets: ratios at most 3.00, growth at most 2.00x, x doc at most 2.00)"
