// The key tables of the sections stored in configuracionWebGlobal, and the
// walker they share.
#include "commands/setconfig/key_tables.h"
#include "commands/setconfig/sections.h"

#include "commands/setconfig/value_rules.h"

namespace dorel_remote_control {

namespace {

const KeySetting kIdentification[] = {
    {"headendName", "identificacion_cabecera"},
    {"location", "identificacion_localizacion"},
    {"installationDate", "identificacion_fecha"},
    {"zatContractId", "identificacion_contrato"},
    {"hostType", "identificacion_hostType"},
    {"installer", "identificacion_instalador"},
    {"clientID", "identificacion_codCanal"},
    {"TVModels", "identificacion_TVModels"},
    {"installationMode", "identificacion_installationMode"},
};

// The element names and the keys do not pair up by meaning on purpose: these
// keys are what the headend's time services read.
const KeySetting kRegional[] = {
    {"language", "codtimezone"},
    {"country", "idtimezone"},
    {"timezone", "subtimezone"},
};

const KeySetting kNetwork[] = {
    {"internet", "network_ConfigureNET"},
    {"dhcp", "network_UseDHCPIP"},
    {"ip", "network_IP"},
    {"netmask", "network_Netmask"},
    {"gateway", "network_Gateway"},
    {"dns1", "network_PrimaryDNS"},
    {"dns2", "network_SecondaryDNS"},
};

const KeySetting kRemoteControl[] = {
    {"active", "servidorZAT_activo"},
    {"interval", "servidorZAT_intervalo"},
    {"serverUrl", "servidorZAT_direccion"},
    {"username", "servidorZAT_usuario"},
    {"password", "servidorZAT_password"},
};

const KeySetting kLnb[] = {
    {"oscLowFreq", "LNB_fb"},
    {"oscHighFreq", "LNB_fa"},
    {"oscBandaCFreq", "LNB_fbandaC"},
    {"oscBandaSatelite", "LNB_BandaSatelite"},
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
