// The status document of a simulated headend: identity, modules with their
// versions and CAM state, and the alarms fetched through the XML-RPC stub.
#include "common/errors.h"
#include "common/xml.h"
#include "server/settings.h"
#include "server/status_report.h"
#include "support/headend_root.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

using namespace dorel_remote_control;

namespace {

const char kConfigDb[] = "/dorel/DB/config_global.sqlite";
const char kTempDb[] = "/tmp/temp_global.sqlite";
const char kFirstModuleVars[] = "/devkit/modules/10.9.0.1.vars";
const char kSecondModuleVars[] = "/devkit/modules/10.9.0.2.vars";

std::vector<std::string> childNames(const XmlNode* node) {
    std::vector<std::string> names;
    for (const XmlNode* child = node->first_node(); child; child = child->next_sibling())
        names.push_back(nodeName(child));
    return names;
}

std::vector<XmlNode*> children(const XmlNode* node, const char* name) {
    std::vector<XmlNode*> out;
    for (XmlNode* child = node->first_node(name); child; child = child->next_sibling(name))
        out.push_back(child);
    return out;
}

// (type, text) of every alarm under an alarms element.
std::vector<std::pair<std::string, std::string>> alarmsOf(const XmlNode* alarms) {
    std::vector<std::pair<std::string, std::string>> out;
    for (XmlNode* alarm : children(alarms, "alarm"))
        out.emplace_back(nodeText(childElement(alarm, "type")), nodeText(childElement(alarm, "text")));
    return out;
}

using Alarms = std::vector<std::pair<std::string, std::string>>;

// The calls of the XML-RPC client among everything the stubs recorded.
std::vector<std::string> clientCalls(const rctest::HeadendRoot& root) {
    std::vector<std::string> calls;
    for (const std::string& call : root.stubCalls()) {
        if (call.rfind("/dorel/bin/clienteXMLRPC", 0) == 0) calls.push_back(call);
    }
    return calls;
}

// A text as an SQL literal.
std::string sqlText(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) quoted += c == '\'' ? std::string("''") : std::string(1, c);
    return quoted + "'";
}

class StatusReport : public ::testing::Test {
protected:
    explicit StatusReport(const std::vector<std::string>& headendArgs = {}) : root_(headendArgs) {}

    void SetUp() override {
        settings() = Settings();
        ASSERT_NO_THROW(settings().load());
    }
    void TearDown() override { settings() = Settings(); }

    // Builds the document and parses it back; the text is kept for checks.
    XmlNode* build() {
        text_ = buildStatusText();
        parsed_.reset(new ParsedXml(text_));
        return parsed_->doc().first_node("status");
    }
    XmlNode* headend() { return childElement(parsed_->doc().first_node("status"), "headendStatus"); }
    std::vector<XmlNode*> modules() { return children(childElement(headend(), "modules"), "module"); }

    void appendVars(const char* file, const std::string& lines) {
        root_.writeFile(file, root_.readFile(file) + lines);
    }

    rctest::HeadendRoot root_;
    rctest::LogCapture log_;
    std::string text_;
    std::unique_ptr<ParsedXml> parsed_;
};

class EmptyHeadendStatus : public StatusReport {
protected:
    EmptyHeadendStatus() : StatusReport({"--modules", "0"}) {}
};

class WmbG400Status : public StatusReport {
protected:
    WmbG400Status() : StatusReport({"--model", "WMB-G400"}) {}
};

}  // namespace

