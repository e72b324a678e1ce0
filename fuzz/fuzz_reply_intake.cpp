// The server's reply as the intake takes it: parsed, every command checked by
// the factory and stored in one transaction.
#include "fuzz_root.h"

#include "server/status_reply.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rcfuzz::prepareHeadend();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string body = rcfuzz::text(data, size);
    dorel_remote_control::takeReplyCommands(rcfuzz::env(), body.c_str());
    rcfuzz::clearCommands();
    return 0;
}
