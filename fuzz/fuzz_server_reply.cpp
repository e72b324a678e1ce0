// The replies the server sends to the agent's own requests, other than the
// status reply: a signCSRReply (certificate renewal) and a
// getQuorvexCAMPublicKeyReply (the poll cycle's key fetch), each through the
// reader the agent uses. The input's first byte picks the reader.
#include "fuzz_root.h"

#include "commands/maintenance/regenerate_ssl_certificate.h"
#include "commands/query/quorvex_key_fetch.h"

#include <map>
#include <string>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rcfuzz::prepareHeadend();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const std::string reply = rcfuzz::text(data + 1, size - 1);
    if (data[0] & 1) {
        std::map<std::string, std::string> keys;
        dorel_remote_control::readKeyReply(rcfuzz::env(), reply, keys);
    } else {
        dorel_remote_control::readSignReply(reply);
    }
    return 0;
}
