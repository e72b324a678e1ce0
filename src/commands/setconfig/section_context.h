// What every setConfiguration section handler works with: the one open handle
// of config_global (inside the document's transaction), the way to report an
// error, the change set that decides the follow-up after the commit, the
// controller model, and setConfig for the key/value settings.
//
// A handler has the shape
//
//   bool applyXxxSection(SetConfigContext& context, const XmlNode* section);
//
// and returns true on success. On failure it has already recorded its own
// error entry through fail() and returns false; the frame then rolls the whole
// document back and adds 202.
#pragma once

#include "commands/core/result_document.h"
#include "common/env.h"
#include "common/xml.h"
#include "db/access.h"
#include "db/record.h"

#include <set>
#include <string>
#include <vector>

namespace dorel_remote_control {

// What a committed change needs afterwards.
enum ChangeFlag : int {
    kChangeNone = 0,
    kChangeNetwork = 1,         // runs the WAN script
    kChangeRemoteControl = 2,   // recorded, no follow-up
    kChangeScrambling = 3,      // regenerates the scrambling keys (WMB-G400)
    kChangeRegional = 4,        // applies the country's time zones
};

// The priority of the "r9:::" lines the headend's log collector picks up
// whatever the debug mask says: facility 56 with error level.
constexpr int kCollectorPriority = 59;

class SetConfigContext {
public:
    SetConfigContext(const doreldb::DbHandle& db, ResultDocument& result, std::string model)
        : db_(db), result_(result), model_(std::move(model)) {}
    SetConfigContext(const SetConfigContext&) = delete;
    SetConfigContext& operator=(const SetConfigContext&) = delete;

    const doreldb::DbHandle& db() const { return db_; }
    Env& env() const { return db_.env(); }
    const std::string& model() const { return model_; }

    // Records an error entry (an empty detail means the code's own text) and
    // logs it: "Error %i, %s" while the debug bit is set, and always
    // "r9::: Error %i, %s" at priority 59. Returns false so that a handler can
    // `return context.fail(...)`.
    bool fail(int code, const std::string& detail = std::string());

    // The failure of a setConfig write: records 102 "Could not set value",
    // and prints and logs (as that error) "Could not set <path>", where path
    // names the section and element, e.g. "network/ip". Returns false.
    bool failToSet(const std::string& path);

    // The change set.
    void addChange(int flag) { changes_.insert(flag); }
    bool hasChange(int flag) const { return changes_.count(flag) != 0; }
    const std::set<int>& changes() const { return changes_; }

    // Writes one configuracionWebGlobal key: compares with the stored value and
    // writes only a differing one (inserting a missing key). When the key
    // changed and changeFlag is not kChangeNone, the flag joins the change set
    // (even when the write itself failed). Returns whether the write succeeded
    // (true when nothing had to be written). The table is read once per
    // document, at the first call; every later write of the document goes
    // through here, so the copy stays what the transaction holds.
    bool setConfig(const std::string& key, const std::string& value, int changeFlag);

    // The stored row of a key (exact name) in this transaction, or null;
    // false when the table could not be read.
    bool findSetting(const std::string& key, doreldb::Record*& row);

    // A progress line on standard output (the headend's console shows it).
    static void progress(const std::string& line);

private:
    const doreldb::DbHandle& db_;
    ResultDocument& result_;
    std::string model_;
    std::set<int> changes_;
    std::vector<doreldb::Record> settings_;
    bool settingsRead_ = false;
};

// Records an error entry in a setConfiguration result and logs it the way
// every setConfiguration error is logged (see SetConfigContext::fail).
// logged replaces the text in the two log lines when it is given.
void reportSetConfigError(Env& env, ResultDocument& result, int code, const std::string& detail = std::string(),
                          const std::string& logged = std::string());

// The contract every section handler follows.
using SectionHandler = bool (*)(SetConfigContext& context, const XmlNode* section);

}  // namespace dorel_remote_control
