#include "commands/query/configuration_codes.h"

#include "common/code_table.h"
#include "common/headend_codes.h"
#include "common/numbers.h"

namespace dorel_remote_control {

namespace {

const CodeText kCardStatus[] = {{1, "OK"}, {2, "No SmartCard"}, {3, "Mute SmartCard"}, {4, "Not Supported"}};
const CodeText kSatelliteSignal[] = {{0, "Bad"}, {1, "Marginal"}, {2, "Good"}};
const CodeText kCableTerrestrialSignal[] = {{0, "Bad"}, {1, "Marginal"}, {2, "Marginal"}};

// The stored codes are decimal texts; like the headend's other readers, an
// unreadable text counts as 0.
int code(const std::string& stored) { return atoi32(stored.c_str()); }

template <size_t N>
std::string coded(const CodeText (&table)[N], const std::string& stored, const char* fallback = "") {
    return codeText(table, code(stored), fallback);
}

// The stream or PLP id that lets the tuner choose.
constexpr int kAutoId = -2;

}  // namespace

std::string polarityText(const std::string& stored) { return coded(kPolarityCodes, stored); }
std::string bandText(const std::string& stored) { return coded(kBandCodes, stored); }
std::string activeText(const std::string& stored) { return code(stored) < 1 ? "0" : "1"; }
std::string modeOfdmText(const std::string& stored) { return coded(kModeOfdmCodes, stored); }
std::string outputBandwidthText(const std::string& stored) { return coded(kOutputBandwidthCodes, stored); }
std::string inputBandwidthText(const std::string& stored) { return coded(kInputBandwidthCodes, stored); }
std::string guardIntervalText(const std::string& stored) { return coded(kGuardIntervalCodes, stored); }
std::string cableConstellationText(const std::string& stored) { return coded(kCableConstellationCodes, stored); }
std::string terrestrialConstellationText(const std::string& stored) { return coded(kTerrestrialConstellationCodes, stored); }
std::string codeRateText(const std::string& stored) { return coded(kCodeRateCodes, stored); }
std::string formatIqText(const std::string& stored) { return coded(kFormatIqCodes, stored); }
std::string scramblingModeText(const std::string& stored) { return coded(kScramblingModeCodes, stored); }
std::string hierarchyText(const std::string& stored) { return coded(kHierarchyCodes, stored); }
std::string plsModeText(const std::string& stored) { return coded(kPlsModeCodes, stored, "auto"); }
std::string cardStatusText(const std::string& stored) { return coded(kCardStatus, stored, "No API"); }

std::string autoOrNumberText(const std::string& stored) {
    const int value = code(stored);
    return value == kAutoId ? "auto" : std::to_string(value);
}

std::string cardRightsText(const std::string& stored) {
    // Exactly 24 hours left reads as no rights and a negative count as less
    // than a day: the server has always shown them so.
    const int hours = code(stored);
    if (hours > 48) return "Rights OK";
    if (hours >= 25) return "Less than 48 hours";
    if (hours == 0 || hours == 24) return "KO. No rights";
    return "Less than 24 hours";
}

std::string satelliteSignalText(bool locked, const std::string& level) {
    return locked ? coded(kSatelliteSignal, level) : "Unlocked";
}

std::string cableTerrestrialSignalText(bool locked, const std::string& level) {
    return locked ? coded(kCableTerrestrialSignal, level) : "Unlocked";
}

bool statusReported(int status, StatusBits bits) { return (status & bits.enable) != 0; }

const char* statusText(int status, StatusBits bits) { return (status & bits.error) != 0 ? "ERROR" : "OK"; }

}  // namespace dorel_remote_control
