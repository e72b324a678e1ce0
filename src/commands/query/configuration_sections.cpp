// The headend-wide sections of the configuration document. The section table
// at the end gives the order of the document.
#include "commands/query/configuration_sections.h"

#include "commands/query/si_table_version.h"
#include "common/numbers.h"
#include "common/env.h"
#include "db/tables.h"


namespace dorel_remote_control {

namespace {

namespace db = doreldb;

// Sections made of settings.

void identification(ConfigurationContext& c) { addSettings(c, kIdentificationSettings); }
void regional(ConfigurationContext& c) { addSettings(c, kRegionalSettings); }
void network(ConfigurationContext& c) { addSettings(c, kNetworkSettings); }
void remoteControl(ConfigurationContext& c) { addSettings(c, kRemoteControlSettings); }
void lnb(ConfigurationContext& c) { addSettings(c, kLnbSettings); }

void maintenances(ConfigurationContext& c) {
    c.open("maintenance");
    addSettings(c, kMaintenanceSettings);
    c.close();
}

// Sections made of whole tables.

const ColumnElement kHomeChannel[] = {
    {"frequency", db::MantenimientoHomeChannelsGlobal::Frequency, nullptr, nullptr},
    {"orbit", db::MantenimientoHomeChannelsGlobal::Orbita, nullptr, nullptr},
    {"polarity", db::MantenimientoHomeChannelsGlobal::Polaridad, polarityText, nullptr},
    {"band", db::MantenimientoHomeChannelsGlobal::Banda, bandText, nullptr},
    {"symbolrate", db::MantenimientoHomeChannelsGlobal::SymbolRate, nullptr, nullptr},
    {"onid", db::MantenimientoHomeChannelsGlobal::ONID, nullptr, nullptr},
    {"tsid", db::MantenimientoHomeChannelsGlobal::TSID, nullptr, nullptr},
};

// Each section frees the rows of the tables no later section reads.

void homeChannels(ConfigurationContext& c) {
    for (const db::Record& row : c.table(db::MantenimientoHomeChannelsGlobal::table()).all()) {
        c.open("homechannel");
        addColumns(c, row, kHomeChannel);
        c.close();
    }
    c.release(db::MantenimientoHomeChannelsGlobal::table());
}

const ColumnElement kServiceEpg[] = {
    {"onid", db::Service_EPG::ONID, nullptr, nullptr},
    {"tsid", db::Service_EPG::TSID, nullptr, nullptr},
    {"epg", db::Service_EPG::EPG, nullptr, nullptr},
    {"videoType", db::Service_EPG::Video_Type, nullptr, nullptr},
    {"videoPeakBitrate", db::Service_EPG::Video_peak_bitrate, nullptr, nullptr},
    {"serviceType", db::Service_EPG::Service_type, nullptr, nullptr},
    {"name", db::Service_EPG::Nombre, nullptr, nullptr},
    {"provider", db::Service_EPG::Proveedor, nullptr, nullptr},
};
const ColumnElement kAudiosEpg[] = {
    {"languageCode", db::Service_EPG_audios::Language_code, nullptr, nullptr},
    {"audioType", db::Service_EPG_audios::Audio_Type, nullptr, nullptr},
};
const ColumnElement kReplacingEpg[] = {
    {"replacingEpgChannelId", db::Service_EPG_replacing::replacing_epg_channel_id, nullptr, nullptr},
};
const ColumnElement kSatelliteEpg[] = {
    {"onid", db::Service_EPG_Satellite::ONID, nullptr, nullptr},
    {"tsid", db::Service_EPG_Satellite::TSID, nullptr, nullptr},
    {"frequency", db::Service_EPG_Satellite::Frequency, nullptr, nullptr},
    {"symbolrate", db::Service_EPG_Satellite::SymbolRate, nullptr, nullptr},
    {"polarity", db::Service_EPG_Satellite::Polaridad, polarityText, nullptr},
    {"orbit", db::Service_EPG_Satellite::Orbita, nullptr, nullptr},
    {"westEastFlag", db::Service_EPG_Satellite::West_East_Flag, nullptr, nullptr},
};

// A list element with one item per row, each made of columns.
template <size_t N>
void addRowList(ConfigurationContext& c, const char* list, const char* item, const std::vector<const db::Record*>& rows,
                const ColumnElement (&columns)[N]) {
    c.open(list);
    for (const db::Record* row : rows) {
        c.open(item);
        addColumns(c, *row, columns);
        c.close();
    }
    c.close();
}

void serviceEpgs(ConfigurationContext& c) {
    db::TableRows& audios = c.table(db::Service_EPG_audios::table());
    db::TableRows& replacings = c.table(db::Service_EPG_replacing::table());
    db::TableRows& satellites = c.table(db::Service_EPG_Satellite::table());
    for (const db::Record& row : c.table(db::Service_EPG::table()).all()) {
        c.open("serviceEPG");
        addColumns(c, row, kServiceEpg);
        const db::tSqlite3parent& id = row.value(db::Service_EPG::idService_EPG);
        addRowList(c, "audiosEPGs", "audiosEPG", audios.where({{db::Service_EPG_audios::fk_idService_EPG, id}}),
                   kAudiosEpg);
        addRowList(c, "replacingEPGs", "replacingEPG",
                   replacings.where({{db::Service_EPG_replacing::fk_idService_EPG, id}}), kReplacingEpg);
        const db::Record* satellite = satellites.first(
            {{db::Service_EPG_Satellite::idService_EPG_Satellite, row.value(db::Service_EPG::fk_idService_EPG_Satellite)}});
        if (satellite != nullptr) {
            c.open("satelliteEPG");
            addColumns(c, *satellite, kSatelliteEpg);
            c.close();
        }
        c.close();
    }
    for (const auto table : {db::Service_EPG::table, db::Service_EPG_audios::table, db::Service_EPG_replacing::table,
                             db::Service_EPG_Satellite::table}) {
        c.release(table());
    }
}

const ColumnElement kDvbNetwork[] = {
    {"id", db::RedesCabecera::idRed, nullptr, nullptr},
    {"nid", db::RedesCabecera::NID, nullptr, nullptr},
    {"onidOut", db::RedesCabecera::ONID_Out, nullptr, nullptr},
    {"name", db::RedesCabecera::NombreRed, nullptr, nullptr},
    {"ciplusTVs", db::RedesCabecera::CI_TV_Type, nullptr, nullptr},
    {"tvType", db::RedesCabecera::TV_Type, nullptr, unlessWmbG400},
    {"cellID", db::RedesCabecera::CellID, nullptr, unlessWmbG400},
    {"forceServiceName", db::RedesCabecera::Force_ServiceName, nullptr, unlessWmbG400},
    {"autoServiceList", db::RedesCabecera::Auto_Service_List, nullptr, unlessWmbG400},
    {"lcnOffset", db::RedesCabecera::LCN_Offset, nullptr, unlessWmbG400},
    {"lcnMode", db::RedesCabecera::LCN_Mode, nullptr, unlessWmbG400},
    {"tipoNITPatron", db::RedesCabecera::Tipo_NIT_Patron, nullptr, unlessWmbG400},
    {"nitPatron", db::RedesCabecera::NIT_Patron, nullptr, unlessWmbG400},
    {"versionNITPatron", db::RedesCabecera::Version_NIT_Patron, nullptr, unlessWmbG400},
};

// The PID kinds a network blocks or decrypts automatically, one bit each.
const struct {
    const char* element;
    int bit;
} kPidKinds[] = {{"text", 1}, {"subtitles", 2}, {"data", 4}};

void addPidFlags(ConfigurationContext& c, const char* name, const std::string& stored) {
    c.open(name);
    const int32_t mask = atoi32(stored.c_str());
    for (const auto& kind : kPidKinds) c.add(kind.element, (mask & kind.bit) != 0 ? "1" : "0", 1);
    c.close();
}

std::string siFile(const ConfigurationContext& c, const std::string& name) { return c.paths().tablasSiDir() + "/" + name; }

void addSiVersions(ConfigurationContext& c, const std::string& networkId) {
    if (c.modelGroupA()) {
        c.add("InputVersionNIT", siTableVersion(siFile(c, "NIT_table_CPLUS")));
        c.add("InputVersionBAT", siTableVersion(siFile(c, "BAT_table_CPLUS")));
    }
    const std::string output = siFile(c, "NIT_table_" + networkId);
    c.add("OutputVersionNIT", siTableVersion(output));
    c.add("OutputNITDate", siTableDate(output));
}

void dvbNetworks(ConfigurationContext& c) {
    for (const db::Record& row : c.table(db::RedesCabecera::table()).all()) {
        c.open("dvbNetwork");
        addColumns(c, row, kDvbNetwork);
        addPidFlags(c, "autoBlockPIDs", row.text(db::RedesCabecera::Block_PIDs));
        if (!c.kvdCd5()) addPidFlags(c, "autoDecryptPIDs", row.text(db::RedesCabecera::Decrypt_PIDs));
        if (!c.wmbG400()) addSiVersions(c, row.text(db::RedesCabecera::idRed));
        c.close();
    }
    c.release(db::RedesCabecera::table());
}

const ColumnElement kDiseqc[] = {
    {"position", db::DiSEqCGlobal::Posicion, nullptr, nullptr},
    {"name", db::DiSEqCGlobal::Nombre, nullptr, nullptr},
    {"orbit", db::DiSEqCGlobal::Orbita, nullptr, nullptr},
    {"polarity", db::DiSEqCGlobal::Polaridad, polarityText, nullptr},
    {"band", db::DiSEqCGlobal::Banda, bandText, nullptr},
};

void diseqcs(ConfigurationContext& c) {
    for (const db::Record& row : c.table(db::DiSEqCGlobal::table()).all()) {
        c.open("diseqc");
        addColumns(c, row, kDiseqc);
        c.close();
    }
    c.release(db::DiSEqCGlobal::table());
}

const ColumnElement kScrambling[] = {
    {"name", db::ScramblingGlobal::ScramblingName, nullptr, nullptr},
    {"active", db::ScramblingGlobal::Estado, nullptr, nullptr},
    {"mode", db::ScramblingGlobal::Mode, scramblingModeText, nullptr},
};
const ColumnElement kScramblingKeys[] = {
    {"frequency", db::ScramblingKeysGlobal::Frequency, nullptr, nullptr},
    {"oddKey", db::ScramblingKeysGlobal::Odd, nullptr, nullptr},
    {"evenKey", db::ScramblingKeysGlobal::Even, nullptr, nullptr},
    {"date", db::ScramblingKeysGlobal::Date, nullptr, nullptr},
};

void scramblings(ConfigurationContext& c) {
    db::TableRows& keys = c.table(db::ScramblingKeysGlobal::table());
    for (const db::Record& row : c.table(db::ScramblingGlobal::table()).all()) {
        c.open("scrambling");
        addColumns(c, row, kScrambling);
        // The key table has no name column: its System holds the name of the
        // scrambling system the keys belong to.
        const db::Record* key =
            keys.first({{db::ScramblingKeysGlobal::System, row.value(db::ScramblingGlobal::ScramblingName)}});
        if (key != nullptr) addColumns(c, *key, kScramblingKeys);
        c.close();
    }
    c.release(db::ScramblingGlobal::table());
    c.release(db::ScramblingKeysGlobal::table());
}

void preferredLanguages(ConfigurationContext& c) {
    for (const db::Record& row : c.table(db::AudioLanguageListGlobal::table()).all()) {
        c.add("language", row.text(db::AudioLanguageListGlobal::AudioCode));
    }
    c.release(db::AudioLanguageListGlobal::table());
}

bool always(const ConfigurationContext&) { return true; }
bool modelGroupA(const ConfigurationContext& c) { return c.modelGroupA(); }
bool onlyWmbG400(const ConfigurationContext& c) { return c.wmbG400(); }
bool notKvdCd5(const ConfigurationContext& c) { return !c.kvdCd5(); }

// The document, in order.
const struct {
    const char* element;
    bool (*applies)(const ConfigurationContext&);
    void (*build)(ConfigurationContext&);   // writes the section's children
    const char* setting;                    // without build: the section's text
} kSections[] = {
    {"identification", always, identification, nullptr},
    {"regional", always, regional, nullptr},
    {"maturityRating", modelGroupA, nullptr, "MaturityRating"},
    {"maintenances", modelGroupA, maintenances, nullptr},
    {"homeChannels", modelGroupA, homeChannels, nullptr},
    {"serviceEPGs", modelGroupA, serviceEpgs, nullptr},
    {"network", always, network, nullptr},
    {"remoteControl", onlyWmbG400, remoteControl, nullptr},
    {"dvbNetworks", always, dvbNetworks, nullptr},
    {"lnb", notKvdCd5, lnb, nullptr},
    {"diseqcs", notKvdCd5, diseqcs, nullptr},
    {"scramblings", notKvdCd5, scramblings, nullptr},
    {"preferredLanguages", always, preferredLanguages, nullptr},
    {"modules", always, writeModules, nullptr},
};

}  // namespace

void writeConfiguration(ConfigurationContext& context) {
    context.open("configuration");
    for (const auto& section : kSections) {
        if (!section.applies(context)) continue;
        if (section.build == nullptr) {
            context.addSetting(section.element, section.setting);
            continue;
        }
        context.open(section.element);
        section.build(context);
        context.close();
    }
    context.close();
}

}  // namespace dorel_remote_control
