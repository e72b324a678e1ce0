// The setConfiguration frame: one transaction for the whole document, the
// section table, the key sections, the change set and the follow-up after the
// commit.
#include "commands/setconfig/setconfig_fixture.h"

#include "commands/setconfig/section_context.h"

#include <sqlite3.h>

namespace rctest {
namespace {

const char kWan[] = "/dorel/script/WAN_from_DB.sh";

class Frame : public SetConfigTest {};

// The document is walked over its own text, a section at a time (the reader keeps no buffer of its own, so no
// element can be split across one): what lies between and around the sections is stepped over as the parser
// of the whole text would.
TEST_F(Frame, KeySectionsInAnyLetterCaseStoreTheirKeysAndUnknownSectionsAreSkipped) {
    EXPECT_EQ(Errors{}, applyErrors("<NETWORK><IP>10.0.0.1</IP></NETWORK><!-- <modules/> --><Identification>"
                                    "<HEADENDNAME>Roof</HEADENDNAME><installer/></Identification><colours><red>1"
                                    "</red><![CDATA[</colours><modules>]]></colours><maturityrating>18"
                                    "</maturityrating><Modules><module><MAC>00:1a:2b:00:00:02</MAC></module>" +
                                    moduleElement(1, "<attenuation>4</attenuation>") + "</Modules><regional>"
                                    "<language>fr</language><country>FR</country><timezone>Europe/Paris</timezone>"
                                    "</regional><lnb><oscHighFreq>10700</oscHighFreq></lnb><remoteControl>"
                                    "<interval>5</interval></remoteControl><network><ip>10.0.0.2</ip></network>"));
    EXPECT_EQ("4", value("SELECT Atenuacion FROM RedesModulos WHERE MAC = '" + moduleMac(1) + "'"));
    EXPECT_EQ((Rows{{"LNB_fa", "10700"}, {"MaturityRating", "18"}, {"codtimezone", "fr"},
                    {"identificacion_cabecera", "Roof"}, {"identificacion_instalador", ""}, {"idtimezone", "FR"},
                    {"network_IP", "10.0.0.2"}, {"servidorZAT_intervalo", "5"}, {"subtimezone", "Europe/Paris"}}),
              query("SELECT nombre, valor FROM configuracionWebGlobal WHERE nombre IN ('codtimezone', 'idtimezone', "
                    "'subtimezone', 'LNB_fa', 'servidorZAT_intervalo', 'network_IP', 'identificacion_cabecera', "
                    "'identificacion_instalador', 'MaturityRating') ORDER BY nombre"));
    EXPECT_TRUE(env().contains("r9::: Unknown configuration setting: colours")) << env().dump();

    EXPECT_EQ(only(kInvalidCommand), errorsOf("setConfiguration", "<network><ip>1.2.3.4</ip></network>"))
        << "no configuration element";
    EXPECT_EQ("10.0.0.2", root_.config("network_IP"));
}

TEST_F(Frame, OnlyACommittedNetworkChangeRunsTheWanScript) {
    exec("DELETE FROM configuracionWebGlobal WHERE nombre = 'network_SecondaryDNS'");
    // The sections, the WAN script's exit status, the errors, the IP stored and how often the WAN script ran.
    const std::tuple<const char*, int, Errors, const char*, size_t> cases[] = {
        {"<network><internet>1</internet><dhcp>0</dhcp><ip>192.168.1.10</ip><netmask>255.255.255.0</netmask>"
         "<gateway>192.168.1.1</gateway><dns1>192.168.1.1</dns1></network>", 0, {}, "192.168.1.10", 0},
        {"<network><ip>10.1.1.1</ip></network>", 0, {}, "10.1.1.1", 1},
        {"<network><dns2>8.8.8.8</dns2></network>", 0, {}, "10.1.1.1", 1},   // a missing key is inserted
        {"<network><ip>10.3.3.3</ip></network><regional><country>FR</country></regional>", 3,
         only(kCouldNotApplyNetwork), "10.3.3.3", 1},
    };
    for (const auto& [sections, wanStatus, expected, ip, wanRuns] : cases) {
        SCOPED_TRACE(sections);
        failStub("WAN_from_DB.sh", wanStatus);
        const size_t before = callsOf(kWan).size();
        EXPECT_EQ(expected, applyErrors(sections));
        EXPECT_EQ(ip, root_.config("network_IP"));
        EXPECT_EQ(wanRuns, callsOf(kWan).size() - before);
    }
    EXPECT_EQ("8.8.8.8", root_.config("network_SecondaryDNS"));
    EXPECT_TRUE(callsOf("/dorel/script/get_time_offsets.sh").empty()) << "a failing WAN script skips the rest";
}

TEST_F(Frame, TheFollowUpRunsInOrderAndTheKeysAreRegeneratedOnWmbG400Only) {
    const std::string scrambling = "<scramblings><scrambling><name>Quorvex</name></scrambling></scramblings>";
    EXPECT_EQ(Errors{}, applyErrors(scrambling));
    EXPECT_TRUE(root_.stubCalls().empty());

    useModel("WMB-G400");
    root_.writeFile("/devkit/calls.log", "");
    EXPECT_EQ(Errors{}, applyErrors(scrambling + "<regional><country>PT</country></regional><network><ip>10.0.0.3"
                                                  "</ip></network>"));
    const std::string keyFile = root_.rooted("/dorel/datosWeb/ScramblingKeys/quorkeys.txt");
    EXPECT_EQ((std::vector<std::string>{kWan, "/dorel/script/get_time_offsets.sh 0 Europe/Lisbon Atlantic/Madeira "
                                              "Atlantic/Azores", "/etc/init.d/S60crond restart",
                                        "/dorel/bin/QuorKey " + keyFile}),
              root_.stubCalls())
        << "the scrambling section asks for new keys even when it changed nothing";

    failStub("QuorKey", 1);
    EXPECT_EQ(only(kErrorRegeneratingKey), applyErrors(scrambling));
}

// A failing commit, section or key fails the command, and the headend's log collector picks up the "r9:::" lines,
// whatever the debug mask says. (What a failing section rolls back: ListSections.ABadElementRollsBackTheWholeDocument.)
TEST_F(Frame, AFailingCommitSectionOrKeyFailsTheCommandAndTellsTheCollector) {
    env().debugMask() = 0;
    EXPECT_EQ(refused("No maintenance element found"), applyErrors("<maintenances><hour>3</hour></maintenances>"));
    std::vector<std::string> lines;
    for (const LogLine& line : env().lines()) {
        if (line.priority == kCollectorPriority) lines.push_back(line.text);
    }
    EXPECT_EQ((std::vector<std::string>{"r9::: Error 101, No maintenance element found",
                                        "r9::: Error 202, Could not set configuration"}),
              lines);

    const auto before = configRows();
    sqlite3* raw = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(root_.rooted(kConfigDb).c_str(), &raw));
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> reader(raw, &sqlite3_close);
    // An open read transaction lets the writes in but keeps the commit out.
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(raw, "BEGIN; SELECT 1 FROM DiSEqCGlobal;", nullptr, nullptr, nullptr));
    EXPECT_EQ((Errors{{kCouldNotAccessDatabase, "Could not commit transaction"}}),
              applyErrors("<network><ip>10.1.1.1</ip></network>"));
    reader.reset();
    EXPECT_EQ(before, configRows());
    EXPECT_TRUE(callsOf(kWan).empty());

    forbidUpdates("configuracionWebGlobal");
    EXPECT_EQ(dbError("Could not set value"), applyErrors("<Network><IP>10.9.9.9</IP></Network>"));
    EXPECT_TRUE(env().contains("r9::: Error 102, Could not set Network/IP")) << env().dump();
    // The maintenance keys fail their section the same way.
    EXPECT_EQ(dbError("Could not set value"),
              applyErrors("<maintenances><maintenance><hour>5</hour></maintenance></maintenances>"));
}

}  // namespace
}  // namespace rctest
