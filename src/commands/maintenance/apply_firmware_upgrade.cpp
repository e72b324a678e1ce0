#include "commands/maintenance/apply_firmware_upgrade.h"

#include "commands/core/result_codes.h"
#include "common/fs.h"
#include "common/env.h"
#include "server/download.h"

#include <cstdio>

namespace dorel_remote_control {

namespace {

// Room the start script is asked for beyond the package itself, in KiB.
constexpr long long kMarginKiB = 10;

// What the start script's exit code means; any other code is 711.
struct StartFailure {
    int exitCode;
    int resultCode;
};
const StartFailure kStartFailures[] = {
    {2, kUpgradeAlreadyRunning},
    {3, kUpgradeCommunicationErrors},
    {4, kUpgradeCommunicationErrors},
    {5, kUpgradeInsufficientSpace},
};

int startFailureCode(int exitCode) {
    for (const StartFailure& failure : kStartFailures) {
        if (failure.exitCode == exitCode) return failure.resultCode;
    }
    return kCouldNotApplyUpgrade;
}

// The server names a file inside the upload directory; anything that could
// lead out of it, or that no file can be called, is refused.
bool isPlainFileName(const std::string& name) {
    if (name.empty() || name.find('/') != std::string::npos || name.find("..") != std::string::npos) return false;
    for (unsigned char c : name) {
        if (c < 0x20 || c == 0x7f) return false;
    }
    return name != ".";
}

// The package's length in bytes; 0 when it cannot be read.
long long packageBytes(const std::string& path) {
    FilePtr package(std::fopen(path.c_str(), "rb"));
    if (!package || fseeko(package.get(), 0, SEEK_END) != 0) return 0;
    const off_t end = ftello(package.get());
    return end > 0 ? static_cast<long long>(end) : 0;
}

}  // namespace

void CmdApplyFirmwareUpgrade::execute() {
    startResult();

    XmlNode* firmware = requiredParameter("firmware", "No 'firmware' field found.");
    if (firmware == nullptr) return;
    XmlNode* nameNode = requiredChild(firmware, "filename", "No 'filename' field found.");
    if (nameNode == nullptr) return;
    const std::string name = nodeText(nameNode);
    if (!isPlainFileName(name)) {
        fail(kCouldNotApplyUpgrade, std::string(), "applyFirmwareUpgrade: refused file name '%s'", name.c_str());
        return;
    }

    const Paths& paths = env().paths();
    const std::string package = paths.rcUploadsDir() + "/" + name;
    if (!md5Matches(env(), package, nodeText(childElement(firmware, "md5")))) {
        fail(kWrongMd5);
        return;
    }

    const long long kib = packageBytes(package) / 1024 + kMarginKiB;
    const int started = env().run({Program::kFwUploadStart, {std::to_string(kib)}}).exitCode;
    if (started != 0) {
        fail(startFailureCode(started), std::string(), "applyFirmwareUpgrade: fw_upload_start.sh exited with %d",
             started);
        return;
    }

    const std::string target = paths.sharedUpgradesDir() + "/" + name;
    if (std::rename(package.c_str(), target.c_str()) != 0) {
        fail(kCouldNotApplyUpgrade, std::string(), "applyFirmwareUpgrade: could not move %s to %s", package.c_str(),
             target.c_str());
        return;
    }
    removeTree(paths.rcUploadsDir());

    const int ended = env().run({Program::kFwUploadEnd}).exitCode;
    if (ended != 0) {
        fail(kCouldNotApplyUpgrade, std::string(), "applyFirmwareUpgrade: fw_upload_end.sh exited with %d", ended);
    }
}

}  // namespace dorel_remote_control
