#include "commands/query/command_runner.h"

#include "commands/core/result_codes.h"

#include <cstdio>
#include <filesystem>

namespace rctest {
namespace {

using namespace dorel_remote_control;

const char kSiDir[] = "/dorel/datosWeb/tablasSI";
const char kHeadendFile[] = "/dorel/datosWeb/tablasSI/wmbLinkageDescriptor_headend";
const char kCamFile[] = "/dorel/datosWeb/tablasSI/wmbLinkageDescriptor_CAM_CI";
const char kTvCamFile[] = "/dorel/datosWeb/tablasSI/wmbLinkageDescriptor_CAM_CI_PLUS";

const unsigned kHeadendOui = 0x00B4D2;
const unsigned kNdsOui = 0x3A91E7;

// A system-software-update linkage descriptor of `bytes` bytes (at least 13)
// announcing `oui`, as hexadecimal text; `extra` varies the selector bytes so
// two descriptors can be told apart.
std::string linkage(unsigned oui, size_t bytes = 16, unsigned extra = 0) {
    std::vector<unsigned> b = {0x4A, static_cast<unsigned>(bytes - 2), 0x00, 0x01, 0x00, 0x02, 0x00, 0x03, 0x09,
                               static_cast<unsigned>(bytes - 10), (oui >> 16) & 0xFF, (oui >> 8) & 0xFF, oui & 0xFF};
    while (b.size() < bytes) b.push_back((extra + b.size()) & 0xFF);
    b.resize(bytes);
    std::string hex;
    char digits[3];
    for (unsigned v : b) {
        snprintf(digits, sizeof digits, "%02X", v);
        hex += digits;
    }
    return hex;
}

std::string bytesOf(const std::string& hex) {
    std::string out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) out += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return out;
}

std::string startParams(const std::string& type, const std::string& hex) {
    return "<type>" + type + "</type><linkage>" + hex + "</linkage>";
}

class OtaUpgrade : public StoreTest {
protected:
    std::shared_ptr<Command> start(const std::string& params) {
        return run(envelope(5, "startOTAFirmwareUpgrade", params));
    }
};

TEST_F(OtaUpgrade, StartWritesTheDecodedDescriptorOfEachType) {
    struct Case {
        const char* type;
        const char* file;
        unsigned oui;
    } cases[] = {
        {"headend", kHeadendFile, kHeadendOui},
        {"ndscam", kCamFile, kNdsOui},
        {"NDSTVCAM", kTvCamFile, kNdsOui},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.type);
        const std::string hex = linkage(c.oui, 13);
        auto command = start(startParams(c.type, hex));
        EXPECT_TRUE(errorsOf(*command).empty());
        EXPECT_TRUE(command->result().succeeded());
        EXPECT_NE(nullptr, childElement(command->result().data(), "startOTAFirmwareUpgradeResult"));
        ASSERT_TRUE(root_.exists(c.file));
        EXPECT_EQ(bytesOf(hex), root_.readFile(c.file));
    }
}

