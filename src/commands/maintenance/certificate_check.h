// The check a renewed client certificate passes before it replaces the one in
// use. A certificate the transport cannot load, or one for another key, would
// fail every later handshake, and with it every later renewal: the controller
// would be cut off from the server until someone restored the ".bak" by hand.
//
// The text is judged the way the transport (libcurl over OpenSSL) will load it
// from the certificate file:
// - text before, between and after PEM blocks is ignored, and so are blocks
//   of other kinds; the text is installed as received, not trimmed;
// - the first PEM certificate is the client certificate: it must parse as
//   X.509 and its public key must be that of the controller's private key;
// - every later PEM certificate is taken as the chain and must parse too,
//   since one broken block makes the whole file unloadable;
// - a text with no PEM certificate at all is refused. So is one beyond
//   INT_MAX bytes, which OpenSSL's memory reader cannot take (the transport
//   accepts replies up to 4 GiB, so its limit alone does not rule it out).
// The key is read as the transport reads it (PEM, no passphrase: an
// encrypted key is unreadable, never a prompt on a terminal). OpenSSL's error
// queue is left empty, so that nothing found here turns up in the
// transport's later error reports.
#pragma once

#include <string>

namespace dorel_remote_control {

// "" when certificateText may be installed beside the private key at keyPath;
// otherwise why not, as the command reports it.
std::string checkReceivedCertificate(const std::string& certificateText, const std::string& keyPath);

}  // namespace dorel_remote_control
