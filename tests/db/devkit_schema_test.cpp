// The simulated headend that every integration test runs against: its tables
// must be exactly where the agent looks for them (same database, same column
// positions), with an unknown trailing column on some headend tables, and the
// agent's paths must lead into it.
#include "common/paths.h"
#include "common/shell.h"
#include "db/tables.h"
#include "support/headend_root.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

using dorel_remote_control::ReadPipe;
namespace paths = dorel_remote_control::paths;

const std::map<std::string, std::string>& databaseFiles() {
    static const std::map<std::string, std::string> files = {
        {"config_global", "/dorel/DB/config_global.sqlite"},
        {"config_local", "/dorel/DB/config_local.sqlite"},
        {"remote_control", "/dorel/DB/remote_control.sqlite"},
        {"quor_global", "/dorel/DB/quor_global.sqlite"},
        {"temp_global", "/tmp/temp_global.sqlite"},
    };
    return files;
}

const std::set<std::string> kTablesWithExtraColumn = {
    "RedesModulos", "ModulosCabecera", "EntradasGlobal", "CAMInfoGlobal", "configuracionWebGlobal"};

std::string firstLine(const std::string& command) {
    ReadPipe pipe(command);
    std::string line;
    if (!pipe.ok() || !pipe.readLine(line)) return "<nothing>";
    return dorel_remote_control::trimRight(line);
}

class DevkitSchema : public ::testing::Test {
protected:
    static void SetUpTestSuite() { root_ = new rctest::HeadendRoot(); }
    static void TearDownTestSuite() {
        delete root_;
        root_ = nullptr;
    }
    static rctest::HeadendRoot* root_;
};
rctest::HeadendRoot* DevkitSchema::root_ = nullptr;

TEST_F(DevkitSchema, EveryTableSitsInItsDatabaseWithTheKnownColumnsInOrder) {
    ASSERT_FALSE(doreldb::allTables().empty());
    for (const auto& entry : doreldb::allTables()) {
        const doreldb::TableDef& table = *entry.table;
        SCOPED_TRACE(table.name());
        auto file = databaseFiles().find(entry.database);
        ASSERT_NE(file, databaseFiles().end()) << "unknown database " << entry.database;
        auto info = root_->query(file->second, "PRAGMA table_info(\"" + table.name() + "\")");
        ASSERT_FALSE(info.empty()) << "missing from " << file->second;

        const bool extra = kTablesWithExtraColumn.count(table.name()) > 0;
        ASSERT_EQ(info.size(), table.knownColumns() + (extra ? 1 : 0));
        for (size_t i = 0; i < table.knownColumns(); ++i) {
            EXPECT_EQ(info[i][1], table.columns()[i]) << "position " << i;
        }
        // The key is the row id, so inserts without one get a fresh number.
        EXPECT_EQ(info[table.keyColumn()][1], table.keyName());
        EXPECT_EQ(info[table.keyColumn()][2], "INTEGER");
        EXPECT_EQ(info[table.keyColumn()][5], "1");
        if (extra) {
            EXPECT_EQ(info.back()[1], "extraDevkit");
        }
    }
}

TEST_F(DevkitSchema, DefaultHeadendHasSettingsUsersAndTwoModules) {
    auto modules = root_->query("/dorel/DB/config_global.sqlite",
                                "SELECT MAC, Familia, Modelo FROM RedesModulos ORDER BY idRedMod");
    ASSERT_EQ(modules.size(), 2u);
    EXPECT_EQ(modules[0], (std::vector<std::string>{"00:1A:2B:00:00:01", "20", "3"}));
    EXPECT_EQ(modules[1], (std::vector<std::string>{"00:1A:2B:00:00:02", "36", "5"}));

    // Each module address the agent will hand to the XML-RPC client is known
    // to the stub, so a fresh headend reports no unreachable module.
    for (const auto& row : root_->query("/tmp/temp_global.sqlite",
                                        "SELECT Direccion FROM ModulosCabecera")) {
        EXPECT_TRUE(root_->exists("/devkit/modules/" + row[0] + ".vars")) << row[0];
    }
    EXPECT_TRUE(root_->query("/dorel/DB/remote_control.sqlite", "SELECT * FROM RCCommand").empty());
}

TEST_F(DevkitSchema, AgentPathsLeadIntoTheRoot) {
    struct stat st;
    for (const std::string& path :
         {paths::configGlobalDb(), paths::configLocalDb(), paths::remoteControlDb(),
          paths::quorGlobalDb(), paths::tempGlobalDb(), paths::debugConf(), paths::clientCert(),
          paths::clientKey(), paths::caChain(), paths::caPath(), paths::clientCsr()}) {
        EXPECT_EQ(path.compare(0, root_->path().size(), root_->path()), 0) << path;
        EXPECT_EQ(stat(path.c_str(), &st), 0) << path;
    }
    EXPECT_EQ(firstLine(paths::serialScript()), "SN-0001");
    EXPECT_EQ(firstLine(paths::macScript()), "00:1A:2B:FF:FF:01");
    EXPECT_EQ(firstLine(paths::modeloScript()), "KVB-200");
    EXPECT_EQ(firstLine(paths::hostnameCommand()), "headend-test");
}

}  // namespace
