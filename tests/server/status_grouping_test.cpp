// The status tables are read once per document and grouped by module in
// memory. A large headend whose modules each carry their own alarms, and whose
// MAC columns are written in a different letter case from table to table,
// must still give every module exactly its own alarms.
#include "common/xml.h"
#include "server/settings.h"
#include "server/status_report.h"
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
const int kModules = 40;
const int kCamModules = 6;

std::string macOf(int m) {
    char mac[32];
    std::snprintf(mac, sizeof mac, "00:1A:2B:00:00:%02X", m);
    return mac;
}

std::string lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// Each module's own trouble, by module number modulo the rows' count: the
// variable line it gets and the codes that must follow.
struct Trouble {
    const char* variable;
    std::vector<int> codes;
};
const Trouble kTroubles[] = {
    {"alarma_procesats_system=10", {204}},
    {"alarma_rfout_2=1", {404}},
    {"estado_procesats_si_input1=1", {303}},
    {"alarma_procesats_si_input2=2", {201, 302}},
    {"alarma_signal_quality_nim_T1=1", {305}},
    {nullptr, {}},
    {"alarma_rfout_1=4", {202}},
};

}  // namespace

TEST(StatusGrouping, EveryModuleOfALargeHeadendGetsExactlyItsOwnAlarms) {
    rctest::HeadendRoot root({"--modules", std::to_string(kModules), "--cam-modules", std::to_string(kCamModules),
                              "--services", "1", "--pids", "1"});
    settings() = Settings();
    settings().load();

    std::map<std::string, std::vector<int>> expected;  // by MAC as RedesModulos has it
    for (int m = 1; m <= kModules; ++m) {
        const std::string mac = macOf(m);
        const std::string vars = "/devkit/modules/10.9.0." + std::to_string(m) + ".vars";
        const Trouble& trouble = kTroubles[m % (sizeof kTroubles / sizeof kTroubles[0])];
        std::vector<int> codes = trouble.codes;
        if (trouble.variable) root.writeFile(vars, root.readFile(vars) + trouble.variable + "\n");
        if (m > kModules - kCamModules && m % 2 == 0) {
            root.exec(kTempDb, "UPDATE CAMInfoGlobal SET RescueMode = '1' WHERE MAC = '" + mac + "'");
            codes.push_back(503);
        }
        if (m == 13) {
            root.writeFile("/devkit/modules/10.9.0.13.exit", "1\n");
            codes = {200};
        }

        // Each table spells the MAC its own way, on its own set of modules.
        const std::string spelled = lower(mac);
        const std::pair<const char*, const char*> tables[] = {
            {kConfigDb, m % 2 == 0 ? "RedesModulos" : nullptr},
            {kConfigDb, m % 3 == 0 ? "EntradasGlobal" : nullptr},
            {kConfigDb, m % 4 == 1 ? "SalidasLogicasGlobal" : nullptr},
            {kTempDb, m % 5 == 0 ? "ModulosCabecera" : nullptr},
            {kTempDb, "CAMInfoGlobal"},
        };
        for (const auto& table : tables) {
            if (table.second)
                root.exec(table.first, std::string("UPDATE ") + table.second + " SET MAC = '" + spelled +
                                           "' WHERE MAC = '" + mac + "'");
        }
        std::sort(codes.begin(), codes.end());
        expected[m % 2 == 0 ? spelled : mac] = codes;
    }

    const std::string text = buildStatusText();
    ParsedXml parsed(text);
    const XmlNode* headend = childElement(parsed.doc().first_node("status"), "headendStatus");
    std::map<std::string, std::vector<int>> actual;
    for (const XmlNode* m = childElement(headend, "modules")->first_node(); m; m = m->next_sibling()) {
        std::vector<int>& codes = actual[nodeText(childElement(m, "mac"))];
        for (const XmlNode* a = childElement(m, "alarms")->first_node(); a; a = a->next_sibling())
            codes.push_back(std::stoi(nodeText(childElement(a, "type"))));
    }
    EXPECT_EQ(actual, expected);
}
