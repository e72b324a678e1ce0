#include "commands/setconfig/country_time_zones.h"

#include <sstream>
#include <strings.h>

namespace dorel_remote_control {

std::vector<std::string> countryTimeZones(const std::string& code) {
    std::vector<std::string> zones;
    for (size_t i = 0; i < kCountryTimeZoneCount; ++i) {
        if (strcasecmp(kCountryTimeZones[i].code, code.c_str()) != 0) continue;
        std::istringstream words(kCountryTimeZones[i].zones);
        for (std::string zone; words >> zone;) zones.push_back(zone);
        break;
    }
    return zones;
}

}  // namespace dorel_remote_control
