// The poll cycle's CAM public-key fetch against the dev kit's test server,
// which answers from its "cam_keys": which rows are asked for, how each
// answer (or its absence) lands in the row, that no broken reply changes a
// row, and that only a connected pass fetches.
#include "support/command_server.h"

#include "app/poll_cycle.h"
#include "commands/query/quorvex_key_fetch.h"
#include "support/json_reader.h"
#include "support/log_capture.h"

namespace rctest {
namespace {

using namespace dorel_remote_control;

const char kQuorDb[] = "/dorel/DB/quor_global.sqlite";
const char kFetchPath[] = "/getQuorvexCAMPublicKey";

using Rows = std::vector<std::vector<std::string>>;

class QuorvexKeyFetch : public CommandServerTest {
protected:
    void SetUp() override {
        // Beside the defaults (TV-0001 with a key, TV-0002 without): one more
        // without a key, one without a serial number, one given up on.
        root_.exec(kQuorDb,
                   "INSERT INTO Quorvex (idQuorvex, idCliente, K_Publica, Reintentos, Error) VALUES "
                   "(3, 'TV-0003', NULL, '0', '0'), (4, '', '', '0', '0'), (5, 'TV-0005', '', '0', '1')");
    }
    // "serial key Reintentos Error" of each row.
    Rows keyRows() const {
        return root_.query(kQuorDb, "SELECT idCliente, K_Publica, Reintentos, Error FROM Quorvex ORDER BY idQuorvex");
    }
    int fetches() const {
        int n = 0;
        for (const RecordedRequest& r : server_->requests()) n += r.path == kFetchPath;
        return n;
    }
    void fetch() {
        testing::internal::CaptureStdout();
        fetchQuorvexPublicKeys();
        testing::internal::GetCapturedStdout();
    }
    static std::string reply(const std::string& body) {
        return R"({"routes": {"/getQuorvexCAMPublicKey": [{"body": )" + json::quote(body) + "}]}}";
    }
};

TEST_F(QuorvexKeyFetch, AsksOnlyForNamedCamsWithoutKeyAndGivesUpAfterThreeMisses) {
    serve(R"({"cam_keys": {"TV-0002": "  KEY-2\n", "TV-0001": "NEVER-ASKED", "TV-0099": "X"}})");
    fetch();
    ASSERT_EQ(1, fetches());
    const std::string body = server_->requests().at(0).body;
    EXPECT_NE(std::string::npos, body.find("<getQuorvexCAMPublicKey>"));
    EXPECT_NE(std::string::npos, body.find("<zatContractId>CONTRACT-1</zatContractId>"));
    EXPECT_NE(std::string::npos, body.find("<cam>\n\t\t\t<serialNumber>TV-0002</serialNumber>"));
    EXPECT_NE(std::string::npos, body.find("<serialNumber>TV-0003</serialNumber>"));
    for (const char* never : {"TV-0001", "TV-0005", "<serialNumber/>"}) EXPECT_EQ(std::string::npos, body.find(never));
    EXPECT_EQ((Rows{{"TV-0001", "PUBLIC-KEY-0001", "0", "0"},
                    {"TV-0002", "KEY-2", "0", "0"},
                    {"TV-0003", "<NULL>", "1", "0"},
                    {"", "", "0", "0"},
                    {"TV-0005", "", "0", "1"}}),
              keyRows());

    fetch();
    EXPECT_EQ("2", keyRows()[2][2]);
    fetch();
    EXPECT_EQ((std::vector<std::string>{"TV-0003", "<NULL>", "0", "1"}), keyRows()[2]);
    fetch();  // nobody left to ask
    EXPECT_EQ(3, fetches());
}

// A stored miss count is read as the controller reads it: a count beyond 32
// bits is at the top of the range, so one more miss gives up.
TEST_F(QuorvexKeyFetch, AMissCountBeyond32BitsGivesUp) {
    serve(R"({"cam_keys": {"TV-0002": "KEY-2"}})");
    const struct {
        const char* before;
        const char* after;
        const char* error;
    } cases[] = {
        {"1", "2", "0"},          {"2", "0", "1"},          {"4294967297", "0", "1"},
        {"2147483647", "0", "1"}, {"-4294967297", "-2147483647", "0"},
    };
    for (const auto& c : cases) {
        root_.exec(kQuorDb, std::string("UPDATE Quorvex SET Reintentos = '") + c.before +
                                "', Error = '0' WHERE idQuorvex = 3");
        fetch();
        EXPECT_EQ((std::vector<std::string>{"TV-0003", "<NULL>", c.after, c.error}), keyRows()[2]) << c.before;
    }
}

TEST_F(QuorvexKeyFetch, EmptyKeyGivesUpAtOnce) {
    serve(R"({"cam_keys": {"TV-0002": "", "TV-0003": " \n "}})");
    fetch();
    EXPECT_EQ((std::vector<std::string>{"TV-0002", "", "0", "1"}), keyRows()[1]);
    EXPECT_EQ((std::vector<std::string>{"TV-0003", "<NULL>", "0", "1"}), keyRows()[2]);
}

TEST_F(QuorvexKeyFetch, BrokenRepliesChangeNoRow) {
    const Rows before = keyRows();
    const struct {
        std::string script;
        const char* logged;
    } cases[] = {
        {R"({"routes": {"/getQuorvexCAMPublicKey": [{"code": 500}]}})", "Error getting Quorvex public keys: "},
        {reply("<getQuorvexCAMPublicKeyReply><list>"), "Could not parse 'getQuorvexCAMPublicKeyReply'"},
        {reply("<statusReply/>"), "Could not find 'getQuorvexCAMPublicKeyReply' element"},
        {reply("<getQuorvexCAMPublicKeyReply/>"), "Could not find 'getQuorvexCAMPublicKeyReply/list' element"},
        {reply("<getQuorvexCAMPublicKeyReply><list><cam><publicKey>K</publicKey></cam></list>"
               "</getQuorvexCAMPublicKeyReply>"),
         "Could not find 'cam/serialNumber' element"},
        {reply("<getQuorvexCAMPublicKeyReply><list><cam><serialNumber>TV-0002</serialNumber><publicKey>K"
               "</publicKey></cam><cam><serialNumber/><publicKey>K</publicKey></cam></list>"
               "</getQuorvexCAMPublicKeyReply>"),
         "'cam/serialNumber' has no length"},
        {reply("<getQuorvexCAMPublicKeyReply><list><cam><serialNumber>TV-0002</serialNumber></cam></list>"
               "</getQuorvexCAMPublicKeyReply>"),
         "Could not find 'cam/publicKey' element"},
    };
    for (const auto& c : cases) {
        LogCapture log;
        serve(c.script);
        fetch();
        EXPECT_TRUE(log.contains(c.logged)) << c.logged << "\n" << log.dump();
        EXPECT_EQ(before, keyRows()) << c.logged;
    }
}

TEST_F(QuorvexKeyFetch, ReplyRootLetterCaseDoesNotMatter) {
    serve(reply("<GetQuorvexCAMPublicKeyREPLY><list><cam><serialNumber>TV-0002</serialNumber>"
                "<publicKey>K2</publicKey></cam></list></GetQuorvexCAMPublicKeyREPLY>"));
    fetch();
    EXPECT_EQ("K2", keyRows()[1][1]);
}

TEST_F(QuorvexKeyFetch, OnlyAConnectedPassFetches) {
    PollContext context;
    LoggingState logging;
    root_.setConfig("servidorZAT_activo", "1");
    serve(R"({"routes": {"/status": [{"code": 500}]}})");
    testing::internal::CaptureStdout();
    PollLoop(context, logging).runPass();
    EXPECT_EQ(kNotConnected, context.connectionState);
    EXPECT_EQ(0, fetches());

    PollLoop(context, logging).runPass();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(kConnected, context.connectionState);
    EXPECT_EQ(1, fetches());
}

}  // namespace
}  // namespace rctest
