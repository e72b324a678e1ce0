// The agent binary asked to reset its own controller: it stores the result,
// runs reboot and ends; the restarted agent delivers the stored result.
#include "agent_process.h"
#include "support/headend_root.h"
#include "support/test_server.h"

#include <gtest/gtest.h>

namespace {

TEST(ControllerReboot, StoredResultIsDeliveredAfterTheRestart) {
    rctest::HeadendRoot root;
    root.setConfig("servidorZAT_activo", "1");
    const std::string command =
        "<command><id>31</id><data><resetModules><modules><mac>00:1A:2B:FF:FF:01</mac>"
        "<mac>00:1A:2B:00:00:02</mac></modules></resetModules></data></command>";
    rctest::TestServer server(root, R"({"routes": {"/status": [{"body": "<statusReply><commands>)" + command +
                                        R"(</commands></statusReply>"}]}})");
    server.configureAgent();
    const std::vector<std::string> args = {"--once", "-p", root.rooted("/var/run/remote-control.pid")};

    rctest::AgentRun first = rctest::runAgent(args);
    EXPECT_EQ(0, first.exitCode) << first.err;
    const auto calls = root.stubCalls();
    ASSERT_GE(calls.size(), 2u);
    EXPECT_EQ("/dorel/bin/clienteXMLRPC 10.9.0.2 EjecutarScript reboot", calls[calls.size() - 2]);
    EXPECT_EQ("reboot", calls.back());
    const auto atReboot =
        root.query("/devkit/reboot/remote_control.sqlite", "SELECT commandId, status FROM RCCommand");
    EXPECT_EQ((std::vector<std::vector<std::string>>{{"31", "2"}}), atReboot);
    auto results = [&server] {
        std::vector<std::string> bodies;
        for (const auto& request : server.requests()) {
            if (request.path == "/commandResult") bodies.push_back(request.body);
        }
        return bodies;
    };
    EXPECT_TRUE(results().empty());

    rctest::AgentRun second = rctest::runAgent(args);
    EXPECT_EQ(0, second.exitCode) << second.err;
    ASSERT_EQ(1u, results().size());
    EXPECT_NE(std::string::npos, results()[0].find("<commandId>31</commandId>"));
    EXPECT_NE(std::string::npos, results()[0].find("<resetModulesResult/>"));
    EXPECT_TRUE(root.query("/dorel/DB/remote_control.sqlite", "SELECT id FROM RCCommand").empty());
}

}  // namespace
