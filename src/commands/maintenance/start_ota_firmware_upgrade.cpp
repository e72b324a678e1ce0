#include "commands/maintenance/start_ota_firmware_upgrade.h"

#include "commands/core/result_codes.h"
#include "commands/maintenance/ota_descriptors.h"
#include "common/fs.h"
#include "common/env.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace dorel_remote_control {

namespace {

// Tag, length, transport stream id, original network id, service id, linkage
// type and OUI data length come first; the first OUI follows them.
constexpr size_t kOuiOffset = 10;
constexpr size_t kMinDescriptorBytes = kOuiOffset + 3;

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Two digits a byte. False for any character that is not a hexadecimal
// digit (signs and blanks included); the length is checked by the caller.
bool decodeHex(const std::string& hex, std::vector<unsigned char>& bytes) {
    bytes.clear();
    bytes.reserve(hex.size() / 2);
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        int high = hexDigit(hex[i]);
        int low = hexDigit(hex[i + 1]);
        if (high < 0 || low < 0) return false;
        bytes.push_back(static_cast<unsigned char>(high * 16 + low));
    }
    return true;
}

uint32_t firstOui(const std::vector<unsigned char>& descriptor) {
    return (uint32_t{descriptor[kOuiOffset]} << 16) | (uint32_t{descriptor[kOuiOffset + 1]} << 8) |
           uint32_t{descriptor[kOuiOffset + 2]};
}

// Writes the whole descriptor or nothing: a half-written file would announce
// a broken download to every receiver.
bool writeDescriptor(Env& env, const std::string& path, const std::vector<unsigned char>& bytes) {
    FilePtr file(fopen(path.c_str(), "wb"));
    if (!file) {
        env.log(3, "Could not create %s: %s", path.c_str(), strerror(errno));
        return false;
    }
    bool ok = fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
    ok = (fclose(file.release()) == 0) && ok;
    if (!ok) {
        env.log(3, "Could not write %s", path.c_str());
        remove(path.c_str());
    }
    return ok;
}

}  // namespace

void CmdStartOTAFirmwareUpgrade::execute() {
    startResult();

    if (!hasParameters()) {
        fail(kInvalidCommand);
        return;
    }
    XmlNode* typeNode = requiredParameter("type", "No 'type' field found.");
    if (typeNode == nullptr) return;
    XmlNode* linkageNode = requiredParameter("linkage", "No 'linkage' field found.");
    if (linkageNode == nullptr) return;

    const std::string linkage = nodeText(linkageNode);
    if (linkage.empty() || linkage.size() % 2 != 0 || linkage.size() / 2 < kMinDescriptorBytes) {
        fail(kInvalidOtaLinkage, "Incorrect linkage descriptor length", "Incorrect linkage descriptor length: %u digits", static_cast<unsigned>(linkage.size()));
        return;
    }
    std::vector<unsigned char> descriptor;
    if (!decodeHex(linkage, descriptor)) {
        // Same code as a bad length: either way the descriptor cannot be
        // broadcast; the text tells the operator which it was.
        fail(kInvalidOtaLinkage, "Invalid hexadecimal digit in linkage descriptor", "Linkage descriptor is not hexadecimal: %s", linkage.c_str());
        return;
    }

    const std::string type = nodeText(typeNode);
    const OtaType* ota = findOtaType(type);
    if (ota == nullptr) {
        fail(kInvalidOtaType, std::string(), "Invalid OTA type: %s", type.c_str());
        return;
    }
    if (firstOui(descriptor) != ota->oui) {
        fail(kInvalidOtaLinkage, "Invalid OUI", "Invalid OUI %06X for OTA type %s", static_cast<unsigned>(firstOui(descriptor)), ota->type);
        return;
    }

    const std::string path = otaDescriptorPath(env().paths(), *ota);
    if (FilePtr(fopen(path.c_str(), "rb"))) {
        fail(kOtaAlreadyRunning);
        return;
    }
    if (!writeDescriptor(env(), path, descriptor)) {
        fail(kCouldNotStartOta);
    }
}

}  // namespace dorel_remote_control
