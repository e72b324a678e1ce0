// The rules that turn a module's status variables into alarms. The variables
// are the module's own words and flags; the headend tables say which inputs
// and outputs exist and are in use, so that an idle input or output never
// raises anything.
#include "server/alarms.h"

#include "common/env.h"
#include "db/table_rows.h"
#include "db/tables.h"
#include "common/numbers.h"

#include <cstdlib>
#include <iterator>
#include <string_view>

namespace dorel_remote_control {

namespace {

// A bit of a status word and the alarm it raises.
struct BitAlarm {
    unsigned long mask;
    int code;
};

// A per-output bit: the alarm for output 1 and the one for any other output.
struct NumberedBitAlarm {
    unsigned long mask;
    int firstCode;
    int otherCode;
};

// A flag variable that raises its alarm when it is exactly "1".
struct FlagAlarm {
    const char* variable;
    int code;
};

const char kSystemWord[] = "alarma_procesats_system";
const char kCamState[] = "estado_cam";

// Bits of the system word.
const BitAlarm kSystemWordAlarms[] = {
    {0x40F, 201},   // hardware faults
    {0x800, 205},
    {0x10, 204},
    {0x20, 203},
    {0x2000, 206},
};

// Bits of the system word that only mean something while a CAM is present.
const BitAlarm kCamWordAlarms[] = {
    {0x100, 504},
    {0x200, 505},
    {0x40, 506},
};

// Bits of "alarma_rfout_<N>".
const NumberedBitAlarm kOutputAlarms[] = {
    {0x2, 201, 201},
    {0x2, 401, 402},
    {0x1, 403, 404},
    {0x4, 202, 202},
};

const FlagAlarm kFlagAlarms[] = {
    {"alarma_i2c_nim_T1", 201},
    {"alarma_i2c_nim_T2", 201},
    {"alarma_diseqc", 201},
    {"alarma_cam_ini", 501},
    {"alarma_cam_i2c_cimax", 501},
};

// Input alarms by number: input 1 has its own code, every other input the second.
struct InputCodes {
    int hardware;
    int noSync;
    int badSignal;
};
const InputCodes kFirstInput = {301, 303, 305};
const InputCodes kOtherInput = {302, 304, 306};

// The module's values are short: copied, they are C strings without the heap.
unsigned long hexValue(std::string_view text) {
    return strtoul32(std::string(text).c_str(), nullptr, 16);
}

int decimalValue(std::string_view text) { return atoi32(std::string(text).c_str()); }

// Read access to the variables that logs every one the rules need and miss.
class Lookup {
public:
    Lookup(Env& env, const StatusVariableList& variables) : env_(env), variables_(variables) {}

    Env& env() const { return env_; }

