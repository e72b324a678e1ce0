// Every module's alarms in the status document of one large headend. Each
// module answers for one case, through the dev kit's XML-RPC stand-in: status
// variables added to its quiet ones, a raw answer, none at all, or no answer;
// and the tables spell its MAC their own way, since they are read once for the
// whole document and grouped by module. Every module must get exactly its own
// codes.
#include "common/xml.h"
#include "server/pass_databases.h"
#include "server/settings.h"
#include "server/status_report.h"
#include "server/status_variables.h"
#include "support/headend_root.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

using namespace dorel_remote_control;

namespace {

const char kConfigDb[] = "/dorel/DB/config_global.sqlite";
const char kTempDb[] = "/tmp/temp_global.sqlite";
using Codes = std::vector<int>;

// One object as the module's XML-RPC service serialises it.
std::string object(const std::string& name, const std::string& value) {
    return "i:0;O:15:\"tAlarmasEstadoE\":2:{s:7:\"fnombre\";s:" + std::to_string(name.size()) + ":\"" + name +
           "\";s:6:\"fvalor\";s:" + std::to_string(value.size()) + ":\"" + value + "\";}";
}

struct Case {
    const char* what;
    std::string file;  // "vars": lines added to the quiet ones; "raw": the whole answer
    std::string answer;
    Codes codes;
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

TEST(StatusAlarms, EveryModuleOfALargeHeadendGetsExactlyItsOwnAlarms) {
    const std::string cut = object("alarma_cam_ini", "1");
    const Case plain[] = {
        {"quiet", "vars", "", {}},
        // Inputs: bit 2 of the word (no other), no sync, bad signal (decimal 1 only).
        {"input words", "vars", "alarma_procesats_si_input1=2\nestado_procesats_si_input2=3", {201, 301, 304}},
        {"input words", "vars", "alarma_procesats_si_input2=fe\nestado_procesats_si_input1=1", {201, 302, 303}},
        {"other input bits", "vars", "alarma_procesats_si_input1=d\nalarma_signal_quality_nim_T1=2", {}},
        {"bad signal", "vars", "alarma_signal_quality_nim_T1=1\nalarma_signal_quality_nim_T2=1", {305, 306}},
        // Outputs: bit 2 hardware, 1 overload, 4 temperature.
        {"outputs", "vars", "alarma_rfout_1=7\nalarma_rfout_2=1", {201, 202, 401, 403, 404}},
        {"output hardware", "vars", "alarma_rfout_2=2", {201, 402}},
        // System word and hardware flags (only the text "1" raises a flag).
        {"system hardware bit", "vars", "alarma_procesats_system=8", {201}},
        {"system bits", "vars", "alarma_procesats_system=283f", {201, 203, 204, 205, 206}},
        {"bits of no alarm", "vars", "alarma_procesats_system=1080\nalarma_diseqc=01", {}},
        {"a tuner's flag", "vars", "alarma_i2c_nim_T2=1", {201}},
        {"values that are no numbers", "vars",
         "alarma_procesats_system=zz\nalarma_rfout_1=\nestado_cam=not hex\nalarma_signal_quality_nim_T1=x", {502}},
        {"a tuner in standby", "vars", "estado_procesats_si_input2=1", {}, kTempDb,
         "UPDATE TempNIMGlobal SET Standby = '1' WHERE Entrada = '2' AND MAC = '{mac}'"},
        {"an inactive input", "vars", "estado_procesats_si_input1=1", {}, kConfigDb,
         "UPDATE EntradasGlobal SET Activo = '0' WHERE fk_idEntrada = '1' AND MAC = '{mac}'"},
        {"an inactive output", "vars", "alarma_rfout_2=7", {}, kConfigDb,
         "UPDATE SalidasLogicasGlobal SET Activo = '0' WHERE fk_idSalidasLogicas = '2' AND MAC = '{mac}'"},
        // A tuner row without its input number asks for a variable no module has.
        {"a tuner without input", "vars", "alarma_procesats_si_input1=2", {}, kTempDb,
         "UPDATE TempNIMGlobal SET Entrada = NULL WHERE MAC = '{mac}'"},
        {"no answer", "exit", "3", {200}},
        // Each variable the rules read is missing (and logged).
        {"no variables", "raw", "a:0:{}\n", {}},
        // Read line by line: a damaged object ends its line, the next line is
        // read, the later value wins, an object cut short at the end is dropped.
        {"damaged objects", "raw",
         "a:2:{" + object("estado_cam", "0") + object("alarma_diseqc", "1") + "}\na:3:{" + object("estado_cam", "1f") +
             cut.substr(0, cut.size() - 6) + "\n" + object("alarma_rfout_1", "4") +
             "\nO:15:\"tAlarmasEstadoE\":2:{s:7:\"fnombre\";s:4:\"half\n",
         {201, 202}},
        {"a value across lines, NUL bytes", "raw",
         object("estado_cam", "0\n1") + std::string(1, '\0') + object("alarma_diseqc", "1"), {201}},
        {"only the head of a huge answer", "raw", huge(), {201, 502}},
    };
    const Case cam[] = {
        {"quiet CAM", "vars", "", {}},
        {"CAM alarms", "vars", "alarma_cam_i2c_cimax=1\nalarma_procesats_system=340", {501, 504, 505, 506}},
        // Without a CAM its load bits mean nothing.
        {"no CAM", "vars", "estado_cam=0\nalarma_procesats_system=340", {502}},
        {"rescue mode", "vars", "", {503}, kTempDb, "UPDATE CAMInfoGlobal SET RescueMode = '1' WHERE MAC = '{mac}'"},
    };
    const size_t plainCount = sizeof plain / sizeof plain[0], camCount = sizeof cam / sizeof cam[0];
    rctest::HeadendRoot root({"--modules", std::to_string(plainCount + camCount), "--cam-modules",
                              std::to_string(camCount), "--services", "1", "--pids", "1"});

    std::map<std::string, std::pair<std::string, Codes>> expected;  // by MAC as RedesModulos has it
    for (size_t m = 1; m <= plainCount + camCount; ++m) {
        const Case& c = m <= plainCount ? plain[m - 1] : cam[m - plainCount - 1];
        char mac[32];
        std::snprintf(mac, sizeof mac, "00:1A:2B:00:00:%02X", static_cast<unsigned>(m));
        const std::string module = "/devkit/modules/10.9.0." + std::to_string(m) + ".";
        root.writeFile(module + c.file, c.file == "vars" ? root.readFile(module + "vars") + c.answer : c.answer);
        std::string sql = c.sql;
        if (c.db) root.exec(c.db, sql.replace(sql.find("{mac}"), 5, mac));

        // Each table spells the MAC its own way, on its own set of modules.
        std::string spelled = mac;
        for (char& ch : spelled) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
        const std::pair<const char*, const char*> tables[] = {
            {kConfigDb, m % 2 == 0 ? "RedesModulos" : nullptr},
            {kConfigDb, m % 3 == 0 ? "EntradasGlobal" : nullptr},
            {kConfigDb, m % 4 == 1 ? "SalidasLogicasGlobal" : nullptr},
            {kTempDb, m % 5 == 0 ? "ModulosCabecera" : nullptr},
            {kTempDb, m % 3 == 1 ? "TempNIMGlobal" : nullptr},
            {kTempDb, "CAMInfoGlobal"},
        };
        for (const auto& table : tables) {
            if (table.second) {
                root.exec(table.first, std::string("UPDATE ") + table.second + " SET MAC = '" + spelled +
                                           "' WHERE MAC = '" + mac + "'");
            }
        }
        expected[m % 2 == 0 ? spelled : mac] = {c.what, c.codes};
    }

    settings() = Settings();
    settings().load(root.env());
    PassDatabases databases(root.env());
    ParsedXml parsed(buildStatusText(root.env(), databases));
    const XmlNode* headend = childElement(parsed.doc().first_node("status"), "headendStatus");
    std::map<std::string, std::pair<std::string, Codes>> actual;
    for (const XmlNode* m = childElement(headend, "modules")->first_node(); m; m = m->next_sibling()) {
        const std::string mac = nodeText(childElement(m, "mac"));
        actual[mac].first = expected[mac].first;
        for (const XmlNode* a = childElement(m, "alarms")->first_node(); a; a = a->next_sibling())
            actual[mac].second.push_back(std::stoi(nodeText(childElement(a, "type"))));
    }
    EXPECT_EQ(expected, actual);

    // Each name once for every module whose answer lacked it, as an error.
    const int lacking = 4;
    for (const char* name : {"alarma_procesats_si_input1", "alarma_rfout_2", "alarma_procesats_system"})
        EXPECT_EQ(lacking, root.env().count(std::string("Status/alarm: ") + name + " was not found")) << name;
    for (const auto& line : root.env().lines()) {
        if (line.text.find("was not found") != std::string::npos) {
            EXPECT_EQ(3, line.priority) << line.text;
        }
    }
}
