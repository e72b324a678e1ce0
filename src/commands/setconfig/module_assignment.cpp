#include "commands/setconfig/module_assignment.h"

#include "commands/core/result_codes.h"
#include "commands/setconfig/value_rules.h"
#include "common/env.h"
#include "db/tables.h"

#include <cstring>
#include <strings.h>

namespace dorel_remote_control {

namespace {

// A child the element may carry that must then agree with the stored column.
struct IdentityCheck {
    const char* element;
    size_t column;
    int code;
    const char* what;   // appended to the detail text
};

const IdentityCheck kIdentityChecks[] = {
    {"family", doreldb::RedesModulos::Familia, kInvalidModuleFamily, ""},
    {"model", doreldb::RedesModulos::Modelo, kInvalidModuleFamily, ""},
    {"isMaster", doreldb::RedesModulos::Master, kCouldNotFindModule, " (isMaster differs)"},
};

// The text of an identity child, parsed alone.
std::string identityText(std::string_view element) {
    const ParsedXml tree(element.data(), element.size());
    return nodeText(tree.doc().first_node());
}

std::string joined(const std::vector<std::string>& macs) {
    std::string text;
    for (const std::string& mac : macs) text += " " + mac;
    return text;
}

}  // namespace

int identityOf(std::string_view childName) {
    if (sameNameNoCase(childName, "mac")) return kIdentityMac;
    for (size_t i = 0; i < sizeof kIdentityChecks / sizeof kIdentityChecks[0]; ++i) {
        if (sameNameNoCase(childName, kIdentityChecks[i].element)) return kIdentityFamily + static_cast<int>(i);
    }
    return kIdentities;
}

bool ModuleAssigner::refuse(int code, const std::string& context) {
    error_.code = code;
    error_.detail = std::string(resultCodeText(code)) + context;
    refused_ = true;
    return false;
}

bool ModuleAssigner::add(const ModuleOutline& module) {
    if (refused_) return false;
    if (!sameNameNoCase(module.element.name, "module")) {
        error_ = {kInvalidCommand, "No module element found"};
        refused_ = true;
        return false;
    }
    const std::string_view macElement = module.identity[kIdentityMac];
    const std::string mac = macElement.data() != nullptr ? identityText(macElement) : std::string();
    documentMacs_.push_back(mac);
    ModuleShare* share = mac.empty() ? nullptr : rows_.findModule(mac);
    if (share == nullptr) return refuse(kCouldNotFindModule, mac.empty() ? " (no mac)" : " " + mac);
    const doreldb::Record& stored = rows_.module(share->module);
    for (size_t i = 0; i < sizeof kIdentityChecks / sizeof kIdentityChecks[0]; ++i) {
        const IdentityCheck& check = kIdentityChecks[i];
        const std::string_view given = module.identity[kIdentityFamily + i];
        if (given.data() != nullptr &&
            lenientWholeNumber(identityText(given)) != lenientWholeNumber(stored.text(check.column))) {
            return refuse(check.code, " " + mac + check.what);
        }
    }
    if (!seen_.insert(share).second) return refuse(kInvalidAmountOfModules, " (" + mac + " twice)");
    assigned_.push_back({module.element, share});
    return true;
}

bool ModuleAssigner::finish(Env& env) {
    if (refused_) return false;
    if (assigned_.empty()) {
        error_ = {kInvalidCommand, "No modules found"};
        refused_ = true;
        return false;
    }
    std::vector<std::string> headendMacs;
    std::vector<std::string> notAssigned;
    for (size_t row = 0; row < rows_.modules().size(); ++row) {
        const std::string mac = rows_.modules()[row].text(doreldb::RedesModulos::MAC);
        // A second row with the MAC of an earlier one cannot be told apart from it.
        if (rows_.findModule(mac) != &rows_.shareOf(row)) continue;
        headendMacs.push_back(mac);
        if (seen_.count(&rows_.shareOf(row)) == 0) notAssigned.push_back(mac);
    }
    env.log(7, "headendAssignedModules:%s", joined(headendMacs).c_str());
    env.log(7, "xmlAssignedModules:%s", joined(documentMacs_).c_str());
    env.log(7, "notAssignedModules:%s", joined(notAssigned).c_str());
    if (!notAssigned.empty()) return refuse(kInvalidAmountOfModules, " (missing" + joined(notAssigned) + ")");
    return true;
}

}  // namespace dorel_remote_control
