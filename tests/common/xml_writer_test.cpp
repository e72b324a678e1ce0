// The streaming writer must give, byte for byte, what printXml() gives for
// the same tree: the server reads both kinds of document alike. One document
// holds every shape the writer tells apart; others are a matter for a
// differential fuzz target.
#include "common/xml.h"
#include "common/xml_writer.h"

#include <gtest/gtest.h>

#include <string>

using namespace dorel_remote_control;

namespace {

// Writes an element of a parsed tree as a document builder would: a leaf in
// one call, anything else opened, filled and closed.
void write(XmlWriter& out, const XmlNode& e) {
    const XmlNode* child = e.first_node();
    while (child && child->type() != rapidxml::node_element) child = child->next_sibling();
    if (!child && !e.first_attribute()) return out.element(e.name(), nodeText(&e));
    out.open(e.name());
    for (const auto* a = e.first_attribute(); a; a = a->next_attribute())
        out.attribute(a->name(), std::string(a->value(), a->value_size()));
    for (; child; child = child->next_sibling()) {
        if (child->type() == rapidxml::node_element) write(out, *child);
    }
    out.close();
}

TEST(XmlWriter, WritesWhatPrintXmlPrintsForTheSameTree) {
    const std::string document =
        "<modules a=\"1\" b='say \"hi\"' c=\"it's\" d=\"&apos;&quot;&amp;&lt;&gt;\" e=\"\"><empty/>"
        "<name>Tom &amp; Jerry's &lt;\"show\"&gt;  \n\tEspa\xc3\xb1" "a</name><blanks>   </blanks><long>" +
        std::string(2500, 'x') + "&lt;&amp;&gt;" + std::string(2500, '"') +  // escaped in several pieces
        "</long><module><id>1</id><inputs/><services><s>x</s></services></module><attributed k=\"v\"/></modules>";
    // Inside three ancestors, where a writer starting at their depth writes it.
    ParsedXml parsed("<o><o><o>" + document + "</o></o></o>");
    const XmlNode& outer = *parsed.doc().first_node();
    const XmlNode& inner = *outer.first_node()->first_node()->first_node();
    std::string printed = printXml(outer);
    for (int i = 0; i < 3; ++i) {
        printed.erase(0, printed.find('\n') + 1);                    // an ancestor's opening line
        printed.erase(printed.rfind('\n', printed.size() - 2) + 1);  // and its closing line
    }
    XmlWriter atDepth(3), alone;
    write(atDepth, inner);
    write(alone, inner);
    EXPECT_EQ(printed, atDepth.finish().str());
    EXPECT_EQ(printXml(inner), alone.finish().str());
}

TEST(XmlWriter, FinishClosesWhatIsStillOpen) {
    XmlWriter out;
    out.open("a");
    out.open("b");
    out.element("c", "1");
    out.open("d");
    EXPECT_EQ("<a>\n\t<b>\n\t\t<c>1</c>\n\t\t<d/>\n\t</b>\n</a>\n", out.finish().str());
}

TEST(BlockText, KeepsEveryByteAcrossBlocks) {
    BlockText text;
    std::string expected;
    // Pieces that end on, just before and just after a block boundary, single
    // characters, and pieces larger than a block.
    const std::string big(200 * 1024, 'x');
    for (int i = 0; i < 3000; ++i) {
        const std::string piece = std::to_string(i) + std::string(i % 97, 'a' + i % 26) + (i % 1000 ? "" : big);
        text.append(piece.data(), piece.size());
        text.append('\n', 1 + i % 3);
        expected += piece + std::string(1 + i % 3, '\n');
    }
    EXPECT_EQ(expected.size(), text.size());
    std::string out = "head:";
    text.appendTo(out);
    EXPECT_TRUE("head:" + expected == out);
}

}  // namespace
