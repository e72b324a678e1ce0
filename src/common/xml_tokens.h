// A flat walk over the markup of a text, read the way RapidXML reads it: its
// own character classes for names and attributes, quoted values that may hold
// any markup, comments, CDATA, processing instructions and a DOCTYPE with its
// internal subset skipped. No tree is built and nothing recurses, so any text
// can be walked: the depth guard measures nesting with it, the reply intake
// finds its commands with it, and the element reader (xml_stream.h) walks a
// document with it, all without parsing the whole text at once.
//
// Whatever the parser refuses wherever it stands is Malformed here: a tag it
// cannot read, markup that the text ends inside, a character reference it
// cannot decode. What depends on where markup stands (text outside every
// element, an end tag with no element open, the text ending inside an
// element, nesting) is left to the walk's user.
#pragma once

#include <cstddef>

namespace dorel_remote_control {

struct XmlToken {
    enum Kind { StartTag, EmptyTag, EndTag, Text, End, Malformed };
    Kind kind = End;
    size_t begin = 0;       // offset of the token's first byte
    size_t end = 0;         // offset one past its last byte
    const char* name = "";  // element name of a start, empty or end tag (not terminated)
    size_t nameLength = 0;

    // Whether the tag's name is exactly that.
    bool named(const char* other) const;
};

// Whether a Text token outside every element holds what the parser allows
// there: blanks only, after a byte-order mark at the very start of the text.
bool blankOutsideRoots(const char* base, const XmlToken& token);

class XmlTokens {
public:
    // The walk stops at the first NUL byte, as the parser does.
    XmlTokens(const char* text, size_t size);

    // The next tag or run of text. After End or Malformed it keeps returning
    // that.
    XmlToken next();

private:
    const char* text_;
    const char* p_;
    const char* end_;
    bool stopped_ = false;
};

}  // namespace dorel_remote_control
