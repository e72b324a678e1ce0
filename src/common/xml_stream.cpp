#include "common/xml_stream.h"

#include "common/xml.h"

#include <cstring>

namespace dorel_remote_control {

XmlChildren::XmlChildren(const char* text, size_t size)
    : base_(text), tokens_(text, size), depth_(1), roots_(true) {}

XmlChildren::XmlChildren(const XmlElement& parent)
    : base_(parent.content.data()),
      tokens_(parent.content.data(), parent.content.size()),
      depth_(parent.depth + 1),
      roots_(false) {}

void XmlChildren::refuse(const char* what, size_t offset) {
    error_ = what;
    errorOffset_ = offset;
    throw rapidxml::parse_error(what, const_cast<char*>(base_ + offset));
}

bool XmlChildren::next() {
    if (error_ != nullptr) refuse(error_, errorOffset_);
    for (;;) {
        const XmlToken tag = tokens_.next();
        switch (tag.kind) {
        case XmlToken::End:
            return false;
        case XmlToken::Malformed:
            refuse("malformed markup", tag.begin);
        case XmlToken::EndTag:
            refuse("expected element name", tag.begin);
        case XmlToken::Text:
            if (roots_ && !blankOutsideRoots(base_, tag)) refuse("expected <", tag.begin);
            continue;
        case XmlToken::StartTag:
        case XmlToken::EmptyTag:
            break;
        }
        child_.name = std::string_view(tag.name, tag.nameLength);
        child_.depth = depth_;
        if (tag.kind == XmlToken::EmptyTag) {
            child_.text = std::string_view(base_ + tag.begin, tag.end - tag.begin);
            child_.content = std::string_view(base_ + tag.end, 0);
            return true;
        }
        // Only a start tag takes the parser a level deeper; an empty tag
        // below the deepest level is no deeper recursion.
        if (depth_ > kMaxXmlDepth) refuse("document nested too deep", tag.begin);
        int open = 1;
        for (;;) {
            const XmlToken inner = tokens_.next();
            switch (inner.kind) {
            case XmlToken::StartTag:
                if (depth_ + open > kMaxXmlDepth) refuse("document nested too deep", inner.begin);
                ++open;
                continue;
            case XmlToken::EndTag:
                if (--open > 0) continue;
                child_.text = std::string_view(base_ + tag.begin, inner.end - tag.begin);
                child_.content = std::string_view(base_ + tag.end, inner.begin - tag.end);
                return true;
            case XmlToken::EmptyTag:
            case XmlToken::Text:
                continue;
            case XmlToken::Malformed:
                refuse("malformed markup", inner.begin);
            case XmlToken::End:
                refuse("unexpected end of data", inner.begin);
            }
        }
    }
}

}  // namespace dorel_remote_control
