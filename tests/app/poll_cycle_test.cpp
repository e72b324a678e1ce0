// Passes of the poll cycle against a simulated headend and the dev kit's test
// server, on the test's clock: when the status goes out, what a failed
// contact does, and the connection flag the web interface shows.
#include "app/poll_cycle.h"
#include "common/dorelcommon.h"
#include "server/settings.h"
#include "support/headend_root.h"
#include "support/test_server.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <sys/inotify.h>
#include <unistd.h>

namespace {

using namespace dorel_remote_control;
const char* const kStore = "/dorel/DB/remote_control.sqlite";

class PollCycle : public ::testing::Test {
protected:
    void SetUp() override {
        settings() = Settings();
        root.setConfig("servidorZAT_conectado", "1");
        // An unchanged status counts as due again every fifth pass.
        root.setConfig("servidorZAT_intervalo", "5");
    }
    std::string flag() const { return root.config("servidorZAT_conectado"); }
    rctest::TestEnv& env() { return root.env(); }

    // Runs passes 1..count of a fresh loop (calling beforePass first) and
    // tells on which the status went out; flags gets the flag after each.
    std::vector<int> passesThatSent(int count, const std::function<void(int)>& beforePass = nullptr,
                                    std::vector<std::string>* flags = nullptr) {
        PollContext context(env());
        PollLoop loop(context, logging);
        std::vector<int> sentOn;
        for (int pass = 1; pass <= count; ++pass) {
            if (beforePass) beforePass(pass);
            const int before = env().count("Sending Status");
            testing::internal::CaptureStdout();  // the HTTPS client echoes the replies
            loop.runPass();
            testing::internal::GetCapturedStdout();
            if (env().count("Sending Status") > before) sentOn.push_back(pass);
            if (flags) flags->push_back(flag());
        }
        return sentOn;
    }

    rctest::HeadendRoot root;
    LoggingState logging;
};

TEST_F(PollCycle, AnUnchangedStatusIsResentEveryIntervalPassesAndAChangeAtOnce) {
    rctest::TestServer server(root, "{}");
    server.configureAgent();
    root.setConfig("servidorZAT_activo", "1");
    const struct {
        const char* what;
        std::function<void(int)> beforePass;
        std::vector<int> sentOn;
    } cases[] = {
        {"unchanged", nullptr, {1, 6, 11}},
        {"the status changes", [&](int pass) {
             if (pass == 3) root.exec("/tmp/temp_global.sqlite", "UPDATE ModulosCabecera SET SWVersion = '999'");
         }, {1, 3}},
        {"a setting changes", [&](int pass) {
             if (pass == 2) root.setConfig("servidorZAT_intervalo", "4");
         }, {1, 2}},
    };
    for (const auto& c : cases) EXPECT_EQ(c.sentOn, passesThatSent(c.sentOn.back() + 1, c.beforePass)) << c.what;
    EXPECT_EQ("1", flag());
}

// Every failed contact is logged, takes the flag down (the first one: the
// grace only follows a success) and has the next pass send again. An inactive
// agent makes no contact and takes the flag down once.
TEST_F(PollCycle, AFailedContactIsLoggedAndRetriedOnTheNextPass) {
    env().stallSeconds_ = 1;
    const std::string error = "Error sending remote-control request to server: ";
    const struct {
        const char* what;
        const char* answer;  // the first answer to the status; null: no server at all
        std::string line;
        std::vector<std::string> flags;  // after passes 1 and 2
        std::vector<int> sentOn;
    } cases[] = {
        {"an error status", R"({"code": 500, "body": "oops"})", error + "Invalid response code: 500", {"0", "1"},
         {1, 2}},
        {"silent after the headers", R"({"stall": "headers", "stall_seconds": 30})",
         error + "Error sending http request(28)", {"0", "1"}, {1, 2}},
        {"no server", nullptr, error + "Error sending http request(7)", {"0", "0"}, {1, 2}},
        // Answers, so no failed contact; there is nothing to take from it.
        {"a reply that is no XML", R"({"body": "<<not xml"})", "XML parsing error: ", {"1", "1"}, {1}},
        {"slow but moving", R"({"body": "<statusReply/>", "trickle": 0.1})", "Sending status", {"1", "1"}, {1}},
        {"inactive", nullptr, "Not active", {"0", "0"}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        env().clearLog();
        root.setConfig("servidorZAT_conectado", "1");
        root.setConfig("servidorZAT_activo", c.sentOn.empty() ? "0" : "1");
        rctest::TestServer server(root, "{\"routes\": {\"/status\": [" + std::string(c.answer ? c.answer : "") + "]}}");
        root.setConfig("servidorZAT_direccion", c.answer ? server.baseUrl() : "https://127.0.0.1:1/rc/");
        std::vector<std::string> flags;
        const auto started = std::chrono::steady_clock::now();
        EXPECT_EQ(c.sentOn, passesThatSent(2, nullptr, &flags));
        EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10))
            << "a pass waited for the server";
        EXPECT_EQ(c.flags, flags);
        EXPECT_TRUE(env().contains(c.line)) << env().dump();
        EXPECT_EQ(c.flags[0] == "0" ? 1 : 0, env().count("NOT Connected to the Remote Control server"));
        EXPECT_TRUE(root.query(kStore, "SELECT * FROM RCCommand").empty());
    }
}

