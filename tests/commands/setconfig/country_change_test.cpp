// The follow-up of a regional change: the clock's zone, the country's offsets
// from get_time_offsets.sh, the tot file and the cron restart. The countries
// below also check the agent's country table where it matters: several zones
// in the database's order, a code in other letter case, an unknown code.
#include "commands/setconfig/setconfig_fixture.h"

namespace rctest {
namespace {

const char kTimeOffsets[] = "/dorel/script/get_time_offsets.sh";
const char kCrond[] = "/etc/init.d/S60crond";

std::string regional(const std::string& country, const std::string& zone) {
    return "<regional><country>" + country + "</country><timezone>" + zone + "</timezone></regional>";
}

class CountryChange : public SetConfigTest {};

TEST_F(CountryChange, TheCountrysZonesGoToTheClockTheOffsetsAndTheTotFile) {
    EXPECT_EQ(Errors{}, applyErrors(regional("ES", "Europe/Madrid")));
    EXPECT_TRUE(root_.stubCalls().empty()) << "the stored values again change nothing";

    // The country and zone sent, the clock's zone, get_time_offsets.sh's zones (after the mode) and the tot
    // file's country.
    const std::tuple<const char*, const char*, const char*, const char*, const char*> cases[] = {
        {"ES", "Atlantic/Canary", "Atlantic/Canary", "Europe/Madrid Africa/Ceuta Atlantic/Canary", "ES"},
        {"zw", "Europe/Madrid", "Africa/Harare", "Africa/Harare", "zw"},   // the table's last country
        {"ZZ\nES", "Mars/Olympus\nPhobos", "Mars/Olympus", "No", "ZZ"},
    };
    for (const auto& [country, zone, localtime, zones, totCountry] : cases) {
        SCOPED_TRACE(country);
        EXPECT_EQ(Errors{}, applyErrors(regional(country, zone)));
        EXPECT_EQ(std::string(localtime) + "\n", root_.readFile("/dorel/conf/timezone/localtime"));
        EXPECT_EQ(std::string(kTimeOffsets) + " 0 " + zones, callsOf(kTimeOffsets).back());
        std::string tot = std::string(totCountry) + "\n";
        std::istringstream offsets(zones);
        for (std::string each; offsets >> each;) tot += each + " +0100\n";   // what the stand-in answers
        EXPECT_EQ(tot, root_.readFile("/dorel/conf/tot_file"));
        EXPECT_FALSE(root_.exists("/tmp/temp_tot_file_web"));
        EXPECT_EQ(std::string(kCrond) + " restart", callsOf(kCrond).back());
    }
}

TEST_F(CountryChange, FailuresAreLoggedAndTheCommandStillSucceeds) {
    failStub("get_time_offsets.sh", 2);
    EXPECT_EQ(Errors{}, applyErrors(regional("PT", "Europe/Lisbon")));
    EXPECT_TRUE(env().contains("r9::: Error (2) executing get_time_offsets.sh: " + root_.rooted(kTimeOffsets) +
                               " 0 \"Europe/Lisbon\" \"Atlantic/Madeira\" \"Atlantic/Azores\""))
        << env().dump();
    EXPECT_FALSE(root_.exists("/dorel/conf/tot_file"));
    EXPECT_TRUE(callsOf(kCrond).empty());

    failStub("get_time_offsets.sh", 0);
    failStub("S60crond", 4);
    EXPECT_EQ(Errors{}, applyErrors(regional("DE", "Europe/Berlin")));
    EXPECT_TRUE(env().contains("r9::: Error (4) restarting cron")) << env().dump();

    exec("DELETE FROM configuracionWebGlobal WHERE nombre = 'codtimezone'");
    EXPECT_EQ(Errors{}, applyErrors(regional("IT", "Europe/Rome")));
    EXPECT_EQ(2u, callsOf(kTimeOffsets).size()) << "a missing regional key stops the follow-up";
}

}  // namespace
}  // namespace rctest
