#!/usr/bin/env bash
# Checks that two builds of the agent send the same status document and run
# the same command lines against the same headend: twelve modules, three with
# a CAM, with assorted alarms, one module that does not answer, one without a
# variable, and MAC columns in a different letter case from table to table.
#
#   bench/same_output.sh OLD-AGENT NEW-AGENT
#
# The agents' syslog lines are compared too (bench/syslog_to_stderr.cpp copies
# them to standard error; pids, ports and the temporary root taken out).
#
# Prints IDENTICAL and the alarm codes of the document, or the first difference.
set -euo pipefail
source "$(dirname "$0")/lib.sh"
OLD=$1 NEW=$2
c++ -shared -fPIC -o "$WORK/syslog_to_stderr.so" "$BENCH_DIR/syslog_to_stderr.cpp" -ldl
prepare() {
base=$1
headend "$base" --modules 12 --cam-modules 3
m=$base/devkit/modules
sed -i 's/alarma_procesats_system=0/alarma_procesats_system=283f/' $m/10.9.0.2.vars
sed -i 's/alarma_rfout_1=0/alarma_rfout_1=7/; s/estado_procesats_si_input2=0/estado_procesats_si_input2=1/' $m/10.9.0.3.vars
sed -i 's/estado_cam=1/estado_cam=0/' $m/10.9.0.11.vars
sed -i 's/alarma_signal_quality_nim_T1=0/alarma_signal_quality_nim_T1=1/' $m/10.9.0.5.vars
sed -i '/alarma_diseqc/d' $m/10.9.0.6.vars
echo 5 > $m/10.9.0.7.exit
cg=$base/dorel/DB/config_global.sqlite tg=$base/tmp/temp_global.sqlite
sqlite3 $cg "UPDATE EntradasGlobal SET MAC=lower(MAC) WHERE MAC LIKE '%:03'; UPDATE SalidasLogicasGlobal SET MAC=lower(MAC) WHERE MAC LIKE '%:0A'; UPDATE RedesModulos SET MAC=lower(MAC) WHERE MAC LIKE '%:0B'; INSERT INTO SalidasLogicasGlobal (MAC, Activo, fk_idSalidasLogicas) VALUES ('00:1a:2b:00:00:0%', '1', '2');"
sqlite3 $tg "UPDATE CAMInfoGlobal SET RescueMode='1' WHERE MAC LIKE '%:0C'; UPDATE TempNIMGlobal SET MAC=lower(MAC); UPDATE ModulosCabecera SET MAC=lower(MAC) WHERE MAC LIKE '%:04';"
sed -i 's/alarma_rfout_2=0/alarma_rfout_2=1/' $m/10.9.0.9.vars
}
for v in old new; do
    prepare "$WORK/$v"
    start_server "$WORK/$v"
    bin=$OLD; [ $v = new ] && bin=$NEW
    REMOTE_CONTROL_ROOT=$WORK/$v LD_PRELOAD=$WORK/syslog_to_stderr.so "$bin" --once -p $WORK/$v/var/run/rc.pid \
        >/dev/null 2>$WORK/$v.stderr
    sed -E "s#$WORK/$v##g; s/^remote-control\[[0-9]+\]/remote-control/; s/127\.0\.0\.1:$PORT/127.0.0.1:PORT/g" \
        $WORK/$v.stderr > $WORK/$v.log
    python3 -c 'import json,sys; [print(json.loads(l)["body"]) for l in open(sys.argv[1])]' $WORK/requests.jsonl > $WORK/$v.body
    sed "s#$WORK/$v##g" $WORK/$v/devkit/calls.log > $WORK/$v.calls
done
cmp $WORK/old.body $WORK/new.body && cmp $WORK/old.calls $WORK/new.calls && cmp $WORK/old.log $WORK/new.log &&
    echo "IDENTICAL ($(wc -l <$WORK/new.log) log lines)"
grep -o "<type>[0-9]*</type>" $WORK/new.body | sort | uniq -c | tr '\n' ' '
