// The nesting guard in front of RapidXML: RapidXML recurses once per element
// level, so the depth of a text is measured by a flat scan before the parser
// sees it.
#pragma once

#include <cstddef>

namespace dorel_remote_control {

// Offset of the first start tag that opens level limit + 1, or -1 when the
// text stays within limit levels. The scan stops at the first NUL byte, as the
// parser does, and reads markup the way RapidXML does (comments, CDATA,
// processing instructions, DOCTYPE with its internal subset, quoted attribute
// values), so it never sees fewer levels than the parser would build.
long xmlDepthExceeded(const char* text, size_t size, int limit);

}  // namespace dorel_remote_control
