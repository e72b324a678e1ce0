// The "modules" section of setConfiguration: assigns the document's module
// elements to the headend's modules and applies each one (settings, inputs,
// outputs, services). Follows the contract of section_context.h.
#pragma once

#include "commands/setconfig/section_context.h"

namespace dorel_remote_control {

bool applyModulesSection(SetConfigContext& context, const XmlNode* section);

}  // namespace dorel_remote_control
