// The element reader against the parser of the whole text, on the same input:
// both refuse or both accept; when they accept, a walk into every element
// meets the elements of the whole tree in the same order, and each element
// parsed alone is the whole tree's subtree node for node (types, names,
// values, attributes). A walk of the roots alone must decide like the whole
// walk. Any difference aborts.
#include "common/xml.h"
#include "common/xml_stream.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

using namespace dorel_remote_control;

namespace {

[[noreturn]] void differ(const char* what) {
    fprintf(stderr, "xml_stream differs from the whole parse: %s\n", what);
    abort();
}

bool sameText(const char* a, size_t aSize, const char* b, size_t bSize) {
    return aSize == bSize && (aSize == 0 || memcmp(a, b, aSize) == 0);
}

bool sameTree(const XmlNode* a, const XmlNode* b) {
    if (a->type() != b->type() || !sameText(a->name(), a->name_size(), b->name(), b->name_size()) ||
        !sameText(a->value(), a->value_size(), b->value(), b->value_size())) {
        return false;
    }
    const rapidxml::xml_attribute<char>* x = a->first_attribute();
    const rapidxml::xml_attribute<char>* y = b->first_attribute();
    for (; x && y; x = x->next_attribute(), y = y->next_attribute()) {
        if (!sameText(x->name(), x->name_size(), y->name(), y->name_size()) ||
            !sameText(x->value(), x->value_size(), y->value(), y->value_size())) {
            return false;
        }
    }
    if (x || y) return false;
    const XmlNode* c = a->first_node();
    const XmlNode* d = b->first_node();
    for (; c && d; c = c->next_sibling(), d = d->next_sibling()) {
        if (!sameTree(c, d)) return false;
    }
    return !c && !d;
}

const XmlNode* nextElement(const XmlNode* node) {
    while (node && node->type() != rapidxml::node_element) node = node->next_sibling();
    return node;
}

// Walks every child the reader gives against the element children of
// parent in the whole tree (null when the whole text was refused).
void walk(XmlChildren& children, const XmlNode* parent) {
    const XmlNode* expected = parent ? nextElement(parent->first_node()) : nullptr;
    while (children.next()) {
        const XmlElement& child = children.child();
        if (parent && !expected) differ("an element too many");
        std::unique_ptr<ParsedXml> alone;
        try {
            alone = std::make_unique<ParsedXml>(child.text.data(), child.text.size());
        } catch (const rapidxml::parse_error&) {
            differ("an element it gave does not parse alone");
        }
        const XmlNode* node = alone->doc().first_node();
        if (!node || node->next_sibling() || node->type() != rapidxml::node_element) {
            differ("an element's text is not one element");
        }
        if (!sameText(child.name.data(), child.name.size(), node->name(), node->name_size())) {
            differ("the name it gave is not the parsed one");
        }
        if (parent && !sameTree(node, expected)) differ("an element parsed alone is not the whole tree's");
        alone.reset();
        XmlChildren inner(child);
        walk(inner, expected);
        if (parent) expected = nextElement(expected->next_sibling());
    }
    if (expected) differ("an element too few");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::unique_ptr<ParsedXml> whole;
    try {
        whole = std::make_unique<ParsedXml>(text);
    } catch (const rapidxml::parse_error&) {
    }

    bool rootsAccepted = true;
    try {
        XmlChildren roots(text.data(), text.size());
        while (roots.next()) {
        }
    } catch (const rapidxml::parse_error&) {
        rootsAccepted = false;
    }
    if (rootsAccepted != (whole != nullptr)) differ(rootsAccepted ? "a walk of the roots accepts" : "a walk of the roots refuses");

    bool walkAccepted = true;
    try {
        XmlChildren roots(text.data(), text.size());
        walk(roots, whole ? &whole->doc() : nullptr);
    } catch (const rapidxml::parse_error&) {
        walkAccepted = false;
    }
    if (walkAccepted != (whole != nullptr)) differ(walkAccepted ? "the whole walk accepts" : "the whole walk refuses");
    return 0;
}
