// The rules that turn a module's status variables into alarms. The variables
// are the module's own words and flags; the headend tables say which inputs
// and outputs exist and are in use, so that an idle input or output never
// raises anything.
#include "server/alarms.h"

#include "common/log.h"
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

unsigned long hexValue(const std::string& text) {
    return strtoul32(text.c_str(), nullptr, 16);
}

// Read access to the variables that logs every one the rules need and miss.
class Lookup {
public:
    explicit Lookup(const StatusVariables& variables) : variables_(variables) {}

    const std::string* find(const std::string& name) const {
        auto it = variables_.find(name);
        if (it == variables_.end()) {
            logf(3, "Status/alarm: %s was not found", name.c_str());
            return nullptr;
        }
        return &it->second;
    }

private:
    const StatusVariables& variables_;
};

void evaluateTuner(const Lookup& lookup, const std::string& mac, const doreldb::Record& input,
                   const doreldb::Record& tuner, AlarmSet& alarms) {
    using namespace doreldb;
    const std::string number = tuner.text(TempNIMGlobal::Entrada);
    const InputCodes& codes = atoi32(number.c_str()) == 1 ? kFirstInput : kOtherInput;

    if (const std::string* value = lookup.find("alarma_procesats_si_input" + number)) {
        if (hexValue(*value) & 0x2) {
            raiseAlarm(alarms, 201);
            raiseAlarm(alarms, codes.hardware);
        } else {
            logf(7, "No input %s alarm", number.c_str());
        }
    }

    if (const std::string* value = lookup.find("estado_procesats_si_input" + number)) {
        // An input switched off or a tuner on standby is expected to have no sync.
        if ((hexValue(*value) & 0x1) && input.toInt(EntradasGlobal::Activo) == 1 &&
            tuner.toInt(TempNIMGlobal::Standby) != 1) {
            raiseAlarm(alarms, codes.noSync);
        }
    }

    if (const std::string* value = lookup.find("alarma_signal_quality_nim_T" + number)) {
        if (atoi32(value->c_str()) == 1) {
            logf(6, "Bad signal quality for %s input %s", mac.c_str(), number.c_str());
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
        const std::string* value = lookup.find("alarma_rfout_" + number);
        if (!value) continue;
        const unsigned long word = hexValue(*value);
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
    const std::string* systemText = lookup.find(kSystemWord);
    const unsigned long systemWord = systemText ? hexValue(*systemText) : 0;
    raiseBits(systemWord, std::begin(kSystemWordAlarms), std::end(kSystemWordAlarms), alarms);

    for (const FlagAlarm& flag : kFlagAlarms) {
        const std::string* value = lookup.find(flag.variable);
        if (value && *value == "1") raiseAlarm(alarms, flag.code);
    }

    if (const std::string* camState = lookup.find(kCamState)) {
        if (hexValue(*camState) == 0) {
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

AlarmSet evaluateModuleAlarms(doreldb::HeadendRows& tables, const std::string& mac,
                              const StatusVariables& variables) {
    AlarmSet alarms;
    const Lookup lookup(variables);
    evaluateInputs(tables, lookup, mac, alarms);
    evaluateOutputs(tables, lookup, mac, alarms);
    evaluateSystemAndCam(tables, lookup, mac, alarms);
    return alarms;
}

}  // namespace dorel_remote_control
