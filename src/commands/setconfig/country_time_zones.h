// Country -> time zones: for every country of the time-zone database's country
// table (ISO 3166-1 alpha-2 code), its IANA zone names in the database's order.
// The data is generated from tzdata's zone.tab and iso3166.tab by
// scripts/gen-country-time-zones.py into country_time_zones_data.cpp.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace dorel_remote_control {

struct CountryTimeZones {
    const char* code;    // "AX"
    const char* name;    // "Åland Islands", as iso3166.tab names it
    const char* zones;   // "Europe/Mariehamn": the zone names separated by blanks
};

// In the alphabetical order of the countries' names.
extern const CountryTimeZones kCountryTimeZones[];
extern const size_t kCountryTimeZoneCount;

// The zones of a country code (ASCII case ignored); empty for an unknown code.
std::vector<std::string> countryTimeZones(const std::string& code);

}  // namespace dorel_remote_control
