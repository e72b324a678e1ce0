// getQuorvexCAMList, setQuorvexCAMList and regenerateQuorvexScramblingKey on
// the simulated headend's Quorvex table (default rows: TV-0001 with key
// PUBLIC-KEY-0001, TV-0002 without) and its stand-in key tool.
#include "commands/query/command_runner.h"

#include "commands/core/result_codes.h"

namespace rctest {
namespace {

using namespace dorel_remote_control;

const char kQuorDb[] = "/dorel/DB/quor_global.sqlite";
const char kRebuild[] = "/dorel/bin/QuorKey ";

class QuorvexCamList : public StoreTest {
protected:
    // "serial key manufacturer date ekShared description error retries", by id.
    Rows camRows() const {
        return root_.query(kQuorDb,
                           "SELECT idCliente, K_Publica, Fabricante, Alta, EK_Shared, Descripcion, Error, Reintentos "
                           "FROM Quorvex ORDER BY idQuorvex");
    }
    Errors setList(const std::string& cams, const std::string& extra = "") {
        return errorsOf(envelope(3, "setQuorvexCAMList", extra + "<list>" + cams + "</list>"));
    }
    // The printed result element of a getQuorvexCAMList.
    std::string getList(const std::string& params) {
        auto command = run(envelope(2, "getQuorvexCAMList", params));
        return printXml(*command->result().data());
    }
};

TEST_F(QuorvexCamList, GetListsEveryCamWithKeysOnlyForAnExplicitOne) {
    const std::string withKeys = getList("<includePublicKeys>1</includePublicKeys>");
    EXPECT_NE(std::string::npos, withKeys.find("<serialNumber>TV-0001</serialNumber>"));
    EXPECT_NE(std::string::npos, withKeys.find("<hasPublicKey>1</hasPublicKey>"));
    EXPECT_NE(std::string::npos, withKeys.find("<publicKey>PUBLIC-KEY-0001</publicKey>"));
    EXPECT_NE(std::string::npos, withKeys.find("<hasPublicKey>0</hasPublicKey>"));
    for (const char* params : {"", "<includePublicKeys>true</includePublicKeys>"}) {
        const std::string list = getList(params);
        EXPECT_NE(std::string::npos, list.find("<serialNumber>TV-0002</serialNumber>")) << params;
        EXPECT_EQ(std::string::npos, list.find("publicKey>")) << params;
        EXPECT_EQ(std::string::npos, list.find("manufacturer")) << params;
    }
}

TEST_F(QuorvexCamList, FullListReplacesTheTableAndRebuildsTheKeyFile) {
    clock_.set(1699963200);  // noon UTC of 2023-11-14: that date from UTC-12 to UTC+11
    EXPECT_EQ(Errors{}, setList("<cam><serialNumber>TV-0009</serialNumber><publicKey>\n  KEY-9 \n</publicKey>"
                                "<MANUFACTURER>Maker</MANUFACTURER><ekShared>EK</ekShared>"
                                "<description>Lobby</description></cam>"
                                "<cam><serialNumber>TV-0010</serialNumber><registerDate>2020-01-02</registerDate></cam>"));
    EXPECT_EQ((Rows{{"TV-0009", "KEY-9", "Maker", "2023-11-14", "EK", "Lobby", "0", "0"},
                    {"TV-0010", "", "", "2020-01-02", "", "", "0", "0"}}),
              camRows());
    ASSERT_EQ(1u, root_.stubCalls().size());
    EXPECT_EQ(0u, root_.stubCalls()[0].find(kRebuild));
    EXPECT_NE(std::string::npos, root_.stubCalls()[0].find("/dorel/datosWeb/ScramblingKeys/quorkeys.txt"));
    EXPECT_EQ(std::string::npos, root_.stubCalls()[0].find(" -r "));
}

TEST_F(QuorvexCamList, PartialListKeepsRowsAndNamesEachCamOnce) {
    root_.exec(kQuorDb, "UPDATE Quorvex SET Error = '1', Reintentos = '2' WHERE idCliente = 'TV-0002'");
    EXPECT_EQ(Errors{}, setList("<cam><serialNumber>tv-0002</serialNumber><description>Bar</description></cam>"
                                "<cam><serialNumber>TV-0003</serialNumber><publicKey>K3</publicKey></cam>"
                                "<cam><serialNumber>TV-0003</serialNumber><publicKey>K3b</publicKey></cam>",
                                "<partialList>1</partialList>"));
    const Rows rows = root_.query(kQuorDb, "SELECT idQuorvex, idCliente, K_Publica, Descripcion, Error, Reintentos "
                                           "FROM Quorvex ORDER BY idQuorvex");
    EXPECT_EQ((Rows{{"1", "TV-0001", "PUBLIC-KEY-0001", "Room 101", "0", "0"},
                    {"2", "tv-0002", "", "Bar", "0", "0"},
                    {"3", "TV-0003", "K3b", "", "0", "0"}}),
              rows);
}

TEST_F(QuorvexCamList, BadListsChangeNothing) {
    const Rows before = camRows();
    const std::string hostile = "'); DROP TABLE Quorvex; --";
    const struct {
        std::string params;
        Errors expected;
    } cases[] = {
        {"<partialList>1</partialList>", {{kInvalidCommand, "No 'list' element found"}}},
        {"<list><cam><serialNumber>TV-7</serialNumber></cam><cam><publicKey>K</publicKey></cam></list>",
         {{kInvalidCommand, "No 'serialNumber' element found"}}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.expected, errorsOf(envelope(3, "setQuorvexCAMList", c.params))) << c.params;
        EXPECT_EQ(before, camRows()) << c.params;
    }
    EXPECT_TRUE(root_.stubCalls().empty());

    // A hostile serial number is only a text.
    EXPECT_EQ(Errors{}, setList("<cam><serialNumber>" + hostile + "</serialNumber></cam>",
                                "<partialList>true</partialList>"));
    EXPECT_EQ(hostile, camRows().back()[0]);
}

TEST_F(QuorvexCamList, KeyToolFailuresAre911) {
    EXPECT_EQ(Errors{}, errorsOf(envelope(4, "regenerateQuorvexScramblingKey")));
    EXPECT_EQ(0u, root_.stubCalls().back().find("/dorel/bin/QuorKey -r "));
    root_.writeFile("/devkit/exit/QuorKey", "3");
    EXPECT_EQ((Errors{{kErrorRegeneratingKey, resultCodeText(kErrorRegeneratingKey)}}), errorsOf(envelope(4, "regenerateQuorvexScramblingKey")));
    EXPECT_EQ((Errors{{kErrorRegeneratingKey, resultCodeText(kErrorRegeneratingKey)}}), setList("<cam><serialNumber>TV-5</serialNumber></cam>"));
    EXPECT_EQ("TV-5", camRows().back()[0]);  // the list itself is in
}

}  // namespace
}  // namespace rctest
