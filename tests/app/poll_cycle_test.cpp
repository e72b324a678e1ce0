// Passes of the poll cycle against a simulated headend and the dev kit's test
// server, on a fake clock.
#include "app/poll_cycle.h"
#include "server/settings.h"
#include "support/fake_clock.h"
#include "support/headend_root.h"
#include "support/log_capture.h"
#include "support/test_server.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

using namespace dorel_remote_control;

int countPath(const std::vector<rctest::RecordedRequest>& requests, const std::string& path) {
    int n = 0;
    for (const auto& r : requests) n += (r.path == path);
    return n;
}

class PollCycle : public ::testing::Test {
protected:
    void SetUp() override {
        settings() = Settings();
        root.setConfig("servidorZAT_conectado", "1");
    }
    std::string flag() const { return root.config("servidorZAT_conectado"); }

    // An active agent talking to `server`, which counts an unchanged status as
    // due again every `interval` passes.
    void activate(const rctest::TestServer& server, const char* interval) {
        server.configureAgent();
        root.setConfig("servidorZAT_activo", "1");
        root.setConfig("servidorZAT_intervalo", interval);
    }
    // Runs passes 1..count (calling beforePass first) and tells on which the
    // status went out.
    std::vector<int> passesThatSent(const rctest::TestServer& server, int count,
                                    const std::function<void(int)>& beforePass = nullptr) {
        PollLoop loop(context, logging);
        std::vector<int> sentOn;
        for (int pass = 1; pass <= count; ++pass) {
            if (beforePass) beforePass(pass);
            int before = countPath(server.requests(), "/status");
            loop.runPass();
            if (countPath(server.requests(), "/status") > before) sentOn.push_back(pass);
        }
        return sentOn;
    }

    rctest::HeadendRoot root;
    rctest::FakeClock clock;
    rctest::LogCapture log;
    PollContext context;
    LoggingState logging;
};

TEST_F(PollCycle, InactiveClearsTheFlagOnceAndDoesNothingElse) {
    PollLoop loop(context, logging);
    loop.runPass();
    EXPECT_EQ("0", flag());
    EXPECT_EQ(kNotConnected, context.connectionState);
    loop.runPass();
    loop.runPass();
    EXPECT_EQ(3, log.count("Not active"));
    EXPECT_EQ(1, log.count("NOT Connected to the Remote Control server")) << log.dump();
    EXPECT_EQ(0, log.count("Sending Status"));
    EXPECT_EQ(0, log.count("Checking if there are"));
}

TEST_F(PollCycle, AnUnchangedStatusIsResentEveryIntervalPasses) {
    rctest::TestServer server(root, "{}");
    activate(server, "5");
    EXPECT_EQ((std::vector<int>{1, 6, 11}), passesThatSent(server, 11));
    EXPECT_EQ("1", flag());
    EXPECT_EQ(kConnected, context.connectionState);
}

TEST_F(PollCycle, AChangedStatusIsSentAtOnce) {
    rctest::TestServer server(root, "{}");
    activate(server, "5");
    auto changeOnPass3 = [&](int pass) {
        if (pass == 3) root.exec("/tmp/temp_global.sqlite", "UPDATE ModulosCabecera SET SWVersion = '999'");
    };
    EXPECT_EQ((std::vector<int>{1, 3}), passesThatSent(server, 4, changeOnPass3));
    auto requests = server.requests();
    // A connected pass ends with the CAM key fetch; the status came before it.
    while (!requests.empty() && requests.back().path != "/status") requests.pop_back();
    ASSERT_FALSE(requests.empty());
    EXPECT_NE(std::string::npos, requests.back().body.find("<swVersion>9.99</swVersion>")) << requests.back().body;
}

TEST_F(PollCycle, AChangedSettingResetsTheIntervalCount) {
    rctest::TestServer server(root, "{}");
    activate(server, "5");
    auto changeSettingOnPass2 = [&](int pass) {
        if (pass == 2) root.setConfig("servidorZAT_intervalo", "4");
    };
    EXPECT_EQ((std::vector<int>{1, 2}), passesThatSent(server, 2, changeSettingOnPass2));
}

