// startOTAFirmwareUpgrade and stopTVCAMOTAFirmwareUpgrade: the linkage
// descriptor files a simulated headend's SI generator picks up.
#include "support/command_test.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace rctest {
namespace {

using namespace dorel_remote_control;

const char kHeadendFile[] = "/dorel/datosWeb/tablasSI/wmbLinkageDescriptor_headend";
const char kCamFile[] = "/dorel/datosWeb/tablasSI/wmbLinkageDescriptor_CAM_CI";
const char kTvCamFile[] = "/dorel/datosWeb/tablasSI/wmbLinkageDescriptor_CAM_CI_PLUS";
const unsigned kHeadendOui = 0x00B4D2;
const unsigned kNdsOui = 0x3A91E7;

// A system-software-update linkage descriptor of `bytes` bytes (at least 13)
// announcing `oui`, as hexadecimal text; `fill` tells two of them apart.
std::string linkage(unsigned oui, unsigned bytes = 16, unsigned fill = 0) {
    char hex[32];
    std::string out(hex, snprintf(hex, sizeof hex, "4A%02X00010002000309%02X%06X", bytes - 2, bytes - 10, oui));
    for (unsigned i = 13; i < bytes; ++i) out.append(hex, snprintf(hex, sizeof hex, "%02X", (fill + i) & 0xFF));
    return out;
}

std::string bytesOf(const std::string& hex) {
    std::string out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) out += char(std::stoi(hex.substr(i, 2), nullptr, 16));
    return out;
}

class OtaUpgrade : public CommandTest {
protected:
    Errors start(const std::string& type, const std::string& hex) {
        const std::string params = "<type>" + type + "</type><linkage>" + hex + "</linkage>";
        return errorsOf("startOTAFirmwareUpgrade", params);
    }
    Errors stop() { return errorsOf("stopTVCAMOTAFirmwareUpgrade"); }
};

TEST_F(OtaUpgrade, StartRejectsBadRequestsInOrderAndWritesNothing) {
    const std::string good = linkage(kNdsOui);
    const Errors length = {{kInvalidOtaLinkage, "Incorrect linkage descriptor length"}};
    EXPECT_EQ(length, start("ndscam", linkage(kNdsOui, 13).substr(0, 24)));  // 12 bytes
    EXPECT_EQ(length, start("satellite", good + "0"));  // odd digits, before the type is looked at
    EXPECT_EQ((Errors{{kInvalidOtaLinkage, "Invalid hexadecimal digit in linkage descriptor"}}),
              start("ndscam", good.substr(0, 20) + "0z" + good.substr(22)));
    EXPECT_EQ((Errors{{kInvalidOtaType, "Invalid OTA type"}}), start("satellite", good));
    EXPECT_EQ(only(kInvalidCommand), errorsOf("startOTAFirmwareUpgrade"));
    EXPECT_EQ((Errors{{kInvalidOtaLinkage, "Invalid OUI"}}), start("headend", good));
    for (const char* file : {kHeadendFile, kCamFile, kTvCamFile}) EXPECT_FALSE(root_.exists(file)) << file;
}

TEST_F(OtaUpgrade, EachTypeWritesItsDecodedDescriptorOnceUntilStopped) {
    for (const auto& [type, file] :
         {std::pair{"headend", kHeadendFile}, {"NDSCAM", kCamFile}, {"NdsTvCam", kTvCamFile}}) {
        const unsigned oui = file == kHeadendFile ? kHeadendOui : kNdsOui;
        std::string hex = linkage(oui, 16, 0xF2);   // ends in FF0001
        if (file == kTvCamFile) std::transform(hex.begin(), hex.end(), hex.begin(), ::tolower);
        EXPECT_EQ(Errors{}, start(type, hex)) << type;
        EXPECT_EQ((Errors{{kOtaAlreadyRunning, "OTA upgrade is already running"}}), start(type, linkage(oui, 20, 2)));
        EXPECT_EQ(bytesOf(hex), root_.readFile(file)) << type;
    }
    EXPECT_EQ(Errors{}, stop());
    EXPECT_FALSE(root_.exists(kTvCamFile));
    EXPECT_TRUE(root_.exists(kCamFile));
    EXPECT_EQ(Errors{}, start("ndstvcam", linkage(kNdsOui))) << "stopped, it can start again";
}

}  // namespace
}  // namespace rctest
