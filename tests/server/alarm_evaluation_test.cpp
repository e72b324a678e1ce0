// A module's alarms: its status variables read from the PHPserialize answer, and
// the rules that turn them into codes against the tables of a simulated headend
// (two modules with two inputs and two outputs each; the second has a CAM).
#include "common/paths.h"
#include "db/access.h"
#include "server/alarms.h"
#include "server/status_report.h"
#include "db/table_rows.h"
#include "support/headend_root.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <vector>

using namespace dorel_remote_control;

namespace {

const char kPlain[] = "00:1A:2B:00:00:01";
const char kCam[] = "00:1A:2B:00:00:02";
using Codes = std::vector<int>;

// One object as the module's XML-RPC service serialises it.
std::string object(const std::string& name, const std::string& value) {
    return "i:0;O:15:\"tAlarmasEstadoE\":2:{s:7:\"fnombre\";s:" + std::to_string(name.size()) + ":\"" + name +
           "\";s:6:\"fvalor\";s:" + std::to_string(value.size()) + ":\"" + value + "\";}";
}

// Every variable the rules read, each in its no-alarm state.
const StatusVariables kQuiet = {
    {"alarma_procesats_si_input1", "0"}, {"alarma_procesats_si_input2", "0"},
    {"estado_procesats_si_input1", "0"}, {"estado_procesats_si_input2", "0"},
    {"alarma_signal_quality_nim_T1", "0"}, {"alarma_signal_quality_nim_T2", "0"},
    {"alarma_rfout_1", "0"}, {"alarma_rfout_2", "0"}, {"alarma_procesats_system", "0"},
    {"alarma_i2c_nim_T1", "0"}, {"alarma_i2c_nim_T2", "0"}, {"alarma_diseqc", "0"},
    {"alarma_cam_ini", "0"}, {"alarma_cam_i2c_cimax", "0"}, {"estado_cam", "1"},
};

class AlarmEvaluation : public ::testing::Test {
protected:
    // The codes raised for a module whose variables are all quiet except `changed`.
    Codes evaluate(const char* mac, const StatusVariables& changed) {
        StatusVariables variables = kQuiet;
        for (const auto& v : changed) variables[v.first] = v.second;
        Codes codes;
        doreldb::HeadendRows tables = this->tables();
        for (const auto& alarm : evaluateModuleAlarms(tables, mac, variables))
            codes.push_back(alarm.first);
        return codes;
    }

    // The variables read from a file holding `contents`.
    StatusVariables parsed(const std::string& contents) {
        root_.writeFile("/tmp/PHPserialize.txt", contents);
        return parseStatusVariables(root_.rooted("/tmp/PHPserialize.txt"));
    }

    // Read afresh each time: the cases change the tables between evaluations.
    doreldb::HeadendRows tables() { return doreldb::HeadendRows(configDb_.get(), tempDb_.get()); }

    rctest::HeadendRoot root_;
    rctest::LogCapture log_;
    doreldb::DbHandle configDb_ = doreldb::openDatabase(paths::configGlobalDb());
    doreldb::DbHandle tempDb_ = doreldb::openDatabase(paths::tempGlobalDb());
};

}  // namespace

