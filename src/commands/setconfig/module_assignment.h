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
#include <utility>
#include <vector>

namespace dorel_remote_control {

struct AssignedModule {
    XmlElement element;  // the module element's text, still to be parsed
    ModuleShare* share;
};

// What refused an assignment: a result code and its detail text.
struct AssignmentError {
    int code = 0;
    std::string detail;
};

// The module elements of a "modules" section matched to stored modules, in
// document order. On a mismatch returns false with the error filled. Only the
// few children that identify a module are parsed, each alone.
bool assignModules(Env& env, ModuleRows& rows, const XmlElement& section, std::vector<AssignedModule>& assigned,
                   AssignmentError& error);

}  // namespace dorel_remote_control
