// The poll cycle's CAM public-key fetch against the dev kit's test server,
// which answers from its "cam_keys": which rows are asked for, how each
// answer (or its absence) lands in the row, that no broken reply changes a
// row, and that only a connected pass fetches.
#include "app/poll_cycle.h"
#include "commands/query/quorvex_key_fetch.h"
#include "support/command_test.h"
#include "support/json_reader.h"

namespace {

using namespace dorel_remote_control;
using rctest::Rows;

const char kQuorDb[] = "/dorel/DB/quor_global.sqlite";

class QuorvexKeyFetch : public rctest::CommandTest {
protected:
    QuorvexKeyFetch() : CommandTest({}) {
        // Beside the defaults (TV-0001 with a key, TV-0002 without, here with
        // misses and an odd error mark): two more without a key (one missed
        // once), one without a serial number, one given up on.
        root_.exec(kQuorDb, "UPDATE Quorvex SET Reintentos = '2', Error = '' WHERE idQuorvex = 2;"
                            "INSERT INTO Quorvex (idQuorvex, idCliente, K_Publica, Reintentos, Error) VALUES "
                            "(3, 'TV-0003', NULL, '0', '0'), (4, '', '', '0', '0'), (5, 'TV-0005', '', '0', '1'), "
                            "(6, 'TV-0006', '', '1', '0')");
    }
    // "serial key Reintentos Error" of each row.
    Rows keyRows() const {
        return query("SELECT idCliente, K_Publica, Reintentos, Error FROM Quorvex ORDER BY idQuorvex", kQuorDb);
    }
    int fetches() {
        int n = 0;
        for (const rctest::RecordedRequest& r : server().requests()) n += r.path == "/getQuorvexCAMPublicKey";
        return n;
    }
    void fetch() {
        testing::internal::CaptureStdout();
        fetchQuorvexPublicKeys(env());
        testing::internal::GetCapturedStdout();
    }
    static std::string reply(const std::string& body) {
        return R"({"routes": {"/getQuorvexCAMPublicKey": [{"body": )" + rctest::json::quote(body) + "}]}}";
    }
    static std::string camsReply(const std::string& cams, const char* root = "getQuorvexCAMPublicKeyReply") {
        return reply("<" + std::string(root) + "><list>" + cams + "</list></" + root + ">");
    }
};

TEST_F(QuorvexKeyFetch, AsksForNamedCamsWithoutKeyAndGivesUpAtOnceOnAnEmptyKeyOrAfterThreeMisses) {
    serve(R"({"cam_keys": {"TV-0002": "  KEY-2\n", "TV-0006": " \n ", "TV-0001": "NEVER-ASKED", "TV-0099": "X"}})");
    fetch();
    ASSERT_EQ(1, fetches());
    const std::string body = server().requests().at(0).body;
    EXPECT_NE(std::string::npos, body.find("<getQuorvexCAMPublicKey>"));
    EXPECT_NE(std::string::npos, body.find("<zatContractId>CONTRACT-1</zatContractId>"));
    EXPECT_NE(std::string::npos, body.find("<cam>\n\t\t\t<serialNumber>TV-0002</serialNumber>"));
    EXPECT_NE(std::string::npos, body.find("<serialNumber>TV-0003</serialNumber>"));
    for (const char* never : {"TV-0001", "TV-0005", "<serialNumber/>"}) EXPECT_EQ(std::string::npos, body.find(never));
    EXPECT_EQ((Rows{{"TV-0001", "PUBLIC-KEY-0001", "0", "0"}, {"TV-0002", "KEY-2", "0", "0"},
                    {"TV-0003", "<NULL>", "1", "0"}, {"", "", "0", "0"}, {"TV-0005", "", "0", "1"},
                    {"TV-0006", "", "0", "1"}}),
              keyRows());
    EXPECT_TRUE(env().contains("TVID TV-0003 is missing from getQuorvexCAMPublicKeyReply") &&
                env().contains("No public key for TV-0006 was set")) << env().dump();
    fetch();
    EXPECT_EQ("2", keyRows()[2][2]);
    fetch();
    EXPECT_EQ((std::vector<std::string>{"TV-0003", "<NULL>", "0", "1"}), keyRows()[2]);
    fetch();  // nobody left to ask
    EXPECT_EQ(3, fetches());
}

// A stored miss count is read as the controller reads it: beyond 32 bits it
// is at the top of the range, so one more miss gives up.
TEST_F(QuorvexKeyFetch, AMissCountBeyond32BitsIsAtTheEndOfTheRange) {
    root_.exec(kQuorDb, "UPDATE Quorvex SET Reintentos = '4294967297' WHERE idQuorvex = 3;"
                        "UPDATE Quorvex SET Reintentos = '-4294967297' WHERE idQuorvex = 6");
    serve(R"({"cam_keys": {}})");
    fetch();
    EXPECT_EQ((std::vector<std::string>{"TV-0003", "<NULL>", "0", "1"}), keyRows()[2]);
    EXPECT_EQ((std::vector<std::string>{"TV-0006", "", "-2147483647", "0"}), keyRows()[5]);
}

TEST_F(QuorvexKeyFetch, BrokenRepliesChangeNoRowAndTheRootIsFoundWhateverItsLetterCase) {
    const Rows before = keyRows();
    const std::pair<std::string, const char*> cases[] = {
        {R"({"routes": {"/getQuorvexCAMPublicKey": [{"code": 500}]}})", "Error getting Quorvex public keys: "},
        {reply("<getQuorvexCAMPublicKeyReply><list>"), "Could not parse 'getQuorvexCAMPublicKeyReply'"},
        {reply("<statusReply/>"), "Could not find 'getQuorvexCAMPublicKeyReply' element"},
        {reply("<getQuorvexCAMPublicKeyReply/>"), "Could not find 'getQuorvexCAMPublicKeyReply/list' element"},
        {camsReply("<cam><publicKey>K</publicKey></cam>"), "Could not find 'cam/serialNumber' element"},
        {camsReply("<cam><serialNumber>TV-0002</serialNumber><publicKey>K</publicKey></cam>"
                   "<cam><serialNumber/><publicKey>K</publicKey></cam>"),
         "'cam/serialNumber' has no length"},
        {camsReply("<cam><serialNumber>TV-0002</serialNumber></cam>"), "Could not find 'cam/publicKey' element"},
    };
    for (const auto& [script, logged] : cases) {
        env().clearLog();
        serve(script);
        fetch();
        EXPECT_TRUE(env().contains(logged)) << logged << "\n" << env().dump();
        EXPECT_EQ(before, keyRows()) << logged;
    }
    serve(camsReply("<cam><serialNumber>TV-0002</serialNumber><publicKey>K2</publicKey></cam>",
                    "GetQuorvexCAMPublicKeyREPLY"));
    fetch();
    EXPECT_EQ("K2", keyRows()[1][1]) << "the reply's root is found whatever its letter case";
}

TEST_F(QuorvexKeyFetch, OnlyAConnectedPassFetches) {
    PollContext context(env());
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
