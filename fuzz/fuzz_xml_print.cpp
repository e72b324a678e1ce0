// The agent's two XML printers against RapidXML's own printer (default
// flags). The input is read twice: as a small program of open / attribute /
// element / close steps, played on an XmlWriter and on a RapidXML tree built
// alongside, whose printed texts (and printXml of that tree) must be the same;
// and as a document, parsed as the agent parses, whose printXml must be
// RapidXML's print. Any difference aborts.
#include "common/xml.h"
#include "common/xml_writer.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>

using namespace dorel_remote_control;

namespace {

void check(bool same, const char* what) {
    if (same) return;
    fprintf(stderr, "xml_print: %s\n", what);
    abort();
}

std::string rapidPrint(const XmlNode& node) {
    std::string out;
    rapidxml::print(std::back_inserter(out), node);
    return out;
}

// The input front to back; past its end every byte reads as 0.
struct Input {
    const uint8_t* at;
    const uint8_t* end;
    uint8_t byte() { return at < end ? *at++ : 0; }
    std::string bytes(size_t n) {
        n = std::min(n, static_cast<size_t>(end - at));
        at += n;
        return std::string(reinterpret_cast<const char*>(at - n), n);
    }
    // Up to three bytes, cut at a NUL as a C string name is.
    std::string name() { return bytes(byte() % 4).c_str(); }
    // Mostly short; now and then one character repeated past the writer's
    // escape piece and, with a few of them, past its text block.
    std::string value() {
        const uint8_t v = byte();
        return v < 0xf0 ? bytes(v % 48) : std::string((v - 0xefu) * 1500u, static_cast<char>(byte()));
    }
};

char* poolCopy(XmlDocument& doc, const std::string& text) { return doc.allocate_string(text.c_str(), text.size() + 1); }

void writerAgainstTree(Input in) {
    const int depth = in.byte() % 4;
    XmlWriter writer(depth);
    XmlDocument doc;
    XmlNode* parent = &doc;
    bool tagOpen = false;   // attributes go to an element just opened
    int opened = 0;
    while (in.at < in.end) {
        const uint8_t op = in.byte() % 4;
        const std::string name = in.name();
        if (op == 0 && ++opened > 64) continue;   // bounded: the printers recurse once per level
        if (op == 0) {
            writer.open(name.c_str());
            parent = appendElement(doc, parent, name);
        } else if (op == 1 && tagOpen) {
            const std::string value = in.value();
            writer.attribute(name.c_str(), value);
            parent->append_attribute(
                doc.allocate_attribute(poolCopy(doc, name), poolCopy(doc, value), name.size(), value.size()));
        } else if (op == 1 || op == 2) {
            const std::string value = in.value();
            op == 1 ? writer.attribute(name.c_str(), value) : writer.element(name.c_str(), value);
            if (op == 2) appendElement(doc, parent, name, value);
        } else {
            writer.close();
            if (parent != &doc) parent = parent->parent();
        }
        tagOpen = op == 0 || (tagOpen && op == 1);
    }
    // A written document is its elements one after the other, from the
    // writer's depth on, without the line break RapidXML adds after a whole
    // document.
    std::string expected;
    for (const XmlNode* node = doc.first_node(); node; node = node->next_sibling()) {
        rapidxml::internal::print_node(std::back_inserter(expected), node, 0, depth);
    }
    check(writer.finish().str() == expected, "XmlWriter differs from RapidXML's print");
    check(printXml(doc) == rapidPrint(doc), "printXml differs from RapidXML's print of a built tree");
}

void printedAgainstParsed(const std::string& text) {
    try {
        ParsedXml parsed(text);
        check(printXml(parsed.doc()) == rapidPrint(parsed.doc()), "printXml differs on a parsed document");
    } catch (const rapidxml::parse_error&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    writerAgainstTree(Input{data, data + size});
    printedAgainstParsed(std::string(reinterpret_cast<const char*>(data), size));
    return 0;
}
