// The agent's printer must write every tree exactly as RapidXML's printer
// does: the server compares documents as text, and the printer replaced
// RapidXML's for speed only.
#include "common/xml.h"

#include <rapidxml/rapidxml_print.hpp>

#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <vector>

namespace {

using namespace dorel_remote_control;

std::string reference(const XmlNode& node) {
    std::string out;
    rapidxml::print(std::back_inserter(out), node, 0);
    return out;
}

// Every node of the tree, the tree's root included, prints as RapidXML prints it.
void expectSameAsRapidXml(const XmlNode& root, const std::string& label) {
    EXPECT_EQ(reference(root), printXml(root)) << label;
    for (const XmlNode* child = root.first_node(); child; child = child->next_sibling())
        expectSameAsRapidXml(*child, label);
}

TEST(XmlPrint, ParsedTextsPrintAsRapidXmlPrintsThem) {
    const char* texts[] = {
        "<a/>",
        "<a></a>",
        "<a>text</a>",
        "<a x=\"1\" y='2'/>",
        "<a>&lt;&gt;&amp;&quot;&apos; &#65; tail</a>",
        "<a b=\"&quot;&apos;&lt;&gt;&amp;\" c='&apos;' d=\"&quot;\" e=\"\"/>",
        "<a>lead<b>inner</b>tail</a>",
        "<a><b/><c>1</c><d><e><f>deep &amp; deeper</f></e></d></a>",
        "<a><![CDATA[raw <b> & \"x\"]]></a>",
        "<a>x<![CDATA[y]]>z</a>",
        "<status><id>host</id><alarms/><modules><module><mac>00:1A</mac><alarms><alarm><type>201</type>"
        "<text>Fallo &apos;HW&apos;</text></alarm></alarms></module></modules></status>",
        "<a>\xc3\xa9t\xc3\xa9 \t\r\n</a>",
    };
    for (const char* text : texts) {
        for (const int flags : {0, rapidxml::parse_full}) {
            std::vector<char> buffer(text, text + std::char_traits<char>::length(text) + 1);
            XmlDocument doc;
            if (flags == 0) {
                doc.parse<0>(buffer.data());
            } else {
                doc.parse<rapidxml::parse_full>(buffer.data());
            }
            expectSameAsRapidXml(doc, text);
        }
    }
}

TEST(XmlPrint, MarkupNodesAndDocumentPrintAsRapidXmlPrintsThem) {
    std::vector<char> buffer;
    const std::string text =
        "<?xml version=\"1.0\" encoding='utf-8'?>\n<!DOCTYPE status>\n<!-- a <comment> & more -->\n"
        "<?target some & data?>\n<root a=\"it's\" b='say \"hi\"'>t<!-- c -->u<?p q?></root>";
    buffer.assign(text.begin(), text.end());
    buffer.push_back('\0');
    XmlDocument doc;
    doc.parse<rapidxml::parse_full>(buffer.data());
    expectSameAsRapidXml(doc, text);
}

// Trees the agent builds itself, shapes a parser never gives.
TEST(XmlPrint, BuiltTreesPrintAsRapidXmlPrintsThem) {
    XmlDocument doc;
    XmlNode* root = appendElement(doc, &doc, "root");
    // Every character that has an entity, in values and attributes.
    const std::string special = "a&b<c>d\"e'f&&<<";
    appendElement(doc, root, "value", special);
    appendElement(doc, root, "empty");
    XmlNode* attributed = appendElement(doc, root, "attributed");
    for (const std::string& value : {special, std::string("no double 'quotes'"), std::string(), std::string("\"")}) {
        attributed->append_attribute(doc.allocate_attribute("v", doc.allocate_string(value.c_str(), value.size() + 1),
                                                            0, value.size()));
    }
    // An element with both a value and children prints only the children;
    // one with a value and a lone text child prints the child's text.
    XmlNode* mixed = appendElement(doc, root, "mixed", "own value");
    appendElement(doc, mixed, "child", "c");
    XmlNode* withData = appendElement(doc, root, "withData", "own value");
    withData->append_node(doc.allocate_node(rapidxml::node_data, nullptr, "data & <more>"));
    XmlNode* twoData = appendElement(doc, root, "twoData");
    twoData->append_node(doc.allocate_node(rapidxml::node_data, nullptr, "one"));
    twoData->append_node(doc.allocate_node(rapidxml::node_data, nullptr, ""));
    // A value holding a NUL byte is printed through it.
    static const char withNul[] = {'x', '\0', '<', 'y'};
    root->append_node(doc.allocate_node(rapidxml::node_element, "nul", withNul, 0, sizeof withNul));
    XmlNode* declaration = doc.allocate_node(rapidxml::node_declaration);
    declaration->append_attribute(doc.allocate_attribute("version", "1.0"));
    root->append_node(declaration);
    // Deep nesting: one tab more per level.
    XmlNode* parent = root;
    for (int level = 0; level < 40; ++level) parent = appendElement(doc, parent, "level" + std::to_string(level));
    appendElement(doc, parent, "leaf", "bottom");
    expectSameAsRapidXml(doc, "built tree");

    // Appending keeps what the text already held.
    std::string out = "prefix";
    appendXml(out, *root);
    EXPECT_EQ("prefix" + reference(*root), out);
}

}  // namespace
