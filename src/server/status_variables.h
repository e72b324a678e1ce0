// A module's status variables as the alarm rules read them: the text of the
// PHPserialize answer kept whole, and where each name and value lie in it, so
// that reading a module costs one buffer and one list rather than a string
// per name and value.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace dorel_remote_control {

class StatusVariableList {
public:
    StatusVariableList() = default;

    // Reads the answer file the XML-RPC client leaves behind; an unreadable
    // file gives an empty list. Only its first kMaxFileBytes are read: a real
    // answer is a few kilobytes, and a runaway file must not exhaust memory
    // or keep the pass reading forever.
    static StatusVariableList read(const std::string& path);
    static constexpr size_t kMaxFileBytes = 1u << 20;

    // The value reported last under the name stem + suffix (the two parts
    // spare the caller building the name); false when none was reported.
    bool find(std::string_view stem, std::string_view suffix, std::string_view& value) const;

private:
    struct Span {
        size_t at;
        size_t size;
    };
    struct Variable {
        Span name;
        Span value;
    };

    std::string_view view(Span span) const { return std::string_view(text_).substr(span.at, span.size); }
    void scanLine(size_t lineAt, size_t lineEnd);
    bool markedString(size_t from, size_t lineEnd, std::string_view marker, Span& text, size_t& next) const;

    std::string text_;
    std::vector<Variable> variables_;  // in the order of the file
};

}  // namespace dorel_remote_control
