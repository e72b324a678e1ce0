// How the configuration document writes the headend's stored codes: each
// coder turns a stored value into the text the server reads (and the
// configuration commands accept back). The tables themselves are data in
// configuration_codes.cpp.
#pragma once

#include <string>

namespace dorel_remote_control {

// A stored column value -> its text in the document.
using ValueCoder = std::string (*)(const std::string& stored);

std::string polarityText(const std::string& stored);            // 0 vertical, 1 horizontal
std::string bandText(const std::string& stored);                // 0 low, 1 high
std::string activeText(const std::string& stored);              // below 1 "0", else "1"
std::string modeOfdmText(const std::string& stored);            // 0 2K, 1 8K
std::string outputBandwidthText(const std::string& stored);     // 0 8 MHz ... 2 6 MHz
std::string inputBandwidthText(const std::string& stored);      // 0 6 MHz ... 2 8 MHz
std::string guardIntervalText(const std::string& stored);
std::string cableConstellationText(const std::string& stored);
std::string terrestrialConstellationText(const std::string& stored);
std::string codeRateText(const std::string& stored);
std::string formatIqText(const std::string& stored);
std::string scramblingModeText(const std::string& stored);      // even, odd, toggle
std::string hierarchyText(const std::string& stored);
std::string autoOrNumberText(const std::string& stored);        // -2 "auto", else the number
std::string plsModeText(const std::string& stored);             // 1 gold, 2 root, else auto
std::string cardRightsText(const std::string& stored);          // hours of rights left
std::string cardStatusText(const std::string& stored);

// A tuner's signal quality from its live row: "Unlocked" unless locked, else
// the level's text. Satellite tuners report level 2 as "Good", cable and
// terrestrial tuners as "Marginal"; the server reads them per input kind.
std::string satelliteSignalText(bool locked, const std::string& level);
std::string cableTerrestrialSignalText(bool locked, const std::string& level);

// A service's live status bit pair: nothing to report unless the enable bit
// is set, then "ERROR" when the error bit is set and "OK" otherwise.
struct StatusBits {
    int enable;
    int error;
};
constexpr StatusBits kDecryptStatusBits = {16, 32};
constexpr StatusBits kTranscodingStatusBits = {64, 128};
bool statusReported(int status, StatusBits bits);
const char* statusText(int status, StatusBits bits);

}  // namespace dorel_remote_control
