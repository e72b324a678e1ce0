// The handlers of the setConfiguration sections, one per section element.
// Each follows the contract of section_context.h.
#pragma once

#include "commands/setconfig/section_context.h"

namespace dorel_remote_control {

// Key/value sections (key_sections.cpp).
bool applyIdentificationSection(SetConfigContext& context, const XmlNode* section);
bool applyRegionalSection(SetConfigContext& context, const XmlNode* section);
bool applyRemoteControlSection(SetConfigContext& context, const XmlNode* section);
bool applyNetworkSection(SetConfigContext& context, const XmlNode* section);
bool applyLnbSection(SetConfigContext& context, const XmlNode* section);
bool applyMaturityRatingSection(SetConfigContext& context, const XmlNode* section);

// maintenances_section.cpp
bool applyMaintenancesSection(SetConfigContext& context, const XmlNode* section);

// List sections, each in the file named after it (dvb_networks_section.cpp, ...).
bool applyDvbNetworksSection(SetConfigContext& context, const XmlNode* section);
bool applyDiseqcsSection(SetConfigContext& context, const XmlNode* section);
bool applyHomeChannelsSection(SetConfigContext& context, const XmlNode* section);
bool applyPreferredLanguagesSection(SetConfigContext& context, const XmlNode* section);
bool applyServiceEpgsSection(SetConfigContext& context, const XmlNode* section);
bool applyScramblingsSection(SetConfigContext& context, const XmlNode* section);

}  // namespace dorel_remote_control
