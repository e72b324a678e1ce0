#include "commands/maintenance/apply_firmware_upgrade.h"

#include "commands/core/result_codes.h"
#include "common/fs.h"
#include "common/log.h"
#include "common/paths.h"
#include "common/shell.h"
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
        logf(3, "applyFirmwareUpgrade: refused file name '%s'", name.c_str());
        addError(kCouldNotApplyUpgrade);
        return;
    }

    const std::string package = paths::rcUploadsDir() + "/" + name;
    if (!md5Matches(package, nodeText(childElement(firmware, "md5")))) {
        addError(kWrongMd5);
        return;
    }

    const long long kib = packageBytes(package) / 1024 + kMarginKiB;
    const int started = runShell(paths::fwUploadStart() + " " + std::to_string(kib));
    if (started != 0) {
        logf(3, "applyFirmwareUpgrade: %s exited with %d", paths::fwUploadStart().c_str(), started);
        addError(startFailureCode(started));
        return;
    }

    const std::string target = paths::sharedUpgradesDir() + "/" + name;
    if (std::rename(package.c_str(), target.c_str()) != 0) {
        logf(3, "applyFirmwareUpgrade: could not move %s to %s", package.c_str(), target.c_str());
        addError(kCouldNotApplyUpgrade);
        return;
    }
    removeTree(paths::rcUploadsDir());

    const int ended = runShell(paths::fwUploadEnd());
    if (ended != 0) {
        logf(3, "applyFirmwareUpgrade: %s exited with %d", paths::fwUploadEnd().c_str(), ended);
        addError(kCouldNotApplyUpgrade);
    }
}

}  // namespace dorel_remote_control
