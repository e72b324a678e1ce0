#include "common/paths.h"

#include "common/shell.h"

#include <cstdlib>

namespace dorel_remote_control {
namespace paths {

std::string root() {
    const char* value = std::getenv("REMOTE_CONTROL_ROOT");
    return value ? std::string(value) : std::string();
}

std::string rooted(const char* fixedPath) { return root() + fixedPath; }

std::string command(const char* fixedPath) {
    const std::string prefix = root();
    if (prefix.empty()) return fixedPath;
    const std::string full = prefix + fixedPath;
    // A temporary root is normally plain; quote it only when it is not, so the
    // command lines under a test root read like the real ones.
    if (full.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+,:@") ==
        std::string::npos) {
        return full;
    }
    return shellQuote(full);
}

std::string configGlobalDb() { return rooted("/dorel/DB/config_global.sqlite"); }
std::string configLocalDb() { return rooted("/dorel/DB/config_local.sqlite"); }
std::string remoteControlDb() { return rooted("/dorel/DB/remote_control.sqlite"); }
std::string quorGlobalDb() { return rooted("/dorel/DB/quor_global.sqlite"); }
std::string tempGlobalDb() { return rooted("/tmp/temp_global.sqlite"); }

std::string defaultPidFile() { return rooted("/var/run/remote-control.pid"); }
std::string confDir() { return rooted("/dorel/conf"); }
std::string debugConf() { return rooted("/dorel/conf/debug.conf"); }

std::string clientCert() { return rooted("/dorel/certs/module/wmb-client.crt"); }
std::string clientKey() { return rooted("/dorel/certs/module/wmb.key"); }
std::string caChain() { return rooted("/dorel/certs/dorel/wmb-ca-chain.pem"); }
std::string caPath() { return rooted("/dorel/certs/capath"); }
std::string clientCsr() { return rooted("/dorel/certs/module/wmb-client.csr"); }

std::string phpSerializeFile() { return rooted("/tmp/PHPserialize.txt"); }
std::string tablasSiDir() { return rooted("/dorel/datosWeb/tablasSI"); }
std::string rcUploadsDir() { return rooted("/dorel/rc_uploads"); }
std::string sharedUpgradesDir() { return rooted("/dorel/shared/upgrades"); }
std::string quorKeysFile() { return rooted("/dorel/datosWeb/ScramblingKeys/quorkeys.txt"); }
std::string quorKeysArgument() { return command("/dorel/datosWeb/ScramblingKeys/quorkeys.txt"); }
std::string timezoneLocaltime() { return rooted("/dorel/conf/timezone/localtime"); }
std::string totFile() { return rooted("/dorel/conf/tot_file"); }
std::string tempTotFileWeb() { return rooted("/tmp/temp_tot_file_web"); }

std::string serialScript() { return command("/dorel/script/SERIAL"); }
std::string macScript() { return command("/dorel/script/MAC"); }
std::string modeloScript() { return command("/dorel/script/MODELO"); }
std::string hostnameCommand() { return root().empty() ? "hostname" : command("/bin/hostname"); }
std::string rebootCommand() { return root().empty() ? "reboot" : command("/sbin/reboot"); }
std::string clienteXmlRpc() { return command("/dorel/bin/clienteXMLRPC"); }
std::string quorKey() { return command("/dorel/bin/QuorKey"); }
std::string md5sum() { return command("/usr/bin/md5sum"); }
std::string fwUploadStart() { return command("/dorel/script/fw_upload_start.sh"); }
std::string fwUploadEnd() { return command("/dorel/script/fw_upload_end.sh"); }
std::string wanFromDb() { return command("/dorel/script/WAN_from_DB.sh"); }
std::string getTimeOffsets() { return command("/dorel/script/get_time_offsets.sh"); }
std::string crondInit() { return command("/etc/init.d/S60crond"); }

}  // namespace paths
}  // namespace dorel_remote_control
