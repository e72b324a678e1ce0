// downloadFirmwareUpgrade against the dev kit's test server and
// applyFirmwareUpgrade against the headend's stand-in upgrade scripts: what
// stays in the upload directory, what the start script is told, how its exit
// codes read, and that a hostile file name neither runs nor moves anything.
#include "support/command_server.h"

#include "commands/core/result_codes.h"

#include <dirent.h>
#include <sys/stat.h>

#include <set>

namespace rctest {
namespace {

using namespace dorel_remote_control;

const char kUploads[] = "/dorel/rc_uploads";
const char kUpgrades[] = "/dorel/shared/upgrades";
const char kPackageMd5[] = "663840473143a11ec7047ffcb444aa31";  // "package B"
const char kStartScript[] = "/dorel/script/fw_upload_start.sh";
const char kEndScript[] = "/dorel/script/fw_upload_end.sh";

class FirmwareUpgrade : public CommandServerTest {
protected:
    std::set<std::string> filesIn(const std::string& fixedDir) const {
        std::set<std::string> names;
        DIR* dir = opendir(root_.rooted(fixedDir).c_str());
        while (const dirent* entry = dir ? readdir(dir) : nullptr) {
            if (entry->d_name[0] != '.') names.insert(entry->d_name);
        }
        if (dir) closedir(dir);
        return names;
    }
    Errors download(const std::string& url, const std::string& md5 = "") {
        return errorsOf("downloadFirmwareUpgrade", "<firmware><url>" + url + "</url>" +
                                                       (md5.empty() ? "" : "<md5>" + md5 + "</md5>") + "</firmware>");
    }
    Errors apply(const std::string& name, const std::string& md5 = "") {
        return errorsOf("applyFirmwareUpgrade", "<firmware><filename>" + name + "</filename>" +
                                                    (md5.empty() ? "" : "<md5>" + md5 + "</md5>") + "</firmware>");
    }
    void upload(const std::string& name, const std::string& contents) {
        mkdir(root_.rooted(kUploads).c_str(), 0755);
        root_.writeFile(std::string(kUploads) + "/" + name, contents);
    }
    void startScriptExits(int code) { root_.writeFile("/devkit/exit/fw_upload_start.sh", std::to_string(code)); }
};

TEST_F(FirmwareUpgrade, DownloadKeepsOnlyTheLastPackageAndNoDirectoryAfterAFailure) {
    serve(R"({"files": {"/fw/a.bin": "package A", "/fw/b.bin": "package B", "/fw/": "index"}})");
    EXPECT_EQ(Errors{}, download(server().baseUrl() + "fw/a.bin"));
    EXPECT_EQ(Errors{}, download(server().baseUrl() + "fw/b.bin", kPackageMd5));
    EXPECT_EQ(std::set<std::string>{"b.bin"}, filesIn(kUploads));

    const struct {
        std::string url, md5;
        Errors expected;
    } failures[] = {
        {"fw/", "", {{kCouldNotDownloadFirmware, "Could not downloadFile"}}},
        {"fw/missing.bin", "", {{kCouldNotDownloadFirmware, "Invalid response code: 404"}}},
        {"fw/b.bin", "663840473143A11EC7047FFCB444AA31", {{kWrongMd5, "Invalid MD5"}}},
    };
    for (const auto& failure : failures) {
        EXPECT_EQ(failure.expected, download(server().baseUrl() + failure.url, failure.md5)) << failure.url;
        EXPECT_FALSE(root_.exists(kUploads)) << failure.url;
    }
    EXPECT_EQ((Errors{{kInvalidCommand, "No 'firmware' field found."}}), errorsOf("downloadFirmwareUpgrade"));
    EXPECT_EQ((Errors{{kInvalidCommand, "No 'url' field found."}}),
              errorsOf("downloadFirmwareUpgrade", "<firmware><md5>x</md5></firmware>"));
}

TEST_F(FirmwareUpgrade, AppliedPackageMovesToTheUpgradesBetweenTheTwoScripts) {
    upload("fw.bin", "package B");
    EXPECT_EQ(Errors{}, apply("fw.bin", kPackageMd5));
    EXPECT_EQ("package B", root_.readFile(std::string(kUpgrades) + "/fw.bin"));
    EXPECT_FALSE(root_.exists(kUploads));
    EXPECT_EQ((std::vector<std::string>{"/usr/bin/md5sum " + root_.rooted(kUploads) + "/fw.bin",
                                        std::string(kStartScript) + " 10", kEndScript}),
              root_.stubCalls());
}

TEST_F(FirmwareUpgrade, StartScriptIsToldTheSizeInKibPlusTen) {
    for (const auto& [bytes, kib] : {std::pair{0u, 10}, {1023u, 10}, {1024u, 11}, {1048575u, 1033}}) {
        upload("fw.bin", std::string(bytes, 'x'));
        startScriptExits(1);  // keeps the package where it is
        apply("fw.bin");
        EXPECT_EQ(std::string(kStartScript) + " " + std::to_string(kib), root_.stubCalls().back()) << bytes;
    }
}

TEST_F(FirmwareUpgrade, ExitCodesOfTheScriptsReadAsTheirResults) {
    const std::pair<int, int> startCodes[] = {{2, kUpgradeAlreadyRunning},      {3, kUpgradeCommunicationErrors},
                                              {4, kUpgradeCommunicationErrors}, {5, kUpgradeInsufficientSpace},
                                              {1, kCouldNotApplyUpgrade},       {6, kCouldNotApplyUpgrade}};
    upload("fw.bin", "package B");
    for (const auto& [exitCode, result] : startCodes) {
        startScriptExits(exitCode);
        EXPECT_EQ(only(result), apply("fw.bin")) << exitCode;
        EXPECT_TRUE(root_.exists(std::string(kUploads) + "/fw.bin")) << exitCode;
    }
    for (const std::string& call : root_.stubCalls()) EXPECT_NE(kEndScript, call);

    startScriptExits(0);
    root_.writeFile("/devkit/exit/fw_upload_end.sh", "1");
    EXPECT_EQ(only(kCouldNotApplyUpgrade), apply("fw.bin"));
    EXPECT_TRUE(root_.exists(std::string(kUpgrades) + "/fw.bin"));
}

TEST_F(FirmwareUpgrade, MissingPackageFailsOnItsMd5OrOnTheMove) {
    const std::string md5sum = "/usr/bin/md5sum " + root_.rooted(kUploads) + "/gone.bin";
    EXPECT_EQ(only(kWrongMd5), apply("gone.bin", kPackageMd5));
    EXPECT_EQ(std::vector<std::string>{md5sum}, root_.stubCalls());
    // Without an MD5 nothing notices before the move.
    EXPECT_EQ(only(kCouldNotApplyUpgrade), apply("gone.bin"));
    EXPECT_EQ((std::vector<std::string>{md5sum, std::string(kStartScript) + " 10"}), root_.stubCalls());
}

TEST_F(FirmwareUpgrade, HostileFileNamesRunAndMoveNothing) {
    upload("fw.bin", "package B");
    for (const char* name : {"", "../uploads/fw.bin", "/tmp/fw.bin", "sub/fw.bin", "..", "fw..bin"}) {
        EXPECT_EQ(only(kCouldNotApplyUpgrade), apply(name)) << name;
    }
    EXPECT_TRUE(root_.stubCalls().empty());
    EXPECT_TRUE(filesIn(kUpgrades).empty());

    // Shell syntax in a plain name is only a name: quoted wherever it goes.
    const std::string tricky[] = {"$(touch pwned)", "`touch pwned`", "a\";touch pwned;\"", "it's"};
    for (const std::string& name : tricky) {
        upload(name, "package B");
        EXPECT_EQ(Errors{}, apply(name, kPackageMd5)) << name;
        EXPECT_EQ("package B", root_.readFile(std::string(kUpgrades) + "/" + name)) << name;
    }
    EXPECT_FALSE(root_.exists("/pwned"));
    struct stat st;
    EXPECT_NE(0, stat("pwned", &st));
}

}  // namespace
}  // namespace rctest
