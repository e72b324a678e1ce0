// A hostile or broken server must not take a pass down: a reply nested far too
// deep, a damaged stored row of the same kind, a server that goes silent in
// the middle of an answer. Each one is logged, the pass finishes, and what the
// next answer carries still runs.
#include "app/poll_cycle.h"
#include "server/https_client.h"
#include "server/settings.h"
#include "support/fake_clock.h"
#include "support/headend_root.h"
#include "support/json_reader.h"
#include "support/log_capture.h"
#include "support/test_server.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

using namespace dorel_remote_control;
using Rows = std::vector<std::vector<std::string>>;
const char* const kDb = "/dorel/DB/remote_control.sqlite";

std::string deeplyNested(int levels) {
    std::string text;
    text.reserve(levels * 7);
    for (int i = 0; i < levels; ++i) text += "<a>";
    for (int i = 0; i < levels; ++i) text += "</a>";
    return text;
}

std::string changePasswordReply(int id) {
    return "<statusReply><commands><command><id>" + std::to_string(id) +
           "</id><data><changePassword><username>admin</username><password>pw" + std::to_string(id) +
           "</password></changePassword></data></command></commands></statusReply>";
}

class HostileServer : public ::testing::Test {
protected:
    void SetUp() override {
        settings() = Settings();
        root.setConfig("servidorZAT_activo", "1");
    }
    void TearDown() override { HttpsClient::instance().setStallSeconds(0); }

    // One pass against a server answering with script; returns the requests it got.
    std::vector<rctest::RecordedRequest> pass(const std::string& script, int passes = 1) {
        rctest::TestServer server(root, script);
        server.configureAgent();
        PollLoop loop(context, logging);
        testing::internal::CaptureStdout();
        for (int i = 0; i < passes; ++i) loop.runPass();
        testing::internal::GetCapturedStdout();
        return server.requests();
    }
    Rows rows() const { return root.query(kDb, "SELECT commandId, status FROM RCCommand ORDER BY id"); }
    int results(const std::vector<rctest::RecordedRequest>& requests) const {
        int n = 0;
        for (const auto& r : requests) n += r.path == "/commandResult";
        return n;
    }

    rctest::HeadendRoot root;
    rctest::FakeClock clock;
    rctest::LogCapture log;
    PollContext context;
    LoggingState logging;
};

TEST_F(HostileServer, AReplyNestedTooDeepIsAnXmlErrorAndTheNextReplyRuns) {
    const std::string script = "{\"routes\": {\"/status\": [{\"body\": " +
                               rctest::json::quote("<statusReply><commands>" + deeplyNested(100000) +
                                                   "</commands></statusReply>") +
                               "}, {\"body\": " + rctest::json::quote(changePasswordReply(7)) + "}]}}";
    // The status is due again on the second pass only when the interval says so.
    root.setConfig("servidorZAT_intervalo", "1");
    const auto requests = pass(script, 2);
    EXPECT_TRUE(log.contains("XML parsing error: document nested too deep")) << log.dump();
    EXPECT_EQ(1, results(requests)) << "the second reply's command ran and reported";
    EXPECT_TRUE(rows().empty());
}

TEST_F(HostileServer, AStoredRowNestedTooDeepIsLoggedAndKept) {
    root.exec(kDb, "INSERT INTO RCCommand (id, commandId, status, nextTime, command, result) VALUES "
                   "(1, '1', '0', '0', '<command><id>1</id><data>" + deeplyNested(100000) + "</data></command>', '')");
    root.exec(kDb, "INSERT INTO RCCommand (id, commandId, status, nextTime, command, result) VALUES "
                   "(2, '2', '2', '0', '<command><id>2</id><data><changePassword/></data></command>', '" +
                   deeplyNested(100000) + "')");
    pass("{}", 2);
    EXPECT_EQ(4, log.count("Could not parse command from DB")) << log.dump();
    EXPECT_EQ((Rows{{"1", "0"}, {"2", "2"}}), rows());
}

TEST_F(HostileServer, AServerThatGoesSilentFailsTheRequestAndThePassFinishes) {
    HttpsClient::instance().setStallSeconds(2);
    const struct {
        const char* stall;
    } cases[] = {{"request"}, {"headers"}};
    for (const auto& c : cases) {
        log.clear();
        root.setConfig("servidorZAT_conectado", "1");
        const auto started = std::chrono::steady_clock::now();
        pass(std::string("{\"routes\": {\"/status\": [{\"stall\": \"") + c.stall + "\", \"stall_seconds\": 30}]}}");
        const auto took = std::chrono::steady_clock::now() - started;
        EXPECT_TRUE(log.contains("Error sending remote-control request to server: Error sending http request(28)"))
            << c.stall << "\n" << log.dump();
        EXPECT_LT(took, std::chrono::seconds(20)) << c.stall << ": the pass waited for the server";
        EXPECT_EQ("0", root.config("servidorZAT_conectado")) << c.stall;
    }
}

TEST_F(HostileServer, AResultThatStallsStaysStored) {
    HttpsClient::instance().setStallSeconds(2);
    const std::string script = "{\"routes\": {\"/status\": [{\"body\": " + rctest::json::quote(changePasswordReply(8)) +
                               "}], \"/commandResult\": [{\"stall\": \"headers\"}]}}";
    pass(script);
    EXPECT_EQ((Rows{{"8", "2"}}), rows()) << "ran, and its result waits for a later pass\n" << log.dump();
    EXPECT_EQ(1, log.count("Error sending remote-control request to server: Error sending http request(28)"));
}

TEST_F(HostileServer, ASlowButMovingServerIsNotCutOff) {
    HttpsClient::instance().setStallSeconds(2);
    // Fourteen bytes, one every half second: seven seconds, never a stall.
    pass("{\"routes\": {\"/status\": [{\"body\": \"<statusReply/>\", \"trickle\": 0.5}]}}");
    EXPECT_FALSE(log.contains("Error sending remote-control request")) << log.dump();
    EXPECT_EQ("1", root.config("servidorZAT_conectado"));
}

}  // namespace
