// The sections of the configuration document, in document order, and which
// controller models get each of them.
#pragma once

#include "commands/query/configuration_context.h"

namespace dorel_remote_control {

// Appends every section the controller model gets to "configuration".
void buildConfiguration(ConfigurationContext& context, XmlNode* configuration);

// The "modules" section: every module with its inputs, outputs and services
// (module_sections.cpp).
void buildModules(ConfigurationContext& context, XmlNode* modules);

}  // namespace dorel_remote_control