TEST_F(StatusReport, DocumentOfAQuietHeadend) {
    build();
    const std::string expected =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<status>\n"
        "\t<id>headend-test</id>\n"
        "\t<mac>00:1A:2B:FF:FF:01</mac>\n"
        "\t<serialNumber>SN-0001</serialNumber>\n"
        "\t<zatContractId>CONTRACT-1</zatContractId>\n"
        "\t<headendStatus>\n"
        "\t\t<alarms/>\n"
        "\t\t<configurationChanged>0</configurationChanged>\n"
        "\t\t<modules>\n"
        "\t\t\t<module>\n"
        "\t\t\t\t<mac>00:1A:2B:00:00:01</mac>\n"
        "\t\t\t\t<serialNumber>MSN-0001</serialNumber>\n"
        "\t\t\t\t<family>20</family>\n"
        "\t\t\t\t<model>3</model>\n"
        "\t\t\t\t<hwVersion>1.1</hwVersion>\n"
        "\t\t\t\t<swVersion>1.50</swVersion>\n"
        "\t\t\t\t<alarms/>\n"
        "\t\t\t</module>\n"
        "\t\t\t<module>\n"
        "\t\t\t\t<mac>00:1A:2B:00:00:02</mac>\n"
        "\t\t\t\t<serialNumber>MSN-0002</serialNumber>\n"
        "\t\t\t\t<family>36</family>\n"
        "\t\t\t\t<model>5</model>\n"
        "\t\t\t\t<hwVersion>1.2</hwVersion>\n"
        "\t\t\t\t<swVersion>20190412</swVersion>\n"
        "\t\t\t\t<CAMSerialNumber>CAM-0002</CAMSerialNumber>\n"
        "\t\t\t\t<CAMVersion>7</CAMVersion>\n"
        "\t\t\t\t<CardSerialNumber>CARD-0002</CardSerialNumber>\n"
        "\t\t\t\t<alarms/>\n"
        "\t\t\t</module>\n"
        "\t\t</modules>\n"
        "\t</headendStatus>\n"
        "</status>\n";
    EXPECT_EQ(text_, expected);
}

TEST_F(EmptyHeadendStatus, NoModulesGiveEmptyModulesAndAlarms) {
    build();
    EXPECT_EQ(childNames(headend()), (std::vector<std::string>{"alarms", "configurationChanged", "modules"}));
    EXPECT_EQ(childElement(headend(), "alarms")->first_node(), nullptr);
    EXPECT_EQ(childElement(headend(), "modules")->first_node(), nullptr);
    EXPECT_TRUE(clientCalls(root_).empty());
}

TEST_F(StatusReport, EveryModuleWithAlarmsAddsOneHeadendAlarm) {
    // 201 is raised by the input, the system word and a flag: listed once.
    appendVars(kFirstModuleVars,
               "alarma_procesats_si_input1=2\nalarma_procesats_system=400\nalarma_diseqc=1\n");
    appendVars(kSecondModuleVars, "estado_cam=0\nalarma_rfout_2=1\n");
    build();
    const Alarms modulesHaveAlarms = {{"100", "Modules have alarms"}, {"100", "Modules have alarms"}};
    EXPECT_EQ(alarmsOf(childElement(headend(), "alarms")), modulesHaveAlarms);
    ASSERT_EQ(modules().size(), 2u);
    EXPECT_EQ(alarmsOf(childElement(modules()[0], "alarms")),
              (Alarms{{"201", "Hardware alarm"}, {"301", "Input 1 HW alarm"}}));
    EXPECT_EQ(alarmsOf(childElement(modules()[1], "alarms")),
              (Alarms{{"404", "Output 2 overloaded"}, {"502", "CAM not present"}}));
}

TEST_F(StatusReport, AnUnreachableModuleReportsNoCommunicationOnly) {
    appendVars(kFirstModuleVars, "alarma_diseqc=1\n");
    root_.writeFile("/devkit/modules/10.9.0.1.exit", "3\n");
    // The second module is one the client does not know at all.
    std::remove(root_.rooted(kSecondModuleVars).c_str());
    build();
    for (XmlNode* module : modules()) {
        EXPECT_EQ(alarmsOf(childElement(module, "alarms")),
                  (Alarms{{"200", "No communication with module"}}));
    }
    EXPECT_EQ(alarmsOf(childElement(headend(), "alarms")).size(), 2u);
}

