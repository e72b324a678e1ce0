// The result codes a command reports to the server, with their fixed texts.
#pragma once

namespace dorel_remote_control {

enum ResultCode : int {
    kNoError = 0,
    kInvalidCommand = 101,
    kCouldNotAccessDatabase = 102,
    kInvalidValue = 103,
    kNoConfigurationSent = 201,
    kCouldNotSetConfiguration = 202,
    kCouldNotApplyNetwork = 203,
    kInvalidModuleInput = 401,
    kInvalidModuleOutput = 402,
    kCouldNotFindModule = 501,
    kInvalidModuleFamily = 502,
    kInvalidAmountOfModules = 503,
    kCouldNotResetModule = 551,
    kCouldNotResetCam = 552,
    kInvalidDatetime = 601,
    kCouldNotDownloadFirmware = 701,
    kWrongMd5 = 702,
    kCouldNotApplyUpgrade = 711,
    kUpgradeAlreadyRunning = 712,
    kUpgradeCommunicationErrors = 713,
    kUpgradeInsufficientSpace = 714,
    kInvalidOtaType = 801,
    kInvalidOtaLinkage = 802,
    kOtaAlreadyRunning = 803,
    kCouldNotStartOta = 804,
    kTvCamOtaNotRunning = 811,
    kInvalidUsername = 851,
    kInvalidPassword = 852,
    kErrorGeneratingCsr = 901,
    kErrorRequestingSignature = 902,
    kInvalidCrt = 903,
    kCouldNotSaveCrt = 904,
    kErrorRegeneratingKey = 911,
};

// The text of a code; "Unknown Error" for a code outside the table.
const char* resultCodeText(int code);

}  // namespace dorel_remote_control