TEST_F(AlarmEvaluation, VariablesGiveTheirCodesWhereTheTablesLetThem) {
    struct Case {
        const char* mac;
        StatusVariables changed;
        Codes expected;
        const char* db = nullptr;  // SQL run first; it stays for the later rows
        const char* sql = nullptr;
    };
    const char *config = "/dorel/DB/config_global.sqlite", *temp = "/tmp/temp_global.sqlite";
    const Case cases[] = {
        {kCam, {}, {}},
        // Inputs: bit 2 of the word (no other), no sync, bad signal (decimal 1 only).
        {kPlain, {{"alarma_procesats_si_input1", "2"}, {"estado_procesats_si_input2", "3"}}, {201, 301, 304}},
        {kPlain, {{"alarma_procesats_si_input2", "fe"}, {"estado_procesats_si_input1", "1"}}, {201, 302, 303}},
        {kPlain, {{"alarma_procesats_si_input1", "d"}, {"alarma_signal_quality_nim_T1", "2"}}, {}},
        {kPlain, {{"alarma_signal_quality_nim_T1", "1"}, {"alarma_signal_quality_nim_T2", "1"}}, {305, 306}},
        // Outputs: bit 2 hardware, 1 overload, 4 temperature.
        {kPlain, {{"alarma_rfout_1", "7"}, {"alarma_rfout_2", "1"}}, {201, 202, 401, 403, 404}},
        {kPlain, {{"alarma_rfout_2", "2"}}, {201, 402}},
        // System word and hardware flags (only the text "1" raises a flag).
        {kPlain, {{"alarma_procesats_system", "8"}}, {201}},
        {kPlain, {{"alarma_procesats_system", "283f"}}, {201, 203, 204, 205, 206}},
        {kPlain, {{"alarma_procesats_system", "1080"}, {"alarma_diseqc", "01"}}, {}},
        {kPlain, {{"alarma_i2c_nim_T2", "1"}}, {201}},
        {kCam, {{"alarma_cam_i2c_cimax", "1"}, {"alarma_procesats_system", "340"}}, {501, 504, 505, 506}},
        // Without a CAM its load bits mean nothing.
        {kCam, {{"estado_cam", "0"}, {"alarma_procesats_system", "340"}}, {502}},
        {kPlain, {{"alarma_procesats_system", "zz"}, {"alarma_rfout_1", ""}, {"estado_cam", "not hex"},
                  {"alarma_signal_quality_nim_T1", "x"}}, {502}},
        // Gates: a tuner in standby, an inactive input, an inactive output.
        {kPlain, {{"estado_procesats_si_input2", "1"}}, {}, temp,
         "UPDATE TempNIMGlobal SET Standby = '1' WHERE Entrada = '2' AND MAC = '00:1A:2B:00:00:01'"},
        {kPlain, {{"estado_procesats_si_input1", "1"}}, {}, config,
         "UPDATE EntradasGlobal SET Activo = '0' WHERE fk_idEntrada = '1'"},
        {kPlain, {{"alarma_rfout_2", "7"}}, {}, config,
         "UPDATE SalidasLogicasGlobal SET Activo = '0' WHERE fk_idSalidasLogicas = '2'"},
        {kCam, {}, {503}, temp, "UPDATE CAMInfoGlobal SET RescueMode = '1'"},
        // A tuner row without its input number asks for a variable no module has.
        {kPlain, {{"alarma_procesats_si_input1", "2"}}, {}, temp, "UPDATE TempNIMGlobal SET Entrada = NULL"},
    };
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
        if (cases[i].sql) root_.exec(cases[i].db, cases[i].sql);
        EXPECT_EQ(evaluate(cases[i].mac, cases[i].changed), cases[i].expected) << "row " << i;
    }
}

TEST_F(AlarmEvaluation, AMissingVariableIsLoggedAndRaisesNothing) {
    doreldb::HeadendRows tables = this->tables();
    EXPECT_TRUE(evaluateModuleAlarms(tables, kPlain, {}).empty());
    for (const char* name : {"alarma_procesats_si_input1", "alarma_rfout_2", "alarma_procesats_system", "estado_cam"})
        EXPECT_EQ(log_.count(std::string("Status/alarm: ") + name + " was not found"), 1) << name;
    for (const auto& line : log_.lines()) {
        if (line.text.find("was not found") != std::string::npos) { EXPECT_EQ(line.priority, 3); }
    }
}

