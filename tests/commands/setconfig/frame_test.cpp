// The setConfiguration frame: the transaction, the section table, the change
// set and the follow-up after the commit.
#include "commands/setconfig/setconfig_fixture.h"

#include "commands/core/result_codes.h"
#include "commands/setconfig/section_context.h"
#include "db/access.h"
#include "support/log_capture.h"

#include <sqlite3.h>

namespace rctest {
namespace {

using namespace dorel_remote_control;

const char kWan[] = "/dorel/script/WAN_from_DB.sh";
const char kTimeOffsets[] = "/dorel/script/get_time_offsets.sh";
const Errors kSectionFailed = {{kCouldNotSetConfiguration, "Could not set configuration"}};

// The stored network keys of a fresh headend (devkit rows), sent back as they are.
const char kStoredNetwork[] =
    "<network><internet>1</internet><dhcp>0</dhcp><ip>192.168.1.10</ip><netmask>255.255.255.0</netmask>"
    "<gateway>192.168.1.1</gateway><dns1>192.168.1.1</dns1></network>";

class Frame : public SetConfigTest {};

TEST_F(Frame, AnEmptyConfigurationCommitsAndSucceedsWithoutFollowUp) {
    LogCapture log;
    auto command = apply("");
    EXPECT_EQ(Errors{}, command->result().errors());
    EXPECT_TRUE(command->result().succeeded());
    EXPECT_TRUE(root_.stubCalls().empty()) << "no follow-up program may run";
}

TEST_F(Frame, AMissingConfigurationIsAnInvalidCommand) {
    auto command = run(envelope(5, "setConfiguration", "<network><ip>1.2.3.4</ip></network>"));
    EXPECT_EQ((Errors{{kInvalidCommand, "Invalid command"}}), command->result().errors());
    EXPECT_FALSE(command->result().succeeded());
    EXPECT_EQ("192.168.1.10", root_.config("network_IP"));
}

TEST_F(Frame, UnknownSectionsAreLoggedAndSkipped) {
    LogCapture log;
    EXPECT_EQ(Errors{}, applyErrors("<colours><red>1</red></colours><x/><regional2/>"));
    EXPECT_TRUE(log.contains("r9::: Unknown configuration setting: colours")) << log.dump();
    EXPECT_TRUE(log.contains("r9::: Unknown configuration setting: regional2")) << log.dump();
}

TEST_F(Frame, SectionAndElementNamesInAnyLetterCase) {
    EXPECT_EQ(Errors{}, applyErrors("<NETWORK><IP>10.0.0.2</IP></NETWORK><Identification><HEADENDNAME>Roof</HEADENDNAME>"
                                    "</Identification><maturityrating>18</maturityrating>"));
    EXPECT_EQ("10.0.0.2", root_.config("network_IP"));
    EXPECT_EQ("Roof", root_.config("identificacion_cabecera"));
    EXPECT_EQ("18", root_.config("MaturityRating"));
}

TEST_F(Frame, EveryKeyTableWritesItsKeysAndOnlyChangedKeysRaiseTheirFlag) {
    EXPECT_EQ(Errors{}, applyErrors(kStoredNetwork));
    EXPECT_TRUE(callsOf(kWan).empty()) << "stored values again change nothing";

    EXPECT_EQ(Errors{}, applyErrors("<regional><language>fr</language><country>FR</country><timezone>Europe/Paris"
                                    "</timezone></regional><lnb><oscLowFreq>9750</oscLowFreq><oscHighFreq>10600"
                                    "</oscHighFreq><oscBandaCFreq>5150</oscBandaCFreq><oscBandaSatelite>1"
                                    "</oscBandaSatelite></lnb><remoteControl><interval>5</interval></remoteControl>"));
    const Rows keys = query("SELECT nombre, valor FROM configuracionWebGlobal WHERE nombre IN ('codtimezone', "
                            "'idtimezone', 'subtimezone', 'LNB_fb', 'LNB_fa', 'LNB_fbandaC', 'LNB_BandaSatelite', "
                            "'servidorZAT_intervalo') ORDER BY nombre");
    EXPECT_EQ((Rows{{"LNB_BandaSatelite", "1"}, {"LNB_fa", "10600"}, {"LNB_fb", "9750"}, {"LNB_fbandaC", "5150"},
                    {"codtimezone", "fr"}, {"idtimezone", "FR"}, {"servidorZAT_intervalo", "5"},
                    {"subtimezone", "Europe/Paris"}}),
              keys);
    EXPECT_TRUE(callsOf(kWan).empty());
    EXPECT_EQ(1u, callsOf(kTimeOffsets).size()) << "the regional change is applied";
}

TEST_F(Frame, RepeatedSectionsHugeAndEmptyValues) {
    const std::string huge(1 << 20, 'x');
    EXPECT_EQ(Errors{}, applyErrors("<network><ip>10.0.0.1</ip></network><identification><location>" + huge +
                                    "</location><installer/></identification><network><ip>10.0.0.2</ip></network>"));
    EXPECT_EQ(huge, root_.config("identificacion_localizacion"));
    EXPECT_EQ("", root_.config("identificacion_instalador"));
    EXPECT_EQ("10.0.0.2", root_.config("network_IP")) << "every occurrence is applied, the last one stays";
    EXPECT_EQ(1u, callsOf(kWan).size());
}

TEST_F(Frame, StoredSettingsSeeTheDocumentsOwnWrites) {
    doreldb::DbHandle db = doreldb::openDatabase(root_.rooted(kConfigDb));
    ResultDocument result;
    SetConfigContext context(db.get(), result, "KVB-200");
    std::string value;
    ASSERT_TRUE(context.storedSetting("LNB_fb", value));
    EXPECT_EQ("9750", value);
    ASSERT_TRUE(context.setConfig("LNB_fb", "9751", kChangeNone));
    ASSERT_TRUE(context.storedSetting("LNB_fb", value));
    EXPECT_EQ("9751", value);
    EXPECT_FALSE(context.storedSetting("LNB_f_", value)) << "names are exact, not LIKE patterns";
    EXPECT_TRUE(context.changes().empty());
}

TEST_F(Frame, AChangedNetworkRunsTheWanScriptAfterTheCommit) {
    EXPECT_EQ(Errors{}, applyErrors("<network><ip>10.1.1.1</ip></network>"));
    EXPECT_EQ((std::vector<std::string>{kWan}), callsOf(kWan));
}

TEST_F(Frame, AMissingKeyIsInsertedAndCountsAsChanged) {
    root_.exec(kConfigDb, "DELETE FROM configuracionWebGlobal WHERE nombre = 'network_SecondaryDNS'");
    EXPECT_EQ(Errors{}, applyErrors("<network><dns2>8.8.8.8</dns2></network>"));
    EXPECT_EQ("8.8.8.8", root_.config("network_SecondaryDNS"));
    EXPECT_EQ(1u, callsOf(kWan).size());
}

TEST_F(Frame, AFailingWanScriptIs203AndTheConfigurationStaysCommitted) {
    failStub("WAN_from_DB.sh", 3);
    auto command = apply("<network><ip>10.1.1.1</ip></network><regional><country>FR</country></regional>");
    EXPECT_EQ((Errors{{kCouldNotApplyNetwork, "Could not apply network configuration"}}), command->result().errors());
    EXPECT_FALSE(command->result().succeeded());
    EXPECT_EQ("10.1.1.1", root_.config("network_IP"));
    EXPECT_TRUE(callsOf(kTimeOffsets).empty()) << "the later follow-up steps are skipped";
}

TEST_F(Frame, AFailingSectionRollsBackEverySectionBeforeItAndRunsNoFollowUp) {
    LogCapture log;
    const Rows before = table("configuracionWebGlobal");
    auto command = apply("<network><ip>10.1.1.1</ip></network><regional><country>FR</country></regional>"
                         "<maintenances><hour>3</hour></maintenances><identification><location>x</location>"
                         "</identification>");
    Errors expected = kSectionFailed;
    expected[kInvalidCommand] = "No maintenance element found";
    EXPECT_EQ(expected, command->result().errors());
    EXPECT_FALSE(command->result().succeeded());
    EXPECT_EQ(before, table("configuracionWebGlobal"));
    EXPECT_TRUE(root_.stubCalls().empty());
    EXPECT_TRUE(log.contains("r9::: Error 101, No maintenance element found")) << log.dump();
    EXPECT_TRUE(log.contains("r9::: Error 202, Could not set configuration")) << log.dump();
}

TEST_F(Frame, AKeyThatCannotBeWrittenFailsItsSectionNamingIt) {
    LogCapture log;
    root_.exec(kConfigDb, "CREATE TRIGGER readOnly BEFORE UPDATE ON configuracionWebGlobal "
                          "BEGIN SELECT RAISE(ABORT, 'read only'); END");
    Errors expected = kSectionFailed;
    expected[kCouldNotAccessDatabase] = "Could not set value";
    EXPECT_EQ(expected, applyErrors("<Network><IP>10.9.9.9</IP></Network>"));
    EXPECT_TRUE(log.contains("r9::: Error 102, Could not set Network/IP")) << log.dump();
    EXPECT_EQ("192.168.1.10", root_.config("network_IP"));
    EXPECT_TRUE(callsOf(kWan).empty());
}

TEST_F(Frame, ProgressLinesGoToStandardOutput) {
    testing::internal::CaptureStdout();
    apply("<network><ip>10.0.0.9</ip></network><colours/>");
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(std::string::npos, out.find("Processing: network\nsetConfig: network_IP = 10.0.0.9\n"
                                          "Processing: colours\n"))
        << out;
}

TEST_F(Frame, TheCollectorLineIsWrittenWhateverTheDebugMask) {
    std::vector<LogLine> lines;
    ScopedLogSink sink([&](int priority, const std::string& line) { lines.push_back({priority, line}); });
    const unsigned long mask = debugMask;
    debugMask = 0;
    apply("<maintenances><x/></maintenances>");
    debugMask = mask;
    ASSERT_EQ(2u, lines.size());
    EXPECT_EQ(kCollectorPriority, lines[0].priority);
    EXPECT_EQ("r9::: Error 101, No maintenance element found", lines[0].text);
    EXPECT_EQ("r9::: Error 202, Could not set configuration", lines[1].text);
}

TEST_F(Frame, AFailingCommitRollsBack) {
    const Rows before = table("configuracionWebGlobal");
    sqlite3* raw = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(root_.rooted(kConfigDb).c_str(), &raw));
    doreldb::DbHandle reader(raw);
    // An open read transaction lets the writes in but keeps the commit out.
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(raw, "BEGIN; SELECT count(*) FROM configuracionWebGlobal;", nullptr, nullptr, nullptr));
    auto command = apply("<network><ip>10.1.1.1</ip></network>");
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(raw, "COMMIT", nullptr, nullptr, nullptr));
    EXPECT_EQ((Errors{{kCouldNotAccessDatabase, "Could not commit transaction"}}), command->result().errors());
    EXPECT_EQ(before, table("configuracionWebGlobal"));
    EXPECT_TRUE(callsOf(kWan).empty());
}

}  // namespace
}  // namespace rctest
