// Writes an XML document straight to its text, element by element, for the
// documents too large to build as a RapidXML tree first (a whole-headend
// configuration is megabytes of text, and its tree of nodes and copied strings
// several times that on the controller's little memory). The text is exactly
// what printXml() gives for the same tree: one element per line indented with
// tabs, "<name/>" for an element without text or children, and the same
// escaping of & < > " ' in texts and attribute values.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace dorel_remote_control {

// A text kept in blocks of a fixed size: while a document of megabytes grows,
// it never holds a copy of itself in a block twice as large the way a growing
// std::string does.
class BlockText {
public:
    void append(const char* text, size_t size);
    void append(char c, size_t count = 1);
    // Room for up to size characters at the end of the text, to be filled
    // directly; commit() then keeps the first `used` of them.
    char* reserve(size_t size);
    void commit(size_t used);

    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    // Appends the whole text to out and lets go of it block by block, so that
    // a large text is held about once while it moves (out should have room
    // for it already: growing a string copies it).
    void moveTo(std::string& out);
    std::string str() &&;

private:
    struct Block {
        std::unique_ptr<char[]> data;
        size_t used;
        size_t capacity;
    };
    std::vector<Block> blocks_;
    size_t size_ = 0;
};

class XmlWriter {
public:
    // depth: the indentation of the first element, the depth it has in the
    // document it will be part of (0 for a document of its own).
    explicit XmlWriter(size_t depth = 0) : baseDepth_(depth) {}

    // Starts an element; its children follow until close().
    void open(const char* name);
    // An attribute of the element just opened (before any child).
    void attribute(const char* name, const char* value, size_t size);
    void attribute(const char* name, const std::string& value) { attribute(name, value.data(), value.size()); }
    // A whole element with text and no children; "" gives "<name/>".
    void element(const char* name, const char* value, size_t size);
    void element(const char* name, const std::string& value = std::string()) {
        element(name, value.data(), value.size());
    }
    void close();

    // Closes what is still open and hands over the text.
    BlockText finish();

private:
    // Ends the tag of an open element that gets a child.
    void startChild();
    size_t depth() const { return baseDepth_ + open_.size(); }
    void escaped(const char* value, size_t size, char unescaped);

    BlockText text_;
    std::vector<std::string> open_;   // names of the open elements, outermost first
    bool tagOpen_ = false;            // "<name" written, not yet ">" or "/>"
    size_t baseDepth_;
};

}  // namespace dorel_remote_control
