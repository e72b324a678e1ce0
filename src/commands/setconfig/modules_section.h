// The "modules" section of setConfiguration: assigns the document's module
// elements to the headend's modules and applies each one (settings, inputs,
// outputs, services). Follows the contract of section_context.h, in steps:
// a whole headend's section is most of the document, so it is never parsed
// whole. The walk over the document hands over each child element as it ends
// (only its identity children are parsed, to assign it), and at the section's
// end the modules are applied one parsed module element at a time.
#pragma once

#include "commands/setconfig/module_assignment.h"
#include "commands/setconfig/module_scope.h"
#include "commands/setconfig/section_context.h"

#include <memory>

namespace dorel_remote_control {

class ModulesSection {
public:
    // Reads every per-module table once, and the LNB oscillators: the
    // handlers work on these rows and write back only what changed. A failed
    // read is reported by finish().
    explicit ModulesSection(SetConfigContext& context);
    ModulesSection(const ModulesSection&) = delete;
    ModulesSection& operator=(const ModulesSection&) = delete;

    // One child element of the section, in document order.
    void add(const ModuleOutline& module);
    // The section's outcome: its error recorded through the context, or
    // every module applied.
    bool finish();

private:
    SetConfigContext& context_;
    ModuleRows rows_;
    LnbOscillators lnb_;
    ModuleAssigner assigner_;
    int readFailure_ = 0;  // 0, or what finish() reports
    std::string readDetail_;
};

}  // namespace dorel_remote_control
