// The sections of the configuration document, in document order, and which
// controller models get each of them.
#pragma once

#include "commands/query/configuration_context.h"

namespace dorel_remote_control {

// Writes "configuration" with every section the controller model gets.
void writeConfiguration(ConfigurationContext& context);

// The children of the "modules" section: every module with its inputs,
// outputs and services (module_sections.cpp).
void writeModules(ConfigurationContext& context);

}  // namespace dorel_remote_control
