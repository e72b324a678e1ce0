#include "commands/setconfig/module_assignment.h"

#include "commands/core/result_codes.h"
#include "commands/setconfig/value_rules.h"
#include "common/env.h"
#include "db/tables.h"

#include <strings.h>

#include <unordered_set>

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

bool refuse(AssignmentError& error, int code, const std::string& context) {
    error.code = code;
    error.detail = std::string(resultCodeText(code)) + context;
    return false;
}

std::string joined(const std::vector<std::string>& macs) {
    std::string text;
    for (const std::string& mac : macs) text += " " + mac;
    return text;
}

}  // namespace

bool assignModules(Env& env, ModuleRows& rows, const XmlNode* section, std::vector<AssignedModule>& assigned,
                   AssignmentError& error) {
    assigned.clear();
    std::vector<std::string> documentMacs;
    std::unordered_set<const ModuleShare*> seen;
    for (const XmlNode* child = section->first_node(); child != nullptr; child = child->next_sibling()) {
        if (child->type() != rapidxml::node_element) continue;
        if (strcasecmp(nodeName(child).c_str(), "module") != 0) {
            error = {kInvalidCommand, "No module element found"};
            return false;
        }
        const std::string mac = nodeText(childElementNoCase(child, "mac"));
        documentMacs.push_back(mac);
        ModuleShare* share = mac.empty() ? nullptr : rows.findModule(mac);
        if (share == nullptr) return refuse(error, kCouldNotFindModule, mac.empty() ? " (no mac)" : " " + mac);
        const doreldb::Record& stored = rows.module(share->module);
        for (const IdentityCheck& check : kIdentityChecks) {
            const XmlNode* given = childElementNoCase(child, check.element);
            if (given != nullptr && lenientWholeNumber(nodeText(given)) != lenientWholeNumber(stored.text(check.column))) {
                return refuse(error, check.code, " " + mac + check.what);
            }
        }
        if (!seen.insert(share).second) return refuse(error, kInvalidAmountOfModules, " (" + mac + " twice)");
        assigned.push_back({child, share});
    }
    if (assigned.empty()) {
        error = {kInvalidCommand, "No modules found"};
        return false;
    }

    std::vector<std::string> headendMacs;
    std::vector<std::string> notAssigned;
    for (size_t row = 0; row < rows.modules().size(); ++row) {
        const std::string mac = rows.modules()[row].text(doreldb::RedesModulos::MAC);
        // A second row with the MAC of an earlier one cannot be told apart from it.
        if (rows.findModule(mac) != &rows.shareOf(row)) continue;
        headendMacs.push_back(mac);
        if (seen.count(&rows.shareOf(row)) == 0) notAssigned.push_back(mac);
    }
    env.log(7, "headendAssignedModules:%s", joined(headendMacs).c_str());
    env.log(7, "xmlAssignedModules:%s", joined(documentMacs).c_str());
    env.log(7, "notAssignedModules:%s", joined(notAssigned).c_str());
    if (!notAssigned.empty()) return refuse(error, kInvalidAmountOfModules, " (missing" + joined(notAssigned) + ")");
    return true;
}

}  // namespace dorel_remote_control
