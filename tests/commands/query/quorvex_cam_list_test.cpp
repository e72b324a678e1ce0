// getQuorvexCAMList, setQuorvexCAMList and regenerateQuorvexScramblingKey on
// the simulated headend's Quorvex table (default rows: TV-0001 with key
// PUBLIC-KEY-0001, TV-0002 without) and its stand-in key tool.
#include "common/xml.h"
#include "support/command_test.h"

#include <algorithm>

namespace {

using rctest::Errors;
using rctest::Rows;

const char kQuorDb[] = "/dorel/DB/quor_global.sqlite";

class QuorvexCamList : public rctest::CommandTest {
protected:
    Rows camRows() const {
        return query("SELECT idQuorvex, idCliente, K_Publica, Fabricante, Alta, EK_Shared, Descripcion, Error, "
                     "Reintentos, estado FROM Quorvex ORDER BY idQuorvex", kQuorDb);
    }
    Errors setList(const std::string& cams, const std::string& extra = "") {
        return errorsOf("setQuorvexCAMList", extra + "<list>" + cams + "</list>");
    }
    std::string keyFile() const { return root_.rooted("/dorel/datosWeb/ScramblingKeys/quorkeys.txt"); }
    // A run's result from its completion mark on, without line breaks and indentation.
    std::string outcome(const std::string& name, const std::string& params) {
        std::string printed = run(name, params)->result().print(env());
        printed.erase(0, printed.find("<result>"));
        const auto blank = [](char c) { return c == '\n' || c == '\t'; };
        printed.erase(std::remove_if(printed.begin(), printed.end(), blank), printed.end());
        return printed;
    }
};

TEST_F(QuorvexCamList, GetListsEveryCamWithKeysOnlyForAnExplicitOneOrReports102) {
    EXPECT_EQ("<result>0</result><errors/><data><getQuorvexCAMListResult><list><cam><serialNumber>TV-0001"
              "</serialNumber><hasPublicKey>1</hasPublicKey><publicKey>PUBLIC-KEY-0001</publicKey></cam><cam>"
              "<serialNumber>TV-0002</serialNumber><hasPublicKey>0</hasPublicKey><publicKey/></cam></list>"
              "</getQuorvexCAMListResult></data></commandResult>",
              outcome("getQuorvexCAMList", "<includePublicKeys>1</includePublicKeys>"));
    const std::string withoutKeys = outcome("getQuorvexCAMList", "<includePublicKeys>true</includePublicKeys>");
    EXPECT_EQ(std::string::npos, withoutKeys.find("publicKey>"));
    // An empty list would tell the server the headend has no CAMs.
    root_.exec(kQuorDb, "DROP TABLE Quorvex");
    EXPECT_EQ(only(102), errorsOf("getQuorvexCAMList"));
}

TEST_F(QuorvexCamList, FullListReplacesTheTableGivesBackItsSpaceAndRebuildsTheKeyFile) {
    // Enough rows for the emptied table to leave free pages behind.
    root_.exec(kQuorDb, "WITH RECURSIVE n(i) AS (SELECT 3 UNION ALL SELECT i + 1 FROM n WHERE i < 60) INSERT INTO "
                        "Quorvex (idQuorvex, idCliente, K_Publica) SELECT i, 'TV-' || i, hex(randomblob(400)) FROM n");
    env().set(1699963200);  // noon UTC of 2023-11-14: that date from UTC-12 to UTC+11
    // Only "cam" elements of the list are CAMs.
    EXPECT_EQ("<result>0</result><errors/><data><setQuorvexCAMListResult/></data></commandResult>",
              outcome("setQuorvexCAMList",
                      "<list><cam><serialNumber>TV-0009</serialNumber><publicKey>\n  KEY-9 \n</publicKey>"
                      "<MANUFACTURER>Maker</MANUFACTURER><ekShared>EK</ekShared><description>Lobby</description>"
                      "</cam><note>x</note><cam><serialNumber>TV-0010</serialNumber>"
                      "<registerDate>2020-01-02</registerDate></cam></list>"));
    EXPECT_EQ((Rows{{"1", "TV-0009", "KEY-9", "Maker", "2023-11-14", "EK", "Lobby", "0", "0", "<NULL>"},
                    {"2", "TV-0010", "", "", "2020-01-02", "", "", "0", "0", "<NULL>"}}),
              camRows());
    EXPECT_EQ((Rows{{"0"}}), query("PRAGMA freelist_count", kQuorDb));
    EXPECT_EQ(std::vector<std::string>{"/dorel/bin/QuorKey " + keyFile()}, callsOf("/dorel/bin/QuorKey"));
}

TEST_F(QuorvexCamList, PartialListKeepsOtherRowsAndMergesACamNamedAgainWhateverTheLetterCase) {
    root_.exec(kQuorDb, "UPDATE Quorvex SET estado = '7', Error = '1', Reintentos = '2'");
    env().set(1699963200);
    EXPECT_EQ(Errors{}, setList("<cam><serialNumber>tv-0001</serialNumber><publicKey> </publicKey>"
                                "<description>Bar</description></cam>"
                                "<cam><serialNumber>TV-0003</serialNumber><publicKey>K3</publicKey></cam>"
                                "<cam><serialNumber>TV-0003</serialNumber><publicKey>K3b</publicKey></cam>",
                                "<partialList>1</partialList>"));
    // A CAM named again keeps its row, key, date and state; the rest is the list's.
    EXPECT_EQ((Rows{{"1", "tv-0001", "PUBLIC-KEY-0001", "", "2019-04-12", "", "Bar", "0", "0", "7"},
                    {"2", "TV-0002", "", "CamMaker", "2019-04-12", "", "Room 102", "1", "2", "7"},
                    {"3", "TV-0003", "K3b", "", "2023-11-14", "", "", "0", "0", "<NULL>"}}),
              camRows());
}

TEST_F(QuorvexCamList, BadListChangesNothingAndRunsNoKeyTool) {
    const Rows before = camRows();
    const std::pair<std::string, Errors> cases[] = {
        {"<partialList>1</partialList>", {{101, "No 'list' element found"}}},
        // A full list: the emptying of the table is rolled back too.
        {"<list><cam><serialNumber>TV-7</serialNumber></cam><cam><publicKey>K</publicKey></cam></list>",
         {{101, "No 'serialNumber' element found"}}},
    };
    for (const auto& [params, errors] : cases) {
        EXPECT_EQ(errors, errorsOf("setQuorvexCAMList", params)) << params;
        EXPECT_EQ(before, camRows()) << params;
    }
    EXPECT_TRUE(callsOf("/dorel/bin/QuorKey").empty());
}

TEST_F(QuorvexCamList, KeyToolFailuresAre911) {
    EXPECT_EQ("<result>0</result><errors/><data><regenerateQuorvexScramblingKeyResult/></data></commandResult>",
              outcome("regenerateQuorvexScramblingKey", ""));
    EXPECT_EQ(std::vector<std::string>{"/dorel/bin/QuorKey -r " + keyFile()}, callsOf("/dorel/bin/QuorKey"));
    failStub("QuorKey", 3);
    EXPECT_EQ(only(911), errorsOf("regenerateQuorvexScramblingKey"));
    EXPECT_EQ(only(911), setList("<cam><serialNumber>TV-5</serialNumber></cam>"));
    EXPECT_EQ("TV-5", camRows().back()[1]);  // the list itself is in
}

}  // namespace
