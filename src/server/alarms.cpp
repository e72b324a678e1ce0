// The alarm code table and the live fetch of a module's status variables.
#include "server/alarms.h"

#include "common/code_table.h"
#include "common/env.h"
#include "server/status_report.h"

#include <cstdio>

namespace dorel_remote_control {

namespace {

// The texts the server shows for each code; kept in ascending code order.
const CodeText kAlarmTable[] = {
    {0, "No alarm"},
    {100, "Modules have alarms"},
    {200, "No communication with module"},
    {201, "Hardware alarm"},
    {202, "Temperature alarm"},
    {203, "NIT alarm"},
    {204, "SI insertion alarm"},
    {205, "Input service overload"},
    {206, "Fan alarm"},
    {301, "Input 1 HW alarm"},
    {302, "Input 2 HW alarm"},
    {303, "Input 1 no sync"},
    {304, "Input 2 no sync"},
    {305, "Input 1 bad signal"},
    {306, "Input 2 bad signal"},
    {401, "Output 1 alarm"},
    {402, "Output 2 alarm"},
    {403, "Output 1 overloaded"},
    {404, "Output 2 overloaded"},
    {501, "CAM HW alarm"},
    {502, "CAM not present"},
    {503, "CAM rescue mode"},
    {504, "CAM alarm: Too many services to decrypt"},
    {505, "CAM alarm: Too many streams to decrypt"},
    {506, "CAM alarm: There are services not being decrypted"},
};

}  // namespace

const char* alarmText(int code) { return codeText(kAlarmTable, code, "Unknown Alarm"); }

void raiseAlarm(AlarmSet& alarms, int code) {
    alarms.emplace(code, alarmText(code));
}

AlarmSet fetchModuleAlarms(Env& env, doreldb::HeadendRows& tables, const std::string& address,
                           const std::string& mac) {
    AlarmSet alarms;
    if (address.empty()) {
        // Without a live row the module has no address to ask; it is as
        // unreachable as one that does not answer.
        env.log(3, "Status/alarm: no address for module %s", mac.c_str());
        raiseAlarm(alarms, kAlarmNoCommunication);
        return alarms;
    }

    const ProgramCall call(Program::kClienteXmlRpcStatus, {{address, ProgramArgument::kDouble},
                                                            "GetTable", "TempDB", "alarmasEstado",
                                                            {"WHERE 1", ProgramArgument::kSingle}});
    if (env.logging()) env.log(7, "Executing: %s", commandLine(env.paths(), call).c_str());
    // The client leaves its answer in a fixed file; it is removed after
    // reading, and also when the client failed, so that no module is ever
    // judged on another's answer.
    const std::string answerFile = env.paths().phpSerializeFile();
    if (env.run(call).exitCode != 0) {
        std::remove(answerFile.c_str());
        raiseAlarm(alarms, kAlarmNoCommunication);
        return alarms;
    }
    const StatusVariableList variables = StatusVariableList::read(answerFile);
    std::remove(answerFile.c_str());
    return evaluateModuleAlarms(env, tables, mac, variables);
}

}  // namespace dorel_remote_control
