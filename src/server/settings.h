// The process-wide remote-control settings and the controller's identity.
//
// Reloaded at the start of every poll pass: the configuration keys come from
// configuracionWebGlobal, the identity from the controller's scripts (read once
// per process life). load() says whether anything changed.
#pragma once

#include "common/programs.h"
#include "db/access.h"

#include <cstdint>
#include <string>

namespace dorel_remote_control {

class Settings {
public:
    // Returns true when anything changed since the last load (always on the
    // first). Throws ReadConfigError when an identity value cannot be read.
    bool load(Env& env);
    // The same with config_global already open (closed: it could not be).
    bool load(Env& env, const doreldb::DbHandle& configDb);

    bool active() const { return active_; }
    uint32_t interval() const { return interval_; }
    std::string serverAddress() const { return serverAddress_; }  // always ends in "/"
    std::string user() const { return user_; }
    std::string password() const { return password_; }
    std::string serialNumber() const { return serialNumber_; }
    std::string mac() const { return mac_; }
    std::string hostName() const { return hostName_; }
    std::string model() const { return model_; }
    std::string contractId() const { return contractId_; }
    bool runOnce() const { return runOnce_; }
    void setRunOnce(bool once) { runOnce_ = once; }
    bool loaded() const { return loaded_; }

private:
    bool active_ = false;
    uint32_t interval_ = 1;
    std::string serverAddress_;
    std::string user_;
    std::string password_;
    std::string serialNumber_;
    std::string mac_;
    std::string hostName_;
    std::string model_;
    std::string contractId_;
    bool runOnce_ = false;
    bool loaded_ = false;
};

// The one settings record of the process. Tests reset it with `settings() = Settings();`.
Settings& settings();

// Reads a value from one of the controller's identity scripts: first line the
// value, second line the status, which must be "OK" after trimming. With
// statusLine false (the hostname command) the first line alone is the value.
// Returns "" when nothing usable was printed.
std::string readIdentityValue(Env& env, Program program, bool statusLine);

// Model predicates (exact comparison of the controller model).
bool isModelGroupA(const std::string& model);  // KVA-100, KVB-200, KVC-300
bool isWmbG400(const std::string& model);
bool isKvdCd5(const std::string& model);

}  // namespace dorel_remote_control
