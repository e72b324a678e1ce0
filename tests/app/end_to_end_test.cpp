// The built agent, run with --once under a simulated headend against the test
// server: what the server receives and what the headend holds afterwards.
#include "agent_process.h"
#include "support/command_test.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

namespace {

using rctest::envelope;
const char* const kStore = "/dorel/DB/remote_control.sqlite";

// The answer script: one status reply that carries the commands.
std::string script(const std::string& commands) {
    return R"({"routes": {"/status": [{"body": "<?xml version=\"1.0\" encoding=\"utf-8\"?><statusReply><commands>)" +
           commands + R"(</commands></statusReply>"}]}})";
}

std::vector<rctest::RecordedRequest> onPath(const rctest::TestServer& server, const std::string& path) {
    std::vector<rctest::RecordedRequest> out = server.requests();
    out.erase(std::remove_if(out.begin(), out.end(), [&](const auto& r) { return r.path != path; }), out.end());
    return out;
}

class EndToEnd : public ::testing::Test {
protected:
    void SetUp() override { root.setConfig("servidorZAT_activo", "1"); }
    int runOnce() {
        rctest::AgentRun run = rctest::runAgent({"--once", "-p", root.rooted("/var/run/remote-control.pid")});
        EXPECT_EQ(0, run.exitCode) << run.err;
        return run.exitCode;
    }

    rctest::HeadendRoot root;
};

TEST_F(EndToEnd, OnePassRunsTheRepliedCommandsAndDeliversTheirResults) {
    const time_t in1h = time(nullptr) + 3600;
    char due[32];
    strftime(due, sizeof due, "%Y-%m-%dT%H:%M:%S", gmtime(&in1h));
    rctest::TestServer server(
        root, script(envelope(11, "changePassword", "<username>installer</username><password>pa55</password>") +
                     envelope(12, "formatDisks") +
                     envelope(13, "scheduleCommands",
                              "<datetime>" + std::string(due) + "</datetime><commands>" +
                                  envelope(14, "stopTVCAMOTAFirmwareUpgrade") + "</commands>")));
    server.configureAgent();
    ASSERT_EQ(0, runOnce());

    EXPECT_EQ(1u, onPath(server, "/status").size());
    // The unknown command got no row and no result; the others one result each.
    const auto results = onPath(server, "/commandResult");
    ASSERT_EQ(2u, results.size());
    EXPECT_NE(std::string::npos, results[0].body.find("<commandId>11</commandId>"));
    EXPECT_NE(std::string::npos, results[0].body.find("<result>0</result>"));
    EXPECT_NE(std::string::npos, results[1].body.find("<commandId>13</commandId>"));
    EXPECT_NE(std::string::npos, results[1].body.find("<scheduleCommandsResult/>"));

    // Delivered commands left the table; the scheduled one waits for its time.
    EXPECT_EQ((std::vector<std::vector<std::string>>{{"14", "4", std::to_string(in1h), due}}),
              root.query(kStore, "SELECT commandId, status, nextTime, schedule FROM RCCommand"));
    EXPECT_EQ("pa55", root.query("/dorel/DB/config_local.sqlite",
                                 "SELECT clave FROM usuario WHERE usuario = 'installer'")[0][0]);
    EXPECT_EQ("1", root.config("servidorZAT_conectado"));
}

// Asked to reset its own controller, the agent stores the result, runs
// reboot and ends; the restarted agent delivers the stored result.
TEST_F(EndToEnd, AControllerResetIsReportedByTheRestartedAgent) {
    const std::string macs = "<modules><mac>00:1A:2B:FF:FF:01</mac><mac>00:1A:2B:00:00:02</mac></modules>";
    rctest::TestServer server(root, script(envelope(31, "resetModules", macs)));
    server.configureAgent();
    ASSERT_EQ(0, runOnce());
    const auto calls = root.stubCalls();
    ASSERT_GE(calls.size(), 2u);
    EXPECT_EQ("/dorel/bin/clienteXMLRPC 10.9.0.2 EjecutarScript reboot", calls[calls.size() - 2]);
    EXPECT_EQ("reboot", calls.back());
    EXPECT_EQ((std::vector<std::vector<std::string>>{{"31", "2"}}),
              root.query("/devkit/reboot/remote_control.sqlite", "SELECT commandId, status FROM RCCommand"));
    EXPECT_TRUE(onPath(server, "/commandResult").empty());

    ASSERT_EQ(0, runOnce());
    const auto results = onPath(server, "/commandResult");
    ASSERT_EQ(1u, results.size());
    EXPECT_NE(std::string::npos, results[0].body.find("<commandId>31</commandId>"));
    EXPECT_NE(std::string::npos, results[0].body.find("<resetModulesResult/>"));
    EXPECT_TRUE(root.query(kStore, "SELECT id FROM RCCommand").empty());
}

}  // namespace
