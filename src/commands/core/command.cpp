// The command envelope and the run protocol shared by every command.
#include "commands/core/command.h"

#include "commands/core/command_store.h"
#include "commands/core/result_codes.h"
#include "common/errors.h"
#include "common/numbers.h"

#include <cstdarg>
#include <cstdlib>

namespace dorel_remote_control {
namespace {

// The headend's database may be locked by its other programs for a while; a
// command that could not reach it is run again this often before its result
// goes out as it is.
constexpr int kDatabaseRetries = 10;

}  // namespace

XmlNode* envelopeCommandElement(const XmlNode* envelope) {
    XmlNode* data = envelope != nullptr ? childElement(envelope, "data") : nullptr;
    if (data == nullptr) throw CommandParsingError("'command' has no 'data'");
    for (XmlNode* child = data->first_node(); child != nullptr; child = child->next_sibling()) {
        if (child->type() == rapidxml::node_element) return child;
    }
    throw CommandParsingError("'data' has no command");
}

Command::Command(Env& env, const std::string& envelopeText, const char* canonicalName)
    : env_(env), envelope_(envelopeText), name_(canonicalName), result_(std::make_unique<ResultDocument>()) {
    // Whatever the root is called, it is the envelope: the server has never
    // been strict about the name and neither are we.
    root_ = envelope_.doc().first_node();
    XmlNode* id = root_ != nullptr ? childElement(root_, "id") : nullptr;
    if (id == nullptr) throw CommandParsingError("'command' has no 'id'");
    commandId_ = atoi32(nodeText(id).c_str());
    commandElement_ = envelopeCommandElement(root_);
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

std::string Command::envelopeText() const {
    return printXml(*root_);
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
    return childElement(commandElement_, name);
}

XmlNode* Command::requiredParameter(const char* name, const char* missing) {
    return requiredChild(commandElement_, name, missing);
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
