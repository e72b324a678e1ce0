// The "inputs" list of a module: each input's EntradasGlobal row and the row
// of its tuner kind (satellite NimGlobal, terrestrial NimCOFDMGlobal, cable
// NimQAMGlobal). Satellite tuners keep the received frequency (Frequency),
// its intermediate frequency after the LNB (fe) and the band (banda_FI); the
// intermediate frequency must stay inside the tuner's 950-2150 MHz.
#include "commands/setconfig/module_scope.h"

#include "commands/core/result_codes.h"
#include "commands/setconfig/value_rules.h"
#include "common/headend_codes.h"
#include "common/env.h"
#include "db/tables.h"

namespace dorel_remote_control {

namespace {

namespace eg = doreldb::EntradasGlobal;
namespace nim = doreldb::NimGlobal;
namespace cofdm = doreldb::NimCOFDMGlobal;
namespace qam = doreldb::NimQAMGlobal;

// Selector bits of the tuner walk: which input the rule applies to.
constexpr unsigned kInput1 = 1u << 0;
constexpr unsigned kInput2 = 1u << 1;

constexpr int32_t kMinIntermediateFrequency = 950;
constexpr int32_t kMaxIntermediateFrequency = 2150;

// The stream or PLP id that lets the tuner choose.
const CodeText kAutoWords[] = {{-2, "auto"}};

// Input 1 feeds the RF loop and never loops itself: whatever it is sent, 0.
bool loopOff(const XmlNode*, std::string& stored) {
    stored = "0";
    return true;
}

constexpr ValueRule numberRule(const char* element, size_t column, const char* invalidText, const char* label) {
    return rule(element, column).number().invalid(kInvalidModuleInput, invalidText).label(label);
}
constexpr ValueRule rfLoopOfInput1(size_t column) {
    return rule("rfLoop", column).custom(loopOff).label(" rfLoop: ").appliesTo(kInput1);
}
constexpr ValueRule rfLoopOfInput2(size_t column) {
    return rule("rfLoop", column).number().range(0, 1)
        .invalid(kInvalidModuleInput, "Invalid value for module/input/rfLoop").label(" rfLoop: ").appliesTo(kInput2);
}

// EntradasGlobal, whatever the tuner.
const ValueRule kInputRules[] = {
    rule("active", eg::Activo).number().range(0, 1).invalid(kInvalidModuleInput, "Invalid value for module/input/active"),
    numberRule("type", eg::tipoEntrada, "Invalid value for module/input/type", " type: "),
    numberRule("tsid", eg::TSID, "Invalid value for module/input/tsid", " tsid: "),
    numberRule("onid", eg::ONID, "Invalid value for module/input/onid", " onid: "),
};

const ValueRule kSatelliteRules[] = {
    numberRule("frequency", nim::Frequency, "Invalid value for module/input/frequency", " frequency: "),
    rule("diseqc", nim::DiSEqC).number().invalid(kInvalidModuleInput, "Invalid value for module/input/diseqc"),
    rule("band", nim::banda_FI).words(kBandCodes).invalid(kInvalidModuleInput, "Invalid value for module/input/band")
        .label(" band: "),
    rfLoopOfInput1(nim::RFIN_LOOP),
    rfLoopOfInput2(nim::RFIN_LOOP),
    numberRule("symbolRate", nim::SymbolRate, "Invalid value for module/input/symbolRate", " symbolRate: "),
    rule("PLSmode", nim::ModoPLS).words(kPlsModeCodes)
        .invalid(kInvalidModuleInput, "Invalid value for module/input/PLSmode").label(" PLSmode: "),
    numberRule("scramblingID", nim::ScramblingID, "Invalid value for module/input/scramblingID", " scramblingID: "),
    rule("streamID", nim::StreamID).numberOrWords(kAutoWords)
        .invalid(kInvalidModuleInput, "Invalid value for module/input/streamID").label(" streamID: "),
};

const ValueRule kTerrestrialRules[] = {
    numberRule("frequency", cofdm::Frequency, "Invalid value for module/input/frequency", " frequency: "),
    rfLoopOfInput1(cofdm::RFIN_LOOP),
    rfLoopOfInput2(cofdm::RFIN_LOOP),
    rule("bandwidth", cofdm::Bandwidth).words(kInputBandwidthCodes)
        .invalid(kInvalidModuleInput, "Invalid value for module/input/bandwidth").label(" bandwidth: "),
    rule("hierarchy", cofdm::Hierarchy).words(kHierarchyCodes)
        .invalid(kInvalidModuleInput, "Invalid value for module/input/hierarchy").label(" hierarchy: "),
    rule("PLPID", cofdm::PLP_ID).numberOrWords(kAutoWords)
        .invalid(kInvalidModuleInput, "Invalid value for module/input/PLPID").label(" PLPID: "),
    rule("autoScan", cofdm::trackingStatusEn).text().label(" autoScan: "),
    rule("onidScan", cofdm::ONID_Tracking).text().label(" onidScan: "),
    rule("tsidScan", cofdm::TSID_Tracking).text().label(" tsidScan: "),
};

const ValueRule kCableRules[] = {
    numberRule("frequency", qam::Frequency, "Invalid value for module/input/frequency", " frequency: "),
    rfLoopOfInput1(qam::RFIN_LOOP),
    rfLoopOfInput2(qam::RFIN_LOOP),
    numberRule("symbolRate", qam::SymbolRate, "Invalid value for module/input/symbolRate", " symbolRate: "),
    numberRule("constelacion", qam::Constelacion, "Invalid value for module/input/constelacion", " constelacion: "),
};

// Per tuner kind, in the order of the input's "type".
struct TunerTable {
    RuleTable rules;
    const char* updateFailure;
};
const TunerTable kTunerTables[kTunerKinds] = {
    {ruleTable(kSatelliteRules), "Could not update nim"},
    {ruleTable(kTerrestrialRules), "Could not update nimCOFDM"},
    {ruleTable(kCableRules), "Could not update nimQAM"},
};

// The band of a DiSEqC position wins over the input's own; the LNB oscillator
// of the band then links the received and the intermediate frequency. With a
// received frequency the intermediate one is derived and range-checked;
// without, the received one follows the stored intermediate frequency.
bool applyIntermediateFrequency(ModuleScope& scope, doreldb::Record& tuner, bool frequencyReceived) {
    if (const doreldb::Record* position = scope.rows.diseqc(tuner.text(nim::DiSEqC))) {
        const int32_t band = lenientWholeNumber(position->text(doreldb::DiSEqCGlobal::Banda));
        if (band != lenientWholeNumber(tuner.text(nim::banda_FI))) tuner.set(nim::banda_FI, std::to_string(band));
    }
    const bool high = lenientWholeNumber(tuner.text(nim::banda_FI)) == 1;
    if (high ? !scope.lnb.hasHigh : !scope.lnb.hasLow) return true;
    const long long oscillator = high ? scope.lnb.high : scope.lnb.low;
    if (frequencyReceived) {
        const long long intermediate = lenientWholeNumber(tuner.text(nim::Frequency)) - oscillator;
        if (intermediate < kMinIntermediateFrequency || intermediate > kMaxIntermediateFrequency) {
            return scope.context.fail(kInvalidModuleInput,
                                      "Resulting intermediate frequency is out of range. Please check frequency and "
                                      "diseqc/band/rfLoop values.");
        }
        tuner.setIfDifferent(nim::fe, std::to_string(intermediate));
    } else {
        tuner.setIfDifferent(nim::Frequency, std::to_string(lenientWholeNumber(tuner.text(nim::fe)) + oscillator));
    }
    return true;
}

// Input 2 shares input 1's LNB feed through the loop: once input 1 changed,
// input 2's received frequency is derived again from its own settings.
bool recheckInput2(ModuleScope& scope) {
    scope.context.env().log(7, "input 1 changed, need to check input 2");
    doreldb::Record* input2 = scope.rows.input(scope.share, 2);
    doreldb::Record* tuner2 = input2 ? scope.rows.tuner(TunerKind::kSatellite, input2->key()) : nullptr;
    if (tuner2 == nullptr) return true;
    if (!applyIntermediateFrequency(scope, *tuner2, false)) return false;
    return saveRow(scope.context, *tuner2, "Could not update nim2");
}

// Reads a required identifying number of an input; fails with 401 and
// missingText when absent, badText when not a number in [min, max].
bool identifyingNumber(ModuleScope& scope, const XmlNode* input, const char* element, int32_t min, int32_t max,
                       const char* missingText, const char* badText, int32_t& value) {
    const XmlNode* child = childElementNoCase(input, element);
    if (child == nullptr) return scope.context.fail(kInvalidModuleInput, missingText);
    if (!parseWholeNumber(nodeText(child), value) || value < min || value > max) {
        return scope.context.fail(kInvalidModuleInput, badText);
    }
    return true;
}

bool applyInput(ModuleScope& scope, const XmlNode* element) {
    int32_t inputId = 0;
    int32_t type = 0;
    if (!identifyingNumber(scope, element, "inputId", 1, 2, "Input has no inputId field",
                           "Input inputId should be 1 or 2", inputId) ||
        !identifyingNumber(scope, element, "type", 0, kTunerKinds - 1, "Input has no type field",
                           "Input Input type should be 0, 1 or 2", type)) {
        return false;
    }
    const TunerKind kind = static_cast<TunerKind>(type);
    doreldb::Record* input = scope.rows.input(scope.share, static_cast<int>(inputId));
    doreldb::Record* tuner = input ? scope.rows.tuner(kind, input->key()) : nullptr;
    if (tuner == nullptr) return scope.context.fail(kInvalidModuleInput, "Input could not be found");

    WalkOutcome inputOutcome;
    WalkOutcome tunerOutcome;
    const TunerTable& tunerTable = kTunerTables[type];
    if (!applyRules(scope.context, ruleTable(kInputRules), element, {input}, inputOutcome) ||
        !applyRules(scope.context, tunerTable.rules, element, {tuner}, tunerOutcome, inputId == 1 ? kInput1 : kInput2)) {
        return false;
    }
    // "frequency" leads every tuner table.
    const bool frequencyReceived = tunerOutcome.met[0];
    if (kind == TunerKind::kSatellite && !applyIntermediateFrequency(scope, *tuner, frequencyReceived)) return false;
    scope.context.env().logAlways(5, "REMOTE_CONTROL::: New INPUT parameters: %s",
              (inputOutcome.description + tunerOutcome.description).c_str());

    const bool changed = input->anyModified() || tuner->anyModified();
    if (!saveRow(scope.context, *input, "Could not update eg") ||
        !saveRow(scope.context, *tuner, tunerTable.updateFailure)) {
        return false;
    }
    if (changed && inputId == 1 && kind == TunerKind::kSatellite) return recheckInput2(scope);
    return true;
}

}  // namespace

bool applyModuleInputs(ModuleScope& scope, const XmlNode* inputs) {
    const std::vector<const XmlNode*> children = childElements(inputs);
    if (children.empty()) return scope.context.fail(kCouldNotAccessDatabase, "No module inputs found");
    for (const XmlNode* child : children) {
        if (!nameIs(child, "input")) return scope.context.fail(kInvalidCommand, "No input element found");
        if (!applyInput(scope, child)) return false;
    }
    return true;
}

}  // namespace dorel_remote_control
