#include "commands/setconfig/modules_section.h"

namespace dorel_remote_control {

// Not applied yet: a document carrying modules commits its other sections.
bool applyModulesSection(SetConfigContext&, const XmlNode*) { return true; }

}  // namespace dorel_remote_control
