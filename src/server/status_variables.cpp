// Reading a module's status variables from the PHPserialize file that the
// XML-RPC client writes: each tAlarmasEstadoE object carries an fnombre and an
// fvalor string, found by their markers rather than by a full unserializer so
// that the client's exact layout does not matter. The file is scanned line by
// line: an object broken across lines is dropped, and the scan picks up again
// on the next line.
#include "server/status_variables.h"

#include "server/status_report.h"

#include "common/fs.h"

#include <cstring>

namespace dorel_remote_control {

namespace {

constexpr std::string_view kObjectMarker = "tAlarmasEstadoE";
constexpr std::string_view kNameMarker = "fnombre";
constexpr std::string_view kValueMarker = "fvalor";
constexpr std::string_view kStringStart = ":\"";

constexpr size_t kNotFound = static_cast<size_t>(-1);

// Where `needle` starts in text[from, end), or kNotFound. The haystacks are
// a few dozen bytes between two markers: looking for the first letter with
// memchr beats a general substring search that first studies the needle.
size_t findIn(const std::string& text, size_t from, size_t end, std::string_view needle) {
    if (from > end || end - from < needle.size()) return kNotFound;
    const char* at = text.data() + from;
    const char* const last = text.data() + end - needle.size();  // the last place it can start
    while ((at = static_cast<const char*>(memchr(at, needle[0], static_cast<size_t>(last - at) + 1)))) {
        if (memcmp(at + 1, needle.data() + 1, needle.size() - 1) == 0)
            return static_cast<size_t>(at - text.data());
        if (at == last) break;
        ++at;
    }
    return kNotFound;
}

size_t findIn(const std::string& text, size_t from, size_t end, char c) {
    if (from > end) return kNotFound;
    const void* at = memchr(text.data() + from, c, end - from);
    return at ? static_cast<size_t>(static_cast<const char*>(at) - text.data()) : kNotFound;
}

}  // namespace

StatusVariableList StatusVariableList::read(const std::string& path) {
    StatusVariableList list;
    if (!readFile(path, list.text_, kMaxFileBytes)) return list;
    const size_t size = list.text_.size();
    // A module reports a few dozen variables; start with room for the usual ones.
    if (size > 0) list.variables_.reserve(32);
    for (size_t lineAt = 0; lineAt < size;) {
        size_t lineEnd = findIn(list.text_, lineAt, size, '\n');
        if (lineEnd == kNotFound) lineEnd = size;
        list.scanLine(lineAt, lineEnd);
        lineAt = lineEnd + 1;
    }
    return list;
}

// Finds `marker` at or after `from`, then the string start after it, and takes
// the text up to the next double quote, all within the line. Returns false
// when anything is missing; `next` is left just past the closing quote.
bool StatusVariableList::markedString(size_t from, size_t lineEnd, std::string_view marker, Span& text,
                                      size_t& next) const {
    const size_t markerAt = findIn(text_, from, lineEnd, marker);
    if (markerAt == kNotFound) return false;
    const size_t start = findIn(text_, markerAt + marker.size(), lineEnd, kStringStart);
    if (start == kNotFound) return false;
    const size_t textAt = start + kStringStart.size();
    const size_t end = findIn(text_, textAt, lineEnd, '"');
    if (end == kNotFound) return false;
    text = {textAt, end - textAt};
    next = end + 1;
    return true;
}

void StatusVariableList::scanLine(size_t lineAt, size_t lineEnd) {
    size_t pos = lineAt;
    while (true) {
        const size_t object = findIn(text_, pos, lineEnd, kObjectMarker);
        if (object == kNotFound) return;
        Variable variable;
        size_t afterName = 0;
        if (!markedString(object + kObjectMarker.size(), lineEnd, kNameMarker, variable.name, afterName)) return;
        if (!markedString(afterName, lineEnd, kValueMarker, variable.value, pos)) return;
        variables_.push_back(variable);
    }
}

bool StatusVariableList::find(std::string_view stem, std::string_view suffix, std::string_view& value) const {
    const size_t size = stem.size() + suffix.size();
    for (auto it = variables_.rbegin(); it != variables_.rend(); ++it) {
        if (it->name.size != size) continue;
        const std::string_view name = view(it->name);
        if (name.compare(0, stem.size(), stem) == 0 && name.compare(stem.size(), suffix.size(), suffix) == 0) {
            value = view(it->value);
            return true;
        }
    }
    return false;
}

}  // namespace dorel_remote_control