    // The variable named stem + suffix (a number from the tables).
    bool find(std::string_view stem, std::string_view suffix, std::string_view& value) const {
        if (variables_.find(stem, suffix, value)) return true;
        env_.log(3, "Status/alarm: %.*s%.*s was not found", static_cast<int>(stem.size()), stem.data(),
             static_cast<int>(suffix.size()), suffix.data());
        return false;
    }
    bool find(std::string_view name, std::string_view& value) const { return find(name, "", value); }

private:
    Env& env_;
    const StatusVariableList& variables_;
};

void evaluateTuner(const Lookup& lookup, const std::string& mac, const doreldb::Record& input,
                   const doreldb::Record& tuner, AlarmSet& alarms) {
    using namespace doreldb;
    const std::string number = tuner.text(TempNIMGlobal::Entrada);
    const InputCodes& codes = atoi32(number.c_str()) == 1 ? kFirstInput : kOtherInput;

    std::string_view value;
    if (lookup.find("alarma_procesats_si_input", number, value)) {
        if (hexValue(value) & 0x2) {
            raiseAlarm(alarms, 201);
            raiseAlarm(alarms, codes.hardware);
        } else {
            lookup.env().log(7, "No input %s alarm", number.c_str());
        }
    }

    if (lookup.find("estado_procesats_si_input", number, value)) {
        // An input switched off or a tuner on standby is expected to have no sync.
        if ((hexValue(value) & 0x1) && input.toInt(EntradasGlobal::Activo) == 1 &&
            tuner.toInt(TempNIMGlobal::Standby) != 1) {
            raiseAlarm(alarms, codes.noSync);
        }
    }

    if (lookup.find("alarma_signal_quality_nim_T", number, value)) {
        if (decimalValue(value) == 1) {
            lookup.env().log(6, "Bad signal quality for %s input %s", mac.c_str(), number.c_str());
            raiseAlarm(alarms, codes.badSignal);
        }
    }
}

void evaluateInputs(doreldb::HeadendRows& tables, const Lookup& lookup, const std::string& mac,
                    AlarmSet& alarms) {
    using namespace doreldb;
    // A NULL key is looked up as the empty text.
    for (const Record* input : tables.table(EntradasGlobal::table()).where({{EntradasGlobal::MAC, mac}})) {
        const std::string_view inputId = input->value(EntradasGlobal::idEntradasGlobal).view();
        for (const Record* nim : tables.table(NimGlobal::table()).where({{NimGlobal::fk_idEntradasGlobal, inputId}})) {
            const std::string_view nimId = nim->value(NimGlobal::idNimGlobal).view();
            for (const Record* tuner :
                 tables.table(TempNIMGlobal::table()).where({{TempNIMGlobal::fk_idNimGlobal, nimId}})) {
                evaluateTuner(lookup, mac, *input, *tuner, alarms);
            }
        }
    }
}

void evaluateOutputs(doreldb::HeadendRows& tables, const Lookup& lookup, const std::string& mac,
                     AlarmSet& alarms) {
    using namespace doreldb;
    for (const Record* output :
         tables.table(SalidasLogicasGlobal::table()).where({{SalidasLogicasGlobal::MAC, mac}})) {
        if (output->toInt(SalidasLogicasGlobal::Activo) != 1) continue;
        const std::string number = output->text(SalidasLogicasGlobal::fk_idSalidasLogicas);
        std::string_view value;
        if (!lookup.find("alarma_rfout_", number, value)) continue;
        const unsigned long word = hexValue(value);
        for (const NumberedBitAlarm& rule : kOutputAlarms) {
            if (word & rule.mask) raiseAlarm(alarms, number == "1" ? rule.firstCode : rule.otherCode);
        }
    }
}

void raiseBits(unsigned long word, const BitAlarm* begin, const BitAlarm* end, AlarmSet& alarms) {
    for (const BitAlarm* rule = begin; rule != end; ++rule) {
        if (word & rule->mask) raiseAlarm(alarms, rule->code);
    }
}

void evaluateSystemAndCam(doreldb::HeadendRows& tables, const Lookup& lookup, const std::string& mac,
                          AlarmSet& alarms) {
    using namespace doreldb;
    std::string_view value;
    const unsigned long systemWord = lookup.find(kSystemWord, value) ? hexValue(value) : 0;
    raiseBits(systemWord, std::begin(kSystemWordAlarms), std::end(kSystemWordAlarms), alarms);

    for (const FlagAlarm& flag : kFlagAlarms) {
        if (lookup.find(flag.variable, value) && value == "1") raiseAlarm(alarms, flag.code);
    }

    if (lookup.find(kCamState, value)) {
        if (hexValue(value) == 0) {
            raiseAlarm(alarms, 502);
        } else {
            raiseBits(systemWord, std::begin(kCamWordAlarms), std::end(kCamWordAlarms), alarms);
        }
    }

    for (const Record* cam : tables.table(CAMInfoGlobal::table()).where({{CAMInfoGlobal::MAC, mac}})) {
        if (cam->toInt(CAMInfoGlobal::RescueMode) != 0) raiseAlarm(alarms, 503);
    }
}

}  // namespace

AlarmSet evaluateModuleAlarms(Env& env, doreldb::HeadendRows& tables, const std::string& mac,
                              const StatusVariableList& variables) {
    AlarmSet alarms;
    const Lookup lookup(env, variables);
    evaluateInputs(tables, lookup, mac, alarms);
    evaluateOutputs(tables, lookup, mac, alarms);
    evaluateSystemAndCam(tables, lookup, mac, alarms);
    return alarms;
}

}  // namespace dorel_remote_control
