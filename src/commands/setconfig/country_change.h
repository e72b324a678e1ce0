// The follow-up of a committed change of the regional settings: writes the
// selected time zone for the headend's clock, asks get_time_offsets.sh for the
// offsets of every zone of the country, writes the TOT file the modules
// broadcast and restarts cron. Failures are logged only: the configuration
// is already committed.
#pragma once

namespace dorel_remote_control {

class Env;

void applyCountryChanged(Env& env);

}  // namespace dorel_remote_control