TEST_F(StatusReport, TheClientIsAskedWithTheModulesQuotedAddress) {
    build();
    const std::vector<std::string> calls = clientCalls(root_);
    EXPECT_EQ(calls, (std::vector<std::string>{
                         "/dorel/bin/clienteXMLRPC 10.9.0.1 GetTable TempDB alarmasEstado WHERE 1",
                         "/dorel/bin/clienteXMLRPC 10.9.0.2 GetTable TempDB alarmasEstado WHERE 1"}));
    const std::string line = "Executing: " + root_.rooted("/dorel/bin/clienteXMLRPC") +
                             " \"10.9.0.1\" GetTable TempDB alarmasEstado 'WHERE 1'";
    ASSERT_TRUE(log_.contains(line)) << log_.dump();
    for (const auto& logged : log_.lines()) {
        if (logged.text == line) {
            EXPECT_EQ(logged.priority, 7);
        }
    }
    // The client's answer is consumed, so a stale one can never be read again.
    EXPECT_FALSE(root_.exists("/tmp/PHPserialize.txt"));
}

TEST_F(StatusReport, AHostileModuleAddressRunsNothing) {
    const std::string marker = root_.rooted("/pwned");
    for (const std::string& address :
         {"$(touch " + marker + ")", "`touch " + marker + "`", "\"; touch " + marker + "; \"",
          "x' ; touch " + marker + " ; '"}) {
        root_.exec(kTempDb, "UPDATE ModulosCabecera SET Direccion = " + sqlText(address) +
                                " WHERE idModulosCabecera = 1");
        build();
        EXPECT_FALSE(root_.exists("/pwned")) << address;
        EXPECT_EQ(alarmsOf(childElement(modules()[0], "alarms")),
                  (Alarms{{"200", "No communication with module"}}))
            << address;
    }
    // Each address reached the client as one argument, character for character.
    const std::vector<std::string> calls = clientCalls(root_);
    ASSERT_EQ(calls.size(), 8u);
    EXPECT_EQ(calls[0], "/dorel/bin/clienteXMLRPC $(touch " + marker + ") GetTable TempDB alarmasEstado WHERE 1");
}

TEST_F(StatusReport, AModuleWithoutLiveRowHasNoVersionAndNoCommunication) {
    root_.exec(kTempDb, "DELETE FROM ModulosCabecera WHERE MAC = '00:1A:2B:00:00:01'");
    build();
    EXPECT_EQ(childNames(modules()[0]),
              (std::vector<std::string>{"mac", "serialNumber", "family", "model", "hwVersion", "alarms"}));
    EXPECT_EQ(alarmsOf(childElement(modules()[0], "alarms")),
              (Alarms{{"200", "No communication with module"}}));
    EXPECT_EQ(clientCalls(root_).size(), 1u);
}

TEST_F(StatusReport, EveryLiveRowGivesAVersionAndTheLastOneIsAsked) {
    root_.exec(kTempDb,
               "INSERT INTO ModulosCabecera (idModulosCabecera, MAC, Direccion, SWVersion) "
               "VALUES (50, '00:1A:2B:00:00:01', '10.9.0.77', '2.0.1+b7')");
    root_.writeFile("/devkit/modules/10.9.0.77.exit", "0\n");
    build();
    const std::vector<XmlNode*> versions = children(modules()[0], "swVersion");
    ASSERT_EQ(versions.size(), 2u);
    EXPECT_EQ(nodeText(versions[0]), "1.50");
    EXPECT_EQ(nodeText(versions[1]), "2.0.1");
    EXPECT_EQ(clientCalls(root_)[0], "/dorel/bin/clienteXMLRPC 10.9.0.77 GetTable TempDB alarmasEstado WHERE 1");
}

