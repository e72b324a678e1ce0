// The result codes and the commandResult document: what the server reads back
// for every command, fresh or reloaded from the store after a restart.
#include "commands/core/result_codes.h"
#include "commands/core/result_document.h"
#include "server/settings.h"
#include "support/headend_root.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

namespace dorel_remote_control {
namespace {

const std::string kDeclaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";

TEST(ResultCodes, KnownCodesHaveTheirTextsAndOthersAreUnknown) {
    EXPECT_STREQ("No error", resultCodeText(kNoError));
    EXPECT_STREQ("Could not access database", resultCodeText(102));
    EXPECT_STREQ("Invalid module family/model", resultCodeText(502));
    EXPECT_STREQ("Could not apply FW upgrade. Insufficient space", resultCodeText(714));
    EXPECT_STREQ("Error regenerating scrambling key", resultCodeText(911));
    for (int code : {100, -1, 1, 104, 999, 100000}) {
        EXPECT_STREQ("Unknown Error", resultCodeText(code)) << code;
    }
}

class ResultDocumentTest : public ::testing::Test {
protected:
    void SetUp() override { settings() = Settings(); }
    void TearDown() override { settings() = Settings(); }
};

TEST_F(ResultDocumentTest, FreshResultReportsFailureUntilTheCommandSaysOtherwise) {
    ResultDocument result;
    EXPECT_FALSE(result.markSet());
    EXPECT_FALSE(result.succeeded());
    EXPECT_EQ(kDeclaration +
                  "<commandResult>\n"
                  "\t<id/>\n\t<mac/>\n\t<serialNumber/>\n\t<zatContractId/>\n"
                  "\t<commandId>1</commandId>\n"
                  "\t<result>1</result>\n"
                  "\t<errors/>\n"
                  "\t<data/>\n"
                  "</commandResult>\n",
              result.print());
}

TEST_F(ResultDocumentTest, IdentityComesFromTheSettings) {
    rctest::HeadendRoot root({"--hostname", "hd-7", "--serial", "SN-77", "--mac", "00:11:22:33:44:55"});
    root.setConfig("identificacion_contrato", "CT-9");
    settings().load();

    ResultDocument result;
    result.setCommandId(4711);
    const std::string text = result.print();
    EXPECT_NE(std::string::npos,
              text.find("<commandResult>\n"
                        "\t<id>hd-7</id>\n"
                        "\t<mac>00:11:22:33:44:55</mac>\n"
                        "\t<serialNumber>SN-77</serialNumber>\n"
                        "\t<zatContractId>CT-9</zatContractId>\n"
                        "\t<commandId>4711</commandId>\n"))
        << text;
}

TEST_F(ResultDocumentTest, ErrorsGoOutInCodeOrderAndAreLogged) {
    rctest::LogCapture log;
    ResultDocument result;
    result.addError(702);
    result.addError(103, "bad 'port' value");
    result.addError(102);
    result.addError(702, "checksum of fw.bin");  // replaces the first 702
    result.addError(100);

    EXPECT_TRUE(result.hasError(103));
    EXPECT_FALSE(result.hasError(0));
    const std::string text = result.print();
    EXPECT_NE(std::string::npos,
              text.find("\t<errors>\n"
                        "\t\t<error>\n\t\t\t<id>100</id>\n\t\t\t<text>Unknown Error</text>\n\t\t</error>\n"
                        "\t\t<error>\n\t\t\t<id>102</id>\n\t\t\t<text>Could not access database</text>\n\t\t</error>\n"
                        "\t\t<error>\n\t\t\t<id>103</id>\n\t\t\t<text>bad &apos;port&apos; value</text>\n\t\t</error>\n"
                        "\t\t<error>\n\t\t\t<id>702</id>\n\t\t\t<text>checksum of fw.bin</text>\n\t\t</error>\n"
                        "\t</errors>\n"))
        << text;

    std::vector<std::string> logged;
    for (const rctest::LogLine& line : log.lines()) {
        if (line.text.rfind("Command error: ", 0) == 0) {
            EXPECT_EQ(3, line.priority);
            logged.push_back(line.text);
        }
    }
    EXPECT_EQ((std::vector<std::string>{"Command error: 100 Unknown Error",
                                        "Command error: 102 Could not access database",
                                        "Command error: 103 bad 'port' value",
                                        "Command error: 702 checksum of fw.bin"}),
              logged);

    // Printing twice does not write the errors twice.
    EXPECT_EQ(text, result.print());
}

TEST_F(ResultDocumentTest, ClearKeepsOnlyTheCommandId) {
    ResultDocument result;
    const std::string fresh = result.print();
    result.setCommandId(12);
    result.addError(551);
    result.setCompletionMark(true);
    appendElement(result.doc(), result.data(), "resetModulesResult", "partial");
    ASSERT_TRUE(result.succeeded());

    result.clear();
    EXPECT_FALSE(result.hasErrors());
    EXPECT_FALSE(result.markSet());
    EXPECT_FALSE(result.succeeded());
    std::string expected = fresh;
    expected.replace(expected.find("<commandId>1<"), 13, "<commandId>12<");
    EXPECT_EQ(expected, result.print());
}

TEST_F(ResultDocumentTest, ReloadedResultPrintsToTheStoredText) {
    ResultDocument original;
    original.setCommandId(31);
    original.addError(402, "output 3 of module 2");
    original.addError(103);
    original.setCompletionMark(false);
    XmlNode* out = appendElement(original.doc(), original.data(), "getConfigurationResult");
    appendElement(original.doc(), out, "name", "   ");            // only blanks
    appendElement(original.doc(), out, "provider", " A & B <C> ");
    appendElement(original.doc(), out, "empty");
    appendElement(original.doc(), out, "lines", "one\ntwo\r\n");
    const std::string stored = original.print();

    rctest::LogCapture log;
    ResultDocument reloaded;
    reloaded.loadPrinted(stored);
    EXPECT_EQ(stored, reloaded.print());
    EXPECT_EQ(stored, reloaded.print());
    EXPECT_TRUE(reloaded.hasError(402));
    EXPECT_TRUE(reloaded.hasError(103));
    EXPECT_TRUE(reloaded.markSet());
    EXPECT_FALSE(reloaded.succeeded());
    EXPECT_EQ(4, log.count("Command error: ")) << log.dump();  // each error on every print
    EXPECT_EQ(2, log.count("Command error: 402 output 3 of module 2"));

    // A change after reloading shows in the print.
    reloaded.addError(101);
    const std::string changed = reloaded.print();
    EXPECT_NE(stored, changed);
    EXPECT_NE(std::string::npos, changed.find("<id>101</id>"));
    EXPECT_LT(changed.find("<id>101</id>"), changed.find("<id>103</id>"));
    EXPECT_NE(std::string::npos, changed.find("<provider> A &amp; B &lt;C&gt; </provider>"));
}

TEST_F(ResultDocumentTest, ReloadingBadTextThrowsAndKeepsTheResult) {
    ResultDocument result;
    result.setCommandId(8);
    result.addError(601);
    const std::string before = result.print();

    for (const char* bad : {"<commandResult><data></commandResult>", "not xml at all <", "<other/>", ""}) {
        EXPECT_THROW(result.loadPrinted(bad), rapidxml::parse_error) << bad;
        EXPECT_EQ(before, result.print()) << bad;
        EXPECT_TRUE(result.hasError(601));
    }
}

}  // namespace
}  // namespace dorel_remote_control
