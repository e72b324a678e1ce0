// The commandResult document: what the server reads back for every command.
#include "commands/core/result_document.h"
#include "server/settings.h"
#include "support/headend_root.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

namespace dorel_remote_control {
namespace {

class ResultDocumentTest : public ::testing::Test {
protected:
    void SetUp() override { settings() = Settings(); }
};

TEST_F(ResultDocumentTest, FreshResultCarriesTheIdentityAndReportsFailure) {
    rctest::HeadendRoot root({"--hostname", "hd-7", "--serial", "SN-77", "--mac", "00:11:22:33:44:55"});
    root.setConfig("identificacion_contrato", "CT-9");
    settings().load();
    ResultDocument result;
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<commandResult>\n"
              "\t<id>hd-7</id>\n\t<mac>00:11:22:33:44:55</mac>\n\t<serialNumber>SN-77</serialNumber>\n"
              "\t<zatContractId>CT-9</zatContractId>\n"
              "\t<commandId>1</commandId>\n\t<result>1</result>\n\t<errors/>\n\t<data/>\n"
              "</commandResult>\n",
              result.print());
}

TEST_F(ResultDocumentTest, ErrorsGoOutInCodeOrderAndAreLoggedOncePerPrint) {
    rctest::LogCapture log;
    ResultDocument result;
    result.addError(702);
    result.addError(103, "bad 'port' value");
    result.addError(702, "checksum of fw.bin");  // replaces the first 702
    result.addError(100);
    const std::string text = result.print();
    EXPECT_NE(std::string::npos,
              text.find("\t<errors>\n"
                        "\t\t<error>\n\t\t\t<id>100</id>\n\t\t\t<text>Unknown Error</text>\n\t\t</error>\n"
                        "\t\t<error>\n\t\t\t<id>103</id>\n\t\t\t<text>bad &apos;port&apos; value</text>\n\t\t</error>\n"
                        "\t\t<error>\n\t\t\t<id>702</id>\n\t\t\t<text>checksum of fw.bin</text>\n\t\t</error>\n"
                        "\t</errors>\n"))
        << text;
    EXPECT_EQ(text, result.print()) << "printing again does not add the errors twice";
    EXPECT_EQ(6, log.count("Command error: ")) << log.dump();
    EXPECT_EQ(2, log.count("Command error: 103 bad 'port' value"));
}

// A written output must print exactly as the same output built as a tree,
// wherever the errors and other children of data put it.
TEST_F(ResultDocumentTest, WrittenOutputPrintsAsTheSameTree) {
    const auto writeOutput = [](ResultDocument& result) {
        XmlWriter out = ResultDocument::dataWriter();
        out.open("bigResult");
        out.element("name", "a <b> & 'c'");
        out.element("empty");
        result.setDataText(out.finish());
    };
    const auto buildOutput = [](ResultDocument& result) {
        XmlNode* output = appendElement(result.doc(), result.data(), "bigResult");
        appendElement(result.doc(), output, "name", "a <b> & 'c'");
        appendElement(result.doc(), output, "empty");
    };
    for (const bool withErrors : {false, true}) {
        SCOPED_TRACE(withErrors ? "with errors" : "without errors");
        ResultDocument written, built;
        for (ResultDocument* r : {&written, &built}) {
            r->setCommandId(12);
            if (withErrors) r->addError(102, "database <locked>");
            appendElement(r->doc(), r->data(), "first", "tree child");
        }
        writeOutput(written);
        buildOutput(built);
        EXPECT_EQ(built.print(), written.print());
        EXPECT_EQ(built.print(), written.print()) << "printing again gives the same text";
    }
}

TEST_F(ResultDocumentTest, RetriedCommandDropsItsWrittenOutput) {
    ResultDocument result;
    XmlWriter out = ResultDocument::dataWriter();
    out.element("partial", "1");
    result.setDataText(out.finish());
    result.clear();
    EXPECT_NE(std::string::npos, result.print().find("\t<data/>\n")) << result.print();
}

}  // namespace
}  // namespace dorel_remote_control
