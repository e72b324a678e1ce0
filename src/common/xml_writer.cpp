#include "common/xml_writer.h"

#include <cstring>

namespace dorel_remote_control {
namespace {

// Below glibc's threshold for mapping a block of its own, so the blocks come
// from and go back to the heap like any other allocation.
constexpr size_t kBlockSize = 64 * 1024;

const char* entity(char c) {
    switch (c) {
    case '<': return "&lt;";
    case '>': return "&gt;";
    case '\'': return "&apos;";
    case '"': return "&quot;";
    case '&': return "&amp;";
    default: return nullptr;
    }
}

}  // namespace

std::string& BlockText::room(size_t size) {
    if (blocks_.empty() || blocks_.back().capacity() - blocks_.back().size() < size) {
        blocks_.emplace_back();
        blocks_.back().reserve(size > kBlockSize ? size : kBlockSize);
    }
    return blocks_.back();
}

void BlockText::append(const char* text, size_t size) {
    if (size == 0) return;
    room(size).append(text, size);
    size_ += size;
}

void BlockText::append(char c, size_t count) {
    if (count == 0) return;
    room(count).append(count, c);
    size_ += count;
}

void BlockText::appendTo(std::string& out) const {
    out.reserve(out.size() + size_);
    for (const std::string& block : blocks_) out += block;
}

std::string BlockText::str() const {
    std::string out;
    appendTo(out);
    return out;
}

void XmlWriter::startChild() {
    if (tagOpen_) text_.append(">\n", 2);
    tagOpen_ = false;
}

void XmlWriter::open(const char* name) {
    startChild();
    indent(baseDepth_ + open_.size());
    text_.append('<');
    text_.append(name, strlen(name));
    open_.emplace_back(name);
    tagOpen_ = true;
}

void XmlWriter::attribute(const char* name, const char* value, size_t size) {
    if (!tagOpen_) return;
    // A value holding a double quote goes in single quotes, which it may
    // then hold unescaped, and the other way round.
    const char quote = size > 0 && memchr(value, '"', size) != nullptr ? '\'' : '"';
    text_.append(' ');
    text_.append(name, strlen(name));
    text_.append('=');
    text_.append(quote);
    escaped(value, size, quote == '"' ? '\'' : '"');
    text_.append(quote);
}

void XmlWriter::element(const char* name, const char* value, size_t size) {
    startChild();
    indent(baseDepth_ + open_.size());
    const size_t nameSize = strlen(name);
    text_.append('<');
    text_.append(name, nameSize);
    if (size == 0) {
        text_.append("/>\n", 3);
        return;
    }
    text_.append('>');
    escaped(value, size, '\0');
    text_.append("</", 2);
    text_.append(name, nameSize);
    text_.append(">\n", 2);
}

void XmlWriter::close() {
    if (open_.empty()) return;
    if (tagOpen_) {
        text_.append("/>\n", 3);
        tagOpen_ = false;
    } else {
        indent(baseDepth_ + open_.size() - 1);
        text_.append("</", 2);
        text_.append(open_.back().data(), open_.back().size());
        text_.append(">\n", 2);
    }
    open_.pop_back();
}

BlockText XmlWriter::finish() {
    while (!open_.empty()) close();
    BlockText done = std::move(text_);
    text_ = BlockText();
    return done;
}

void XmlWriter::escaped(const char* value, size_t size, char unescaped) {
    const char* run = value;
    const char* end = value + size;
    for (const char* p = value; p != end; ++p) {
        const char* replacement = *p != unescaped ? entity(*p) : nullptr;
        if (replacement == nullptr) continue;
        text_.append(run, p - run);
        text_.append(replacement, strlen(replacement));
        run = p + 1;
    }
    text_.append(run, end - run);
}

}  // namespace dorel_remote_control
