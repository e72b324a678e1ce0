#include "commands/query/get_configuration.h"

#include "commands/query/configuration_sections.h"
#include "common/env.h"
#include "common/memory.h"
#include "db/table_rows.h"
#include "server/settings.h"

namespace dorel_remote_control {

void CmdGetConfiguration::execute() {
    // The document is written straight to its text: on a large headend its
    // tree would cost several times the text at the controller's peak.
    XmlWriter out = startWrittenResult();
    writeDocument(out);
    // The rows were many small blocks amid the heap; the printed result is
    // about to need as much again.
    returnFreedMemory();
    finishWrittenResult(out);
}

void CmdGetConfiguration::writeDocument(XmlWriter& out) {
    doreldb::DbHandle configGlobal = openDatabaseOrReport(env().paths().configGlobalDb());
    if (!configGlobal) return;
    doreldb::DbHandle tempGlobal = openDatabaseOrReport(env().paths().tempGlobalDb());
    if (!tempGlobal) return;

    // A database that opened but cannot be read still gives a document: its
    // tables simply contribute nothing.
    doreldb::keepPageCacheSmall(configGlobal);
    doreldb::keepPageCacheSmall(tempGlobal);
    doreldb::HeadendRows rows(&configGlobal, &tempGlobal);
    ConfigurationContext context(out, rows, settings().model(), env().paths());
    writeConfiguration(context);
}

}  // namespace dorel_remote_control
