// The abstract remote command. A command is made from its XML envelope
//
//   <command><id>42</id><data><someCommand>...parameters...</someCommand></data></command>
//
// runs once per creation through run(), which calls the subclass's execute()
// and retries it while the database is unreachable, and carries its result
// document until the server has it.
#pragma once

#include "commands/core/result_document.h"
#include "common/env.h"
#include "common/xml.h"
#include "common/xml_stream.h"
#include "db/access.h"

#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace dorel_remote_control {

class StoreBatch;

// Where the parts of a command envelope lie in its text, found in one walk
// over the markup without building a tree. The walk refuses exactly what the
// parser would refuse in the whole text (throwing rapidxml::parse_error), then
// throws CommandParsingError "'command' has no 'id'", "'command' has no
// 'data'" or "'data' has no command". Whatever the root is called, it is the
// envelope: the server has never been strict about the name.
struct EnvelopeLayout {
    explicit EnvelopeLayout(std::string_view text);

    int commandId = 0;
    XmlElement element;  // the command element: first element child of data (views into the text)
};

// A command's text, held once, with its layout. The text is the envelope as
// the server sent it (a stored one may begin with a declaration). Offsets, not
// views, are kept, so that the text can move with its owner.
class Envelope {
public:
    // Takes the text over and reads its layout (throws as EnvelopeLayout).
    Envelope(std::string text);  // NOLINT: a text is an envelope wherever one is made
    Envelope(Envelope&&) noexcept = default;
    Envelope& operator=(Envelope&&) noexcept = default;

    const std::string& text() const { return text_; }
    int commandId() const { return commandId_; }
    // The command element, as a walk over the text would give it.
    XmlElement element() const;

private:
    std::string text_;
    int commandId_ = 0;
    size_t nameAt_ = 0, nameSize_ = 0;
    size_t elementAt_ = 0, elementSize_ = 0;
    size_t contentAt_ = 0, contentSize_ = 0;
    int depth_ = 0;
};

enum CommandStatus : int {
    kStatusReceived = 0,
    kStatusRunning = 1,
    kStatusFinished = 2,
    kStatusDelivered = 3,
    kStatusScheduled = 4,
};

class Command {
public:
    // canonicalName is the command's name as the factory table spells it; env
    // is the outside world the command works in. The envelope is read (and
    // refused) when it is made, see Envelope.
    Command(Env& env, Envelope envelope, const char* canonicalName);
    virtual ~Command();
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    // The run protocol: status 1, execute(), up to 10 retries one second apart
    // while the result holds error 102, status 2. Applies the default
    // completion mark (0 without errors, 1 with) when execute() set none.
    virtual void run();

    const std::string& name() const { return name_; }
    int commandId() const { return commandId_; }
    int id() const { return id_; }
    void setId(int id) { id_ = id; }
    int status() const { return status_; }
    void setStatus(int status) { status_ = status; }
    long nextTime() const { return nextTime_; }
    void setNextTime(long nextTime) { nextTime_ = nextTime; }
    const std::string& schedule() const { return schedule_; }
    void setSchedule(const std::string& schedule) { schedule_ = schedule; }

    // The text the command was made from, as it is stored.
    const std::string& envelopeText() const { return envelope_.text(); }
    // The command's own element (first child of data), parsed on first use:
    // most commands need only a parameter or two (see parameter()), and a
    // large one is better walked (commandXml()) than parsed whole.
    XmlNode* commandElement() const;
    XmlElement commandXml() const { return envelope_.element(); }
    ResultDocument& result() { return *result_; }
    Env& env() const { return env_; }

    // While its result was being delivered, the server refused the client
    // certificate of a renewal and the previous one was put back. Only the
    // renewal itself has anything to say about it.
    virtual void certificateRolledBack() {}

protected:
    virtual void execute() = 0;

    // Logs "Running <name> command" and creates "<name>Result" under the
    // result's data element.
    XmlNode* startResult();
    // The same for a command that writes its output as text rather than as a
    // tree (see ResultDocument::dataWriter): "<name>Result" is open in the
    // writer returned; finishWrittenResult() closes it and hands the text to
    // the result.
    XmlWriter startWrittenResult();
    void finishWrittenResult(XmlWriter& writer);
    // A parameter: the first child of the command element with that name,
    // parsed alone (the rest of the element stays text, so the node has no
    // siblings: a command that reads its children in a row walks
    // commandElement() instead).
    XmlNode* parameter(const char* name) const;
    // Whether the command element has any child element.
    bool hasParameters() const;
    // A parameter the command cannot do without: when it is missing, logs
    // `missing`, records error 101 with it as the text and returns null.
    XmlNode* requiredParameter(const char* name, const char* missing);
    // The same for a parameter nested in another one (firmware/url).
    XmlNode* requiredChild(const XmlNode* parent, const char* name, const char* missing);
    // Opens a database for the command's work: when it cannot be opened,
    // records error 102 and returns a closed handle.
    doreldb::DbHandle openDatabaseOrReport(const std::string& path);
    // The one way a command fails: records error `code` with `detail` (empty:
    // the code's own text) and logs the failure once, at error priority, as
    // logFormat says or else as "<command>: <code> <detail>".
    void fail(int code, const std::string& detail = std::string(), const char* logFormat = nullptr, ...)
        __attribute__((format(printf, 4, 5)));
    // Ends execute() of a command that adds rows to the command store: its
    // finished state (status 2, completion mark, result) goes into the same
    // transaction as those rows, so that a kill leaves both or neither and a
    // restarted agent never runs it again over rows already committed. When
    // the commit fails, records error 102 (run() then tries again) and
    // returns false.
    bool finishInStore(StoreBatch& batch);

private:
    Env& env_;
    Envelope envelope_;
    mutable std::unique_ptr<ParsedXml> tree_;                     // the whole command element
    mutable std::vector<std::unique_ptr<ParsedXml>> parameters_;  // parameters parsed alone
    std::string name_;
    int commandId_ = 0;
    int id_ = 0;
    int status_ = kStatusReceived;
    long nextTime_ = 0;
    std::string schedule_;
    std::unique_ptr<ResultDocument> result_;
};

}  // namespace dorel_remote_control
