// The codes the headend's tables store for its settings and the words the
// configuration documents use for them ("6 MHz" is stored as 0 on a tuner).
// getConfiguration writes a stored code as its word and setConfiguration
// reads the word back into the code through the same tables, so the two can
// never disagree.
#pragma once

#include "common/code_table.h"

namespace dorel_remote_control {

extern const CodeText kPolarityCodes[2];                  // vertical, horizontal
extern const CodeText kBandCodes[2];                      // low, high
extern const CodeText kModeOfdmCodes[2];                  // 2K, 8K
// The two bandwidth tables run in opposite directions: that is how the
// modulator and the tuner tables store them.
extern const CodeText kOutputBandwidthCodes[3];           // 8, 7, 6 MHz
extern const CodeText kInputBandwidthCodes[3];            // 6, 7, 8 MHz
extern const CodeText kGuardIntervalCodes[4];             // 1/32 .. 1/4
extern const CodeText kCableConstellationCodes[5];        // 16 .. 256 QAM
extern const CodeText kTerrestrialConstellationCodes[3];  // QPSK, 16 QAM, 64 QAM
extern const CodeText kCodeRateCodes[5];                  // 1/2 .. 7/8
extern const CodeText kFormatIqCodes[2];                  // Normal, Reversed
extern const CodeText kScramblingModeCodes[3];            // even, odd, toggle
extern const CodeText kHierarchyCodes[2];                 // High Priority, Low Priority
extern const CodeText kPlsModeCodes[3];                   // auto, gold, root

}  // namespace dorel_remote_control
