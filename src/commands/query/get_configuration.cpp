#include "commands/query/get_configuration.h"

#include "commands/query/configuration_sections.h"
#include "common/paths.h"
#include "db/table_rows.h"
#include "server/settings.h"

namespace dorel_remote_control {

void CmdGetConfiguration::execute() {
    XmlNode* resultElement = startResult();

    doreldb::DbHandle configGlobal = openDatabaseOrReport(paths::configGlobalDb());
    if (!configGlobal) return;
    doreldb::DbHandle tempGlobal = openDatabaseOrReport(paths::tempGlobalDb());
    if (!tempGlobal) return;

    // A database that opened but cannot be read still gives a document: its
    // tables simply contribute nothing.
    XmlDocument& doc = result().doc();
    XmlNode* configuration = appendElement(doc, resultElement, "configuration");
    doreldb::HeadendRows rows(configGlobal.get(), tempGlobal.get());
    ConfigurationContext context(doc, rows, settings().model());
    buildConfiguration(context, configuration);
}

}  // namespace dorel_remote_control
