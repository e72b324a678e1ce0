#include "commands/maintenance/download_firmware_upgrade.h"

#include "commands/core/result_codes.h"
#include "common/errors.h"
#include "common/fs.h"
#include "common/log.h"
#include "common/paths.h"
#include "server/download.h"

namespace dorel_remote_control {

void CmdDownloadFirmwareUpgrade::execute() {
    startResult();

    XmlNode* firmware = requiredParameter("firmware", "No 'firmware' field found.");
    if (firmware == nullptr) return;
    XmlNode* urlNode = requiredChild(firmware, "url", "No 'url' field found.");
    if (urlNode == nullptr) return;
    const std::string url = nodeText(urlNode);
    const std::string md5 = nodeText(childElement(firmware, "md5"));
    logf(7, "Downloading firmware: %s", url.c_str());

    // Only one package waits for its apply: an earlier one that was never
    // applied goes now.
    const std::string uploads = paths::rcUploadsDir();
    removeTree(uploads);
    if (makePath(uploads, 0755) != 0) logf(3, "Could not create %s", uploads.c_str());

    try {
        downloadFile(url, uploads, md5);
    } catch (const CurlError& e) {
        logf(3, "Error downloading firmware: %s", e.what());
        addError(kCouldNotDownloadFirmware, e.what());
        removeTree(uploads);
    } catch (const MD5Error& e) {
        logf(3, "Wrong MD5: %s", e.what());
        addError(kWrongMd5, e.what());
        removeTree(uploads);
    }
}

}  // namespace dorel_remote_control
