// The fixed texts of the result codes, as the server expects to read them.
#include "commands/core/result_codes.h"

#include "common/code_table.h"

namespace dorel_remote_control {
namespace {

const CodeText kCodeTexts[] = {
    {kNoError, "No error"},
    {kInvalidCommand, "Invalid command"},
    {kCouldNotAccessDatabase, "Could not access database"},
    {kInvalidValue, "Invalid value"},
    {kNoConfigurationSent, "No configuration sent with setConfiguration command"},
    {kCouldNotSetConfiguration, "Could not set configuration"},
    {kCouldNotApplyNetwork, "Could not apply network configuration"},
    {kInvalidModuleInput, "Invalid module input"},
    {kInvalidModuleOutput, "Invalid module output"},
    {kCouldNotFindModule, "Could not find module"},
    {kInvalidModuleFamily, "Invalid module family/model"},
    {kInvalidAmountOfModules, "Invalid amount of modules"},
    {kCouldNotResetModule, "Could not reset module"},
    {kCouldNotResetCam, "Could not reset CAM"},
    {kInvalidDatetime, "Invalid datetime"},
    {kCouldNotDownloadFirmware, "Could not download firmware"},
    {kWrongMd5, "Wrong MD5 checksum"},
    {kCouldNotApplyUpgrade, "Could not apply FW upgrade"},
    {kUpgradeAlreadyRunning, "Could not apply FW upgrade. An upgrade is already running"},
    {kUpgradeCommunicationErrors, "Could not apply FW upgrade. Communication errors"},
    {kUpgradeInsufficientSpace, "Could not apply FW upgrade. Insufficient space"},
    {kInvalidOtaType, "Invalid OTA type"},
    {kInvalidOtaLinkage, "Invalid OTA linkage descriptor"},
    {kOtaAlreadyRunning, "OTA upgrade is already running"},
    {kCouldNotStartOta, "Could not start the OTA upgrade"},
    {kTvCamOtaNotRunning, "TV CAM OTA was not running"},
    {kInvalidUsername, "Invalid username"},
    {kInvalidPassword, "Invalid password"},
    {kErrorGeneratingCsr, "Error generating CSR"},
    {kErrorRequestingSignature, "Error requesting signature of CSR"},
    {kInvalidCrt, "Invalid CRT received"},
    {kCouldNotSaveCrt, "Could not save CRT"},
    {kErrorRegeneratingKey, "Error regenerating scrambling key"},
};

}  // namespace

const char* resultCodeText(int code) { return codeText(kCodeTexts, code, "Unknown Error"); }

}  // namespace dorel_remote_control
