// Every fixed path of the agent, in one place.
//
// With an empty root these are the headend's real locations. With a root,
// every one of them lives under it, so that tests and the demo run against a
// simulated headend and never touch the host. The programs the agent runs
// have their paths in programs.cpp, under the same root.
#pragma once

#include <string>

namespace dorel_remote_control {

class Paths {
public:
    explicit Paths(std::string root) : root_(std::move(root)) {}

    const std::string& root() const { return root_; }
    // A fixed absolute path under the root.
    std::string rooted(const char* fixedPath) const { return root_ + fixedPath; }

    // Databases.
    std::string configGlobalDb() const { return rooted("/dorel/DB/config_global.sqlite"); }
    std::string configLocalDb() const { return rooted("/dorel/DB/config_local.sqlite"); }
    std::string remoteControlDb() const { return rooted("/dorel/DB/remote_control.sqlite"); }
    std::string quorGlobalDb() const { return rooted("/dorel/DB/quor_global.sqlite"); }
    std::string tempGlobalDb() const { return rooted("/tmp/temp_global.sqlite"); }

    // Process files.
    std::string defaultPidFile() const { return rooted("/var/run/remote-control.pid"); }
    std::string confDir() const { return rooted("/dorel/conf"); }
    std::string debugConf() const { return rooted("/dorel/conf/debug.conf"); }

    // Certificates.
    std::string clientCert() const { return rooted("/dorel/certs/module/wmb-client.crt"); }
    std::string clientKey() const { return rooted("/dorel/certs/module/wmb.key"); }
    std::string caChain() const { return rooted("/dorel/certs/dorel/wmb-ca-chain.pem"); }
    std::string caPath() const { return rooted("/dorel/certs/capath"); }
    std::string clientCsr() const { return rooted("/dorel/certs/module/wmb-client.csr"); }

    // Headend files and directories.
    std::string phpSerializeFile() const { return rooted("/tmp/PHPserialize.txt"); }
    std::string tablasSiDir() const { return rooted("/dorel/datosWeb/tablasSI"); }
    std::string rcUploadsDir() const { return rooted("/dorel/rc_uploads"); }
    std::string sharedUpgradesDir() const { return rooted("/dorel/shared/upgrades"); }
    std::string quorKeysFile() const { return rooted("/dorel/datosWeb/ScramblingKeys/quorkeys.txt"); }
    std::string timezoneLocaltime() const { return rooted("/dorel/conf/timezone/localtime"); }
    std::string totFile() const { return rooted("/dorel/conf/tot_file"); }
    std::string tempTotFileWeb() const { return rooted("/tmp/temp_tot_file_web"); }

private:
    std::string root_;
};

}  // namespace dorel_remote_control
