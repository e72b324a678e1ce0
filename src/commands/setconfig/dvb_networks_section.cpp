// "dvbNetworks": the output networks of the headend, replacing RedesCabecera.
// Every element is read and checked before the table is emptied.
//
//   <dvbNetworks><dvbNetwork><id/><nid/>...<autoBlockPIDs><text/><subtitles/>
//       <data/></autoBlockPIDs></dvbNetwork>...</dvbNetworks>
#include "commands/core/result_codes.h"
#include "commands/setconfig/list_section.h"
#include "commands/setconfig/sections.h"
#include "commands/setconfig/shared_rules.h"
#include "db/tables.h"

namespace dorel_remote_control {

namespace {

namespace col = doreldb::RedesCabecera;

// The PID kinds a network blocks or decrypts automatically, one bit each.
const CodeText kPidMaskBits[] = {{1, "text"}, {2, "subtitles"}, {4, "data"}};

// A child whose value is "1" sets its bit; anything else leaves it clear.
bool decodePidMask(const XmlNode* element, std::string& stored) {
    int32_t mask = 0;
    for (const XmlNode* child : childElements(element)) {
        int32_t bit = 0;
        if (nodeText(child) == "1" && lookupWord(kPidMaskBits, std::size(kPidMaskBits), nodeName(child), bit)) mask |= bit;
    }
    stored = std::to_string(mask);
    return true;
}

// The NIT pattern rules look at what the same element said before them, in
// document order: the row holds exactly that so far.
bool nitPatronAllowed(int32_t value, const std::vector<doreldb::Record*>& rows) {
    return value <= 1 || rows[0]->toInt(col::Tipo_NIT_Patron) != 0;
}

bool versionNitPatronAllowed(int32_t value, const std::vector<doreldb::Record*>& rows) {
    return value == 0 || rows[0]->toInt(col::NIT_Patron) != 0;
}

// In the order of the "New network parameters" line.
const ValueRule kDvbNetworkRules[] = {
    rule("id", col::idRed).number().range(1, kMaxRowId).required(kInvalidCommand, "dvbNetwork has no id field")
        .label("idRed="),
    rule("nid", col::NID).label("nid="),
    rule("ciplusTVs", col::CI_TV_Type).label("ciplusTVs="),
    rule("tvType", col::TV_Type).number().label("tvType="),
    rule("cellID", col::CellID).number().label("cellID="),
    rule("forceServiceName", col::Force_ServiceName).number().label("forcedServiceName="),
    rule("autoServiceList", col::Auto_Service_List).number().label("autoServiceList="),
    rule("lcnOffset", col::LCN_Offset).number().label("lcnOffset="),
    rule("lcnMode", col::LCN_Mode).number().label("lcnMode="),
    rule("tipoNITPatron", col::Tipo_NIT_Patron).number().range(0, 1)
        .invalid(kInvalidValue, "tipoNITPatron not allowed value detected").label("tipoNITPatron="),
    rule("nitPatron", col::NIT_Patron).number().check(&nitPatronAllowed)
        .invalid(kInvalidValue, "nitPatron not allowed value detected").label("nitPatron="),
    rule("versionNITPatron", col::Version_NIT_Patron).number().check(&versionNitPatronAllowed)
        .invalid(kInvalidValue, "versionNITPatron not allowed value detected").label("versionNITPatron="),
    rule("autoBlockPIDs", col::Block_PIDs).custom(&decodePidMask).label("autoBlockPIDsMask="),
    rule("autoDecryptPIDs", col::Decrypt_PIDs).custom(&decodePidMask).label("autoDecryptPIDsMask="),
    rule("onidOut", col::ONID_Out),
    rule("name", col::NombreRed),
};

// The columns the document does not carry (LCN_Type, NIT_Version, ...) keep
// what the network had; a new network starts them at 0.
void complete(doreldb::Record& row, const doreldb::Record* previous) { completeRow(row, previous, "0", col::estado); }

const ListSection kDvbNetworks = {
    &col::table, "dvbNetwork", kInvalidCommand, "No dvbNetwork element found", ruleTable(kDvbNetworkRules),
    "Could not delete dvbNetworks", "Could not insert dvbNetwork",
    true, "REMOTE_CONTROL::: New network parameters: ", &complete,
};

}  // namespace

bool applyDvbNetworksSection(SetConfigContext& context, const XmlNode* section) {
    return replaceTable(context, kDvbNetworks, section);
}

}  // namespace dorel_remote_control
