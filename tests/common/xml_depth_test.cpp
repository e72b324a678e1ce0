// The nesting guard in front of the parser: a document deeper than the limit
// is refused like malformed XML, before the recursive parser sees it, and
// markup that only looks like nesting does not count.
#include "common/xml.h"
#include "common/xml_depth.h"

#include <gtest/gtest.h>

#include <string>

using namespace dorel_remote_control;

namespace {

std::string nested(int levels, const std::string& open = "<a>", const std::string& close = "</a>") {
    std::string text;
    for (int i = 0; i < levels; ++i) text += open;
    for (int i = 0; i < levels; ++i) text += close;
    return text;
}

}  // namespace

TEST(XmlDepth, CountsOnlyWhatTheParserNests) {
    const std::string deep = nested(kMaxXmlDepth + 1);
    const struct {
        const char* what;
        std::string text;
        bool refused;
    } cases[] = {
        {"at the limit", nested(kMaxXmlDepth), false},
        {"one level more", deep, true},
        {"siblings do not add up", nested(1, "<r>", "</r>").insert(3, nested(1) + nested(1) + nested(1)), false},
        {"self-closed elements", "<r>" + std::string(5000, ' ') + nested(kMaxXmlDepth + 1, "<b/>", "") + "</r>", false},
        {"inside a comment", "<r><!--" + deep.substr(0, 3 * (kMaxXmlDepth + 1)) + "--></r>", false},
        {"inside CDATA", "<r><![CDATA[" + deep.substr(0, 3 * (kMaxXmlDepth + 1)) + "]]></r>", false},
        {"inside a DOCTYPE subset", "<!DOCTYPE r [" + deep.substr(0, 3 * (kMaxXmlDepth + 1)) + "]><r/>", false},
        // A quoted value may hold closing tags: counting them would let a
        // deep document through.
        {"closing tags inside an attribute", nested(kMaxXmlDepth + 1, "<a x='</a></a>' y=\"</a>\">", "</a>"), true},
        {"quotes in a name are no quotes", nested(kMaxXmlDepth + 1, "<a\"></a><a>", ""), true},
        {"a DOCTYPE without blank is no DOCTYPE", "<!DOCTYPEx [>" + deep, true},
        {"nothing after a NUL byte", std::string("<r/>") + '\0' + deep, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(xmlDepthExceeded(c.text.data(), c.text.size(), kMaxXmlDepth) >= 0, c.refused) << c.what;
}

// Without the guard the recursive parser would run out of stack on this.
TEST(XmlDepth, ParsedXmlRefusesADeepDocumentAsAParseError) {
    EXPECT_NO_THROW(ParsedXml(nested(kMaxXmlDepth)));
    EXPECT_THROW(ParsedXml(nested(100000)), rapidxml::parse_error);
}
