// What the handlers of one "module" element of setConfiguration share: the
// section's context, the headend's rows grouped by module, the module's own
// share of them and the LNB oscillator settings. Declares the handlers of the
// module element and of its lists; each follows the section contract of
// section_context.h (true on success, otherwise the error is recorded).
#pragma once

#include "commands/setconfig/module_rows.h"
#include "commands/setconfig/section_context.h"
#include "db/tables.h"

#include <string>

namespace dorel_remote_control {

// The LNB oscillator frequencies (MHz) of configuracionWebGlobal, each only
// when its key is stored.
struct LnbOscillators {
    bool hasLow = false;    // "LNB_fb", the low band's
    int32_t low = 0;
    bool hasHigh = false;   // "LNB_fa", the high band's
    int32_t high = 0;

    // Reads both keys from the document's copy of the table (what the
    // transaction holds); false when the table could not be read.
    bool load(SetConfigContext& context);
};

struct ModuleScope {
    SetConfigContext& context;
    ModuleRows& rows;
    ModuleShare& share;
    const LnbOscillators& lnb;

    doreldb::Record& module() { return rows.module(share.module); }
    std::string mac() { return module().text(doreldb::RedesModulos::MAC); }
};

// Writes a row whose values changed (nothing when none did); a failed update
// records 102 with failureText.
bool saveRow(SetConfigContext& context, doreldb::Record& row, const char* failureText);

// module_element.cpp: the module's settings, then its lists in document order.
bool applyModuleElement(ModuleScope& scope, const XmlNode* element);
// module_inputs.cpp
bool applyModuleInputs(ModuleScope& scope, const XmlNode* inputs);
// module_outputs.cpp: rfMode 0 validates constellations as terrestrial, any
// other value as cable.
bool applyModuleOutputs(ModuleScope& scope, const XmlNode* outputs, int32_t rfMode);
// output_services.cpp
bool applyOutputServices(ModuleScope& scope, const XmlNode* services);
// pid_orders.cpp: the PID orders of one service row (already in the database).
bool applyPidOrders(ModuleScope& scope, doreldb::Record& service, const XmlNode* pidOrders);
// Marks every PID row of a withdrawn service deleted.
bool deletePidsOf(ModuleScope& scope, const doreldb::Record& service);

}  // namespace dorel_remote_control
