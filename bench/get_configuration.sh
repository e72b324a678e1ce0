#!/bin/sh
# getConfiguration on simulated headends of 12, 24 and 48 modules (60 services
# of 8 PIDs each), counted in instructions with valgrind's callgrind, next to
# sqlite3 reading every row of the same tables once. Prints the figures and
# the ratios. Not a test: run it by hand.
#
#   bench/get_configuration.sh [BUILD_DIR]     (default: build)
set -eu

here=$(cd "$(dirname "$0")" && pwd)
. "$here/command_lib.sh"

# Every table the document is made of, each read whole once.
tables_sql() {
    for t in configuracionWebGlobal RedesCabecera DiSEqCGlobal AudioLanguageListGlobal ScramblingGlobal \
             ScramblingKeysGlobal ServiciosSalidaGlobal PIDsSalidaGlobal MantenimientoHomeChannelsGlobal \
             Service_EPG Service_EPG_audios Service_EPG_replacing Service_EPG_Satellite RedesModulos \
             EntradasGlobal NimGlobal NimCOFDMGlobal NimQAMGlobal SalidasLogicasGlobal RFOutGlobal; do
        echo "SELECT * FROM main.$t;"
    done
    for t in ModulosCabecera CAMInfoGlobal ServiciosEntradaGlobal TempNIMGlobal TempNIMCOFDMGlobal \
             TempNIMQAMGlobal; do
        echo "SELECT * FROM temp_db.$t;"
    done
}

envelope='<command><id>1</id><data><getConfiguration/></data></command>'
empty='<command><id>1</id><data><getScheduledCommands/></data></command>'
printf '%-8s %14s %14s %8s %10s %12s %10s %12s %10s %6s\n' modules agent sqlite3 ratio growth "peak RSS" \
    "doc bytes" "base RSS" "above" "x doc"
previous=
for modules in 12 24 48; do
    root="$work/h$modules"
    "$src/devkit/make-headend" "$root" --modules "$modules" --services $services --pids $pids --no-certs >/dev/null
    agent=$(REMOTE_CONTROL_ROOT="$root" instructions "$driver" "$envelope")
    { echo "ATTACH '$root/tmp/temp_global.sqlite' AS temp_db;"; tables_sql; } >"$work/read.sql"
    reader=$(instructions sqlite3 -init "$work/read.sql" "$root/dorel/DB/config_global.sqlite" .quit)
    ratio=$(python3 -c "print('%.2f' % ($agent / $reader))")
    growth=-
    [ -n "$previous" ] && growth=$(python3 -c "print('%.2fx' % ($agent / $previous))")
    # Peak resident memory of a run without valgrind, in KiB.
    rss=$(REMOTE_CONTROL_ROOT="$root" peak_rss "$driver" "$envelope")
    base=$(REMOTE_CONTROL_ROOT="$root" peak_rss "$driver" "$empty")
    bytes=$(REMOTE_CONTROL_ROOT="$root" "$driver" "$envelope" | sed 's/ bytes//')
    read -r above times <<EOF
$(above_base "$rss" "$bytes" "$base")
EOF
    printf '%-8s %14s %14s %8s %10s %9s KiB %10s %8s KiB %6s KiB %6s\n' "$modules" "$agent" "$reader" "$ratio" \
        "$growth" "$rss" "$bytes" "$base" "$above" "$times"
    previous=$agent
    rm -rf "$root"
done
echo "(agent: getConfiguration run and printed, in instructions; sqlite3: every row of the same tables read once;"
echo " ratio = agent / sqlite3; growth = against the half-size headend; peak RSS of the agent's run, least of"
echo " three; doc bytes: the printed result; base RSS: the driver running getScheduledCommands on the same headend;"
echo " above = peak - base; x doc = above / document. Targets: ratio at most 3.00, growth at most 2.00x, x doc at"
echo " most 2.00)"
