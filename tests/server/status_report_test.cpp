// The status document of a simulated headend: identity, modules with their
// versions and CAM state, and the alarms fetched through the dev kit's XML-RPC
// stand-in.
#include "common/errors.h"
#include "common/xml.h"
#include "server/pass_databases.h"
#include "server/settings.h"
#include "server/status_report.h"
#include "server/status_variables.h"
#include "support/headend_root.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

using namespace dorel_remote_control;

namespace {

const char kConfigDb[] = "/dorel/DB/config_global.sqlite";
const char kTempDb[] = "/tmp/temp_global.sqlite";
using Names = std::vector<std::string>;

// An element as one line: "name=text" per child, alarms as their codes.
std::string outline(const XmlNode* element) {
    std::string out;
    for (const XmlNode* child = element->first_node(); child; child = child->next_sibling()) {
        out += (out.empty() ? "" : " ") + nodeName(child) + "=" + nodeText(child);
        for (const XmlNode* a = child->first_node("alarm"); a; a = a->next_sibling())
            out += nodeText(childElement(a, "type")) + ";";
    }
    return out;
}

class StatusReport : public ::testing::Test {
protected:
    explicit StatusReport(const Names& headendArgs = {}) : root_(headendArgs) {}
    rctest::TestEnv& env() { return root_.env(); }
    std::string statusText() {
        settings() = Settings();
        settings().load(env());
        PassDatabases databases(env());
        return buildStatusText(env(), databases);
    }
    // Builds the document, keeps its text and the headend's outline, and
    // returns the outline of each module.
    Names build() {
        text_ = statusText();
        ParsedXml parsed(text_);
        const XmlNode* headend = childElement(parsed.doc().first_node("status"), "headendStatus");
        headend_ = outline(headend);
        Names modules;
        for (const XmlNode* m = childElement(headend, "modules")->first_node(); m; m = m->next_sibling())
            modules.push_back(outline(m));
        return modules;
    }

    rctest::HeadendRoot root_;
    std::string text_, headend_;
};

// One object as the module's XML-RPC service serialises it.
std::string object(const std::string& name, const std::string& value) {
    return "i:0;O:15:\"tAlarmasEstadoE\":2:{s:7:\"fnombre\";s:" + std::to_string(name.size()) + ":\"" + name +
           "\";s:6:\"fvalor\";s:" + std::to_string(value.size()) + ":\"" + value + "\";}";
}

struct Case {
    const char* what;
    std::string file;  // "vars": lines added to the quiet ones; "raw": the whole answer
    std::string answer;
    const char* alarms;  // their codes, as the outline lists them
    const char* db = nullptr;  // SQL on the module's rows ({mac} is its MAC)
    std::string sql = {};
};

// The answer of a raw case beyond the limit of what is read: what ends
// exactly there counts, what follows does not.
std::string huge() {
    const std::string head = object("estado_cam", "0") + "\n", last = object("alarma_diseqc", "1");
    return head + std::string(StatusVariableList::kMaxFileBytes - head.size() - last.size(), 'x') + last +
           object("alarma_rfout_1", "4") + "\n";
}

}  // namespace