TEST_F(StatusReport, CamElementsComeFromTheLastMatchingRowOrAreEmpty) {
    root_.exec(kTempDb,
               "INSERT INTO CAMInfoGlobal (idCAMInfoGlobal, MAC, RescueMode, CardSerialNumber, "
               "CAMSerialNumber, CAMVersion) VALUES (9, '00:1A:2B:00:00:02', '0', 'CARD-LAST', "
               "'CAM-LAST', '511')");
    build();
    XmlNode* cam = modules()[1];
    EXPECT_EQ(nodeText(childElement(cam, "CAMSerialNumber")), "CAM-LAST");
    EXPECT_EQ(nodeText(childElement(cam, "CAMVersion")), "255");
    EXPECT_EQ(nodeText(childElement(cam, "CardSerialNumber")), "CARD-LAST");
    EXPECT_EQ(childElement(modules()[0], "CAMVersion"), nullptr);

    root_.exec(kTempDb, "DELETE FROM CAMInfoGlobal");
    build();
    cam = modules()[1];
    for (const char* name : {"CAMSerialNumber", "CAMVersion", "CardSerialNumber"}) {
        ASSERT_NE(childElement(cam, name), nullptr) << name;
        EXPECT_EQ(nodeText(childElement(cam, name)), "") << name;
    }
}

TEST_F(StatusReport, ModelsTwoAndThirteenOfTheCamFamilyCarryNoCam) {
    for (const char* model : {"2", "13"}) {
        root_.exec(kConfigDb, std::string("UPDATE RedesModulos SET Modelo = '") + model + "' WHERE idRedMod = 2");
        build();
        EXPECT_EQ(childElement(modules()[1], "CAMSerialNumber"), nullptr) << model;
    }
    // A plain module moved into the CAM family gets the elements, empty.
    root_.exec(kConfigDb, "UPDATE RedesModulos SET Familia = '36' WHERE idRedMod = 1");
    build();
    ASSERT_NE(childElement(modules()[0], "CAMVersion"), nullptr);
    EXPECT_EQ(nodeText(childElement(modules()[0], "CAMVersion")), "");
}

TEST_F(StatusReport, NullColumnsBecomeEmptyElements) {
    root_.exec(kConfigDb, "UPDATE RedesModulos SET NumeroSerie = NULL, Familia = NULL, Modelo = NULL, "
                          "HWVersion = NULL WHERE idRedMod = 1");
    root_.exec(kTempDb, "UPDATE ModulosCabecera SET SWVersion = NULL WHERE idModulosCabecera = 1");
    build();
    XmlNode* module = modules()[0];
    for (const char* name : {"serialNumber", "family", "model", "hwVersion"}) {
        ASSERT_NE(childElement(module, name), nullptr) << name;
        EXPECT_EQ(nodeText(childElement(module, name)), "") << name;
    }
    EXPECT_EQ(nodeText(childElement(module, "swVersion")), "0.00");
}

TEST_F(WmbG400Status, ModulesCarryNeitherFamilyNorModel) {
    build();
    ASSERT_EQ(modules().size(), 2u);
    EXPECT_EQ(childNames(modules()[0]),
              (std::vector<std::string>{"mac", "serialNumber", "hwVersion", "swVersion", "alarms"}));
    EXPECT_EQ(childNames(modules()[1]),
              (std::vector<std::string>{"mac", "serialNumber", "hwVersion", "swVersion",
                                        "CAMSerialNumber", "CAMVersion", "CardSerialNumber", "alarms"}));
}

TEST_F(StatusReport, AMissingDatabaseIsReportedByName) {
    std::remove(root_.rooted(kTempDb).c_str());
    try {
        buildStatusText();
        FAIL() << "no exception";
    } catch (const CouldNotOpenDBError& e) {
        EXPECT_STREQ(e.what(), "Could not open temp global DB");
    }
    EXPECT_TRUE(log_.contains("Could not open temp global DB"));

    std::remove(root_.rooted(kConfigDb).c_str());
    log_.clear();
    try {
        buildStatusText();
        FAIL() << "no exception";
    } catch (const CouldNotOpenDBError& e) {
        EXPECT_STREQ(e.what(), "Could not open conf global DB");
    }
    EXPECT_TRUE(log_.contains("Could not open conf global DB"));
    EXPECT_FALSE(log_.contains("temp global"));
    EXPECT_TRUE(clientCalls(root_).empty());
}
