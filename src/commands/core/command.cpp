// The command envelope and the run protocol shared by every command.
#include "commands/core/command.h"

#include "commands/core/command_store.h"
#include "commands/core/result_codes.h"
#include "common/errors.h"
#include "common/numbers.h"

#include "common/xml_tokens.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace dorel_remote_control {
namespace {

// The headend's database may be locked by its other programs for a while; a
// command that could not reach it is run again this often before its result
// goes out as it is.
constexpr int kDatabaseRetries = 10;

}  // namespace

namespace {

// An element the layout walk looks for, by offsets into the text.
struct Found {
    bool found = false;
    XmlToken start;
    size_t contentEnd = 0;
    size_t end = 0;
};

XmlElement elementOf(std::string_view text, const Found& found, int depth) {
    XmlElement element;
    element.name = std::string_view(found.start.name, found.start.nameLength);
    element.text = text.substr(found.start.begin, found.end - found.start.begin);
    element.content = text.substr(found.start.end, found.contentEnd - found.start.end);
    element.depth = depth;
    return element;
}

}  // namespace

EnvelopeLayout::EnvelopeLayout(std::string_view text) {
    // One walk over the whole text: it refuses what the parser refuses, and
    // on the way notes the first root, its first id and data, and the first
    // element in that data.
    const char* base = text.data();
    XmlTokens tokens(base, text.size());
    Found root, id, data, command;
    Found* open[4] = {nullptr, nullptr, nullptr, nullptr};  // the noted element open at each depth
    int depth = 0;
    for (bool more = true; more;) {
        const XmlToken token = tokens.next();
        switch (token.kind) {
        case XmlToken::End:
            if (depth > 0) throw rapidxml::parse_error("unexpected end of data", const_cast<char*>(base + token.begin));
            more = false;
            break;
        case XmlToken::Malformed:
            throw rapidxml::parse_error("malformed markup", const_cast<char*>(base + token.begin));
        case XmlToken::Text:
            if (depth == 0 && !blankOutsideRoots(base, token)) {
                throw rapidxml::parse_error("expected <", const_cast<char*>(base + token.begin));
            }
            break;
        case XmlToken::EndTag:
            if (depth == 0) throw rapidxml::parse_error("expected element name", const_cast<char*>(base + token.begin));
            if (depth < 4 && open[depth] != nullptr) {
                open[depth]->contentEnd = token.begin;
                open[depth]->end = token.end;
            }
            --depth;
            break;
        case XmlToken::StartTag:
        case XmlToken::EmptyTag: {
            Found* noted = nullptr;
            if (depth == 0 && !root.found) {
                noted = &root;
            } else if (depth == 1 && open[1] == &root) {
                if (!id.found && token.named("id")) noted = &id;
                if (!data.found && token.named("data")) noted = &data;
            } else if (depth == 2 && open[2] == &data && !command.found) {
                noted = &command;
            }
            if (noted != nullptr) {
                noted->found = true;
                noted->start = token;
                noted->contentEnd = noted->end = token.end;
            }
            if (token.kind == XmlToken::StartTag) {
                if (++depth > kMaxXmlDepth) {
                    throw rapidxml::parse_error("document nested too deep", const_cast<char*>(base + token.begin));
                }
                if (depth < 4) open[depth] = noted;
            }
            break;
        }
        }
    }
    if (!id.found) throw CommandParsingError("'command' has no 'id'");
    if (!data.found) throw CommandParsingError("'command' has no 'data'");
    if (!command.found) throw CommandParsingError("'data' has no command");
    // The id is a few bytes: parsed alone it gives the value the parser would.
    const XmlElement idElement = elementOf(text, id, 2);
    ParsedXml idTree(idElement.text.data(), idElement.text.size());
    commandId = atoi32(nodeText(idTree.doc().first_node()).c_str());
    element = elementOf(text, command, 3);
}

Envelope::Envelope(std::string text) : text_(std::move(text)) {
    const EnvelopeLayout layout(text_);
    const char* base = text_.data();
    commandId_ = layout.commandId;
    nameAt_ = static_cast<size_t>(layout.element.name.data() - base);
    nameSize_ = layout.element.name.size();
    elementAt_ = static_cast<size_t>(layout.element.text.data() - base);
    elementSize_ = layout.element.text.size();
    contentAt_ = static_cast<size_t>(layout.element.content.data() - base);
    contentSize_ = layout.element.content.size();
    depth_ = layout.element.depth;
}