TEST_F(OtaUpgrade, StartRejectsBadRequestsInOrderAndWritesNothing) {
    const std::string good = linkage(kNdsOui);
    struct Case {
        const char* what;
        std::string params;
        int code;
        std::string text;
    } cases[] = {
        {"no data", "", kInvalidCommand, "Invalid command"},
        {"no type", "<linkage>" + good + "</linkage>", kInvalidCommand, "No 'type' field found."},
        {"no linkage", "<type>ndscam</type>", kInvalidCommand, "No 'linkage' field found."},
        {"empty", startParams("ndscam", ""), kInvalidOtaLinkage, "Incorrect linkage descriptor length"},
        {"12 bytes", startParams("ndscam", linkage(kNdsOui, 13).substr(0, 24)), kInvalidOtaLinkage,
         "Incorrect linkage descriptor length"},
        {"odd digits before the type", startParams("satellite", good + "0"), kInvalidOtaLinkage,
         "Incorrect linkage descriptor length"},
        {"not hexadecimal", startParams("ndscam", "4A" + good.substr(2, 20) + "zz" + good.substr(24)),
         kInvalidOtaLinkage, "Invalid hexadecimal digit in linkage descriptor"},
        {"signs and blanks", startParams("ndscam", " +" + good.substr(2)), kInvalidOtaLinkage,
         "Invalid hexadecimal digit in linkage descriptor"},
        {"unknown type", startParams("satellite", good), kInvalidOtaType, "Invalid OTA type"},
        {"type with trailing text", startParams("ndscamX", good), kInvalidOtaType, "Invalid OTA type"},
        {"OUI of another type", startParams("headend", good), kInvalidOtaLinkage, "Invalid OUI"},
        {"OUI of another maker", startParams("ndstvcam", linkage(kHeadendOui)), kInvalidOtaLinkage, "Invalid OUI"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto command = start(c.params);
        EXPECT_EQ((std::map<int, std::string>{{c.code, c.text}}), errorsOf(*command));
        EXPECT_FALSE(command->result().succeeded());
    }
    EXPECT_FALSE(root_.exists(kHeadendFile));
    EXPECT_FALSE(root_.exists(kCamFile));
    EXPECT_FALSE(root_.exists(kTvCamFile));
}

TEST_F(OtaUpgrade, ASecondStartOfTheSameTypeKeepsTheFirstDescriptor) {
    const std::string first = linkage(kNdsOui, 20, 1);
    const std::string second = linkage(kNdsOui, 20, 2);
    ASSERT_TRUE(errorsOf(*start(startParams("ndstvcam", first))).empty());

    auto again = start(startParams("NdsTvCam", second));
    EXPECT_EQ((std::map<int, std::string>{{kOtaAlreadyRunning, "OTA upgrade is already running"}}), errorsOf(*again));
    EXPECT_EQ(bytesOf(first), root_.readFile(kTvCamFile));

    // Another type is another download.
    EXPECT_TRUE(errorsOf(*start(startParams("ndscam", second))).empty());
}

TEST_F(OtaUpgrade, StartFailsWhenTheDescriptorCannotBeWritten) {
    std::filesystem::remove_all(root_.rooted(kSiDir));
    auto command = start(startParams("headend", linkage(kHeadendOui)));
    EXPECT_EQ((std::map<int, std::string>{{kCouldNotStartOta, "Could not start the OTA upgrade"}}), errorsOf(*command));
}

TEST_F(OtaUpgrade, StopRemovesTheTvCamDescriptorOnlyWhileItRuns) {
    auto notRunning = run(envelope(6, "stopTVCAMOTAFirmwareUpgrade"));
    EXPECT_EQ((std::map<int, std::string>{{kTvCamOtaNotRunning, "TV CAM OTA was not running"}}), errorsOf(*notRunning));
    EXPECT_FALSE(notRunning->result().succeeded());

    ASSERT_TRUE(errorsOf(*start(startParams("ndstvcam", linkage(kNdsOui)))).empty());
    ASSERT_TRUE(errorsOf(*start(startParams("ndscam", linkage(kNdsOui)))).empty());
    auto stop = run(envelope(6, "stopTVCAMOTAFirmwareUpgrade"));
    EXPECT_TRUE(errorsOf(*stop).empty());
    EXPECT_TRUE(stop->result().succeeded());
    EXPECT_NE(nullptr, childElement(stop->result().data(), "stopTVCAMOTAFirmwareUpgradeResult"));
    EXPECT_FALSE(root_.exists(kTvCamFile));
    EXPECT_TRUE(root_.exists(kCamFile));

    // Stopped, it can be started again.
    EXPECT_TRUE(errorsOf(*start(startParams("ndstvcam", linkage(kNdsOui)))).empty());
}

}  // namespace
}  // namespace rctest
