#include "app/poll_cycle.h"

#include "commands/core/command.h"
#include "commands/core/dispatch.h"
#include "commands/query/quorvex_key_fetch.h"
#include "common/dorelcommon.h"
#include "common/env.h"
#include "common/errors.h"
#include "common/memory.h"
#include "server/https_client.h"
#include "server/pass_databases.h"
#include "server/settings.h"
#include "server/status_reply.h"
#include "server/status_report.h"

namespace dorel_remote_control {

namespace {

const time_t kPassSeconds = 60;
const char* const kIdent = "remote-control";

// Lends the pass's databases to everything the pass calls, until it ends.
struct PassScope {
    PassScope(PollContext& context, PassDatabases& databases) : context_(context) {
        context_.databases = &databases;
    }
    ~PassScope() { context_.databases = nullptr; }
    PollContext& context_;
};


}  // namespace

int sendStatus(PollContext& context, const std::string& statusText) {
    Env& env = context.env;
    const std::string url = settings().serverAddress() + "status";
    env.log(7, "Sending status");
    env.log(7, "Status: %s", statusText.c_str());
    ResponseBuffer response;
    try {
        response = HttpsClient::instance().request(env, url, statusText.c_str());
    } catch (const CurlError& error) {
        env.log(3, "Error sending remote-control request to server: %s", error.what());
        setConnection(context, kNotConnected);
        return -1;
    }
    setConnection(context, kConnected);

    std::vector<QueuedCommand> commands;
    try {
        commands = takeReplyCommands(env, response.data());
    } catch (const std::exception&) {
        env.log(4, "Error parsing XML");
        return -2;
    }
    // Every command of the reply is stored by now; the body can go.
    response = ResponseBuffer();
    for (const QueuedCommand& command : commands) runQueued(context, command);
    return 0;
}

void PollLoop::runPass() {
    // After the pass's databases are closed and its documents gone.
    passBody();
    returnFreedMemory();
}

void PollLoop::passBody() {
    Env& env = context_.env;
    PassDatabases databases(env);
    PassScope scope(context_, databases);
    try {
        if (settings().load(env, databases.configGlobal())) {
            context_.connectionState = kConnectionUnknown;
            skipCount_ = 0;
        }
    } catch (const ReadConfigError&) {
        // Already logged; without an identity there is nothing to report.
        return;
    }

    if (!settings().active()) {
        env.log(7, "Not active");
        if (context_.connectionState != kNotConnected) {
            context_.connectionState = kConnectionUnknown;
            setConnection(context_, kNotConnected);
        }
        skipCount_ = 0;
        return;
    }

    reportFinished(context_);
    runPending(context_);

    std::string status;
    try {
        status = buildStatusText(env, databases);
    } catch (const CouldNotOpenDBError&) {
        env.log(3, "Could not open DB");
    }

    int sent = 0;
    if (skipCount_ == 0 || status != lastStatus_) {
        env.log(7, "Sending Status");
        sent = sendStatus(context_, status);
        lastStatus_ = status;
        skipCount_ = 0;
    }
    // An unchanged status goes out again every `interval` passes; after a
    // failure the next pass always sends.
    const unsigned next = skipCount_ + 1;
    skipCount_ = (sent == 0 && next < settings().interval()) ? next : 0;

    while (!context_.queue.empty()) {
        const QueuedCommand command = std::move(context_.queue.front());
        context_.queue.pop_front();
        runQueued(context_, command);
    }
    if (context_.connectionState == kConnected) fetchQuorvexPublicKeys(env);
}

void PollLoop::waitForNextPass(time_t passStart) {
    if (wait_for_inotify_changes(logging_.inotifyFd, logging_.watch)) {
        logging_.watch = configure_global_syslog(nullptr, kIdent, &context_.env.debugMask(), logging_.inotifyFd);
    }
    time_t seconds = passStart + kPassSeconds - context_.env.now();
    if (seconds > kPassSeconds) seconds = kPassSeconds;  // the clock went back
    if (seconds >= 1) context_.env.sleepSeconds(static_cast<unsigned>(seconds));
}

void PollLoop::run() {
    for (;;) {
        const time_t passStart = context_.env.now();
        runPass();
        if (settings().runOnce()) return;
        waitForNextPass(passStart);
    }
}

}  // namespace dorel_remote_control
