#include "common/xml_depth.h"

#include "common/xml_tokens.h"

namespace dorel_remote_control {

long xmlDepthExceeded(const char* text, size_t size, int limit) {
    XmlTokens tokens(text, size);
    int depth = 0;
    for (;;) {
        const XmlToken token = tokens.next();
        switch (token.kind) {
        case XmlToken::StartTag:
            if (++depth > limit) return static_cast<long>(token.begin);
            break;
        case XmlToken::EndTag:
            if (depth > 0) --depth;
            break;
        case XmlToken::EmptyTag:
        case XmlToken::Text:
            break;
        case XmlToken::End:
        case XmlToken::Malformed:
            return -1;
        }
    }
}

}  // namespace dorel_remote_control
