#include "common/headend_codes.h"

namespace dorel_remote_control {

const CodeText kPolarityCodes[2] = {{0, "vertical"}, {1, "horizontal"}};
const CodeText kBandCodes[2] = {{0, "low"}, {1, "high"}};
const CodeText kModeOfdmCodes[2] = {{0, "2K"}, {1, "8K"}};
const CodeText kOutputBandwidthCodes[3] = {{0, "8 MHz"}, {1, "7 MHz"}, {2, "6 MHz"}};
const CodeText kInputBandwidthCodes[3] = {{0, "6 MHz"}, {1, "7 MHz"}, {2, "8 MHz"}};
const CodeText kGuardIntervalCodes[4] = {{0, "1/32"}, {1, "1/16"}, {2, "1/8"}, {3, "1/4"}};
const CodeText kCableConstellationCodes[5] = {
    {0, "16 QAM"}, {1, "32 QAM"}, {2, "64 QAM"}, {3, "128 QAM"}, {4, "256 QAM"}};
const CodeText kTerrestrialConstellationCodes[3] = {{0, "QPSK"}, {1, "16 QAM"}, {2, "64 QAM"}};
const CodeText kCodeRateCodes[5] = {{0, "1/2"}, {1, "2/3"}, {2, "3/4"}, {3, "5/6"}, {4, "7/8"}};
const CodeText kFormatIqCodes[2] = {{0, "Normal"}, {1, "Reversed"}};
const CodeText kScramblingModeCodes[3] = {{0, "even"}, {1, "odd"}, {2, "toggle"}};
const CodeText kHierarchyCodes[2] = {{0, "High Priority"}, {1, "Low Priority"}};
const CodeText kPlsModeCodes[3] = {{0, "auto"}, {1, "gold"}, {2, "root"}};

}  // namespace dorel_remote_control
