#include "commands/maintenance/download_firmware_upgrade.h"

#include "commands/core/result_codes.h"
#include "common/errors.h"
#include "common/fs.h"
#include "common/env.h"
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
    env().log(7, "Downloading firmware: %s", url.c_str());

    // Only one package waits for its apply: an earlier one that was never
    // applied goes now.
    const std::string uploads = env().paths().rcUploadsDir();
    removeTree(uploads);
    if (makePath(uploads, 0755) != 0) env().log(3, "Could not create %s", uploads.c_str());

    try {
        downloadFile(env(), url, uploads, md5);
    } catch (const CurlError& e) {
        fail(kCouldNotDownloadFirmware, e.what(), "Error downloading firmware: %s", e.what());
        removeTree(uploads);
    } catch (const MD5Error& e) {
        fail(kWrongMd5, e.what(), "Wrong MD5: %s", e.what());
        removeTree(uploads);
    }
}

}  // namespace dorel_remote_control
