// A stored row reloaded by a restarted agent: the input is the command text,
// a NUL byte, then the result text, stored as a finished command and handed
// to the step that delivers finished results (the delivery fails: the server
// is not there, so the row is saved again).
#include "fuzz_root.h"

#include "commands/core/dispatch.h"
#include "commands/core/poll_context.h"

#include <sqlite3.h>


namespace {

void storeRow(const std::string& command, const std::string& result) {
    sqlite3* db = nullptr;
    const std::string path = rcfuzz::env().paths().remoteControlDb();
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
        sqlite3_stmt* insert = nullptr;
        sqlite3_prepare_v2(db,
                           "INSERT INTO RCCommand (commandId, status, nextTime, schedule, command, result) "
                           "VALUES ('1', '2', '0', '', ?1, ?2)",
                           -1, &insert, nullptr);
        sqlite3_bind_text(insert, 1, command.data(), static_cast<int>(command.size()), SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 2, result.data(), static_cast<int>(result.size()), SQLITE_TRANSIENT);
        sqlite3_step(insert);
        sqlite3_finalize(insert);
    }
    sqlite3_close(db);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rcfuzz::prepareHeadend();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input = rcfuzz::text(data, size);
    const size_t split = input.find('\0');
    storeRow(input.substr(0, split), split == std::string::npos ? std::string() : input.substr(split + 1));
    dorel_remote_control::PollContext context(rcfuzz::env());
    dorel_remote_control::reportFinished(context);
    rcfuzz::clearCommands();
    return 0;
}
