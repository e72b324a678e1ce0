// Which stored module each "module" element of a setConfiguration document
// describes. The document must describe the whole headend: every module of
// RedesModulos exactly once, in any order, found by its MAC (letter case
// ignored, no wildcards), with the stored family, model and master flag where
// the element carries them. devkit/README.md states the rules for operators.
#pragma once

#include "commands/setconfig/module_rows.h"
#include "common/xml.h"
#include "common/xml_stream.h"

#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace dorel_remote_control {

// The children that identify a module element, in the order of
// ModuleOutline::identity.
enum ModuleIdentity { kIdentityMac, kIdentityFamily, kIdentityModel, kIdentityMaster, kIdentities };

// A child element of a "modules" section as the walk over the document found
// it: its text, and the text of its first child of each identity name (letter
// case ignored), a null view where it has none. Nothing of it is parsed yet.
struct ModuleOutline {
    XmlElement element;
    std::string_view identity[kIdentities];
};

// The identity a child of a module element gives by its name, kIdentities
// for none.
int identityOf(std::string_view childName);

struct AssignedModule {
    XmlElement element;  // the module element's text, still to be parsed
    ModuleShare* share;
};

// What refused an assignment: a result code and its detail text.
struct AssignmentError {
    int code = 0;
    std::string detail;
};

// Matches the module elements of a "modules" section to stored modules one at
// a time, in document order, as the walk reaches them; only the few children
// that identify a module are parsed, each alone. Once it refused an element it
// takes no more, so a hostile section costs no more than the headend has.
class ModuleAssigner {
public:
    explicit ModuleAssigner(ModuleRows& rows) : rows_(rows) {}

    // False when the element is refused (and from then on).
    bool add(const ModuleOutline& module);
    // The checks of the whole section (no module, modules missing), with the
    // assignment's log lines. False when the section is refused.
    bool finish(Env& env);

    const std::vector<AssignedModule>& assigned() const { return assigned_; }
    const AssignmentError& error() const { return error_; }

private:
    bool refuse(int code, const std::string& context);

    ModuleRows& rows_;
    std::vector<AssignedModule> assigned_;
    std::vector<std::string> documentMacs_;
    std::unordered_set<const ModuleShare*> seen_;
    AssignmentError error_;
    bool refused_ = false;
};

}  // namespace dorel_remote_control
