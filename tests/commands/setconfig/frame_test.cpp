// The setConfiguration frame: one transaction for the whole document, the
// section table, the key sections, the change set and the follow-up after the
// commit.
#include "commands/setconfig/setconfig_fixture.h"

#include "commands/setconfig/section_context.h"

#include <sqlite3.h>

namespace rctest {
namespace {

using namespace dorel_remote_control;

const char kWan[] = "/dorel/script/WAN_from_DB.sh";
const char kTimeOffsets[] = "/dorel/script/get_time_offsets.sh";

class Frame : public SetConfigTest {};

TEST_F(Frame, UnknownSectionsAreLoggedAndSkippedAndAMissingConfigurationIs101) {
    auto command = apply("<colours><red>1</red></colours><x/>");
    EXPECT_EQ(Errors{}, command->result().errors());
    EXPECT_TRUE(command->result().succeeded());
    EXPECT_TRUE(env().contains("r9::: Unknown configuration setting: colours")) << env().dump();
    EXPECT_TRUE(root_.stubCalls().empty()) << "nothing changed, nothing follows";

    command = run("setConfiguration", "<network><ip>1.2.3.4</ip></network>");
    EXPECT_EQ(only(kInvalidCommand), command->result().errors());
    EXPECT_FALSE(command->result().succeeded());
    EXPECT_EQ("192.168.1.10", root_.config("network_IP"));
}

TEST_F(Frame, KeySectionsInAnyLetterCaseStoreTheirKeysAndTheLastOccurrenceStays) {
    EXPECT_EQ(Errors{}, applyErrors("<NETWORK><IP>10.0.0.1</IP></NETWORK><Identification><HEADENDNAME>Roof"
                                    "</HEADENDNAME><installer/></Identification><maturityrating>18</maturityrating>"
                                    "<regional><language>fr</language><country>FR</country><timezone>Europe/Paris"
                                    "</timezone></regional><lnb><oscHighFreq>10700</oscHighFreq></lnb><remoteControl>"
                                    "<interval>5</interval></remoteControl><network><ip>10.0.0.2</ip></network>"));
    EXPECT_EQ((Rows{{"LNB_fa", "10700"}, {"MaturityRating", "18"}, {"codtimezone", "fr"}, {"identificacion_cabecera", "Roof"},
                    {"identificacion_instalador", ""}, {"idtimezone", "FR"}, {"network_IP", "10.0.0.2"},
                    {"servidorZAT_intervalo", "5"}, {"subtimezone", "Europe/Paris"}}),
              query("SELECT nombre, valor FROM configuracionWebGlobal WHERE nombre IN ('codtimezone', 'idtimezone', "
                    "'subtimezone', 'LNB_fa', 'servidorZAT_intervalo', 'network_IP', 'identificacion_cabecera', "
                    "'identificacion_instalador', 'MaturityRating') ORDER BY nombre"));
    EXPECT_EQ(1u, callsOf(kWan).size());
    EXPECT_EQ(1u, callsOf(kTimeOffsets).size());
}

TEST_F(Frame, OnlyACommittedNetworkChangeRunsTheWanScript) {
    struct Case {
        const char* name;
        const char* sql;   // run on the headend first
        int wanStatus;
        const char* sections;
        Errors expected;
        const char* key;
        const char* stored;
        size_t wanCalls;
    };
    const Case cases[] = {
        {"the stored values again", "", 0,
         "<network><internet>1</internet><dhcp>0</dhcp><ip>192.168.1.10</ip><netmask>255.255.255.0</netmask>"
         "<gateway>192.168.1.1</gateway><dns1>192.168.1.1</dns1><dns2>192.168.1.2</dns2></network>",
         {}, "network_IP", "192.168.1.10", 0},
        {"a changed address", "", 0, "<network><ip>10.1.1.1</ip></network>", {}, "network_IP", "10.1.1.1", 1},
        {"a missing key is inserted", "DELETE FROM configuracionWebGlobal WHERE nombre = 'network_SecondaryDNS'", 0,
         "<network><dns2>8.8.8.8</dns2></network>", {}, "network_SecondaryDNS", "8.8.8.8", 1},
        {"a failing section", "", 0, "<network><ip>10.2.2.2</ip></network><maintenances><x/></maintenances>",
         failed(kInvalidCommand, "No maintenance element found"), "network_IP", "10.1.1.1", 0},
        {"a failing script, after the commit", "", 3,
         "<network><ip>10.3.3.3</ip></network><regional><country>FR</country></regional>",
         only(kCouldNotApplyNetwork), "network_IP", "10.3.3.3", 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        if (*c.sql) exec(c.sql);
        failStub("WAN_from_DB.sh", c.wanStatus);
        const size_t before = callsOf(kWan).size();
        auto command = apply(c.sections);
        EXPECT_EQ(c.expected, command->result().errors());
        EXPECT_EQ(c.expected.empty(), command->result().succeeded());
        EXPECT_EQ(c.stored, root_.config(c.key));
        EXPECT_EQ(c.wanCalls, callsOf(kWan).size() - before);
    }
    EXPECT_TRUE(callsOf(kTimeOffsets).empty()) << "a failing WAN script skips the later follow-up";
}

TEST_F(Frame, TheFollowUpRunsInOrderAndTheKeysAreRegeneratedOnWmbG400Only) {
    const std::string scrambling = "<scramblings><scrambling><name>Quorvex</name></scrambling></scramblings>";
    EXPECT_EQ(Errors{}, applyErrors(scrambling));
    EXPECT_TRUE(root_.stubCalls().empty());

    useModel("WMB-G400");
    root_.writeFile("/devkit/calls.log", "");
    EXPECT_EQ(Errors{}, applyErrors(scrambling + "<regional><country>PT</country></regional><network><ip>10.0.0.3"
                                                  "</ip></network>"));
    EXPECT_EQ((std::vector<std::string>{kWan, std::string(kTimeOffsets) + " 0 Europe/Lisbon Atlantic/Madeira "
                                                                          "Atlantic/Azores",
                                        "/etc/init.d/S60crond restart",
                                        "/dorel/bin/QuorKey " + root_.rooted("/dorel/datosWeb/ScramblingKeys/quorkeys.txt")}),
              root_.stubCalls())
        << "the scrambling section asks for new keys even when it changed nothing";

    failStub("QuorKey", 1);
    auto command = apply(scrambling);
    EXPECT_EQ(only(kErrorRegeneratingKey), command->result().errors());
    EXPECT_FALSE(command->result().succeeded());
}

// The headend's log collector picks up the "r9:::" lines, whatever the debug mask says.
TEST_F(Frame, AFailingSectionRollsBackEverySectionBeforeItAndTellsTheCollector) {
    const auto before = configRows();
    env().debugMask() = 0;
    env().clearLog();
    auto command = apply("<identification><location>x</location></identification><lnb><oscLowFreq>1</oscLowFreq>"
                         "</lnb><maintenances><hour>3</hour></maintenances><network><ip>10.1.1.1</ip></network>");
    EXPECT_EQ(failed(kInvalidCommand, "No maintenance element found"), command->result().errors());
    EXPECT_FALSE(command->result().succeeded());
    EXPECT_EQ(before, configRows());
    std::vector<std::string> lines;
    for (const LogLine& line : env().lines()) {
        if (line.priority == kCollectorPriority) lines.push_back(line.text);
    }
    EXPECT_EQ((std::vector<std::string>{"r9::: Error 101, No maintenance element found",
                                        "r9::: Error 202, Could not set configuration"}),
              lines);
}

TEST_F(Frame, AKeyThatCannotBeWrittenFailsItsSectionNamingIt) {
    exec("CREATE TRIGGER readOnly BEFORE UPDATE ON configuracionWebGlobal BEGIN SELECT RAISE(ABORT, 'no'); END");
    EXPECT_EQ(failed(kCouldNotAccessDatabase, "Could not set value"),
              applyErrors("<Network><IP>10.9.9.9</IP></Network>"));
    EXPECT_TRUE(env().contains("r9::: Error 102, Could not set Network/IP")) << env().dump();
    EXPECT_TRUE(callsOf(kWan).empty());
}

TEST_F(Frame, AFailingCommitRollsBack) {
    const auto before = configRows();
    sqlite3* raw = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(root_.rooted(kConfigDb).c_str(), &raw));
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> reader(raw, &sqlite3_close);
    // An open read transaction lets the writes in but keeps the commit out.
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(raw, "BEGIN; SELECT count(*) FROM configuracionWebGlobal;", nullptr, nullptr,
                                      nullptr));
    auto command = apply("<network><ip>10.1.1.1</ip></network>");
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(raw, "COMMIT", nullptr, nullptr, nullptr));
    EXPECT_EQ((Errors{{kCouldNotAccessDatabase, "Could not commit transaction"}}), command->result().errors());
    EXPECT_EQ(before, configRows());
    EXPECT_TRUE(callsOf(kWan).empty());
}

TEST_F(Frame, ProgressLinesGoToStandardOutput) {
    auto command = createCommand(env(), envelope(5, "setConfiguration",
                                                 "<configuration><network><ip>10.0.0.9</ip></network><colours/>"
                                                 "</configuration>"));
    testing::internal::CaptureStdout();
    command->run();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(std::string::npos, out.find("Processing: network\nsetConfig: network_IP = 10.0.0.9\nProcessing: colours\n"))
        << out;
}

}  // namespace
}  // namespace rctest
