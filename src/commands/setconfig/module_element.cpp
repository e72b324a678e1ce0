// One "module" element: the module's own settings in RedesModulos, then its
// "inputs", "outputs" and "services" lists in document order.
#include "commands/setconfig/module_scope.h"

#include "commands/core/result_codes.h"
#include "commands/setconfig/value_rules.h"
#include "common/env.h"
#include "db/tables.h"

namespace dorel_remote_control {

namespace {

namespace mod = doreldb::RedesModulos;

// A bad number is refused as 103 "Invalid value for module/<element>".
const ValueRule kModuleRules[] = {
    rule("attenuation", mod::Atenuacion).number().label("attenuation: "),
    rule("name", mod::LabelName).text().label(" name: "),
    rule("dvbNetworkId", mod::RED).number().label(" dvbNetworkId: "),
    rule("modoSalidaRF", mod::ModoSalidaRF).number().label(" modoSalidaRF: "),
};

const ValueRule& kRfModeRule = kModuleRules[3];

}  // namespace

bool applyModuleElement(ModuleScope& scope, const XmlNode* element) {
    doreldb::Record& module = scope.module();
    WalkOutcome outcome;
    if (!applyRules(scope.context, ruleTable(kModuleRules), element, {&module}, outcome)) return false;
    scope.context.env().logAlways(5, "REMOTE_CONTROL::: New Module parameters: %s", outcome.description.c_str());
    if (!saveRow(scope.context, module, "Could not save 'module'")) return false;

    // The outputs' constellations are read in the RF mode that the element
    // set before them; without one, as terrestrial.
    int32_t rfMode = 0;
    for (const XmlNode* child : childElements(element)) {
        std::string stored;
        bool ok = true;
        if (nameIs(child, kRfModeRule.element) && decodeValue(kRfModeRule, child, stored)) {
            rfMode = lenientWholeNumber(stored);
        } else if (nameIs(child, "inputs")) {
            ok = applyModuleInputs(scope, child);
        } else if (nameIs(child, "outputs")) {
            ok = applyModuleOutputs(scope, child, rfMode);
        } else if (nameIs(child, "services")) {
            ok = applyOutputServices(scope, child);
        }
        if (!ok) return false;
    }
    return true;
}

}  // namespace dorel_remote_control
