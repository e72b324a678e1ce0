#include "commands/query/configuration_codes.h"

#include "common/code_table.h"
#include "common/numbers.h"

namespace dorel_remote_control {

namespace {

const CodeText kPolarity[] = {{0, "vertical"}, {1, "horizontal"}};
const CodeText kBand[] = {{0, "low"}, {1, "high"}};
const CodeText kModeOfdm[] = {{0, "2K"}, {1, "8K"}};
// The two bandwidth tables run in opposite directions: that is how the
// modulator and the tuner tables store them.
const CodeText kOutputBandwidth[] = {{0, "8 MHz"}, {1, "7 MHz"}, {2, "6 MHz"}};
const CodeText kInputBandwidth[] = {{0, "6 MHz"}, {1, "7 MHz"}, {2, "8 MHz"}};
const CodeText kGuardInterval[] = {{0, "1/32"}, {1, "1/16"}, {2, "1/8"}, {3, "1/4"}};
const CodeText kCableConstellation[] = {{0, "16 QAM"}, {1, "32 QAM"}, {2, "64 QAM"}, {3, "128 QAM"}, {4, "256 QAM"}};
const CodeText kTerrestrialConstellation[] = {{0, "QPSK"}, {1, "16 QAM"}, {2, "64 QAM"}};
const CodeText kCodeRate[] = {{0, "1/2"}, {1, "2/3"}, {2, "3/4"}, {3, "5/6"}, {4, "7/8"}};
const CodeText kFormatIq[] = {{0, "Normal"}, {1, "Reversed"}};
const CodeText kScramblingMode[] = {{0, "even"}, {1, "odd"}, {2, "toggle"}};
const CodeText kHierarchy[] = {{0, "High Priority"}, {1, "Low Priority"}};
const CodeText kPlsMode[] = {{1, "gold"}, {2, "root"}};
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

std::string polarityText(const std::string& stored) { return coded(kPolarity, stored); }
std::string bandText(const std::string& stored) { return coded(kBand, stored); }
std::string activeText(const std::string& stored) { return code(stored) < 1 ? "0" : "1"; }
std::string modeOfdmText(const std::string& stored) { return coded(kModeOfdm, stored); }
std::string outputBandwidthText(const std::string& stored) { return coded(kOutputBandwidth, stored); }
std::string inputBandwidthText(const std::string& stored) { return coded(kInputBandwidth, stored); }
std::string guardIntervalText(const std::string& stored) { return coded(kGuardInterval, stored); }
std::string cableConstellationText(const std::string& stored) { return coded(kCableConstellation, stored); }
std::string terrestrialConstellationText(const std::string& stored) { return coded(kTerrestrialConstellation, stored); }
std::string codeRateText(const std::string& stored) { return coded(kCodeRate, stored); }
std::string formatIqText(const std::string& stored) { return coded(kFormatIq, stored); }
std::string scramblingModeText(const std::string& stored) { return coded(kScramblingMode, stored); }
std::string hierarchyText(const std::string& stored) { return coded(kHierarchy, stored); }
std::string plsModeText(const std::string& stored) { return coded(kPlsMode, stored, "auto"); }
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