TEST_F(StatusReport, DocumentOfAHeadendWithAlarms) {
    // 201 comes from the input, the system word and a flag: listed once.
    const std::string vars1 = "/devkit/modules/10.9.0.1.vars", vars2 = "/devkit/modules/10.9.0.2.vars";
    root_.writeFile(vars1, root_.readFile(vars1) + "alarma_procesats_si_input1=2\nalarma_procesats_system=400\n"
                                                   "alarma_diseqc=1\n");
    root_.writeFile(vars2, root_.readFile(vars2) + "estado_cam=0\nalarma_rfout_2=1\n");
    // Two live rows: two versions, and the address of the last row is asked.
    root_.exec(kTempDb, "UPDATE ModulosCabecera SET Direccion = '10.9.0.99' WHERE idModulosCabecera = 1");
    root_.exec(kTempDb, "INSERT INTO ModulosCabecera (idModulosCabecera, MAC, Direccion, SWVersion) "
                        "VALUES (50, '00:1A:2B:00:00:01', '10.9.0.1', '2.0.1+b7')");
    root_.exec(kTempDb, "INSERT INTO CAMInfoGlobal (idCAMInfoGlobal, MAC, RescueMode, CardSerialNumber, "
                        "CAMSerialNumber, CAMVersion) VALUES (9, '00:1A:2B:00:00:02', '0', 'CARD-LAST', "
                        "'CAM-LAST', '511')");
    EXPECT_EQ(build(), (Names{"mac=00:1A:2B:00:00:01 serialNumber=MSN-0001 family=20 model=3 hwVersion=1.1 "
                              "swVersion=1.50 swVersion=2.0.1 alarms=201;301;",
                              "mac=00:1A:2B:00:00:02 serialNumber=MSN-0002 family=36 model=5 hwVersion=1.2 "
                              "swVersion=20190412 CAMSerialNumber=CAM-LAST CAMVersion=255 CardSerialNumber=CARD-LAST "
                              "alarms=404;502;"}));
    EXPECT_EQ(headend_, "alarms=100;100; configurationChanged=0 modules=");
    EXPECT_EQ(0u, text_.find("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<status>\n\t<id>headend-test</id>\n\t<mac>"
                             "00:1A:2B:FF:FF:01</mac>\n\t<serialNumber>SN-0001</serialNumber>\n\t<zatContractId>"
                             "CONTRACT-1</zatContractId>\n\t<headendStatus>\n\t\t<alarms>\n\t\t\t<alarm>\n"));
    for (const char* text :
         {"Modules have alarms", "Hardware alarm", "Input 1 HW alarm", "Output 2 overloaded", "CAM not present"})
        EXPECT_NE(std::string::npos, text_.find(std::string("<text>") + text + "</text>")) << text;
    EXPECT_TRUE(env().contains("Executing: " + root_.rooted("/dorel/bin/clienteXMLRPC") +
                              " \"10.9.0.1\" GetTable TempDB alarmasEstado 'WHERE 1'")) << env().dump();
    // The client's answer is consumed, so a stale one can never be read again.
    EXPECT_FALSE(root_.exists("/tmp/PHPserialize.txt"));
}

struct WmbG400Status : StatusReport {
    WmbG400Status() : StatusReport({"--model", "WMB-G400", "--modules", "4", "--cam-modules", "3"}) {}
};

TEST_F(WmbG400Status, NeitherFamilyNorModelEmptyColumnsAndCamModulesWithoutCamState) {
    root_.exec(kConfigDb, "UPDATE RedesModulos SET NumeroSerie = NULL, Familia = NULL, Modelo = NULL, "
                          "HWVersion = NULL WHERE idRedMod = 1");
    root_.exec(kTempDb, "UPDATE ModulosCabecera SET SWVersion = NULL WHERE idModulosCabecera = 1");
    root_.exec(kTempDb, "DELETE FROM CAMInfoGlobal WHERE MAC = '00:1A:2B:00:00:02'");
    root_.exec(kConfigDb, "UPDATE RedesModulos SET Modelo = '2' WHERE idRedMod = 3");
    root_.exec(kConfigDb, "UPDATE RedesModulos SET Modelo = '13' WHERE idRedMod = 4");
    EXPECT_EQ(build(), (Names{"mac=00:1A:2B:00:00:01 serialNumber= hwVersion= swVersion=0.00 alarms=",
                              "mac=00:1A:2B:00:00:02 serialNumber=MSN-0002 hwVersion=1.2 swVersion=20190412 "
                              "CAMSerialNumber= CAMVersion= CardSerialNumber= alarms=",
                              "mac=00:1A:2B:00:00:03 serialNumber=MSN-0003 hwVersion=1.3 swVersion=1.50 alarms=",
                              "mac=00:1A:2B:00:00:04 serialNumber=MSN-0004 hwVersion=1.4 swVersion=20190412 alarms="}));
    EXPECT_EQ(headend_, "alarms= configurationChanged=0 modules=");
}

TEST(StatusTexts, SoftwareVersions) {
    const std::pair<const char*, const char*> versions[] = {{"150", "1.50"}, {"7", "0.07"}, {"1000", "10.00"},
        {"ab", "0.00"}, {"20190412-r3", "20190412"}, {"2.1.4+git5-r1", "2.1.4"}, {"12345", "12345"}};
    for (const auto& v : versions) EXPECT_EQ(formatSoftwareVersion(v.first), v.second) << v.first;
}

