#include "common/xml_writer.h"

#include "common/memory.h"
#include "common/xml_entities.h"

#include <cstring>

namespace dorel_remote_control {
namespace {

// Below glibc's threshold for mapping a block of its own, so the blocks come
// from and go back to the heap like any other allocation.
constexpr size_t kBlockSize = 64 * 1024;
constexpr size_t kPagesReturnedEvery = 1024 * 1024;

// A value is escaped this many characters at a time, so that the room asked
// for stays small however long the value is.
constexpr size_t kEscapePiece = 1024;

char* put(char* out, const char* text, size_t size) {
    memcpy(out, text, size);
    return out + size;
}

// Copies text with & < > ' " replaced by their entities, except `unescaped`
// ('\0' for none), as RapidXML's printer does.
char* putEscaped(char* out, const char* text, size_t size, char unescaped) {
    for (const char* end = text + size; text != end; ++text) {
        const char c = *text;
        const char* entity = c == unescaped ? nullptr : xmlEntityFor(c);
        if (entity == nullptr) {
            *out++ = c;
            continue;
        }
        out = put(out, entity, std::strlen(entity));
    }
    return out;
}

}  // namespace

char* BlockText::reserve(size_t size) {
    if (blocks_.empty() || blocks_.back().capacity - blocks_.back().used < size) {
        const size_t capacity = size > kBlockSize ? size : kBlockSize;
        blocks_.push_back(Block{std::make_unique<char[]>(capacity), 0, capacity});
    }
    return blocks_.back().data.get() + blocks_.back().used;
}

void BlockText::commit(size_t used) {
    blocks_.back().used += used;
    size_ += used;
}

void BlockText::append(const char* text, size_t size) {
    if (size == 0) return;
    memcpy(reserve(size), text, size);
    commit(size);
}

void BlockText::append(char c, size_t count) {
    if (count == 0) return;
    memset(reserve(count), c, count);
    commit(count);
}

void BlockText::moveTo(std::string& out) {
    size_t moved = 0;
    for (Block& block : blocks_) {
        out.append(block.data.get(), block.used);
        block.data.reset();
        moved += block.used;
        // The string's pages are touched only as they are filled; the freed
        // blocks' pages go back as it grows, not all at the end.
        if (moved >= kPagesReturnedEvery) {
            returnFreedMemory();
            moved = 0;
        }
    }
    blocks_.clear();
    size_ = 0;
    returnFreedMemory();
}

std::string BlockText::str() && {
    std::string out;
    out.reserve(size_);
    moveTo(out);
    return out;
}

void XmlWriter::startChild() {
    if (tagOpen_) text_.append(">\n", 2);
    tagOpen_ = false;
}

void XmlWriter::open(const char* name) {
    startChild();
    const size_t nameSize = strlen(name);
    char* start = text_.reserve(depth() + 1 + nameSize);
    char* out = start;
    memset(out, '\t', depth());
    out += depth();
    *out++ = '<';
    out = put(out, name, nameSize);
    text_.commit(out - start);
    open_.emplace_back(name, nameSize);
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
    const size_t nameSize = strlen(name);
    // Indentation, "<name>", a short value escaped, "</name>\n".
    const bool shortValue = size <= kEscapePiece;
    char* start = text_.reserve(depth() + 2 * nameSize + 6 + (shortValue ? size * kLongestXmlEntity : 0));
    char* out = start;
    memset(out, '\t', depth());
    out += depth();
    *out++ = '<';
    out = put(out, name, nameSize);
    if (size == 0) {
        out = put(out, "/>\n", 3);
        text_.commit(out - start);
        return;
    }
    *out++ = '>';
    if (shortValue) {
        out = putEscaped(out, value, size, '\0');
    } else {
        text_.commit(out - start);
        escaped(value, size, '\0');
        start = out = text_.reserve(nameSize + 4);
    }
    out = put(out, "</", 2);
    out = put(out, name, nameSize);
    out = put(out, ">\n", 2);
    text_.commit(out - start);
}

void XmlWriter::close() {
    if (open_.empty()) return;
    if (tagOpen_) {
        text_.append("/>\n", 3);
        tagOpen_ = false;
    } else {
        const std::string& name = open_.back();
        const size_t indent = depth() - 1;
        char* start = text_.reserve(indent + name.size() + 4);
        char* out = start;
        memset(out, '\t', indent);
        out += indent;
        out = put(out, "</", 2);
        out = put(out, name.data(), name.size());
        out = put(out, ">\n", 2);
        text_.commit(out - start);
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
    while (size > 0) {
        const size_t piece = size < kEscapePiece ? size : kEscapePiece;
        char* start = text_.reserve(piece * kLongestXmlEntity);
        text_.commit(putEscaped(start, value, piece, unescaped) - start);
        value += piece;
        size -= piece;
    }
}

}  // namespace dorel_remote_control
