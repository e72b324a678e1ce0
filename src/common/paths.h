// Every fixed path and external command of the agent, in one place.
//
// With REMOTE_CONTROL_ROOT unset these are the headend's real locations. With
// it set, every one of them lives under that root, so that tests and the demo
// run against a simulated headend and never touch the host. Commands that are
// looked up through PATH on the headend ("hostname", "reboot") become
// <root>/bin/hostname and <root>/sbin/reboot.
#pragma once

#include <string>

namespace dorel_remote_control {
namespace paths {

// The root prefix ("" when unset). Read on every call so a test can switch roots.
std::string root();

// A fixed absolute path under the root.
std::string rooted(const char* fixedPath);

// A fixed path used as the first word of a shell command line: exactly the
// fixed text without a root, and shell-quoted when the root holds characters
// the shell would interpret.
std::string command(const char* fixedPath);

// Databases.
std::string configGlobalDb();    // /dorel/DB/config_global.sqlite
std::string configLocalDb();     // /dorel/DB/config_local.sqlite
std::string remoteControlDb();   // /dorel/DB/remote_control.sqlite
std::string quorGlobalDb();      // /dorel/DB/quor_global.sqlite
std::string tempGlobalDb();      // /tmp/temp_global.sqlite

// Process files.
std::string defaultPidFile();    // /var/run/remote-control.pid
std::string confDir();           // /dorel/conf
std::string debugConf();         // /dorel/conf/debug.conf

// Certificates.
std::string clientCert();        // /dorel/certs/module/wmb-client.crt
std::string clientKey();         // /dorel/certs/module/wmb.key
std::string caChain();           // /dorel/certs/dorel/wmb-ca-chain.pem
std::string caPath();            // /dorel/certs/capath
std::string clientCsr();         // /dorel/certs/module/wmb-client.csr

// Headend files and directories.
std::string phpSerializeFile();  // /tmp/PHPserialize.txt
std::string tablasSiDir();       // /dorel/datosWeb/tablasSI
std::string rcUploadsDir();      // /dorel/rc_uploads
std::string sharedUpgradesDir(); // /dorel/shared/upgrades
std::string quorKeysFile();      // /dorel/datosWeb/ScramblingKeys/quorkeys.txt
std::string quorKeysArgument();  // the same, as a word of a command line (like command())
std::string timezoneLocaltime(); // /dorel/conf/timezone/localtime
std::string totFile();           // /dorel/conf/tot_file
std::string tempTotFileWeb();    // /tmp/temp_tot_file_web

// Commands (first words of shell command lines).
std::string serialScript();      // /dorel/script/SERIAL
std::string macScript();         // /dorel/script/MAC
std::string modeloScript();      // /dorel/script/MODELO
std::string hostnameCommand();   // hostname
std::string rebootCommand();     // reboot
std::string clienteXmlRpc();     // /dorel/bin/clienteXMLRPC
std::string quorKey();           // /dorel/bin/QuorKey
std::string md5sum();            // /usr/bin/md5sum
std::string fwUploadStart();     // /dorel/script/fw_upload_start.sh
std::string fwUploadEnd();       // /dorel/script/fw_upload_end.sh
std::string wanFromDb();         // /dorel/script/WAN_from_DB.sh
std::string getTimeOffsets();    // /dorel/script/get_time_offsets.sh
std::string crondInit();         // /etc/init.d/S60crond

}  // namespace paths
}  // namespace dorel_remote_control
