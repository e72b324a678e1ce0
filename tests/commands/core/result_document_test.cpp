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

}  // namespace
}  // namespace dorel_remote_control