XmlElement Envelope::element() const {
    const std::string_view text(text_);
    XmlElement element;
    element.name = text.substr(nameAt_, nameSize_);
    element.text = text.substr(elementAt_, elementSize_);
    element.content = text.substr(contentAt_, contentSize_);
    element.depth = depth_;
    return element;
}

Command::Command(Env& env, Envelope envelope, const char* canonicalName)
    : env_(env),
      envelope_(std::move(envelope)),
      name_(canonicalName),
      commandId_(envelope_.commandId()),
      result_(std::make_unique<ResultDocument>()) {
    result_->setCommandId(commandId_);
    env_.log(7, "New command id: %d", commandId_);
}

Command::~Command() = default;

void Command::run() {
    // A database that would not open is the same failure as one that would
    // not answer: it is retried, and it must not take the agent down.
    auto attempt = [this] {
        try {
            execute();
        } catch (const CouldNotOpenDBError& e) {
            fail(kCouldNotAccessDatabase, std::string(), "Could not open DB: %s", e.what());
        }
    };
    status_ = kStatusRunning;
    attempt();
    for (int retry = 1; retry <= kDatabaseRetries && result_->hasError(kCouldNotAccessDatabase); ++retry) {
        env_.log(3, "Command run resulted in a DB error. Retrying (%d)", retry);
        env_.sleepSeconds(1);
        result_->clear();
        attempt();
    }
    status_ = kStatusFinished;
    if (!result_->markSet()) result_->setCompletionMark(!result_->hasErrors());
}

XmlNode* Command::commandElement() const {
    if (!tree_) {
        const XmlElement element = envelope_.element();
        tree_ = std::make_unique<ParsedXml>(element.text.data(), element.text.size());
    }
    return tree_->doc().first_node();
}

XmlNode* Command::startResult() {
    env_.log(7, "Running %s command", name_.c_str());
    return appendElement(result_->doc(), result_->data(), name_ + "Result");
}

XmlWriter Command::startWrittenResult() {
    env_.log(7, "Running %s command", name_.c_str());
    XmlWriter writer = ResultDocument::dataWriter();
    writer.open((name_ + "Result").c_str());
    return writer;
}

void Command::finishWrittenResult(XmlWriter& writer) { result_->setDataText(writer.finish()); }

XmlNode* Command::parameter(const char* name) const {
    if (tree_) return childElement(commandElement(), name);
    for (const auto& parsed : parameters_) {
        XmlNode* node = parsed->doc().first_node();
        if (nodeName(node) == name) return node;
    }
    XmlChildren children(envelope_.element());
    while (children.next()) {
        if (children.child().name != name) continue;
        const std::string_view text = children.child().text;
        parameters_.push_back(std::make_unique<ParsedXml>(text.data(), text.size()));
        return parameters_.back()->doc().first_node();
    }
    return nullptr;
}

bool Command::hasParameters() const {
    XmlChildren children(envelope_.element());
    return children.next();
}

XmlNode* Command::requiredParameter(const char* name, const char* missing) {
    XmlNode* node = parameter(name);
    if (node == nullptr) fail(kInvalidCommand, missing, "%s", missing);
    return node;
}

XmlNode* Command::requiredChild(const XmlNode* parent, const char* name, const char* missing) {
    XmlNode* node = childElement(parent, name);
    if (node == nullptr) fail(kInvalidCommand, missing, "%s", missing);
    return node;
}

bool Command::finishInStore(StoreBatch& batch) {
    // The state run() gives the command when execute() returns, written now.
    if (!result_->markSet()) result_->setCompletionMark(!result_->hasErrors());
    const int running = status_;
    status_ = kStatusFinished;
    if (batch.write(*this) && batch.commit()) return true;
    status_ = running;
    result_->setCompletionMark(false);
    fail(kCouldNotAccessDatabase, std::string(), "%s: could not store its rows and its result together",
         name_.c_str());
    return false;
}

doreldb::DbHandle Command::openDatabaseOrReport(const std::string& path) {
    doreldb::DbHandle db = doreldb::openDatabase(env_, path);
    if (!db) fail(kCouldNotAccessDatabase, std::string(), "%s: could not open %s", name_.c_str(), path.c_str());
    return db;
}

void Command::fail(int code, const std::string& detail, const char* logFormat, ...) {
    result_->addError(code, detail);
    if (logFormat == nullptr) {
        env_.log(3, "%s: %d %s", name_.c_str(), code, detail.empty() ? resultCodeText(code) : detail.c_str());
        return;
    }
    va_list args;
    va_start(args, logFormat);
    env_.logv(3, logFormat, args);
    va_end(args);
}

}  // namespace dorel_remote_control
