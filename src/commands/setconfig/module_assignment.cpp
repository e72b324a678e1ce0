#include "commands/setconfig/module_assignment.h"

#include "commands/core/result_codes.h"
#include "commands/setconfig/value_rules.h"
#include "common/env.h"
#include "db/tables.h"

#include <cstring>
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

bool sameName(std::string_view name, const char* wanted) {
    return name.size() == strlen(wanted) && strncasecmp(name.data(), wanted, name.size()) == 0;
}

// The texts of the first "mac" child and of the first child of each identity
// check (letter case ignored), each parsed alone; found[i] tells whether there
// was one.
void identityTexts(const XmlElement& module, std::string (&texts)[4], bool (&found)[4]) {
    XmlChildren children(module);
    while (children.next()) {
        for (size_t i = 0; i < 4; ++i) {
            const char* name = i == 0 ? "mac" : kIdentityChecks[i - 1].element;
            if (found[i] || !sameName(children.child().name, name)) continue;
            const ParsedXml tree(children.child().text.data(), children.child().text.size());
            texts[i] = nodeText(tree.doc().first_node());
            found[i] = true;
        }
    }
}

std::string joined(const std::vector<std::string>& macs) {
    std::string text;
    for (const std::string& mac : macs) text += " " + mac;
    return text;
}

}  // namespace

bool assignModules(Env& env, ModuleRows& rows, const XmlElement& section, std::vector<AssignedModule>& assigned,
                   AssignmentError& error) {
    assigned.clear();
    std::vector<std::string> documentMacs;
    std::unordered_set<const ModuleShare*> seen;
    XmlChildren children(section);
    while (children.next()) {
        const XmlElement& child = children.child();
        if (!sameName(child.name, "module")) {
            error = {kInvalidCommand, "No module element found"};
            return false;
        }
        std::string texts[4];
        bool found[4] = {false, false, false, false};
        identityTexts(child, texts, found);
        const std::string& mac = texts[0];
        documentMacs.push_back(mac);
        ModuleShare* share = mac.empty() ? nullptr : rows.findModule(mac);
        if (share == nullptr) return refuse(error, kCouldNotFindModule, mac.empty() ? " (no mac)" : " " + mac);
        const doreldb::Record& stored = rows.module(share->module);
        for (size_t i = 0; i < 3; ++i) {
            const IdentityCheck& check = kIdentityChecks[i];
            if (found[i + 1] && lenientWholeNumber(texts[i + 1]) != lenientWholeNumber(stored.text(check.column))) {
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
