// The headend databases one poll pass reads its settings, its status document
// and its connection flag from. Each is opened on first use and kept until the
// pass ends, so a pass opens (and parses the schema of) each file once instead
// of once per reader; the next pass opens them afresh, so a database that
// another program replaced in between is seen as it is now.
#pragma once

#include "db/access.h"

namespace dorel_remote_control {

class PassDatabases {
public:
    explicit PassDatabases(Env& env) : env_(env) {}

    // The open database, or a closed handle when it cannot be opened (tried
    // again on the next call, so each reader still reports its own failure).
    const doreldb::DbHandle& configGlobal();
    const doreldb::DbHandle& tempGlobal();

    // Frees the pages the open databases keep cached (they are read again
    // when needed), so that they do not sit beside libcurl's TLS buffers.
    void releaseCachedPages();

private:
    Env& env_;
    doreldb::DbHandle configGlobal_;
    doreldb::DbHandle tempGlobal_;
};

}  // namespace dorel_remote_control
