// Reading a module's status variables from the PHPserialize file that the
// XML-RPC client writes: each tAlarmasEstadoE object carries an fnombre and an
// fvalor string, found by their markers rather than by a full unserializer so
// that the client's exact layout does not matter.
#include "server/status_report.h"

#include <fstream>

namespace dorel_remote_control {

namespace {

const char kObjectMarker[] = "tAlarmasEstadoE";
const char kNameMarker[] = "fnombre";
const char kValueMarker[] = "fvalor";
const char kStringStart[] = ":\"";

// Finds `marker` at or after `from`, then the string start after it, and reads
// the text up to the next double quote. Returns false when anything is missing;
// `next` is left just past the closing quote.
bool readMarkedString(const std::string& line, size_t from, const char* marker,
                      std::string& text, size_t& next) {
    const size_t markerAt = line.find(marker, from);
    if (markerAt == std::string::npos) return false;
    const size_t start = line.find(kStringStart, markerAt + std::char_traits<char>::length(marker));
    if (start == std::string::npos) return false;
    const size_t textAt = start + sizeof(kStringStart) - 1;
    const size_t end = line.find('"', textAt);
    if (end == std::string::npos) return false;
    text.assign(line, textAt, end - textAt);
    next = end + 1;
    return true;
}

void scanLine(const std::string& line, std::map<std::string, std::string>& variables) {
    size_t pos = 0;
    while (true) {
        const size_t object = line.find(kObjectMarker, pos);
        if (object == std::string::npos) return;
        std::string name;
        std::string value;
        size_t afterName = 0;
        if (!readMarkedString(line, object + sizeof(kObjectMarker) - 1, kNameMarker, name, afterName))
            return;
        if (!readMarkedString(line, afterName, kValueMarker, value, pos)) return;
        variables[name] = value;
    }
}

}  // namespace

std::map<std::string, std::string> parseStatusVariables(const std::string& path) {
    std::map<std::string, std::string> variables;
    std::ifstream file(path, std::ios::binary);
    if (!file) return variables;
    std::string line;
    while (std::getline(file, line)) scanLine(line, variables);
    return variables;
}

}  // namespace dorel_remote_control
