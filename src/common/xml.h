// RapidXML, and the few helpers every document builder and reader of the agent
// needs. RapidXML keeps pointers into the parsed text and into its own memory
// pool; the helpers here copy every string they add into the document's pool so
// that no node ever points at a temporary.
#pragma once

#include <rapidxml/rapidxml.hpp>
#include <rapidxml/rapidxml_print.hpp>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace dorel_remote_control {

using XmlDocument = rapidxml::xml_document<char>;
using XmlNode = rapidxml::xml_node<char>;

// The declaration that opens every document the agent sends.
extern const char* const kXmlDeclaration;  // "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"

// Deepest element nesting a parsed text may have. RapidXML recurses once per
// level, so a hostile document nested a hundred thousand deep would exhaust the
// stack; no document of the server or of the agent comes near this.
constexpr int kMaxXmlDepth = 256;

// A parsed document together with the text it was parsed from (RapidXML parses
// in place, so the text must live as long as the nodes). Every text the agent
// parses goes through here, so the depth limit holds for all of them.
class ParsedXml {
public:
    // An empty document, for building one from scratch.
    ParsedXml();
    // Copies text and parses it; throws rapidxml::parse_error on malformed XML
    // and on a text nested deeper than kMaxXmlDepth (checked before parsing).
    explicit ParsedXml(const std::string& text);
    // The same over size bytes at text, e.g. one element of a larger text
    // that a walk (xml_stream.h) found; only those bytes are copied.
    ParsedXml(const char* text, size_t size);
    ParsedXml(const ParsedXml&) = delete;
    ParsedXml& operator=(const ParsedXml&) = delete;

    XmlDocument& doc() { return *doc_; }
    const XmlDocument& doc() const { return *doc_; }

private:
    std::vector<char> buffer_;
    std::unique_ptr<XmlDocument> doc_;
};

// Appends a new element (name and value copied into the pool) and returns it.
XmlNode* appendElement(XmlDocument& doc, XmlNode* parent, std::string_view name, std::string_view value = {});

// Copies a node and its whole subtree into doc (strings copied into its pool).
XmlNode* deepCopy(XmlDocument& doc, const XmlNode* source);

// Prints a node exactly as RapidXML's printer does with its default indented
// format (src/common/xml_print.cpp); appendXml adds the text to out.
std::string printXml(const XmlNode& node);
void appendXml(std::string& out, const XmlNode& node);

// The node's value as text ("" for a null node).
std::string nodeText(const XmlNode* node);

// Whether an element name is `wanted`, ASCII letter case ignored (the
// server's letter case has never been reliable). Compared in place.
bool sameNameNoCase(std::string_view name, const char* wanted);

// First child element with that name, names compared exactly / ignoring case.
XmlNode* childElement(const XmlNode* parent, const char* name);
XmlNode* childElementNoCase(const XmlNode* parent, const char* name);

// Element name as a std::string ("" for a null node or nameless element).
std::string nodeName(const XmlNode* node);

}  // namespace dorel_remote_control
