// The sections of the configuration document that are settings of
// configuracionWebGlobal: each element and the setting (its `nombre`) that
// holds it, in the order getConfiguration writes them. setConfiguration finds
// an element by its name, ignoring ASCII case, so both read the same table.
#pragma once

namespace dorel_remote_control {

struct SettingElement {
    const char* element;
    const char* setting;
};

inline constexpr SettingElement kIdentificationSettings[] = {
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

// The element names and the settings do not pair up by meaning on purpose:
// these are what the headend's time services read.
inline constexpr SettingElement kRegionalSettings[] = {
    {"language", "codtimezone"},
    {"country", "idtimezone"},
    {"timezone", "subtimezone"},
};

// The keys carry no index: with several maintenance elements the last one's
// values stay.
inline constexpr SettingElement kMaintenanceSettings[] = {
    {"hour", "mantenimiento_hora"},
    {"min", "mantenimiento_min"},
    {"active", "mantenimiento_activo"},
};

inline constexpr SettingElement kNetworkSettings[] = {
    {"internet", "network_ConfigureNET"},
    {"dhcp", "network_UseDHCPIP"},
    {"ip", "network_IP"},
    {"netmask", "network_Netmask"},
    {"gateway", "network_Gateway"},
    {"dns1", "network_PrimaryDNS"},
    {"dns2", "network_SecondaryDNS"},
};

inline constexpr SettingElement kRemoteControlSettings[] = {
    {"active", "servidorZAT_activo"},
    {"interval", "servidorZAT_intervalo"},
    {"serverUrl", "servidorZAT_direccion"},
    {"username", "servidorZAT_usuario"},
    {"password", "servidorZAT_password"},
};

inline constexpr SettingElement kLnbSettings[] = {
    {"oscLowFreq", "LNB_fb"},
    {"oscHighFreq", "LNB_fa"},
    {"oscBandaCFreq", "LNB_fbandaC"},
    {"oscBandaSatelite", "LNB_BandaSatelite"},
};

}  // namespace dorel_remote_control
