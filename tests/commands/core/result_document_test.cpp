// The commandResult document: what the server reads back for every command.
#include "commands/core/result_document.h"
#include "support/test_env.h"

#include <gtest/gtest.h>

namespace dorel_remote_control {
namespace {

TEST(ResultDocument, ErrorsGoOutInCodeOrderAndAreLoggedOncePerPrint) {
    rctest::TestEnv env_("");
    ResultDocument result;
    result.addError(702);
    result.addError(103, "bad 'port' value");
    result.addError(702, "checksum of fw.bin");  // replaces the first 702
    result.addError(100);
    const std::string text = result.print(env_);
    EXPECT_NE(std::string::npos,
              text.find("\t<errors>\n"
                        "\t\t<error>\n\t\t\t<id>100</id>\n\t\t\t<text>Unknown Error</text>\n\t\t</error>\n"
                        "\t\t<error>\n\t\t\t<id>103</id>\n\t\t\t<text>bad &apos;port&apos; value</text>\n\t\t</error>\n"
                        "\t\t<error>\n\t\t\t<id>702</id>\n\t\t\t<text>checksum of fw.bin</text>\n\t\t</error>\n"
                        "\t</errors>\n"))
        << text;
    EXPECT_EQ(text, result.print(env_)) << "printing again does not add the errors twice";
    EXPECT_EQ(6, env_.count("Command error: ")) << env_.dump();
    EXPECT_EQ(2, env_.count("Command error: 103 bad 'port' value"));
}

// A written output must print exactly as the same output built as a tree,
// after the errors and the tree's own children of data; a retried command
// starts again without it.
TEST(ResultDocument, WrittenOutputPrintsAsTheSameTreeUntilCleared) {
    rctest::TestEnv env_("");
    ResultDocument written, built;
    for (ResultDocument* r : {&written, &built}) {
        r->addError(102, "database <locked>");
        appendElement(r->doc(), r->data(), "first", "tree child");
    }
    XmlWriter out = ResultDocument::dataWriter();
    out.open("bigResult");
    out.element("name", "a <b> & 'c'");
    out.element("empty");
    written.setDataText(out.finish());
    XmlNode* output = appendElement(built.doc(), built.data(), "bigResult");
    appendElement(built.doc(), output, "name", "a <b> & 'c'");
    appendElement(built.doc(), output, "empty");
    EXPECT_EQ(built.print(env_), written.print(env_));
    EXPECT_EQ(built.print(env_), written.print(env_)) << "printing again gives the same text";
    for (const std::string& detail : {std::string("rolled back"), std::string(5000, 'x'), std::string()}) {
        for (ResultDocument* r : {&written, &built}) r->addError(904, detail);
        EXPECT_EQ(built.print(env_), written.print(env_)) << "what surrounds the output changed after it printed";
    }
    written.clear();
    EXPECT_NE(std::string::npos, written.print(env_).find("\t<data/>\n"));
}

}  // namespace
}  // namespace dorel_remote_control