TEST_F(StatusReport, AMissingDatabaseIsReportedByName) {
    const std::pair<const char*, const char*> cases[] = {{kTempDb, "Could not open temp global DB"},
                                                         {kConfigDb, "Could not open conf global DB"}};
    for (const auto& c : cases) {
        const std::string path = root_.rooted(c.first);
        ASSERT_EQ(0, std::rename(path.c_str(), (path + ".away").c_str()));
        EXPECT_THROW(statusText(), CouldNotOpenDBError);
        EXPECT_EQ(1, env().count(c.second)) << env().dump();
        ASSERT_EQ(0, std::rename((path + ".away").c_str(), path.c_str()));
    }
}

namespace {

// Every case is one module of a large headend: status variables added to its
// quiet ones, a raw answer, none at all, or no answer; the tables spell its MAC
// their own way, since they are read once for the whole document and grouped
// by module. Each module must get exactly its own codes.
const std::vector<Case> kPlain = {
    {"quiet", "vars", "", ""},
    // Inputs: bit 2 of the word (no other), no sync, bad signal (decimal 1 only).
    {"input words", "vars", "alarma_procesats_si_input1=2\nestado_procesats_si_input2=3", "201;301;304;"},
    {"input words", "vars", "alarma_procesats_si_input2=fe\nestado_procesats_si_input1=1", "201;302;303;"},
    {"other input bits", "vars", "alarma_procesats_si_input1=d\nalarma_signal_quality_nim_T1=2", ""},
    {"bad signal", "vars", "alarma_signal_quality_nim_T1=1\nalarma_signal_quality_nim_T2=1", "305;306;"},
    // Outputs: bit 2 hardware, 1 overload, 4 temperature.
    {"outputs", "vars", "alarma_rfout_1=7\nalarma_rfout_2=1", "201;202;401;403;404;"},
    {"output hardware", "vars", "alarma_rfout_2=2", "201;402;"},
    // System word and hardware flags (only the text "1" raises a flag).
    {"system hardware bit", "vars", "alarma_procesats_system=8", "201;"},
    {"system bits", "vars", "alarma_procesats_system=283f", "201;203;204;205;206;"},
    {"bits of no alarm", "vars", "alarma_procesats_system=1080\nalarma_diseqc=01", ""},
    {"a tuner's flag", "vars", "alarma_i2c_nim_T2=1", "201;"},
    {"values that are no numbers", "vars",
     "alarma_procesats_system=zz\nalarma_rfout_1=\nestado_cam=not hex\nalarma_signal_quality_nim_T1=x", "502;"},
    {"a tuner in standby", "vars", "estado_procesats_si_input2=1", "", kTempDb,
     "UPDATE TempNIMGlobal SET Standby = '1' WHERE Entrada = '2' AND MAC = '{mac}'"},
    {"an inactive input", "vars", "estado_procesats_si_input1=1", "", kConfigDb,
     "UPDATE EntradasGlobal SET Activo = '0' WHERE fk_idEntrada = '1' AND MAC = '{mac}'"},
    {"an inactive output", "vars", "alarma_rfout_2=7", "", kConfigDb,
     "UPDATE SalidasLogicasGlobal SET Activo = '0' WHERE fk_idSalidasLogicas = '2' AND MAC = '{mac}'"},
    // A tuner row without its input number asks for a variable no module has.
    {"a tuner without input", "vars", "alarma_procesats_si_input1=2", "", kTempDb,
     "UPDATE TempNIMGlobal SET Entrada = NULL WHERE MAC = '{mac}'"},
    {"no answer", "exit", "3", "200;"},
    // Stopped at its time-out, with everything it started; the pass goes on.
    {"hangs", "hang", "", "200;"},
    {"no live row, so no address to ask", "vars", "", "200;", kTempDb,
     "DELETE FROM ModulosCabecera WHERE MAC = '{mac}'"},
    // Each variable the rules read is missing (and logged).
    {"no variables", "raw", "a:0:{}\n", ""},
    // Read line by line: a damaged object ends its line, the next line is
    // read, the later value wins, an object cut short at the end is dropped.
    {"damaged objects", "raw",
     "a:2:{" + object("estado_cam", "0") + object("alarma_diseqc", "1") + "}\na:3:{" + object("estado_cam", "1f") +
         "i:1;O:15:\"tAlarmasEstadoE\":2:{s:7:\"fnombre\";s:1:\"x\";s:6:\"fvalor\";s:1\n" +
         object("alarma_rfout_1", "4") + "\nO:15:\"tAlarmasEstadoE\":2:{s:7:\"fnombre\";s:4:\"half\n",
     "201;202;"},
    {"a value across lines, NUL bytes", "raw",
     object("estado_cam", "0\n1") + std::string(1, '\0') + object("alarma_diseqc", "1"), "201;"},
    {"only the head of a huge answer", "raw", huge(), "201;502;"},
};
const std::vector<Case> kCam = {
    {"quiet CAM", "vars", "", ""},
    {"CAM alarms", "vars", "alarma_cam_i2c_cimax=1\nalarma_procesats_system=340", "501;504;505;506;"},
    // Without a CAM its load bits mean nothing.
    {"no CAM", "vars", "estado_cam=0\nalarma_procesats_system=340", "502;"},
    {"rescue mode", "vars", "", "503;", kTempDb, "UPDATE CAMInfoGlobal SET RescueMode = '1' WHERE MAC = '{mac}'"},
};

// The headend's own column order, and one that moves every column the
// agent finds by name (and puts unknown ones between them).
struct LargeHeadendStatus : StatusReport, ::testing::WithParamInterface<const char*> {
    LargeHeadendStatus()
        : StatusReport({"--modules", std::to_string(kPlain.size() + kCam.size()), "--cam-modules",
                        std::to_string(kCam.size()), "--services", "1", "--pids", "1", "--layout", GetParam()}) {
        env().setTimeoutMillis(Program::kClienteXmlRpcStatus, 300);
    }
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Layouts, LargeHeadendStatus, ::testing::Values("default", "shuffled:1"));

TEST_P(LargeHeadendStatus, EveryModuleGetsExactlyItsOwnAlarms) {
    std::map<std::string, std::string> expected;  // by MAC as RedesModulos has it: "case: alarms=..."
    for (size_t m = 1; m <= kPlain.size() + kCam.size(); ++m) {
        const Case& c = m <= kPlain.size() ? kPlain[m - 1] : kCam[m - kPlain.size() - 1];
        char mac[32], spelled[32];
        std::snprintf(mac, sizeof mac, "00:1A:2B:00:00:%02X", static_cast<unsigned>(m));
        std::snprintf(spelled, sizeof spelled, "00:1a:2b:00:00:%02x", static_cast<unsigned>(m));
        const std::string module = "/devkit/modules/10.9.0." + std::to_string(m) + ".";
        root_.writeFile(module + c.file, c.file == "vars" ? root_.readFile(module + "vars") + c.answer : c.answer);
        std::string sql = c.sql;
        if (c.db) root_.exec(c.db, sql.replace(sql.find("{mac}"), 5, mac));

        const auto respell = [&](const char* db, const std::string& table, bool when) {
            if (when) root_.exec(db, "UPDATE " + table + " SET MAC = '" + spelled + "' WHERE MAC = '" + mac + "'");
        };
        respell(kConfigDb, "RedesModulos", m % 2 == 0);
        respell(kConfigDb, "EntradasGlobal", m % 3 == 0);
        respell(kConfigDb, "SalidasLogicasGlobal", m % 4 == 1);
        respell(kTempDb, "ModulosCabecera", m % 5 == 0);
        respell(kTempDb, "TempNIMGlobal", m % 3 == 1);
        respell(kTempDb, "CAMInfoGlobal", true);
        expected[m % 2 == 0 ? spelled : mac] = std::string(c.what) + ": alarms=" + c.alarms;
    }
    std::map<std::string, std::string> actual;
    for (const std::string& module : build()) {
        const std::string mac = module.substr(4, module.find(' ') - 4);
        actual[mac] = expected[mac].substr(0, expected[mac].find(':') + 2) + module.substr(module.find("alarms="));
    }
    EXPECT_EQ(expected, actual);
    EXPECT_EQ(0, root_.hungProcessesLeft());

    // Each name once for every module whose answer lacked it, as an error.
    const int lacking = 4;
    for (const char* name : {"alarma_procesats_si_input1", "alarma_rfout_2", "alarma_procesats_system"})
        EXPECT_EQ(lacking, env().count(std::string("Status/alarm: ") + name + " was not found")) << name;
    for (const auto& line : env().lines()) {
        if (line.text.find("was not found") != std::string::npos) {
            EXPECT_EQ(3, line.priority) << line.text;
        }
    }
}
