// The headend-wide sections of the configuration document. The section table
// at the end gives the order of the document.
#include "commands/query/configuration_sections.h"

#include "commands/query/si_table_version.h"
#include "common/numbers.h"
#include "common/paths.h"
#include "db/tables.h"


namespace dorel_remote_control {

namespace {

namespace db = doreldb;

// Sections made of settings.

const SettingElement kIdentification[] = {
    {"headendName", "identificacion_cabecera"},
    {"location", "identificacion_localizacion"},
    {"installationDate", "identificacion_fecha"},
    {"zatContractId", "identificacion_contrato"},
    {"installer", "identificacion_instalador"},
    {"clientID", "identificacion_codCanal"},
    {"hostType", "identificacion_hostType"},
    {"TVModels", "identificacion_TVModels"},
    {"installationMode", "identificacion_installationMode"},
};
const SettingElement kRegional[] = {
    {"language", "codtimezone"},
    {"country", "idtimezone"},
    {"timezone", "subtimezone"},
};
const SettingElement kMaintenance[] = {
    {"hour", "mantenimiento_hora"},
    {"min", "mantenimiento_min"},
    {"active", "mantenimiento_activo"},
};
const SettingElement kNetwork[] = {
    {"internet", "network_ConfigureNET"},
    {"dhcp", "network_UseDHCPIP"},
    {"ip", "network_IP"},
    {"netmask", "network_Netmask"},
    {"gateway", "network_Gateway"},
    {"dns1", "network_PrimaryDNS"},
    {"dns2", "network_SecondaryDNS"},
};
const SettingElement kRemoteControl[] = {
    {"active", "servidorZAT_activo"},
    {"interval", "servidorZAT_intervalo"},
    {"serverUrl", "servidorZAT_direccion"},
    {"username", "servidorZAT_usuario"},
    {"password", "servidorZAT_password"},
};
const SettingElement kLnb[] = {
    {"oscLowFreq", "LNB_fb"},
    {"oscHighFreq", "LNB_fa"},
    {"oscBandaCFreq", "LNB_fbandaC"},
    {"oscBandaSatelite", "LNB_BandaSatelite"},
};

void identification(ConfigurationContext& c, XmlNode* s) { addSettings(c, s, kIdentification); }
void regional(ConfigurationContext& c, XmlNode* s) { addSettings(c, s, kRegional); }
void network(ConfigurationContext& c, XmlNode* s) { addSettings(c, s, kNetwork); }
void remoteControl(ConfigurationContext& c, XmlNode* s) { addSettings(c, s, kRemoteControl); }
void lnb(ConfigurationContext& c, XmlNode* s) { addSettings(c, s, kLnb); }

void maturityRating(ConfigurationContext& c, XmlNode* s) {
    const std::string rating = c.setting("MaturityRating");
    if (!rating.empty()) s->value(c.doc().allocate_string(rating.c_str(), rating.size()), rating.size());
}

void maintenances(ConfigurationContext& c, XmlNode* s) { addSettings(c, c.add(s, "maintenance"), kMaintenance); }

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

void homeChannels(ConfigurationContext& c, XmlNode* s) {
    for (const db::Record& row : c.table(db::MantenimientoHomeChannelsGlobal::table()).all()) {
        addColumns(c, c.add(s, "homechannel"), row, kHomeChannel);
    }
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

void serviceEpgs(ConfigurationContext& c, XmlNode* s) {
    db::TableRows& audios = c.table(db::Service_EPG_audios::table());
    db::TableRows& replacings = c.table(db::Service_EPG_replacing::table());
    db::TableRows& satellites = c.table(db::Service_EPG_Satellite::table());
    for (const db::Record& row : c.table(db::Service_EPG::table()).all()) {
        XmlNode* epg = c.add(s, "serviceEPG");
        addColumns(c, epg, row, kServiceEpg);
        const db::tSqlite3parent& id = row.value(db::Service_EPG::idService_EPG);
        XmlNode* audioList = c.add(epg, "audiosEPGs");
        for (const db::Record* audio : audios.where({{db::Service_EPG_audios::fk_idService_EPG, id}})) {
            addColumns(c, c.add(audioList, "audiosEPG"), *audio, kAudiosEpg);
        }
        XmlNode* replacingList = c.add(epg, "replacingEPGs");
        for (const db::Record* replacing : replacings.where({{db::Service_EPG_replacing::fk_idService_EPG, id}})) {
            addColumns(c, c.add(replacingList, "replacingEPG"), *replacing, kReplacingEpg);
        }
        const db::Record* satellite = satellites.first(
            {{db::Service_EPG_Satellite::idService_EPG_Satellite, row.value(db::Service_EPG::fk_idService_EPG_Satellite)}});
        if (satellite != nullptr) addColumns(c, c.add(epg, "satelliteEPG"), *satellite, kSatelliteEpg);
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

void addPidFlags(ConfigurationContext& c, XmlNode* parent, const char* name, const std::string& stored) {
    XmlNode* flags = c.add(parent, name);
    const int32_t mask = atoi32(stored.c_str());
    for (const auto& kind : kPidKinds) c.add(flags, kind.element, (mask & kind.bit) != 0 ? "1" : "0");
}

std::string siFile(const std::string& name) { return paths::tablasSiDir() + "/" + name; }

void addSiVersions(ConfigurationContext& c, XmlNode* network, const std::string& networkId) {
    if (c.modelGroupA()) {
        c.add(network, "InputVersionNIT", siTableVersion(siFile("NIT_table_CPLUS")));
        c.add(network, "InputVersionBAT", siTableVersion(siFile("BAT_table_CPLUS")));
    }
    const std::string output = siFile("NIT_table_" + networkId);
    c.add(network, "OutputVersionNIT", siTableVersion(output));
    c.add(network, "OutputNITDate", siTableDate(output));
}

void dvbNetworks(ConfigurationContext& c, XmlNode* s) {
    for (const db::Record& row : c.table(db::RedesCabecera::table()).all()) {
        XmlNode* network = c.add(s, "dvbNetwork");
        addColumns(c, network, row, kDvbNetwork);
        addPidFlags(c, network, "autoBlockPIDs", row.text(db::RedesCabecera::Block_PIDs));
        if (!c.kvdCd5()) addPidFlags(c, network, "autoDecryptPIDs", row.text(db::RedesCabecera::Decrypt_PIDs));
        if (!c.wmbG400()) addSiVersions(c, network, row.text(db::RedesCabecera::idRed));
    }
}

const ColumnElement kDiseqc[] = {
    {"position", db::DiSEqCGlobal::Posicion, nullptr, nullptr},
    {"name", db::DiSEqCGlobal::Nombre, nullptr, nullptr},
    {"orbit", db::DiSEqCGlobal::Orbita, nullptr, nullptr},
    {"polarity", db::DiSEqCGlobal::Polaridad, polarityText, nullptr},
    {"band", db::DiSEqCGlobal::Banda, bandText, nullptr},
};

void diseqcs(ConfigurationContext& c, XmlNode* s) {
    for (const db::Record& row : c.table(db::DiSEqCGlobal::table()).all()) {
        addColumns(c, c.add(s, "diseqc"), row, kDiseqc);
    }
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

void scramblings(ConfigurationContext& c, XmlNode* s) {
    db::TableRows& keys = c.table(db::ScramblingKeysGlobal::table());
    for (const db::Record& row : c.table(db::ScramblingGlobal::table()).all()) {
        XmlNode* scrambling = c.add(s, "scrambling");
        addColumns(c, scrambling, row, kScrambling);
        // The key table has no name column: its System holds the name of the
        // scrambling system the keys belong to.
        const db::Record* key =
            keys.first({{db::ScramblingKeysGlobal::System, row.value(db::ScramblingGlobal::ScramblingName)}});
        if (key != nullptr) addColumns(c, scrambling, *key, kScramblingKeys);
    }
}

void preferredLanguages(ConfigurationContext& c, XmlNode* s) {
    for (const db::Record& row : c.table(db::AudioLanguageListGlobal::table()).all()) {
        c.add(s, "language", row.text(db::AudioLanguageListGlobal::AudioCode));
    }
}

bool always(const ConfigurationContext&) { return true; }
bool modelGroupA(const ConfigurationContext& c) { return c.modelGroupA(); }
bool onlyWmbG400(const ConfigurationContext& c) { return c.wmbG400(); }
bool notKvdCd5(const ConfigurationContext& c) { return !c.kvdCd5(); }

// The document, in order.
const struct {
    const char* element;
    bool (*applies)(const ConfigurationContext&);
    void (*build)(ConfigurationContext&, XmlNode* section);
} kSections[] = {
    {"identification", always, identification},
    {"regional", always, regional},
    {"maturityRating", modelGroupA, maturityRating},
    {"maintenances", modelGroupA, maintenances},
    {"homeChannels", modelGroupA, homeChannels},
    {"serviceEPGs", modelGroupA, serviceEpgs},
    {"network", always, network},
    {"remoteControl", onlyWmbG400, remoteControl},
    {"dvbNetworks", always, dvbNetworks},
    {"lnb", notKvdCd5, lnb},
    {"diseqcs", notKvdCd5, diseqcs},
    {"scramblings", notKvdCd5, scramblings},
    {"preferredLanguages", always, preferredLanguages},
    {"modules", always, buildModules},
};

}  // namespace

void buildConfiguration(ConfigurationContext& context, XmlNode* configuration) {
    for (const auto& section : kSections) {
        if (section.applies(context)) section.build(context, context.add(configuration, section.element));
    }
}

}  // namespace dorel_remote_control