TEST_F(PollCycle, TheFlagStaysUpForTenMinutesAfterConnectingAndNeedsItsRow) {
    PollContext context(env());
    setConnection(context, kConnected);
    ASSERT_EQ("1", flag());
    const time_t connectedAt = context.lastFlagWrite;
    env().set(connectedAt + 599);
    setConnection(context, kNotConnected);
    EXPECT_EQ("1", flag()) << "a failure within the grace leaves the flag";
    EXPECT_EQ(kConnected, context.connectionState);
    setConnection(context, kConnected);
    EXPECT_EQ(connectedAt, context.lastFlagWrite) << "a later success does not restart the grace";
    env().set(connectedAt + 600);
    setConnection(context, kNotConnected);
    EXPECT_EQ("0", flag());
    EXPECT_EQ(kNotConnected, context.connectionState);
    setConnection(context, kNotConnected);
    EXPECT_EQ(1, env().count("NOT Connected to the Remote Control server"));

    PollContext other(env());
    root.setConfig("servidorZAT_conectado", "1");
    setConnection(other, 7);
    EXPECT_TRUE(env().contains("Unknown Connection Status"));
    EXPECT_EQ("0", flag());
    EXPECT_EQ(kNotConnected, other.connectionState);

    // Without the web interface's row there is no flag to write.
    root.exec("/dorel/DB/config_global.sqlite", "DELETE FROM configuracionWebGlobal WHERE nombre LIKE '%conectado'");
    PollContext third(env());
    setConnection(third, kConnected);
    EXPECT_EQ(kConnectionUnknown, third.connectionState);
}

TEST_F(PollCycle, PassesArePacedToTheMinuteAndTakeAChangedLogSetting) {
    const int fd = inotify_init1(IN_NONBLOCK);
    logging = {fd, configure_global_syslog(nullptr, "remote-control", &env().debugMask(), fd)};
    PollContext context(env());
    PollLoop loop(context, logging);
    const time_t start = env().now();
    env().set(start + 10);
    loop.waitForNextPass(start);
    root.writeFile("/dorel/conf/debug.conf", "remote-control 0x30\n");
    env().set(start + 75);
    loop.waitForNextPass(start);  // a long pass: the next begins at once
    EXPECT_EQ(0x30ul, env().debugMask());
    env().set(start - 30);
    loop.waitForNextPass(start);  // the clock went back: wait no more than a minute
    EXPECT_EQ((std::vector<unsigned>{50, 60}), env().sleeps());
    close(fd);
}

}  // namespace
