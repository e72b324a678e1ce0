// Reads a large document one element at a time instead of as one tree: a
// walk over the child elements of an element gives each child's name and the
// whole text of it, without building anything, and one child can then be
// parsed alone (ParsedXml over child.text) while the rest of the document
// stays plain text. A whole headend configuration parsed at once costs many
// times its size in nodes; this way only the element in hand does.
//
// The walk decides as the parser of the whole text would: a walk of the roots
// to the end refuses exactly the texts ParsedXml refuses (markup, text
// outside the roots, the text ending inside an element, nesting deeper than
// kMaxXmlDepth counted from the top of the document), whether or not the
// children are entered or parsed. An element the walk returned parses alone
// into the same subtree the whole parse gives it.
#pragma once

#include "common/xml_tokens.h"

#include <cstddef>
#include <string_view>

namespace dorel_remote_control {

// One element as a walk found it. Both views point into the walked text.
struct XmlElement {
    std::string_view name;     // as written; letter case is the caller's business
    std::string_view text;     // from the '<' of its start tag to the '>' of its end tag
    std::string_view content;  // between its tags (empty for <name/>)
    int depth = 0;             // 1 for a root
};

class XmlChildren {
public:
    // The roots of a whole text (the walk stops at a NUL byte, as the parser
    // does). The text must outlive the walk and every element it gives.
    XmlChildren(const char* text, size_t size);
    // The children of an element that a walk over the same text gave.
    explicit XmlChildren(const XmlElement& parent);

    // Moves to the next child, past the whole previous one; false after the
    // last. Each step reads one child's text once and allocates nothing.
    // Throws rapidxml::parse_error, as ParsedXml does, where the text is
    // refused: in or before this child, or (for the roots) after the last.
    // A refused walk keeps refusing.
    bool next();

    // The child next() moved to.
    const XmlElement& child() const { return child_; }

private:
    [[noreturn]] void refuse(const char* what, size_t offset);

    const char* base_;  // where the tokens' offsets count from
    XmlTokens tokens_;
    int depth_;  // of the children
    bool roots_;
    const char* error_ = nullptr;
    size_t errorOffset_ = 0;
    XmlElement child_;
};

}  // namespace dorel_remote_control
