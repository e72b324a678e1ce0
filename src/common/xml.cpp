#include "common/xml.h"

#include "common/xml_depth.h"

#include <cstring>
#include <strings.h>

namespace dorel_remote_control {

const char* const kXmlDeclaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";

ParsedXml::ParsedXml() : doc_(std::make_unique<XmlDocument>()) {}

ParsedXml::ParsedXml(const std::string& text) : ParsedXml(text.data(), text.size()) {}

ParsedXml::ParsedXml(const char* text, size_t size) : doc_(std::make_unique<XmlDocument>()) {
    buffer_.reserve(size + 1);
    buffer_.assign(text, text + size);
    buffer_.push_back('\0');
    const long tooDeep = xmlDepthExceeded(buffer_.data(), size, kMaxXmlDepth);
    if (tooDeep >= 0) throw rapidxml::parse_error("document nested too deep", buffer_.data() + tooDeep);
    doc_->parse<0>(buffer_.data());
}

namespace {

// A copy in the document's pool, ended by a NUL as RapidXML's own strings are.
char* poolCopy(XmlDocument& doc, std::string_view text) {
    char* copy = doc.allocate_string(nullptr, text.size() + 1);
    text.copy(copy, text.size());
    copy[text.size()] = '\0';
    return copy;
}

}  // namespace

XmlNode* appendElement(XmlDocument& doc, XmlNode* parent, std::string_view name, std::string_view value) {
    char* n = poolCopy(doc, name);
    XmlNode* node;
    if (value.empty()) {
        node = doc.allocate_node(rapidxml::node_element, n, nullptr, name.size());
    } else {
        node = doc.allocate_node(rapidxml::node_element, n, poolCopy(doc, value), name.size(), value.size());
    }
    if (parent) parent->append_node(node);
    return node;
}

namespace {

char* copyString(XmlDocument& doc, const char* text, size_t size) {
    if (size == 0) return nullptr;
    return doc.allocate_string(text, size);
}

}  // namespace

XmlNode* deepCopy(XmlDocument& doc, const XmlNode* source) {
    if (source == nullptr) return nullptr;
    XmlNode* copy = doc.allocate_node(source->type());
    if (source->name_size() > 0) copy->name(copyString(doc, source->name(), source->name_size()), source->name_size());
    if (source->value_size() > 0) copy->value(copyString(doc, source->value(), source->value_size()), source->value_size());
    for (const rapidxml::xml_attribute<char>* a = source->first_attribute(); a; a = a->next_attribute()) {
        char* an = copyString(doc, a->name(), a->name_size());
        char* av = copyString(doc, a->value(), a->value_size());
        copy->append_attribute(doc.allocate_attribute(an ? an : const_cast<char*>(""), av ? av : const_cast<char*>(""),
                                                      a->name_size(), a->value_size()));
    }
    for (const XmlNode* child = source->first_node(); child; child = child->next_sibling()) {
        copy->append_node(deepCopy(doc, child));
    }
    return copy;
}

std::string nodeText(const XmlNode* node) {
    if (node == nullptr) return std::string();
    return std::string(node->value(), node->value_size());
}

namespace {

XmlNode* findChild(const XmlNode* parent, const char* name, int (*compare)(const char*, const char*, size_t)) {
    if (parent == nullptr) return nullptr;
    const size_t length = strlen(name);
    for (XmlNode* child = parent->first_node(); child; child = child->next_sibling()) {
        if (child->type() == rapidxml::node_element && child->name_size() == length &&
            compare(child->name(), name, length) == 0) {
            return child;
        }
    }
    return nullptr;
}

}  // namespace

XmlNode* childElement(const XmlNode* parent, const char* name) { return findChild(parent, name, strncmp); }

bool sameNameNoCase(std::string_view name, const char* wanted) {
    return name.size() == strlen(wanted) && strncasecmp(name.data(), wanted, name.size()) == 0;
}

XmlNode* childElementNoCase(const XmlNode* parent, const char* name) { return findChild(parent, name, strncasecmp); }

std::string nodeName(const XmlNode* node) {
    if (node == nullptr) return std::string();
    return std::string(node->name(), node->name_size());
}

}  // namespace dorel_remote_control
