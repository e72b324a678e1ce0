// The status document of a simulated headend: identity, modules with their
// versions and CAM state, and the alarms fetched through the XML-RPC stub.
#include "common/errors.h"
#include "common/xml.h"
#include "server/pass_databases.h"
#include "server/settings.h"
#include "server/status_report.h"
#include "support/headend_root.h"

#include <gtest/gtest.h>

#include <cstdio>
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

// The calls of the XML-RPC client among everything the stubs recorded.
Names clientCalls(const rctest::HeadendRoot& root) {
    Names calls;
    for (const std::string& call : root.stubCalls())
        if (call.rfind("/dorel/bin/clienteXMLRPC", 0) == 0) calls.push_back(call);
    return calls;
}

class StatusReport : public ::testing::Test {
protected:
    explicit StatusReport(const Names& headendArgs = {}) : root_(headendArgs) {}
    void SetUp() override {
        settings() = Settings();
        settings().load(env());
    }
    rctest::TestEnv& env() { return root_.env(); }
    std::string statusText() {
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
    std::string openFailure() {
        try {
            statusText();
        } catch (const CouldNotOpenDBError& e) {
            return e.what();
        }
        return "no error";
    }

    rctest::HeadendRoot root_;
    std::string text_, headend_;
};

struct EmptyHeadendStatus : StatusReport { EmptyHeadendStatus() : StatusReport({"--modules", "0"}) {} };
struct WmbG400Status : StatusReport { WmbG400Status() : StatusReport({"--model", "WMB-G400"}) {} };

// One alarm element as printed at the given depth.
std::string alarmXml(int depth, const std::string& code, const std::string& text) {
    const std::string t(depth, '\t');
    return t + "<alarm>\n" + t + "\t<type>" + code + "</type>\n" + t + "\t<text>" + text + "</text>\n" +
           t + "</alarm>\n";
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
    build();
    const std::string modulesHaveAlarms = alarmXml(3, "100", "Modules have alarms");
    EXPECT_EQ(text_,
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<status>\n"
              "\t<id>headend-test</id>\n\t<mac>00:1A:2B:FF:FF:01</mac>\n"
              "\t<serialNumber>SN-0001</serialNumber>\n\t<zatContractId>CONTRACT-1</zatContractId>\n"
              "\t<headendStatus>\n\t\t<alarms>\n" + modulesHaveAlarms + modulesHaveAlarms + "\t\t</alarms>\n"
              "\t\t<configurationChanged>0</configurationChanged>\n\t\t<modules>\n"
              "\t\t\t<module>\n"
              "\t\t\t\t<mac>00:1A:2B:00:00:01</mac>\n\t\t\t\t<serialNumber>MSN-0001</serialNumber>\n"
              "\t\t\t\t<family>20</family>\n\t\t\t\t<model>3</model>\n\t\t\t\t<hwVersion>1.1</hwVersion>\n"
              "\t\t\t\t<swVersion>1.50</swVersion>\n\t\t\t\t<swVersion>2.0.1</swVersion>\n"
              "\t\t\t\t<alarms>\n" + alarmXml(5, "201", "Hardware alarm") + alarmXml(5, "301", "Input 1 HW alarm") +
              "\t\t\t\t</alarms>\n\t\t\t</module>\n"
              "\t\t\t<module>\n"
              "\t\t\t\t<mac>00:1A:2B:00:00:02</mac>\n\t\t\t\t<serialNumber>MSN-0002</serialNumber>\n"
              "\t\t\t\t<family>36</family>\n\t\t\t\t<model>5</model>\n\t\t\t\t<hwVersion>1.2</hwVersion>\n"
              "\t\t\t\t<swVersion>20190412</swVersion>\n\t\t\t\t<CAMSerialNumber>CAM-LAST</CAMSerialNumber>\n"
              "\t\t\t\t<CAMVersion>255</CAMVersion>\n\t\t\t\t<CardSerialNumber>CARD-LAST</CardSerialNumber>\n"
              "\t\t\t\t<alarms>\n" + alarmXml(5, "404", "Output 2 overloaded") + alarmXml(5, "502", "CAM not present") +
              "\t\t\t\t</alarms>\n\t\t\t</module>\n"
              "\t\t</modules>\n\t</headendStatus>\n</status>\n");
    EXPECT_TRUE(env().contains("Executing: " + root_.rooted("/dorel/bin/clienteXMLRPC") +
                              " \"10.9.0.1\" GetTable TempDB alarmasEstado 'WHERE 1'")) << env().dump();
    // The client's answer is consumed, so a stale one can never be read again.
    EXPECT_FALSE(root_.exists("/tmp/PHPserialize.txt"));
}

TEST_F(EmptyHeadendStatus, NoModulesGiveEmptyModulesAndAlarms) {
    build();
    EXPECT_EQ(headend_, "alarms= configurationChanged=0 modules=");
}

TEST_F(WmbG400Status, ModulesCarryNeitherFamilyNorModel) {
    const auto modules = build();
    EXPECT_EQ(modules, (Names{"mac=00:1A:2B:00:00:01 serialNumber=MSN-0001 hwVersion=1.1 swVersion=1.50 alarms=",
                              "mac=00:1A:2B:00:00:02 serialNumber=MSN-0002 hwVersion=1.2 swVersion=20190412 "
                              "CAMSerialNumber=CAM-0002 CAMVersion=7 CardSerialNumber=CARD-0002 alarms="}));
}

TEST_F(StatusReport, DamagedRowsAndUnreachableModulesReportNoCommunicationOnly) {
    root_.writeFile("/devkit/modules/10.9.0.1.exit", "3\n");
    root_.exec(kConfigDb, "UPDATE RedesModulos SET NumeroSerie = NULL, Familia = NULL, Modelo = NULL, "
                          "HWVersion = NULL WHERE idRedMod = 1");
    root_.exec(kTempDb, "UPDATE ModulosCabecera SET SWVersion = NULL WHERE idModulosCabecera = 1");
    // The second module has no live row: no version and no address to ask.
    root_.exec(kTempDb, "DELETE FROM ModulosCabecera WHERE MAC = '00:1A:2B:00:00:02'");
    const auto modules = build();
    EXPECT_EQ(modules, (Names{"mac=00:1A:2B:00:00:01 serialNumber= family= model= hwVersion= swVersion=0.00 "
                              "alarms=200;",
                              "mac=00:1A:2B:00:00:02 serialNumber=MSN-0002 family=36 model=5 hwVersion=1.2 "
                              "CAMSerialNumber=CAM-0002 CAMVersion=7 CardSerialNumber=CARD-0002 alarms=200;"}));
    EXPECT_EQ(headend_, "alarms=100;100; configurationChanged=0 modules=");
    EXPECT_EQ(clientCalls(root_).size(), 1u);
}

TEST_F(StatusReport, CamElementsEmptyWithoutACamRowAndNoneForModels2And13) {
    root_.exec(kTempDb, "DELETE FROM CAMInfoGlobal");
    EXPECT_NE(build().at(1).find(" CAMSerialNumber= CAMVersion= CardSerialNumber= "), std::string::npos);
    for (const char* model : {"2", "13"}) {
        root_.exec(kConfigDb, std::string("UPDATE RedesModulos SET Modelo = '") + model + "' WHERE idRedMod = 2");
        EXPECT_EQ(build().at(1).find("CAM"), std::string::npos) << model;
    }
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
        EXPECT_EQ(openFailure(), c.second);
        EXPECT_EQ(1, env().count(c.second)) << env().dump();
        ASSERT_EQ(0, std::rename((path + ".away").c_str(), path.c_str()));
    }
}
