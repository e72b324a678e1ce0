// The commandResult document a command fills and the server receives.
//
// The error entries live in a map and are written into the tree only when the
// document is printed, so they always come out in ascending code order however
// the command recorded them, and a retried command starts from a clean map.
#include "commands/core/result_document.h"

#include "commands/core/result_codes.h"
#include "common/env.h"
#include "server/settings.h"
#include "common/numbers.h"

#include <cstdlib>
#include <cstring>

namespace dorel_remote_control {
namespace {

// The child of parent with that name; appended at the end when a reloaded
// document lacks it, so every pointer of the result is usable.
XmlNode* childOrAppend(XmlDocument& doc, XmlNode* parent, const char* name) {
    XmlNode* child = childElement(parent, name);
    return child != nullptr ? child : appendElement(doc, parent, name);
}

// commandResult > data > the command's output.
constexpr size_t kDataChildDepth = 2;

// Stands for the written output in the printed tree. Its line, at the depth
// of data's children, cannot occur anywhere else: texts are escaped, and no
// other element has that name.
const char kDataTextMark[] = "rc-written-output";
const char kDataTextLine[] = "\n\t\t<rc-written-output/>\n";

}  // namespace

ResultDocument::ResultDocument() {
    build("1");
}

void ResultDocument::build(const std::string& commandId) {
    // A fresh document rather than emptied elements: RapidXML's pool never
    // gives memory back, and a command may be retried ten times.
    doc_ = std::make_unique<ParsedXml>();
    loadedText_.clear();
    loadedCanonical_.clear();
    errors_.clear();
    dataText_ = BlockText();
    printed_ = std::string();
    writtenAt_ = writtenSize_ = 0;
    markSet_ = false;

    const Settings& identity = settings();
    XmlDocument& doc = doc_->doc();
    root_ = appendElement(doc, &doc, "commandResult");
    appendElement(doc, root_, "id", identity.hostName());
    appendElement(doc, root_, "mac", identity.mac());
    appendElement(doc, root_, "serialNumber", identity.serialNumber());
    appendElement(doc, root_, "zatContractId", identity.contractId());
    commandId_ = appendElement(doc, root_, "commandId", commandId);
    mark_ = appendElement(doc, root_, "result", "1");
    errorsElement_ = appendElement(doc, root_, "errors");
    data_ = appendElement(doc, root_, "data");
}

void ResultDocument::setCommandId(int commandId) {
    commandId_->value(doc_->doc().allocate_string(std::to_string(commandId).c_str()));
}

XmlWriter ResultDocument::dataWriter() { return XmlWriter(kDataChildDepth); }

void ResultDocument::addError(int code, const std::string& detail) {
    errors_[code] = detail.empty() ? std::string(resultCodeText(code)) : detail;
}

bool ResultDocument::hasError(int code) const {
    return errors_.count(code) != 0;
}

void ResultDocument::setCompletionMark(bool success) {
    mark_->value(success ? "0" : "1");
    markSet_ = true;
}

bool ResultDocument::succeeded() const {
    return nodeText(mark_) == "0";
}

void ResultDocument::clear() {
    build(nodeText(commandId_));
}

void ResultDocument::render(Env* log) {
    errorsElement_->remove_all_nodes();
    for (const auto& entry : errors_) {
        XmlNode* error = appendElement(doc_->doc(), errorsElement_, "error");
        appendElement(doc_->doc(), error, "id", std::to_string(entry.first));
        appendElement(doc_->doc(), error, "text", entry.second);
        if (log != nullptr) log->log(3, "Command error: %d %s", entry.first, entry.second.c_str());
    }
    if (dataText_.empty() && writtenSize_ == 0) {
        printed_ = kXmlDeclaration + printXml(*root_);
        return;
    }

    XmlNode* mark = doc_->doc().allocate_node(rapidxml::node_element, kDataTextMark);
    data_->append_node(mark);
    const std::string tree = printXml(*root_);
    data_->remove_node(mark);
    const size_t at = tree.rfind(kDataTextLine);
    const size_t markSize = sizeof kDataTextLine - 1;
    const std::string head = kXmlDeclaration + tree.substr(0, at + 1);
    const std::string tail = tree.substr(at + markSize);
    if (writtenSize_ == 0) {
        // Room for the output and for more errors in a later print, so that
        // neither copies the output.
        const size_t kSpare = 4096;
        printed_ = std::string();
        printed_.reserve(head.size() + dataText_.size() + tail.size() + kSpare);
        printed_ = head;
        writtenSize_ = dataText_.size();
        dataText_.moveTo(printed_);
        printed_ += tail;
    } else {
        printed_.replace(writtenAt_ + writtenSize_, std::string::npos, tail);
        printed_.replace(0, writtenAt_, head);
    }
    writtenAt_ = head.size();
}

const std::string& ResultDocument::print(Env& env) {
    render(&env);
    // A reloaded result goes out exactly as it was stored as long as nothing
    // changed it: printing a parsed tree does not reproduce every text (an
    // all-blank value, for one, would lose its blanks).
    if (!loadedText_.empty() && printed_ == loadedCanonical_) return loadedText_;
    return printed_;
}

void ResultDocument::loadPrinted(const std::string& text) {
    auto parsed = std::make_unique<ParsedXml>(text);
    XmlDocument* doc = &parsed->doc();
    XmlNode* root = childElement(doc, "commandResult");
    if (root == nullptr) throw rapidxml::parse_error("no 'commandResult' element", nullptr);

    std::map<int, std::string> errors;
    XmlNode* errorsElement = childOrAppend(*doc, root, "errors");
    for (XmlNode* error = errorsElement->first_node("error"); error != nullptr;
         error = error->next_sibling("error")) {
        int code = atoi32(nodeText(childElement(error, "id")).c_str());
        std::string detail = nodeText(childElement(error, "text"));
        errors[code] = detail.empty() ? std::string(resultCodeText(code)) : detail;
    }

    // Nothing of the current result is touched until the text has been
    // accepted.
    commandId_ = childOrAppend(*doc, root, "commandId");
    mark_ = childOrAppend(*doc, root, "result");
    data_ = childOrAppend(*doc, root, "data");
    errorsElement_ = errorsElement;
    dataText_ = BlockText();
    writtenSize_ = 0;
    root_ = root;
    doc_ = std::move(parsed);
    errors_ = std::move(errors);
    markSet_ = true;
    loadedText_ = text;
    render(nullptr);
    loadedCanonical_ = std::move(printed_);
}

}  // namespace dorel_remote_control
