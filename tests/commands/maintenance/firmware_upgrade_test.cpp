// downloadFirmwareUpgrade against the dev kit's test server and
// applyFirmwareUpgrade against the headend's stand-in upgrade scripts: what
// stays in the upload directory, what the start script is told, how its exit
// codes read, and that a name that is not a plain file name runs and moves
// nothing.
#include "support/command_test.h"

namespace rctest {
namespace {

using namespace dorel_remote_control;

const char kUploads[] = "/dorel/rc_uploads";
const char kUpgrades[] = "/dorel/shared/upgrades";
const char kPackageMd5[] = "663840473143a11ec7047ffcb444aa31";  // "package B"
const char kScripts[] = "/dorel/script/fw_upload_";
const char kStartScript[] = "/dorel/script/fw_upload_start.sh";
const char kEndScript[] = "/dorel/script/fw_upload_end.sh";

class FirmwareUpgrade : public CommandTest {
protected:
    FirmwareUpgrade() : CommandTest({}) {}   // with certificates, for the test server
    Errors firmware(const char* command, const std::string& source, const std::string& md5) {
        return errorsOf(command, "<firmware>" + source + (md5.empty() ? "" : "<md5>" + md5 + "</md5>") + "</firmware>");
    }
    Errors download(const std::string& url, const std::string& md5 = "") {
        return firmware("downloadFirmwareUpgrade", "<url>" + server().baseUrl() + url + "</url>", md5);
    }
    Errors apply(const std::string& name, const std::string& md5 = "") {
        return firmware("applyFirmwareUpgrade", "<filename>" + name + "</filename>", md5);
    }
};

TEST_F(FirmwareUpgrade, DownloadKeepsOnlyTheLastPackageAndNoDirectoryAfterAFailure) {
    serve(R"({"files": {"/fw/a.bin": "package A", "/fw/b.bin": "package B"}})");
    EXPECT_EQ(Errors{}, download("fw/a.bin"));
    EXPECT_EQ(Errors{}, download("fw/b.bin", kPackageMd5));
    EXPECT_TRUE(root_.exists(std::string(kUploads) + "/b.bin"));
    EXPECT_FALSE(root_.exists(std::string(kUploads) + "/a.bin"));

    EXPECT_EQ((Errors{{kCouldNotDownloadFirmware, "Invalid response code: 404"}}), download("fw/missing.bin"));
    EXPECT_FALSE(root_.exists(kUploads));
    EXPECT_EQ((Errors{{kWrongMd5, "Invalid MD5"}}), download("fw/b.bin", "663840473143A11EC7047FFCB444AA31"));
    EXPECT_FALSE(root_.exists(kUploads));
}

// The start script is told the package's size in KiB plus ten; what its exit
// code means, the package staying where it is, and a failed move or end script.
TEST_F(FirmwareUpgrade, StartScriptIsToldTheSizeAndItsExitCodesReadAsResults) {
    const struct {
        unsigned bytes;
        int kib, exitCode, result;
    } cases[] = {{0, 10, 2, kUpgradeAlreadyRunning},       {1023, 10, 3, kUpgradeCommunicationErrors},
                 {1024, 11, 4, kUpgradeCommunicationErrors}, {1048575, 1033, 5, kUpgradeInsufficientSpace},
                 {1, 10, 1, kCouldNotApplyUpgrade},          {1, 10, 6, kCouldNotApplyUpgrade}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.exitCode);
        root_.writeFile(std::string(kUploads) + "/fw.bin", std::string(c.bytes, 'x'));
        failStub("fw_upload_start.sh", c.exitCode);
        EXPECT_EQ(only(c.result), apply("fw.bin"));
        EXPECT_EQ(std::string(kStartScript) + " " + std::to_string(c.kib), callsOf(kScripts).back());
        EXPECT_TRUE(root_.exists(std::string(kUploads) + "/fw.bin"));
    }
    failStub("fw_upload_start.sh", 0);
    // A missing package: without an MD5 to check nothing notices before the move.
    EXPECT_EQ(only(kCouldNotApplyUpgrade), apply("gone.bin"));
    EXPECT_EQ(std::string(kStartScript) + " 10", callsOf(kScripts).back());
    failStub("fw_upload_end.sh", 1);
    EXPECT_EQ(only(kCouldNotApplyUpgrade), apply("fw.bin"));
    EXPECT_TRUE(root_.exists(std::string(kUpgrades) + "/fw.bin"));
}

TEST_F(FirmwareUpgrade, OnlyAPlainFileNameIsAppliedAndMovedToTheUpgradesBetweenTheTwoScripts) {
    root_.writeFile(std::string(kUploads) + "/fw 1.bin", "package B");
    for (const char* name : {"", "../uploads/fw.bin", "/tmp/fw.bin", "sub/fw.bin", "..", ".", "fw..bin", "fw\n.bin"}) {
        EXPECT_EQ(only(kCouldNotApplyUpgrade), apply(name)) << name;
    }
    EXPECT_EQ(only(kWrongMd5), apply("gone.bin", kPackageMd5)) << "a missing package fails on its MD5";
    EXPECT_TRUE(callsOf(kScripts).empty());
    EXPECT_FALSE(root_.exists(std::string(kUpgrades) + "/fw 1.bin"));

    EXPECT_EQ(Errors{}, apply("fw 1.bin", kPackageMd5));
    EXPECT_EQ("package B", root_.readFile(std::string(kUpgrades) + "/fw 1.bin"));
    EXPECT_FALSE(root_.exists(kUploads));
    EXPECT_EQ((std::vector<std::string>{std::string(kStartScript) + " 10", kEndScript}), callsOf(kScripts));
}

}  // namespace
}  // namespace rctest