TEST_F(AlarmEvaluation, VariablesOfEveryLineAreReadUpToADamagedObjectAndTheLaterValueWins) {
    const std::string cut = object("alarma_cam_ini", "1");
    EXPECT_EQ(parsed("a:2:{" + object("estado_cam", "0") + object("alarma_diseqc", "1") + "}\n" +
                     "a:3:{" + object("estado_cam", "1f") + cut.substr(0, cut.size() - 6) + "\n" +
                     "tAlarmasEstadoE fvalor:\"v\" fnombre:\"n\"\n" + object("alarma_rfout_1", "") + "\n" +
                     "O:15:\"tAlarmasEstadoE\":2:{s:7:\"fnombre\";s:4:\"half\n"),
              (StatusVariables{{"alarma_diseqc", "1"}, {"estado_cam", "1f"}, {"alarma_rfout_1", ""}}));
    EXPECT_TRUE(parseStatusVariables(root_.rooted("/tmp/absent.txt")).empty());
    EXPECT_TRUE(parseStatusVariables("/").empty());
}

// The scan is bounded by lines even though the file is read whole: a name or
// value running into the next line is dropped and the scan resumes there, as
// does a marker split by a newline. The list the rules read agrees with the
// map in every case, including the later of two equal names.
TEST_F(AlarmEvaluation, TheAnswerIsScannedLineByLineWhateverItsBytes) {
    const std::string nul(1, '\0');
    const struct {
        std::string contents;
        StatusVariables expected;
    } cases[] = {
        {"", {}},
        {"\n\n\r\n", {}},
        {object("alarma_rfout_1", "4"), {{"alarma_rfout_1", "4"}}},  // no newline at the end
        {object("estado_cam", "0") + "\r\n" + object("estado_cam", "1"), {{"estado_cam", "1"}}},
        {object("estado_cam", "1\n2") + object("alarma_diseqc", "1"), {{"alarma_diseqc", "1"}}},
        {object("estado\ncam", "0") + object("alarma_cam_ini", "1"), {{"alarma_cam_ini", "1"}}},
        {"O:15:\"tAlarmasEstadoE\":2:{s:7:\"fnombre\";s:1:\n\"x\";s:6:\"fvalor\";s:1:\"1\";}", {}},
        {"O:15:\"tAlarmasEstadoE\":2:{s:7:\"fnombre\";s:1:\"x\";s:6:\"fvalor\"\n;s:1:\"1\";}", {}},
        {"tAlarmasEstadoE\n" + object("a", "1"), {{"a", "1"}}},
        {object("estado_cam", "1" + nul + "f") + nul + object("alarma" + nul + "x", "1") + object("a", "2"),
         {{"estado_cam", "1" + nul + "f"}, {"alarma" + nul + "x", "1"}, {"a", "2"}}},
        {object("a", "1") + object("b", "2") + object("a", "3") + "\n" + object("b", "4"),
         {{"a", "3"}, {"b", "4"}}},
    };
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
        EXPECT_EQ(parsed(cases[i].contents), cases[i].expected) << "row " << i;
        const StatusVariableList list = StatusVariableList::read(root_.rooted("/tmp/PHPserialize.txt"));
        for (const auto& variable : cases[i].expected) {
            const std::string& name = variable.first;
            std::string_view value;
            EXPECT_TRUE(list.find(name, "", value) && value == variable.second) << "row " << i << " " << name;
            const size_t half = name.size() / 2;
            EXPECT_TRUE(list.find(name.substr(0, half), name.substr(half), value) && value == variable.second)
                << "row " << i << " " << name;
            EXPECT_FALSE(list.find(name, "1", value)) << "row " << i << " " << name;
            EXPECT_FALSE(list.find(name.substr(1), "", value)) << "row " << i << " " << name;
        }
    }
}

// Only the head of an oversized file is read, so a runaway answer (or a device
// that never ends) costs a bounded read instead of all memory or forever.
TEST_F(AlarmEvaluation, OnlyTheHeadOfAHugeAnswerIsRead) {
    const size_t limit = StatusVariableList::kMaxFileBytes;
    const std::string last = object("b", "2");
    std::string contents = object("a", "1") + "\n";
    contents += std::string(limit - contents.size() - last.size(), 'x') + last + object("c", "3") + "\n";
    EXPECT_EQ(parsed(contents), (StatusVariables{{"a", "1"}, {"b", "2"}}));
    EXPECT_TRUE(parseStatusVariables("/dev/zero").empty());
}
