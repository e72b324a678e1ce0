// The country-to-time-zone table against its source, and the follow-up of a
// regional change (localtime, get_time_offsets.sh, tot_file, cron).
#include "commands/setconfig/setconfig_fixture.h"

#include "commands/setconfig/country_time_zones.h"
#include "support/log_capture.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>

namespace rctest {
namespace {

using namespace dorel_remote_control;

// The copy of tzdata's country tables that the table was generated from:
// compared with the machine's own tzdata, the test would follow whatever
// release the machine happens to have.
const char kTzdataCopy[] = "tests/commands/setconfig/tzdata";
const char kTimeOffsets[] = "/dorel/script/get_time_offsets.sh";
const char kCrond[] = "/etc/init.d/S60crond";

// The data lines of a tzdata table, split at tabs.
std::vector<std::vector<std::string>> tabRows(const std::string& path) {
    std::vector<std::vector<std::string>> rows;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> fields;
        std::istringstream split(line);
        for (std::string field; std::getline(split, field, '\t');) fields.push_back(field);
        rows.push_back(fields);
    }
    return rows;
}

// A name with the accents of Latin-1 letters dropped ("Åland" -> "Aland"),
// the order in which people look names up.
std::string folded(const std::string& name) {
    static const char kBase[] = "AAAAAAACEEEEIIIIDNOOOOOxOUUUUYTsaaaaaaaceeeeiiiidnooooo/ouuuuyty";
    std::string out;
    for (size_t i = 0; i < name.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(name[i]);
        if (c == 0xC3 && i + 1 < name.size()) {
            const unsigned char next = static_cast<unsigned char>(name[++i]);
            out += next >= 0x80 && next <= 0xBF ? kBase[next - 0x80] : '?';
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

TEST(CountryTimeZones, HoldsEveryCountryOfItsSourceInItsOrder) {
    const std::string source = std::string(RC_SOURCE_DIR) + "/" + kTzdataCopy;
    std::map<std::string, std::string> names;
    for (const auto& row : tabRows(source + "/iso3166.tab")) names[row.at(0)] = row.at(1);
    std::map<std::string, std::string> zones;
    for (const auto& row : tabRows(source + "/zone.tab")) {
        std::string& list = zones[row.at(0)];
        list += (list.empty() ? "" : " ") + row.at(2);
    }
    ASSERT_FALSE(names.empty() || zones.empty()) << "cannot read the tables in " << source;

    ASSERT_EQ(names.size(), kCountryTimeZoneCount)
        << "regenerate with scripts/gen-country-time-zones.py " << kTzdataCopy;
    for (size_t i = 0; i < kCountryTimeZoneCount; ++i) {
        const CountryTimeZones& entry = kCountryTimeZones[i];
        EXPECT_EQ(names[entry.code], entry.name) << entry.code;
        EXPECT_EQ(zones[entry.code], entry.zones) << entry.code;
        if (i > 0) {
            EXPECT_LT(folded(kCountryTimeZones[i - 1].name), folded(entry.name)) << entry.name;
        }
    }
}

TEST(CountryTimeZones, LooksCodesUpIgnoringCase) {
    EXPECT_EQ((std::vector<std::string>{"Europe/Mariehamn"}), countryTimeZones("ax"));
    EXPECT_EQ((std::vector<std::string>{"Europe/Madrid", "Africa/Ceuta", "Atlantic/Canary"}), countryTimeZones("ES"));
    EXPECT_TRUE(countryTimeZones("ZZ").empty());
    EXPECT_TRUE(countryTimeZones("").empty());
}

class CountryChange : public SetConfigTest {
protected:
    void applyRegional(const std::string& country, const std::string& zone) {
        EXPECT_EQ(Errors{}, applyErrors("<regional><country>" + country + "</country><timezone>" + zone +
                                        "</timezone></regional>"));
    }
    std::string offsetsLine(const std::string& arguments) const {
        return root_.rooted(kTimeOffsets) + " 0" + arguments;
    }
};

TEST_F(CountryChange, WritesTheZoneAsksForTheCountrysOffsetsAndRestartsCron) {
    applyRegional("ES", "Atlantic/Canary");
    EXPECT_EQ("Atlantic/Canary\n", root_.readFile("/dorel/conf/timezone/localtime"));
    EXPECT_EQ((std::vector<std::string>{std::string(kTimeOffsets) + " 0 Europe/Madrid Africa/Ceuta Atlantic/Canary"}),
              callsOf(kTimeOffsets));
    EXPECT_EQ("ES\nEurope/Madrid +0100\nAfrica/Ceuta +0100\nAtlantic/Canary +0100\n", root_.readFile("/dorel/conf/tot_file"));
    EXPECT_FALSE(root_.exists("/tmp/temp_tot_file_web"));
    EXPECT_EQ((std::vector<std::string>{std::string(kCrond) + " restart"}), callsOf(kCrond));
}

TEST_F(CountryChange, AZoneOutsideTheCountryFallsBackToItsMainZone) {
    applyRegional("fr", "Europe/Madrid");
    EXPECT_EQ("Europe/Paris\n", root_.readFile("/dorel/conf/timezone/localtime"));
}

TEST_F(CountryChange, TheCommandLineQuotesEveryZone) {
    LogCapture log;
    failStub("get_time_offsets.sh", 2);
    applyRegional("ES", "Africa/Ceuta");
    EXPECT_TRUE(log.contains("r9::: Error (2) executing get_time_offsets.sh: " +
                             offsetsLine(" \"Europe/Madrid\" \"Africa/Ceuta\" \"Atlantic/Canary\"")))
        << log.dump();
    EXPECT_FALSE(root_.exists("/dorel/conf/tot_file"));
    EXPECT_TRUE(callsOf(kCrond).empty());
}

TEST_F(CountryChange, AnUnknownCountryAsksWithNoAndItsTextNeverReachesTheShell) {
    LogCapture log;
    failStub("get_time_offsets.sh", 1);
    applyRegional("$(touch pwned)", "Mars/Olympus\";touch pwned;\"");
    EXPECT_TRUE(log.contains("executing get_time_offsets.sh: " + offsetsLine(" No"))) << log.dump();
    EXPECT_EQ("Mars/Olympus\";touch pwned;\"\n", root_.readFile("/dorel/conf/timezone/localtime"));
    EXPECT_FALSE(root_.exists("/pwned"));
}

TEST_F(CountryChange, FailuresAreLoggedAndTheCommandStillSucceeds) {
    LogCapture log;
    failStub("S60crond", 4);
    applyRegional("PT", "Europe/Lisbon");
    EXPECT_TRUE(log.contains("r9::: Error (4) restarting cron")) << log.dump();

    root_.writeFile("/devkit/get_time_offsets.out", "");
    root_.exec(kConfigDb, "DELETE FROM configuracionWebGlobal WHERE nombre = 'codtimezone'");
    const size_t calls = callsOf(kTimeOffsets).size();
    applyRegional("DE", "Europe/Berlin");
    EXPECT_EQ(calls, callsOf(kTimeOffsets).size()) << "a missing regional key stops the follow-up";
}

TEST_F(CountryChange, RepeatedRegionalValuesRaiseNoFlag) {
    applyRegional("ES", "Europe/Madrid");
    EXPECT_TRUE(callsOf(kTimeOffsets).empty()) << "the devkit's stored values again";
}

}  // namespace
}  // namespace rctest
