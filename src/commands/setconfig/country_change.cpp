#include "commands/setconfig/country_change.h"

#include "commands/setconfig/country_time_zones.h"
#include "commands/setconfig/section_context.h"
#include "common/fs.h"
#include "common/env.h"
#include "db/access.h"
#include "db/tables.h"

#include <algorithm>
#include <cstdio>

namespace dorel_remote_control {

namespace {

struct RegionalSettings {
    std::string language;   // codtimezone
    std::string country;    // idtimezone
    std::string zone;       // subtimezone
};

// The three regional keys, read in one pass; false when one is missing.
bool readRegionalSettings(Env& env, RegionalSettings& settings) {
    namespace cfg = doreldb::configuracionWebGlobal;
    doreldb::DbHandle db = doreldb::openDatabase(env, env.paths().configGlobalDb());
    if (!db) {
        env.log(3, "applyCountryChanged: could not open %s", env.paths().configGlobalDb().c_str());
        return false;
    }
    struct Key {
        const char* name;
        std::string* value;
        bool found;
    } keys[] = {{"codtimezone", &settings.language, false},
                {"idtimezone", &settings.country, false},
                {"subtimezone", &settings.zone, false}};
    for (const doreldb::Record& row : doreldb::doSelect(db, cfg::table(), " WHERE nombre IN (%Q, %Q, %Q) ",
                                                        keys[0].name, keys[1].name, keys[2].name)) {
        for (Key& key : keys) {
            if (row.text(cfg::nombre) == key.name) {
                *key.value = row.text(cfg::valor);
                key.found = true;
            }
        }
    }
    for (const Key& key : keys) {
        if (!key.found) {
            env.log(3, "applyCountryChanged: no %s setting", key.name);
            return false;
        }
    }
    return true;
}

// One line of a file: a stored value ends at its first line break, so that
// it can never add lines of its own.
std::string firstLine(const std::string& value) {
    return value.substr(0, value.find_first_of("\r\n"));
}

// The headend's clock runs in the zone chosen under "timezone" when it is one
// of the country's zones; otherwise in the country's first (main) zone; for a
// country the table does not know, in the chosen zone as it is.
std::string selectedZone(const RegionalSettings& settings, const std::vector<std::string>& zones) {
    const std::string chosen = firstLine(settings.zone);
    if (zones.empty() || std::find(zones.begin(), zones.end(), chosen) != zones.end()) return chosen;
    return zones.front();
}

ProgramCall timeOffsetsCall(const std::vector<std::string>& zones) {
    ProgramCall call(Program::kGetTimeOffsets, {"0"});
    for (const std::string& zone : zones) call.arguments.emplace_back(zone, ProgramArgument::kDouble);
    if (zones.empty()) call.arguments.emplace_back("No");
    return call;
}

}  // namespace

void applyCountryChanged(Env& env) {
    env.log(7, "applyCountryChanged()");
    RegionalSettings settings;
    if (!readRegionalSettings(env, settings)) return;
    const std::vector<std::string> zones = countryTimeZones(settings.country);
    const std::string zone = selectedZone(settings, zones);

    if (!writeFileAtomic(env.paths().timezoneLocaltime(), zone + "\n")) {
        env.log(3, "Could not write to /dorel/conf/timezone/localtime");
        return;
    }
    const ProgramCall call = timeOffsetsCall(zones);
    const int status = env.run(call).exitCode;
    if (status != 0) {
        env.logAlways(kCollectorPriority, "r9::: Error (%d) executing get_time_offsets.sh: %s", status,
                      commandLine(env.paths(), call).c_str());
        return;
    }
    std::string offsets;
    const bool read = readFile(env.paths().tempTotFileWeb(), offsets);
    std::remove(env.paths().tempTotFileWeb().c_str());
    if (!read) {
        env.logAlways(kCollectorPriority, "r9::: Could not read from /tmp/temp_tot_file_web");
        return;
    }
    // The modules' time services take the country the offsets belong to from
    // the first line.
    if (!writeFileAtomic(env.paths().totFile(), firstLine(settings.country) + "\n" + offsets)) {
        env.logAlways(kCollectorPriority, "r9::: Could not write to /dorel/conf/tot_file");
        return;
    }
    const int cron = env.run({Program::kCrond, {"restart"}}).exitCode;
    if (cron != 0) env.logAlways(kCollectorPriority, "r9::: Error (%d) restarting cron", cron);
}

}  // namespace dorel_remote_control
