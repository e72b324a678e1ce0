#include "commands/setconfig/shared_rules.h"

namespace dorel_remote_control {

const CodeWord kPolarityWords[2] = {{"vertical", 0}, {"horizontal", 1}};
const CodeWord kBandWords[2] = {{"low", 0}, {"high", 1}};

}  // namespace dorel_remote_control
