// The "outputs" list of a module: each logical output (SalidasLogicasGlobal)
// and its RF modulator (RFOutGlobal). The modulator's bandwidth code runs the
// other way round from a terrestrial input's, and its constellation
// (Modo_Salida_Modulacion) is read in the module's RF mode: terrestrial
// (DVB-T) or cable (DVB-C).
#include "commands/setconfig/module_scope.h"

#include "commands/core/result_codes.h"
#include "commands/setconfig/value_rules.h"
#include "common/headend_codes.h"
#include "common/env.h"
#include "db/tables.h"

namespace dorel_remote_control {

namespace {

namespace sl = doreldb::SalidasLogicasGlobal;
namespace rf = doreldb::RFOutGlobal;

// The walker's rows.
constexpr size_t kLogical = 0;
constexpr size_t kModulator = 1;

// Selector bits: the module's RF mode.
constexpr unsigned kTerrestrialMode = 1u << 0;
constexpr unsigned kCableMode = 1u << 1;


constexpr RuleBuilder outputRule(const char* element, size_t target, size_t column, const char* invalidText,
                                 const char* label) {
    return RuleBuilder(rule(element, column).target(target).invalid(kInvalidModuleOutput, invalidText).label(label));
}

const ValueRule kOutputRules[] = {
    outputRule("active", kModulator, rf::Activo, "Invalid value for module/output/active", " active:")
        .number().range(0, 1),
    outputRule("onid", kLogical, sl::ONID_Out, "Invalid value for module/output/onid", " onid: ").number(),
    outputRule("tsid", kLogical, sl::TSID_Out, "Invalid value for module/output/tsid", " tsid: ").number(),
    outputRule("frequency", kModulator, rf::Frecuencia, "Invalid value for module/output/frequency", " frequency: ")
        .number(),
    outputRule("symbolRate", kModulator, rf::Symbol_Rate, "Invalid value for module/output/symbolRate",
               " symbolRate: ").number(),
    outputRule("modeOFDM", kModulator, rf::Modo_OFDM, "Invalid value for module/output/modeOFDM", " modeOFDM: ")
        .words(kModeOfdmCodes),
    outputRule("bandwidth", kModulator, rf::Ancho_Banda, "Invalid value for module/output/bandwidth", " bandwidth: ")
        .words(kOutputBandwidthCodes),
    outputRule("guardInterval", kModulator, rf::Intervalo_Guarda, "Invalid value for module/output/guardInterval",
               " guardInterval: ").words(kGuardIntervalCodes),
    outputRule("constellation", kModulator, rf::Modo_Salida_Modulacion,
               "Invalid value for module/output/constellation DVBT", " constellation: ")
        .words(kTerrestrialConstellationCodes).appliesTo(kTerrestrialMode),
    outputRule("constellation", kModulator, rf::Modo_Salida_Modulacion,
               "Invalid value for module/output/constellation DVBC", " constellation: ")
        .words(kCableConstellationCodes).appliesTo(kCableMode),
    outputRule("codeRate", kModulator, rf::Code_Rate, "Invalid value for module/output/codeRate", " codeRate: ")
        .words(kCodeRateCodes),
    outputRule("formatIQ", kModulator, rf::Espectro_Salida, "Invalid value for module/output/formatIQ", "formatIQ: ")
        .words(kFormatIqCodes),
};
constexpr size_t kActiveRule = 0;

bool applyOutput(ModuleScope& scope, const XmlNode* element, unsigned mode) {
    const XmlNode* id = childElementNoCase(element, "outputId");
    if (id == nullptr) return scope.context.fail(kInvalidModuleOutput, "Output has no outputId field");
    int32_t outputId = 0;
    if (!parseWholeNumber(nodeText(id), outputId) || (outputId != 1 && outputId != 2)) {
        return scope.context.fail(kInvalidModuleOutput, "Output outputId should be 1 or 2");
    }
    doreldb::Record* logical = scope.rows.output(scope.share, static_cast<int>(outputId));
    doreldb::Record* modulator = logical ? scope.rows.modulator(logical->key()) : nullptr;
    if (modulator == nullptr) return scope.context.fail(kInvalidModuleOutput, "Output could not be found");

    WalkOutcome outcome;
    if (!applyRules(scope.context, ruleTable(kOutputRules), element, {logical, modulator}, outcome, mode)) {
        return false;
    }
    // The logical output's own flag arms its alarms: it follows the modulator's.
    if (outcome.met[kActiveRule]) logical->setIfDifferent(sl::Activo, modulator->text(rf::Activo));
    scope.context.env().logAlways(5, "REMOTE_CONTROL::: New OUTPUT parameters: %s", outcome.description.c_str());
    return saveRow(scope.context, *logical, "Could not update sg") &&
           saveRow(scope.context, *modulator, "Could not update rfog");
}

}  // namespace

bool applyModuleOutputs(ModuleScope& scope, const XmlNode* outputs, int32_t rfMode) {
    SetConfigContext::progress("Processing: Outputs");
    const std::vector<const XmlNode*> children = childElements(outputs);
    if (children.empty()) return scope.context.fail(kCouldNotAccessDatabase, "No module outputs found");
    const unsigned mode = rfMode == 0 ? kTerrestrialMode : kCableMode;
    for (const XmlNode* child : children) {
        if (!nameIs(child, "output")) return scope.context.fail(kInvalidCommand, "No output element found");
        if (!applyOutput(scope, child, mode)) return false;
    }
    return true;
}

}  // namespace dorel_remote_control
