#include "commands/setconfig/modules_section.h"

#include "commands/core/result_codes.h"
#include "commands/setconfig/module_assignment.h"
#include "commands/setconfig/module_scope.h"
#include "common/env.h"

namespace dorel_remote_control {

bool applyModulesSection(SetConfigContext& context, const XmlElement& section) {
    // Every per-module table is read once here; the handlers below work on
    // these rows and write back only what changed.
    ModuleRows rows;
    if (rows.load(context.db()) != SQLITE_OK) {
        return context.fail(kCouldNotAccessDatabase, "Could not read " + rows.failedTable());
    }
    LnbOscillators lnb;
    if (!lnb.load(context)) return context.fail(kCouldNotAccessDatabase, "Could not read configuracionWebGlobal");

    std::vector<AssignedModule> assigned;
    AssignmentError error;
    if (!assignModules(context.env(), rows, section, assigned, error)) return context.fail(error.code, error.detail);

    for (const AssignedModule& module : assigned) {
        const ParsedXml tree(module.element.text.data(), module.element.text.size());
        ModuleScope scope{context, rows, *module.share, lnb};
        if (!applyModuleElement(scope, tree.doc().first_node())) return false;
    }
    return true;
}

}  // namespace dorel_remote_control
