// "serviceEPGs": the programme-guide services, replacing Service_EPG with its
// satellite origins, audio tracks and replacement guide channels.
//
//   <serviceEPGs><serviceEPG><onid/><tsid/><sid/><epg/><lcn/>...
//       <satelliteEPG><frequency/>...</satelliteEPG>
//       <audiosEPGs><audiosEPG><languageCode/><audioType/></audiosEPG>...</audiosEPGs>
//       <replacingEPGs><replacingEPG><replacingEpgChannelId/></replacingEPG>...</replacingEPGs>
//   </serviceEPG>...</serviceEPGs>
#include "commands/core/result_codes.h"
#include "commands/setconfig/list_section.h"
#include "commands/setconfig/sections.h"
#include "commands/setconfig/shared_rules.h"
#include "db/tables.h"

namespace dorel_remote_control {

namespace {

namespace svc = doreldb::Service_EPG;
namespace sat = doreldb::Service_EPG_Satellite;
namespace audio = doreldb::Service_EPG_audios;
namespace rep = doreldb::Service_EPG_replacing;

// The DVB identifiers share one rule: 1 to 65535, anything else (0, negative,
// not a number) is out of range.
RuleBuilder dvbId(const char* element, size_t column, const char* text) {
    return rule(element, column).number().range(kMinDvbId, kMaxDvbId).invalid(kInvalidValue, text);
}

const char kOnidRange[] = "ONID value must be a value between [1-65535]";
const char kTsidRange[] = "TSID value must be a value between [1-65535]";

const ValueRule kServiceRules[] = {
    dvbId("onid", svc::ONID, kOnidRange),
    dvbId("tsid", svc::TSID, kTsidRange),
    dvbId("sid", svc::SID, "SID value must be a value between [1-65535]"),
    rule("epg", svc::EPG).required(kInvalidValue, "EPG value can't be NULL"),
    dvbId("lcn", svc::LCN, "LCN value must be a value between [1-65535]"),
    rule("videoType", svc::Video_Type),
    rule("videoPeakBitrate", svc::Video_peak_bitrate),
    rule("serviceType", svc::Service_type),
    rule("name", svc::Nombre),
    rule("provider", svc::Proveedor),
};

const ValueRule kSatelliteRules[] = {
    rule("frequency", sat::Frequency).number(),
    rule("symbolrate", sat::SymbolRate).number(),
    rule("orbit", sat::Orbita),
    rule("polarity", sat::Polaridad).numberOrWords(kPolarityCodes).range(0, 1),
    rule("westEastFlag", sat::West_East_Flag),
    dvbId("onid", sat::ONID, kOnidRange),
    dvbId("tsid", sat::TSID, kTsidRange),
};

const ValueRule kAudioRules[] = {
    rule("languageCode", audio::Language_code),
    rule("audioType", audio::Audio_Type),
};

const ValueRule kReplacingRules[] = {
    rule("replacingEpgChannelId", rep::replacing_epg_channel_id),
};

// A list of rows that belong to one service.
struct ServiceList {
    const char* element;           // the list, e.g. "audiosEPGs"
    const char* item;              // its items, e.g. "audiosEPG"
    const char* wrongItemText;     // 101
    const char* progress;
    const doreldb::TableDef& (*table)();
    RuleTable rules;
    size_t serviceColumn;          // receives the service's key
    size_t stateColumn;
    const char* insertFailText;    // 102
};

const ServiceList kServiceLists[] = {
    {"audiosEPGs", "audiosEPG", "No audiosEPGs element found", "Processing: Service EPGs Audios", &audio::table,
     ruleTable(kAudioRules), audio::fk_idService_EPG, audio::Estado, "Could not insert svcAudio"},
    {"replacingEPGs", "replacingEPG", "No replacingEPGs element found", "Processing: Service EPGs Replacing",
     &rep::table, ruleTable(kReplacingRules), rep::fk_idService_EPG, rep::Estado, "Could not insert svcEPGRep"},
};

struct Emptied {
    const doreldb::TableDef& (*table)();
    const char* failText;
};

const Emptied kEmptied[] = {
    {&svc::table, "Could not delete ServiceEPGs"},
    {&sat::table, "Could not delete ServiceEPG_Satellites"},
    {&audio::table, "Could not delete ServiceEPG_audios"},
    {&rep::table, "Could not delete ServiceEPG_replacings"},
};

// Reads the items of one list of a service and inserts them with its key.
bool applyServiceList(SetConfigContext& context, const ServiceList& list, const XmlNode* listElement,
                      const std::string& serviceKey) {
    SetConfigContext::progress(list.progress);
    for (const XmlNode* item : childElements(listElement)) {
        if (!nameIs(item, list.item)) return context.fail(kInvalidCommand, list.wrongItemText);
        doreldb::Record row(list.table());
        WalkOutcome outcome;
        if (!applyRules(context, list.rules, item, {&row}, outcome)) return false;
        row.set(list.serviceColumn, serviceKey);
        row.set(list.stateColumn, "1");
        if (!insertRow(context, row, list.insertFailText)) return false;
    }
    return true;
}

bool applyService(SetConfigContext& context, const XmlNode* service) {
    if (!nameIs(service, "serviceEPG")) return context.fail(kInvalidCommand, "No serviceEPG element found");
    doreldb::Record row(svc::table());
    WalkOutcome outcome;
    if (!applyRules(context, ruleTable(kServiceRules), service, {&row}, outcome)) return false;

    if (const XmlNode* satellite = childElementNoCase(service, "satelliteEPG")) {
        SetConfigContext::progress("Processing: Service EPGs Satellite");
        doreldb::Record origin(sat::table());
        if (!applyRules(context, ruleTable(kSatelliteRules), satellite, {&origin}, outcome)) return false;
        origin.set(sat::Estado, "1");
        if (!insertRow(context, origin, "Could not insert svcEPG")) return false;
        row.set(svc::fk_idService_EPG_Satellite, origin.key());
    }
    if (!insertRow(context, row, "Could not insert ServiceEPG")) return false;

    for (const ServiceList& list : kServiceLists) {
        const XmlNode* listElement = childElementNoCase(service, list.element);
        if (listElement != nullptr && !applyServiceList(context, list, listElement, row.key())) return false;
    }
    return true;
}

}  // namespace

bool applyServiceEpgsSection(SetConfigContext& context, const XmlNode* section) {
    SetConfigContext::progress("Processing: Service EPGs");
    for (const Emptied& emptied : kEmptied) {
        if (!emptyTable(context, emptied.table(), emptied.failText)) return false;
    }
    for (const XmlNode* service : childElements(section)) {
        if (!applyService(context, service)) return false;
    }
    return true;
}

}  // namespace dorel_remote_control
