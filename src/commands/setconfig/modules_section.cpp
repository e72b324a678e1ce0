#include "commands/setconfig/modules_section.h"

#include "commands/core/result_codes.h"
#include "common/env.h"

namespace dorel_remote_control {

ModulesSection::ModulesSection(SetConfigContext& context) : context_(context), assigner_(rows_) {
    if (rows_.load(context.db()) != SQLITE_OK) {
        readFailure_ = kCouldNotAccessDatabase;
        readDetail_ = "Could not read " + rows_.failedTable();
    } else if (!lnb_.load(context)) {
        readFailure_ = kCouldNotAccessDatabase;
        readDetail_ = "Could not read configuracionWebGlobal";
    }
}

void ModulesSection::add(const ModuleOutline& module) {
    if (readFailure_ == 0) assigner_.add(module);
}

bool ModulesSection::finish() {
    if (readFailure_ != 0) return context_.fail(readFailure_, readDetail_);
    if (!assigner_.finish(context_.env())) return context_.fail(assigner_.error().code, assigner_.error().detail);
    for (const AssignedModule& module : assigner_.assigned()) {
        const ParsedXml tree(module.element.text.data(), module.element.text.size());
        ModuleScope scope{context_, rows_, *module.share, lnb_};
        if (!applyModuleElement(scope, tree.doc().first_node())) return false;
    }
    return true;
}

}  // namespace dorel_remote_control
