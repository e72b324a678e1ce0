// A module's alarms: the fixed table of alarm codes and texts, the ordered set
// a module reports, and how that set is obtained from the module's status
// variables (fetched live through the XML-RPC client) and the headend tables.
#pragma once

#include "server/status_variables.h"

#include <map>
#include <string>

namespace doreldb {
class HeadendRows;
}

namespace dorel_remote_control {

class Env;

// Alarm codes that more than one place needs by name.
constexpr int kAlarmModulesHaveAlarms = 100;
constexpr int kAlarmNoCommunication = 200;

// Code -> text, ascending by code; a code raised by several sources appears once.
using AlarmSet = std::map<int, std::string>;

// Adds a code with its text to the set (no effect when already there).
void raiseAlarm(AlarmSet& alarms, int code);

// Translates a module's status variables into its alarms, using the module's
// rows of the input, tuner, output and CAM tables (each table read once for
// the whole document). A variable the rules need and the list lacks is logged
// and raises nothing.
AlarmSet evaluateModuleAlarms(Env& env, doreldb::HeadendRows& tables, const std::string& mac,
                              const StatusVariableList& variables);

// Asks the module at `address` for its status variables through the XML-RPC
// client and evaluates them. A module the client cannot reach, or that does
// not answer within the client's time-out, reports alarm 200 alone.
AlarmSet fetchModuleAlarms(Env& env, doreldb::HeadendRows& tables, const std::string& address,
                           const std::string& mac);

}  // namespace dorel_remote_control
