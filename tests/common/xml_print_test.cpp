// The agent's printer must write every tree exactly as RapidXML's printer
// does: the server compares documents as text, and the printer replaced
// RapidXML's for speed only. One document here holds a node of every kind and
// the shapes only a built tree has; trees of any other shape are a matter for
// a differential fuzz target against RapidXML's printer.
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
void expectSameAsRapidXml(const XmlNode& root) {
    EXPECT_EQ(reference(root), printXml(root));
    for (const XmlNode* child = root.first_node(); child; child = child->next_sibling()) expectSameAsRapidXml(*child);
}

TEST(XmlPrint, EveryNodePrintsAsRapidXmlPrintsIt) {
    const std::string text =
        "<?xml version=\"1.0\" encoding='utf-8'?>\n<!DOCTYPE status>\n<!-- a <comment> & more -->\n"
        "<?target some & data?>\n<root a=\"it's\" b='say \"hi\"' c=\"&quot;&apos;&lt;&gt;&amp;\" e=\"\">"
        "<empty/><pair></pair>lead<v>&lt;&gt;&amp;&quot;&apos; &#65; tail</v>x<![CDATA[raw <b> & \"y\"]]>z"
        "<d><e><f>deep &amp; deeper</f></e></d>t<!-- c -->u<?p q?><u>\xc3\xa9 \t\r\n</u></root>";
    for (const bool full : {false, true}) {
        SCOPED_TRACE(full ? "with markup nodes" : "elements and data only");
        std::vector<char> buffer(text.begin(), text.end());
        buffer.push_back('\0');
        XmlDocument doc;
        full ? doc.parse<rapidxml::parse_full>(buffer.data()) : doc.parse<0>(buffer.data());
        XmlNode* root = doc.first_node("root");
        // Built, never parsed: a value beside children (only the children
        // print), a value beside a lone data child (the child's text prints),
        // two data children, a value through a NUL byte.
        appendElement(doc, appendElement(doc, root, "mixed", "own value"), "child", "c");
        XmlNode* withData = appendElement(doc, root, "withData", "own");
        withData->append_node(doc.allocate_node(rapidxml::node_data, nullptr, "<&>"));
        XmlNode* twoData = appendElement(doc, root, "twoData");
        twoData->append_node(doc.allocate_node(rapidxml::node_data, nullptr, "one"));
        twoData->append_node(doc.allocate_node(rapidxml::node_data, nullptr, ""));
        static const char withNul[] = {'x', '\0', '<', 'y'};
        root->append_node(doc.allocate_node(rapidxml::node_element, "nul", withNul, 0, sizeof withNul));
        expectSameAsRapidXml(doc);

        std::string out = "prefix";
        appendXml(out, *root);
        EXPECT_EQ("prefix" + reference(*root), out) << "appending keeps what the text held";
    }
}

}  // namespace
