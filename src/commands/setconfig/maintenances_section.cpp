// "maintenances": the daily maintenance time and switch. The keys carry no
// index, so with several maintenance elements the last one's values stay.
#include "commands/core/result_codes.h"
#include "commands/setconfig/key_tables.h"
#include "commands/setconfig/sections.h"
#include "commands/setconfig/value_rules.h"

namespace dorel_remote_control {

bool applyMaintenancesSection(SetConfigContext& context, const XmlNode* section) {
    for (const XmlNode* maintenance : childElements(section)) {
        if (!nameIs(maintenance, "maintenance")) return context.fail(kInvalidCommand, "No maintenance element found");
        if (!walkKeySection(context, keyTable(kMaintenanceSettings, kChangeNone), maintenance)) return false;
    }
    return true;
}

}  // namespace dorel_remote_control
