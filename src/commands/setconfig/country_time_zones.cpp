#include "commands/setconfig/country_time_zones.h"

#include <cstring>
#include <strings.h>

namespace dorel_remote_control {

std::vector<std::string> countryTimeZones(const std::string& code) {
    std::vector<std::string> zones;
    for (size_t i = 0; i < kCountryTimeZoneCount; ++i) {
        if (strcasecmp(kCountryTimeZones[i].code, code.c_str()) != 0) continue;
        static const char kBlanks[] = " \t\n\v\f\r";
        for (const char* word = kCountryTimeZones[i].zones; *(word += std::strspn(word, kBlanks));) {
            const size_t length = std::strcspn(word, kBlanks);
            zones.emplace_back(word, length);
            word += length;
        }
        break;
    }
    return zones;
}

}  // namespace dorel_remote_control
