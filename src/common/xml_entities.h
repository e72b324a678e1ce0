// The five characters that the agent's XML printers write as entities, as
// RapidXML's printer does, shared by the tree printer (xml_print.cpp) and the
// streaming writer (xml_writer.cpp) so that both documents escape alike.
#pragma once

#include <cstddef>

namespace dorel_remote_control {

// The longest replacement of one character ("&apos;", "&quot;").
constexpr size_t kLongestXmlEntity = 6;

// The entity that stands for c, or null when c stands for itself.
inline const char* xmlEntityFor(char c) {
    switch (c) {
    case '<': return "&lt;";
    case '>': return "&gt;";
    case '\'': return "&apos;";
    case '"': return "&quot;";
    case '&': return "&amp;";
    default: return nullptr;
    }
}

}  // namespace dorel_remote_control
