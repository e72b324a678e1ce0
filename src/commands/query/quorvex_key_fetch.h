// The poll cycle's fetch of missing CAM public keys: the CAMs of the Quorvex
// table that still have no key (and have not been given up on) are asked of
// the server in one getQuorvexCAMPublicKey request, and each row is updated
// from the reply. A CAM the server does not list is asked again in the next
// fetches and given up after three; one it lists without a key at once.
#pragma once

#include <map>
#include <string>

namespace dorel_remote_control {

class Env;

// The serial number -> key pairs of a getQuorvexCAMPublicKeyReply text;
// false (logged) when the reply is not usable at all.
bool readKeyReply(Env& env, const std::string& text, std::map<std::string, std::string>& keys);

// One fetch. Failures only reach the log; the next fetch tries again.
void fetchQuorvexPublicKeys(Env& env);

}  // namespace dorel_remote_control
