// The element reader: what a fuzzer comparing it with the parser would hardly
// reach by itself (documents near the nesting limit, a configuration walked
// section by section), and the texts where an element parsed alone and the
// whole text part ways, each decided as the parser of the whole text does.
#include "common/xml.h"
#include "common/xml_stream.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace dorel_remote_control;

namespace {

std::string repeat(const std::string& part, int times) {
    std::string text;
    for (int i = 0; i < times; ++i) text += part;
    return text;
}

std::string nested(int levels, const std::string& inside = "") {
    return repeat("<a>", levels) + inside + repeat("</a>", levels);
}

bool walkAccepts(const std::string& text) {
    try {
        XmlChildren roots(text.data(), text.size());
        while (roots.next()) {
        }
        return true;
    } catch (const rapidxml::parse_error&) {
        return false;
    }
}

bool parserAccepts(const std::string& text) {
    try {
        ParsedXml whole(text);
        return true;
    } catch (const rapidxml::parse_error&) {
        return false;
    }
}

}  // namespace

TEST(XmlStream, WalksAConfigurationSectionBySectionAsWrittenAndParsesOneAlone) {
    const std::string text =
        "\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<command><id>7</id><data><!-- c --><configuration>"
        "<MODULES><module><mac>m</mac>" + nested(200) + "</module></MODULES>\n"
        "<future a='&lt;/configuration&gt;'><x/></future><![CDATA[<network>]]>"
        "<Identification><headendName>Caf&#xE9; &amp; <![CDATA[<b>]]></headendName></Identification>"
        "<network/></configuration></data></command>";
    XmlChildren roots(text.data(), text.size());
    ASSERT_TRUE(roots.next());
    XmlChildren command(roots.child());
    ASSERT_TRUE(command.next() && command.next());
    EXPECT_EQ(command.child().name, "data");
    XmlChildren data(command.child());
    ASSERT_TRUE(data.next());
    XmlChildren configuration(data.child());
    std::vector<std::string> names;
    std::string identification;
    while (configuration.next()) {
        names.emplace_back(configuration.child().name);
        EXPECT_EQ(configuration.child().depth, 4);
        if (names.back() == "Identification") identification = configuration.child().text;
    }
    EXPECT_EQ(names, (std::vector<std::string>{"MODULES", "future", "Identification", "network"}));
    EXPECT_FALSE(data.next());
    EXPECT_FALSE(roots.next());

    ParsedXml section(identification.data(), identification.size());
    EXPECT_EQ(nodeText(childElement(section.doc().first_node("Identification"), "headendName")), "Caf\xC3\xA9 & ");
}

TEST(XmlStream, NestingCountsFromTheTopOfTheDocumentWhetherAnElementIsEnteredOrSkipped) {
    // The second root's child would pass the guard parsed alone, one level
    // short; counted from the document's top it is one level too deep.
    const std::string atLimit = "<r>" + nested(kMaxXmlDepth - 1, "<e/>") + "</r>";
    const std::string tooDeep = "<r>" + nested(kMaxXmlDepth) + "</r>";
    const std::string text = atLimit + tooDeep;
    XmlChildren roots(text.data(), text.size());
    ASSERT_TRUE(roots.next());
    EXPECT_EQ(roots.child().text.size(), atLimit.size());
    EXPECT_THROW(roots.next(), rapidxml::parse_error);
    EXPECT_THROW(roots.next(), rapidxml::parse_error) << "a refused walk goes on";

    XmlChildren r(XmlElement{"r", tooDeep, std::string_view(tooDeep).substr(3, tooDeep.size() - 7), 1});
    EXPECT_THROW(r.next(), rapidxml::parse_error);
    EXPECT_NO_THROW(ParsedXml(tooDeep.substr(3, tooDeep.size() - 7)));
    EXPECT_FALSE(parserAccepts(tooDeep));
}

TEST(XmlStream, RefusesExactlyWhatTheParserOfTheWholeTextRefuses) {
    const struct {
        const char* what;
        std::string text;
        bool accepted;
    } cases[] = {
        {"a second root", "<a/> <b>x</b>\r\n", true},
        {"declaration, DOCTYPE, PI and CDATA outside", "<?xml v?><!DOCTYPE a [<!x [>]>]><?p?><![CDATA[x]]><a/>", true},
        {"text after the root", "<a/>x", false},
        {"a byte-order mark only at the start", "<a/>\xEF\xBB\xBF", false},
        {"an end tag with nothing open", "<a></a></b>", false},
        {"an element left open", "<a><b></b>", false},
        {"closing names are not compared", "<a><b></a></>", true},
        {"an end tag with more than a name", "<a></a b>", false},
        {"a comment the text ends in", "<a/><!-- x", false},
        {"CDATA the text ends in", "<a><![CDATA[x</a>", false},
        {"a PI the text ends in", "<a/><?p ", false},
        {"a DOCTYPE the text ends in", "<!DOCTYPE a [ <a/>", false},
        {"other <! markup the text ends in", "<a/><!x", false},
        {"references the parser decodes or keeps", "<a b='&#x10FFFF;&#1a;&#;'>&bogus;&amp</a>", true},
        {"a code point past Unicode", "<a>&#x110000;</a>", false},
        {"a reference without ;", "<a><b/>&#12 </a>", false},
        {"a bad reference in an attribute", "<a><b c=\"&#xZ;\"/></a>", false},
        {"a number that wraps in unsigned long", "<a>&#x100000041;</a>", sizeof(unsigned long) == 4},
        {"nothing after a NUL byte", std::string("<a/>\0junk", 9), true},
        {"a NUL byte inside an element", std::string("<a>\0</a>", 8), false},
        {"an empty element below the deepest level", nested(kMaxXmlDepth, "<e/>"), true},
        {"a start tag below it", nested(kMaxXmlDepth, "<e></e>"), false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(walkAccepts(c.text), c.accepted) << c.what;
        EXPECT_EQ(parserAccepts(c.text), c.accepted) << c.what;
    }
}
