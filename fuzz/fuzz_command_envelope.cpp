// One command envelope through the factory: parsed, its command made, printed
// back for the store and given a fresh result.
#include "fuzz_root.h"

#include "commands/core/command.h"
#include "commands/core/dispatch.h"

#include <exception>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rcfuzz::prepareHeadend();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    try {
        auto command = dorel_remote_control::createCommand(rcfuzz::env(), rcfuzz::text(data, size));
        dorel_remote_control::createCommand(rcfuzz::env(), command->envelopeText());
        command->result().print(rcfuzz::env());
    } catch (const std::exception&) {
        // Refused as the agent refuses it: a logged, skipped command.
    }
    return 0;
}