TEST_F(PollCycle, AFailedSendIsRetriedOnTheNextPass) {
    rctest::TestServer server(root, R"({"routes": {"/status": [{"code": 500, "body": "oops"}]}})");
    activate(server, "5");
    std::vector<std::string> flags;
    EXPECT_EQ((std::vector<int>{1, 2}), passesThatSent(server, 3, [&](int) { flags.push_back(flag()); }));
    EXPECT_TRUE(log.contains("Error sending remote-control request to server: Invalid response code: 500"))
        << log.dump();
    EXPECT_EQ((std::vector<std::string>{"1", "0", "1"}), flags) << "down after the failure, up after the retry";
}

TEST_F(PollCycle, AReplyThatIsNotXmlIsNoCommand) {
    rctest::TestServer server(root, R"({"routes": {"/status": [{"code": 200, "body": "<<not xml"}]}})");
    server.configureAgent();
    root.setConfig("servidorZAT_activo", "1");
    PollLoop loop(context, logging);
    loop.runPass();
    EXPECT_TRUE(log.contains("XML parsing error: ")) << log.dump();
    EXPECT_EQ("1", flag()) << "the server answered";
    EXPECT_TRUE(root.query("/dorel/DB/remote_control.sqlite", "SELECT * FROM RCCommand").empty());
}

TEST_F(PollCycle, TheFlagStaysUpForTenMinutesAfterConnecting) {
    setConnection(context, kConnected);
    ASSERT_EQ("1", flag());
    const time_t connectedAt = context.lastFlagWrite;
    clock.set(connectedAt + 599);
    setConnection(context, kNotConnected);
    EXPECT_EQ("1", flag()) << "a failure within the grace leaves the flag";
    EXPECT_EQ(kConnected, context.connectionState);
    setConnection(context, kConnected);
    EXPECT_EQ(connectedAt, context.lastFlagWrite) << "a later success does not restart the grace";
    clock.set(connectedAt + 600);
    setConnection(context, kNotConnected);
    EXPECT_EQ("0", flag());
    EXPECT_EQ(kNotConnected, context.connectionState);
    setConnection(context, kNotConnected);
    EXPECT_EQ(1, log.count("NOT Connected to the Remote Control server"));
}

TEST_F(PollCycle, TheFlagIsOnlyWrittenWhereItsRowExists) {
    root.exec("/dorel/DB/config_global.sqlite", "DELETE FROM configuracionWebGlobal WHERE nombre = 'servidorZAT_conectado'");
    setConnection(context, kConnected);
    EXPECT_EQ(kConnectionUnknown, context.connectionState);
    EXPECT_TRUE(root.query("/dorel/DB/config_global.sqlite",
                           "SELECT * FROM configuracionWebGlobal WHERE nombre = 'servidorZAT_conectado'")
                    .empty());

    rctest::HeadendRoot fresh;
    fresh.setConfig("servidorZAT_conectado", "1");
    PollContext other;
    setConnection(other, 7);
    EXPECT_TRUE(log.contains("Unknown Connection Status"));
    EXPECT_EQ("0", fresh.config("servidorZAT_conectado"));
    EXPECT_EQ(kNotConnected, other.connectionState);
}

TEST_F(PollCycle, PassesArePacedToTheMinute) {
    PollLoop loop(context, logging);
    const time_t start = clock.now();
    clock.set(start + 10);
    loop.waitForNextPass(start);
    clock.set(start + 75);
    loop.waitForNextPass(start);  // a long pass: the next begins at once
    clock.set(start - 30);
    loop.waitForNextPass(start);  // the clock went back: wait no more than a minute
    EXPECT_EQ((std::vector<unsigned>{50, 60}), clock.sleeps());
}

TEST_F(PollCycle, AnUnreachableServerIsAFailedContact) {
    root.setConfig("servidorZAT_activo", "1");
    root.setConfig("servidorZAT_direccion", "https://127.0.0.1:1/rc/");
    PollLoop loop(context, logging);
    loop.runPass();
    EXPECT_TRUE(log.contains("Error sending remote-control request to server: Error sending http request(7)"))
        << log.dump();
    EXPECT_EQ("0", flag());
}

}  // namespace
