// "diseqcs": the satellite switch positions, replacing DiSEqCGlobal.
//
//   <diseqcs><diseqc><id/><position/><name/><orbit/><polarity/><band/></diseqc>...</diseqcs>
#include "commands/core/result_codes.h"
#include "commands/setconfig/list_section.h"
#include "commands/setconfig/sections.h"
#include "commands/setconfig/shared_rules.h"
#include "db/tables.h"

namespace dorel_remote_control {

namespace {

namespace col = doreldb::DiSEqCGlobal;

const ValueRule kDiseqcRules[] = {
    rule("id", col::idDiSEqCGlobal).number().range(1, kMaxRowId).required(kInvalidCommand, "diseqc has no id field"),
    rule("position", col::Posicion).label("position="),
    rule("name", col::Nombre).label(" name="),
    rule("orbit", col::Orbita).label(" orbit="),
    rule("polarity", col::Polaridad).words(kPolarityCodes)
        .invalid(kInvalidCommand, "Invalid value for diseqc/polarity").label(" polarity="),
    rule("band", col::Banda).words(kBandCodes).invalid(kInvalidCommand, "Invalid value for diseqc/band").label(" band="),
};

void complete(doreldb::Record& row, const doreldb::Record* previous) { completeRow(row, previous, nullptr, col::Estado); }

const ListSection kDiseqcs = {
    &col::table, "diseqc", kInvalidCommand, "No diseqc element found", ruleTable(kDiseqcRules),
    "Could not delete diseqcs", "Could not insert diseqc",
    false, "REMOTE_CONTROL::: New DISEqC parameters: ", &complete,
};

}  // namespace

bool applyDiseqcsSection(SetConfigContext& context, const XmlNode* section) {
    return replaceTable(context, kDiseqcs, section);
}

}  // namespace dorel_remote_control
