// The OTA downloads the headend can announce: one linkage-descriptor file per
// type in the SI tables directory, picked up by the SI insertion software. A
// file's presence is what "running" means for its type.
#pragma once

#include <cstdint>
#include <string>

namespace dorel_remote_control {

class Paths;

struct OtaType {
    const char* type;       // as the server names it (letter case ignored)
    const char* fileName;   // in the SI tables directory
    uint32_t oui;           // the only OUI the descriptor may announce
};

// The entry whose type equals `type` ignoring case, or null.
const OtaType* findOtaType(const std::string& type);

// The TV CAM (CI Plus) download, the one the server can stop.
const OtaType& tvCamOtaType();

// Full path of the type's descriptor file.
std::string otaDescriptorPath(const Paths& paths, const OtaType& ota);

}  // namespace dorel_remote_control
