#include "commands/setconfig/country_change.h"

namespace dorel_remote_control {

void applyCountryChanged() {}

}  // namespace dorel_remote_control
