// The "modules" section of setConfiguration: assigns the document's module
// elements to the headend's modules and applies each one (settings, inputs,
// outputs, services). Follows the contract of section_context.h. The section
// is walked as text: a whole headend's section is most of the document, so
// only one module element at a time is parsed into a tree.
#pragma once

#include "commands/setconfig/section_context.h"

namespace dorel_remote_control {

bool applyModulesSection(SetConfigContext& context, const XmlElement& section);

}  // namespace dorel_remote_control
