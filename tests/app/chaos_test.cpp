// The built agent killed with SIGKILL at random moments (seeded) while the
// server's replies carry password changes, scheduled commands and OTA
// commands; then run without kills until its store is empty. Whatever was
// stored must be reported, nothing scheduled stored twice, no row left
// received or running.
#include "agent_process.h"
#include "support/command_test.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <random>
#include <set>

namespace {

const char* const kDb = "/dorel/DB/remote_control.sqlite";
constexpr int kKills = 50;
constexpr int kReplies = 90;

using rctest::envelope;

// Reply k: a password change, a scheduleCommands whose two inner commands are
// due at once (their moment has passed), and an OTA start; every command id
// unique.
std::string reply(int k) {
    const std::string commands =
        envelope(1000 + k, "changePassword", "<username>admin</username><password>pw" + std::to_string(k) +
                                                 "</password>") +
        envelope(2000 + k, "scheduleCommands", "<datetime>2020-01-01T00:00:00</datetime><commands>" +
                                                   envelope(3000 + 2 * k, "stopTVCAMOTAFirmwareUpgrade") +
                                                   envelope(3001 + 2 * k, "getScheduledCommands") + "</commands>") +
        envelope(4000 + k, "startOTAFirmwareUpgrade",
                 "<type>ndstvcam</type><linkage>4A0C00010002000309043A91E700</linkage>");
    return "<statusReply><commands>" + commands + "</commands></statusReply>";
}

std::string script() {
    std::string answers;
    for (int k = 0; k < kReplies; ++k) {
        answers += (k ? ", " : "") + std::string("{\"body\": \"") + reply(k) + "\"}";
    }
    return "{\"routes\": {\"/status\": [" + answers + "]}}";
}

class Chaos : public ::testing::Test {
protected:
    void SetUp() override { root.setConfig("servidorZAT_activo", "1"); }

    // A pass of the agent, killed (-1) when it still runs after `limit`.
    int pass(std::chrono::milliseconds limit) const {
        return rctest::Child(rctest::agentCommandLine({"--once", "-p", root.rooted("/var/run/remote-control.pid")}))
            .finish(limit);
    }
    // Notes every stored command and fails on a command stored twice.
    void snapshot(const std::string& when) {
        std::map<std::string, int> copies;
        for (const auto& row : root.query(kDb, "SELECT commandId FROM RCCommand")) {
            stored.insert(row[0]);
            if (++copies[row[0]] == 2) ADD_FAILURE() << "command " << row[0] << " stored twice " << when;
        }
    }

    // One module: the status document is not what this test is about.
    rctest::HeadendRoot root{{"--modules", "1"}};
    std::set<std::string> stored;
};

TEST_F(Chaos, KillsAtRandomMomentsLoseNothingAndRepeatNothing) {
    rctest::TestServer server(root, script());
    server.configureAgent();
    const auto began = std::chrono::steady_clock::now();

    // How long one undisturbed pass takes here; the kills fall anywhere in it.
    ASSERT_EQ(0, pass(std::chrono::seconds(30)));
    const auto onePass =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - began);
    snapshot("after the first pass");
    std::printf("chaos: one pass takes %ld ms\n", static_cast<long>(onePass.count()));

    std::mt19937 random(20261122);
    std::uniform_int_distribution<long> moment(1, onePass.count() * 6 / 5 + 1);
    int kills = 0;
    for (int attempt = 0; kills < kKills && attempt < 4 * kKills; ++attempt) {
        kills += pass(std::chrono::milliseconds(moment(random))) == -1;
        snapshot("after kill " + std::to_string(kills));
    }
    EXPECT_EQ(kKills, kills);

    // Undisturbed passes, against a server with nothing more to ask, until
    // the store is empty.
    rctest::TestServer quiet(root, "{}");
    quiet.configureAgent();
    for (int run = 0; run < 4 && !root.query(kDb, "SELECT id FROM RCCommand").empty(); ++run) {
        ASSERT_EQ(0, pass(std::chrono::seconds(30)));
        snapshot("in the final passes");
    }
    EXPECT_TRUE(root.query(kDb, "SELECT commandId, status FROM RCCommand WHERE status IN ('0', '1')").empty());

    std::set<std::string> reported;
    for (const rctest::TestServer* s : {&server, &quiet}) {
        for (const auto& request : s->requests()) {
            if (request.path != "/commandResult") continue;
            const size_t at = request.body.find("<commandId>") + 11;
            reported.insert(request.body.substr(at, request.body.find('<', at) - at));
        }
    }
    std::printf("chaos: %zu commands stored, %zu reported\n", stored.size(), reported.size());
    for (const std::string& id : stored) EXPECT_TRUE(reported.count(id)) << "command " << id << " never reported";
    EXPECT_GT(stored.size(), 20u) << "the kills left the agent too little to do";
}

}  // namespace
