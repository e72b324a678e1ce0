// The result of a command as it is sent to the server:
//
//   <commandResult>
//     <id/><mac/><serialNumber/><zatContractId/>   the controller's identity
//     <commandId/>                                 the server's command id
//     <result/>                                    0 succeeded, 1 failed
//     <errors><error><id/><text/></error>...</errors>  ascending by code
//     <data/>                                      the command's output
//   </commandResult>
#pragma once

#include "common/xml.h"
#include "common/xml_writer.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace dorel_remote_control {

class Env;

class ResultDocument {
public:
    // A fresh result: identity from the process settings, commandId "1",
    // completion mark "1" (failed until the command says otherwise).
    ResultDocument();
    ResultDocument(const ResultDocument&) = delete;
    ResultDocument& operator=(const ResultDocument&) = delete;

    void setCommandId(int commandId);

    // Records an error entry. An empty detail means the code's own text. A
    // second entry with the same code replaces the first.
    void addError(int code, const std::string& detail = std::string());
    bool hasError(int code) const;
    bool hasErrors() const { return !errors_.empty(); }
    const std::map<int, std::string>& errors() const { return errors_; }

    // Completion mark. markSet() tells whether a command set it explicitly.
    void setCompletionMark(bool success);
    bool markSet() const { return markSet_; }
    bool succeeded() const;

    // The element the command writes its output into, and the document that
    // owns the nodes (for allocating new ones).
    XmlNode* data() { return data_; }
    XmlDocument& doc() { return doc_->doc(); }

    // A command whose output is large (a whole-headend document) writes it
    // as text instead of as a tree, whose nodes and copied strings would cost
    // several times the text: dataWriter() starts at the depth of data's
    // children, setDataText() takes the finished text, and print() writes it
    // inside data after whatever the tree holds there.
    static XmlWriter dataWriter();
    void setDataText(BlockText text) {
        dataText_ = std::move(text);
        writtenSize_ = 0;
    }

    // Drops the error entries, the output and the explicit mark (a retried
    // command starts again from a clean result).
    void clear();

    // Declaration, newline and the printed tree. Logs each error as
    // "Command error: %d %s". The text is the document's own, valid until it
    // is printed again or cleared: a written output of megabytes moves into
    // it at the first print and stays there, and a later print rewrites only
    // what surrounds it.
    const std::string& print(Env& env);

    // Replaces the whole result by a printed one read back from the store, so
    // that it prints again to the same text. Throws rapidxml::parse_error.
    void loadPrinted(const std::string& text);

private:
    void build(const std::string& commandId);
    // Writes the error entries into the tree (logging each when log is
    // given) and prints it into printed_.
    void render(Env* log);

    std::unique_ptr<ParsedXml> doc_;  // a reloaded text's parse, or a fresh document
    std::string loadedText_;     // a reloaded text, returned as it was while unchanged
    std::string loadedCanonical_;  // what the reloaded tree printed to when it was loaded
    XmlNode* root_ = nullptr;
    XmlNode* commandId_ = nullptr;
    XmlNode* mark_ = nullptr;
    XmlNode* errorsElement_ = nullptr;
    XmlNode* data_ = nullptr;
    BlockText dataText_;         // written output not yet printed
    std::string printed_;        // the last print
    size_t writtenAt_ = 0;       // where the written output is in printed_
    size_t writtenSize_ = 0;     // and its size (0: none there)
    std::map<int, std::string> errors_;
    bool markSet_ = false;
};

}  // namespace dorel_remote_control
