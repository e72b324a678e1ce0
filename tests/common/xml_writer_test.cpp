// The streaming writer must give, byte for byte, what printXml() gives for
// the same tree: the server reads both kinds of document alike.
#include "common/xml.h"
#include "common/xml_writer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace dorel_remote_control;

namespace {

// A document described once, then built both ways.
struct Element {
    std::string name;
    std::string text;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::vector<Element> children;
};

XmlNode* buildTree(XmlDocument& doc, XmlNode* parent, const Element& e) {
    XmlNode* node = appendElement(doc, parent, e.name, e.children.empty() ? e.text : std::string());
    for (const auto& a : e.attributes) {
        node->append_attribute(doc.allocate_attribute(doc.allocate_string(a.first.c_str()),
                                                      doc.allocate_string(a.second.c_str(), a.second.size() + 1),
                                                      a.first.size(), a.second.size()));
    }
    for (const Element& child : e.children) buildTree(doc, node, child);
    return node;
}

void write(XmlWriter& out, const Element& e) {
    if (e.children.empty() && e.attributes.empty()) {
        out.element(e.name.c_str(), e.text);
        return;
    }
    out.open(e.name.c_str());
    for (const auto& a : e.attributes) out.attribute(a.first.c_str(), a.second);
    for (const Element& child : e.children) write(out, child);
    out.close();
}

// The tree printed inside `depth` ancestors, without the ancestors' lines:
// what a writer starting at that depth must give.
std::string printedAtDepth(const Element& e, int depth) {
    ParsedXml doc;
    XmlNode* parent = &doc.doc();
    for (int i = 0; i < depth; ++i) parent = appendElement(doc.doc(), parent, "outer");
    buildTree(doc.doc(), parent, e);
    std::string text = printXml(*doc.doc().first_node());
    for (int i = 0; i < depth; ++i) {
        text.erase(0, text.find('\n') + 1);                  // an ancestor's opening line
        text.erase(text.rfind('\n', text.size() - 2) + 1);  // and its closing line
    }
    return text;
}

Element leaf(const std::string& name, const std::string& text = "") { return {name, text, {}, {}}; }

TEST(XmlWriter, WritesWhatPrintXmlPrintsForTheSameTree) {
    const struct {
        const char* what;
        Element document;
    } cases[] = {
        {"empty element", leaf("a")},
        {"every escaped character, blanks, breaks and UTF-8",
         leaf("name", "Tom & Jerry's <\"show\">  \n\tEspaña €")},
        {"blanks only", leaf("v", "   ")},
        {"a value escaped in several pieces", leaf("long", std::string(2500, 'x') + "<&>" + std::string(2500, '"'))},
        {"nested lists, empty ones included",
         {"modules", "", {}, {{"module", "", {}, {leaf("id", "1"), leaf("inputs"), {"services", "", {}, {leaf("s", "x")}}}},
                              leaf("module")}}},
        {"attributes: plain, with either quote, with both, empty",
         {"e", "", {{"a", "1"}, {"b", "say \"hi\""}, {"c", "it's"}, {"d", "'\"&<>"}, {"e", ""}}, {leaf("c", "t")}}},
        {"attributes on an element without children", {"e", "", {{"k", "v"}}, {}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        for (int depth : {0, 3}) {
            XmlWriter out(depth);
            write(out, c.document);
            EXPECT_EQ(printedAtDepth(c.document, depth), out.finish().str()) << "depth " << depth;
        }
    }
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
    // Small pieces that end exactly on, just before and just after a block
    // boundary, single characters, and pieces larger than a block.
    const std::string big(200 * 1024, 'x');
    for (int i = 0; i < 3000; ++i) {
        const std::string piece = std::to_string(i) + std::string(i % 97, 'a' + i % 26);
        text.append(piece.data(), piece.size());
        text.append('\n', 1 + i % 3);
        expected += piece + std::string(1 + i % 3, '\n');
        if (i % 1000 == 999) {
            text.append(big.data(), big.size());
            expected += big;
        }
    }
    EXPECT_EQ(expected.size(), text.size());
    EXPECT_TRUE(expected == text.str());
    std::string out = "head:";
    text.appendTo(out);
    EXPECT_TRUE("head:" + expected == out);
}

}  // namespace
