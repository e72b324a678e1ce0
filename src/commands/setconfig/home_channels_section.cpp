// "homeChannels": the channels the headend tunes for its maintenance,
// replacing MantenimientoHomeChannelsGlobal.
//
//   <homeChannels><homechannel><id/><frequency/><orbit/><polarity/><band/>
//       <symbolrate/><onid/><tsid/></homechannel>...</homeChannels>
#include "commands/core/result_codes.h"
#include "commands/setconfig/list_section.h"
#include "commands/setconfig/sections.h"
#include "commands/setconfig/shared_rules.h"
#include "db/tables.h"

namespace dorel_remote_control {

namespace {

namespace col = doreldb::MantenimientoHomeChannelsGlobal;

// Polarity and band take the words of the DiSEqC positions or their codes.
const ValueRule kHomeChannelRules[] = {
    rule("id", col::idMantenimiento).number().range(1, kMaxRowId).required(kInvalidCommand, "homechannel has no id field"),
    rule("frequency", col::Frequency).number(),
    rule("orbit", col::Orbita),
    rule("polarity", col::Polaridad).numberOrWords(kPolarityCodes).range(0, 1),
    rule("band", col::Banda).numberOrWords(kBandCodes).range(0, 1),
    rule("symbolrate", col::SymbolRate).number(),
    rule("onid", col::ONID).number(),
    rule("tsid", col::TSID).number(),
};

void complete(doreldb::Record& row, const doreldb::Record* previous) { completeRow(row, previous, nullptr, col::Estado); }

const ListSection kHomeChannels = {
    &col::table, "homechannel", kInvalidCommand, "No homechannel element found", ruleTable(kHomeChannelRules),
    "Could not delete homeChannels", "Could not insert homeChannel",
    false, nullptr, &complete,
};

}  // namespace

bool applyHomeChannelsSection(SetConfigContext& context, const XmlNode* section) {
    return replaceTable(context, kHomeChannels, section);
}

}  // namespace dorel_remote_control
