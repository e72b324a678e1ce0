// The key tables of the sections stored in configuracionWebGlobal, and the
// walker they share.
#include "commands/setconfig/key_tables.h"
#include "commands/setconfig/sections.h"

#include "commands/setconfig/value_rules.h"

namespace dorel_remote_control {

namespace {

const KeySetting kIdentification[] = {
    {"headendName", "identificacion_cabecera", kKindText},
    {"location", "identificacion_localizacion", kKindText},
    {"installationDate", "identificacion_fecha", kKindText},
    {"zatContractId", "identificacion_contrato", kKindText},
    {"hostType", "identificacion_hostType", kKindText},
    {"installer", "identificacion_instalador", kKindText},
    {"clientID", "identificacion_codCanal", kKindText},
    {"TVModels", "identificacion_TVModels", kKindText},
    {"installationMode", "identificacion_installationMode", kKindText},
};

// The element names and the keys do not pair up by meaning on purpose: these
// keys are what the headend's time services read.
const KeySetting kRegional[] = {
    {"language", "codtimezone", kKindText},
    {"country", "idtimezone", kKindText},
    {"timezone", "subtimezone", kKindText},
};

const KeySetting kNetwork[] = {
    {"internet", "network_ConfigureNET", kKindOnOff},
    {"dhcp", "network_UseDHCPIP", kKindOnOff},
    {"ip", "network_IP", kKindAddress},
    {"netmask", "network_Netmask", kKindAddress},
    {"gateway", "network_Gateway", kKindAddress},
    {"dns1", "network_PrimaryDNS", kKindAddress},
    {"dns2", "network_SecondaryDNS", kKindAddress},
};

const KeySetting kRemoteControl[] = {
    {"active", "servidorZAT_activo", kKindOnOff},
    {"interval", "servidorZAT_intervalo", kKindNumber},
    {"serverUrl", "servidorZAT_direccion", kKindText},
    {"username", "servidorZAT_usuario", kKindText},
    {"password", "servidorZAT_password", kKindText},
};

const KeySetting kLnb[] = {
    {"oscLowFreq", "LNB_fb", kKindNumber},
    {"oscHighFreq", "LNB_fa", kKindNumber},
    {"oscBandaCFreq", "LNB_fbandaC", kKindNumber},
    {"oscBandaSatelite", "LNB_BandaSatelite", kKindNumber},
};

const KeySetting* findSetting(const KeyTable& table, const XmlNode* child) {
    for (size_t i = 0; i < table.count; ++i) {
        if (nameIs(child, table.settings[i].element)) return &table.settings[i];
    }
    return nullptr;
}

}  // namespace

bool walkKeySection(SetConfigContext& context, const KeyTable& table, const XmlNode* section) {
    for (const XmlNode* child : childElements(section)) {
        const KeySetting* setting = findSetting(table, child);
        if (setting == nullptr) continue;
        if (!context.setConfig(setting->key, nodeText(child), table.changeFlag)) {
            return context.failToSet(nodeName(section) + "/" + nodeName(child));
        }
    }
    return true;
}

bool applyIdentificationSection(SetConfigContext& context, const XmlNode* section) {
    return walkKeySection(context, keyTable(kIdentification, kChangeNone), section);
}

bool applyRegionalSection(SetConfigContext& context, const XmlNode* section) {
    return walkKeySection(context, keyTable(kRegional, kChangeRegional), section);
}

bool applyRemoteControlSection(SetConfigContext& context, const XmlNode* section) {
    return walkKeySection(context, keyTable(kRemoteControl, kChangeRemoteControl), section);
}

bool applyNetworkSection(SetConfigContext& context, const XmlNode* section) {
    return walkKeySection(context, keyTable(kNetwork, kChangeNetwork), section);
}

bool applyLnbSection(SetConfigContext& context, const XmlNode* section) {
    return walkKeySection(context, keyTable(kLnb, kChangeNone), section);
}

// The rating is the section's own text, not a child's.
bool applyMaturityRatingSection(SetConfigContext& context, const XmlNode* section) {
    return context.setConfig("MaturityRating", nodeText(section), kChangeNone) || context.failToSet(nodeName(section));
}

}  // namespace dorel_remote_control
