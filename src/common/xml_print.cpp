// Printing a node tree as text, byte for byte as RapidXML's own printer with
// its default (indented) format writes it. RapidXML's printer writes one
// character at a time through an output iterator; documents of a whole
// headend are printed on every poll, so this one appends whole runs.
#include "common/xml.h"
#include "common/xml_entities.h"

namespace dorel_remote_control {

namespace {

// Appends text with its special characters as entities; `literal` is the one
// character written as itself anyway (the quote an attribute is not wrapped
// in; '\0' for text, where no character is spared).
void appendEscaped(std::string& out, const char* text, size_t size, char literal) {
    const char* run = text;
    const char* const end = text + size;
    for (const char* p = text; p != end; ++p) {
        const char* entity = xmlEntityFor(*p);
        if (entity == nullptr || *p == literal) continue;
        out.append(run, static_cast<size_t>(p - run));
        out += entity;
        run = p + 1;
    }
    out.append(run, static_cast<size_t>(end - run));
}

void appendIndent(std::string& out, int depth) { out.append(static_cast<size_t>(depth), '\t'); }

void appendAttributes(std::string& out, const XmlNode& node) {
    for (const rapidxml::xml_attribute<char>* a = node.first_attribute(); a; a = a->next_attribute()) {
        const char* value = a->value();
        const size_t valueSize = a->value_size();
        // A value holding a double quote goes between single quotes.
        const bool hasDoubleQuote = std::char_traits<char>::find(value, valueSize, '"') != nullptr;
        const char quote = hasDoubleQuote ? '\'' : '"';
        out += ' ';
        out.append(a->name(), a->name_size());
        out += '=';
        out += quote;
        appendEscaped(out, value, valueSize, hasDoubleQuote ? '"' : '\'');
        out += quote;
    }
}

void appendNode(std::string& out, const XmlNode& node, int depth);

void appendChildren(std::string& out, const XmlNode& node, int depth) {
    for (const XmlNode* child = node.first_node(); child; child = child->next_sibling()) appendNode(out, *child, depth);
}

void appendElementNode(std::string& out, const XmlNode& node, int depth) {
    appendIndent(out, depth);
    out += '<';
    out.append(node.name(), node.name_size());
    appendAttributes(out, node);
    const XmlNode* child = node.first_node();
    if (node.value_size() == 0 && child == nullptr) {
        out += "/>";
        return;
    }
    out += '>';
    if (child == nullptr) {
        appendEscaped(out, node.value(), node.value_size(), '\0');
    } else if (child->next_sibling() == nullptr && child->type() == rapidxml::node_data) {
        // A lone text child is written inline, the element's own value unused.
        appendEscaped(out, child->value(), child->value_size(), '\0');
    } else {
        out += '\n';
        appendChildren(out, node, depth + 1);
        appendIndent(out, depth);
    }
    out += "</";
    out.append(node.name(), node.name_size());
    out += '>';
}

// Markup whose content is written unescaped between a fixed opening and closing.
void appendRaw(std::string& out, int depth, const char* open, const XmlNode& node, const char* close) {
    appendIndent(out, depth);
    out += open;
    out.append(node.value(), node.value_size());
    out += close;
}

void appendNode(std::string& out, const XmlNode& node, int depth) {
    switch (node.type()) {
    case rapidxml::node_document:
        appendChildren(out, node, depth);
        break;
    case rapidxml::node_element:
        appendElementNode(out, node, depth);
        break;
    case rapidxml::node_data:
        appendIndent(out, depth);
        appendEscaped(out, node.value(), node.value_size(), '\0');
        break;
    case rapidxml::node_cdata:
        appendRaw(out, depth, "<![CDATA[", node, "]]>");
        break;
    case rapidxml::node_declaration:
        appendIndent(out, depth);
        out += "<?xml";
        appendAttributes(out, node);
        out += "?>";
        break;
    case rapidxml::node_comment:
        appendRaw(out, depth, "<!--", node, "-->");
        break;
    case rapidxml::node_doctype:
        appendRaw(out, depth, "<!DOCTYPE ", node, ">");
        break;
    case rapidxml::node_pi:
        appendIndent(out, depth);
        out += "<?";
        out.append(node.name(), node.name_size());
        out += ' ';
        out.append(node.value(), node.value_size());
        out += "?>";
        break;
    }
    out += '\n';
}

}  // namespace

void appendXml(std::string& out, const XmlNode& node) { appendNode(out, node, 0); }

std::string printXml(const XmlNode& node) {
    std::string out;
    appendXml(out, node);
    return out;
}

}  // namespace dorel_remote_control
