// The status document: the controller's identity, every module of the headend
// with its versions and CAM state, and the alarms fetched live from each module
// through the XML-RPC client.
#pragma once

#include <string>

namespace dorel_remote_control {

class Env;
class PassDatabases;

// Builds and prints the whole document (declaration included) from the
// databases of the pass under way. Throws CouldNotOpenDBError when
// config_global or temp_global cannot be opened.
std::string buildStatusText(Env& env, PassDatabases& databases);

// Text of an alarm code ("Unknown Alarm" outside the table).
const char* alarmText(int code);

// A software version as the server wants it: long values cut before the first
// '-' or '+', short ones read as hundredths ("150" -> "1.50").
std::string formatSoftwareVersion(const std::string& version);

}  // namespace dorel_remote_control
