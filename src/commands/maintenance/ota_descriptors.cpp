#include "commands/maintenance/ota_descriptors.h"

#include "common/paths.h"

#include <cstring>
#include <strings.h>

namespace dorel_remote_control {

namespace {

const OtaType kOtaTypes[] = {
    {"headend", "wmbLinkageDescriptor_headend", 0x00B4D2},
    {"ndscam", "wmbLinkageDescriptor_CAM_CI", 0x3A91E7},
    {"ndstvcam", "wmbLinkageDescriptor_CAM_CI_PLUS", 0x3A91E7},
};

}  // namespace

const OtaType* findOtaType(const std::string& type) {
    for (const OtaType& ota : kOtaTypes) {
        if (type.size() == strlen(ota.type) && strcasecmp(ota.type, type.c_str()) == 0) return &ota;
    }
    return nullptr;
}

const OtaType& tvCamOtaType() { return kOtaTypes[2]; }

std::string otaDescriptorPath(const Paths& paths, const OtaType& ota) { return paths.tablasSiDir() + "/" + ota.fileName; }

}  // namespace dorel_remote_control
