// The rules that turn a module's status variables into alarms, against the
// tables of a simulated headend (two modules with two inputs and two outputs
// each; the second module carries a CAM).
#include "common/paths.h"
#include "db/access.h"
#include "server/alarms.h"
#include "support/headend_root.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <vector>

using namespace dorel_remote_control;

namespace {

const char kPlainModule[] = "00:1A:2B:00:00:01";
const char kCamModule[] = "00:1A:2B:00:00:02";
const char kConfigDb[] = "/dorel/DB/config_global.sqlite";
const char kTempDb[] = "/tmp/temp_global.sqlite";

// Every variable the rules read, each in its no-alarm state.
StatusVariables quietVariables() {
    return {
        {"alarma_procesats_si_input1", "0"}, {"alarma_procesats_si_input2", "0"},
        {"estado_procesats_si_input1", "0"}, {"estado_procesats_si_input2", "0"},
        {"alarma_signal_quality_nim_T1", "0"}, {"alarma_signal_quality_nim_T2", "0"},
        {"alarma_rfout_1", "0"}, {"alarma_rfout_2", "0"},
        {"alarma_procesats_system", "0"},
        {"alarma_i2c_nim_T1", "0"}, {"alarma_i2c_nim_T2", "0"}, {"alarma_diseqc", "0"},
        {"alarma_cam_ini", "0"}, {"alarma_cam_i2c_cimax", "0"},
        {"estado_cam", "1"},
    };
}

std::vector<int> codes(const AlarmSet& alarms) {
    std::vector<int> out;
    for (const auto& alarm : alarms) out.push_back(alarm.first);
    return out;
}

class AlarmEvaluation : public ::testing::Test {
protected:
    void SetUp() override {
        configDb_ = doreldb::openDatabase(paths::configGlobalDb());
        tempDb_ = doreldb::openDatabase(paths::tempGlobalDb());
        ASSERT_TRUE(configDb_ && tempDb_);
    }

    // The codes raised for a module whose variables are all quiet except `changed`.
    std::vector<int> evaluate(const StatusVariables& changed, const char* mac = kPlainModule) {
        StatusVariables variables = quietVariables();
        for (const auto& v : changed) variables[v.first] = v.second;
        return codes(evaluateModuleAlarms(configDb_.get(), tempDb_.get(), mac, variables));
    }

    rctest::HeadendRoot root_;
    rctest::LogCapture log_;
    doreldb::DbHandle configDb_;
    doreldb::DbHandle tempDb_;
};

using Codes = std::vector<int>;

}  // namespace

TEST_F(AlarmEvaluation, AQuietModuleHasNoAlarmAndLogsNoMissingVariable) {
    EXPECT_EQ(evaluate({}), Codes{});
    EXPECT_EQ(evaluate({}, kCamModule), Codes{});
    EXPECT_EQ(log_.count("was not found"), 0) << log_.dump();
}

TEST_F(AlarmEvaluation, InputHardwareBitRaisesHardwareAndTheInputsOwnAlarm) {
    EXPECT_EQ(evaluate({{"alarma_procesats_si_input1", "2"}}), (Codes{201, 301}));
    EXPECT_EQ(evaluate({{"alarma_procesats_si_input2", "fe"}}), (Codes{201, 302}));
    // Other bits of the word are not the hardware bit.
    log_.clear();
    EXPECT_EQ(evaluate({{"alarma_procesats_si_input1", "d"}}), Codes{});
    EXPECT_TRUE(log_.contains("No input 1 alarm"));
}

TEST_F(AlarmEvaluation, NoSyncCountsOnlyForAnActiveInputWhoseTunerIsAwake) {
    EXPECT_EQ(evaluate({{"estado_procesats_si_input1", "1"}}), Codes{303});
    EXPECT_EQ(evaluate({{"estado_procesats_si_input2", "3"}}), Codes{304});

    root_.exec(kTempDb, "UPDATE TempNIMGlobal SET Standby = '1' WHERE Entrada = '2' AND MAC = '00:1A:2B:00:00:01'");
    EXPECT_EQ(evaluate({{"estado_procesats_si_input2", "1"}}), Codes{});

    root_.exec(kConfigDb, "UPDATE EntradasGlobal SET Activo = '0' WHERE fk_idEntrada = '1'");
    EXPECT_EQ(evaluate({{"estado_procesats_si_input1", "1"}}), Codes{});
}

TEST_F(AlarmEvaluation, BadSignalQualityIsDecimalOneAndIsLogged) {
    EXPECT_EQ(evaluate({{"alarma_signal_quality_nim_T2", "1"}}), Codes{306});
    EXPECT_TRUE(log_.contains("Bad signal quality for 00:1A:2B:00:00:01 input 2")) << log_.dump();
    EXPECT_EQ(evaluate({{"alarma_signal_quality_nim_T1", "1"}}), Codes{305});
    EXPECT_EQ(evaluate({{"alarma_signal_quality_nim_T1", "2"}}), Codes{});
}

TEST_F(AlarmEvaluation, OutputWordBitsOfActiveOutputs) {
    EXPECT_EQ(evaluate({{"alarma_rfout_1", "2"}}), (Codes{201, 401}));
    EXPECT_EQ(evaluate({{"alarma_rfout_2", "2"}}), (Codes{201, 402}));
    EXPECT_EQ(evaluate({{"alarma_rfout_1", "1"}}), Codes{403});
    EXPECT_EQ(evaluate({{"alarma_rfout_2", "1"}}), Codes{404});
    EXPECT_EQ(evaluate({{"alarma_rfout_2", "4"}}), Codes{202});
    EXPECT_EQ(evaluate({{"alarma_rfout_1", "7"}}), (Codes{201, 202, 401, 403}));

    root_.exec(kConfigDb, "UPDATE SalidasLogicasGlobal SET Activo = '0' WHERE fk_idSalidasLogicas = '2'");
    log_.clear();
    EXPECT_EQ(evaluate({{"alarma_rfout_2", "7"}}), Codes{});
    EXPECT_EQ(log_.count("alarma_rfout_2"), 0);
}

TEST_F(AlarmEvaluation, SystemWordBitsAndHardwareFlags) {
    const struct {
        const char* word;
        Codes expected;
    } cases[] = {
        {"1", {201}}, {"2", {201}}, {"4", {201}}, {"8", {201}}, {"400", {201}},
        {"800", {205}}, {"10", {204}}, {"20", {203}}, {"2000", {206}},
        {"80", {}}, {"1000", {}}, {"283f", {201, 203, 204, 205, 206}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(evaluate({{"alarma_procesats_system", c.word}}), c.expected) << c.word;
    }
    for (const char* flag : {"alarma_i2c_nim_T1", "alarma_i2c_nim_T2", "alarma_diseqc"}) {
        EXPECT_EQ(evaluate({{flag, "1"}}), Codes{201}) << flag;
        // Only the exact text "1" is a raised flag.
        EXPECT_EQ(evaluate({{flag, "01"}}), Codes{}) << flag;
    }
}

TEST_F(AlarmEvaluation, ASourceRaisingAnAlreadyRaisedCodeAddsNothing) {
    EXPECT_EQ(evaluate({{"alarma_procesats_si_input1", "2"},
                        {"alarma_procesats_system", "1"},
                        {"alarma_diseqc", "1"},
                        {"alarma_rfout_2", "2"}}),
              (Codes{201, 301, 402}));
}

TEST_F(AlarmEvaluation, CamStateAndCamBitsOfTheSystemWord) {
    EXPECT_EQ(evaluate({{"alarma_cam_ini", "1"}}, kCamModule), Codes{501});
    EXPECT_EQ(evaluate({{"alarma_cam_i2c_cimax", "1"}}, kCamModule), Codes{501});
    EXPECT_EQ(evaluate({{"alarma_procesats_system", "340"}}, kCamModule), (Codes{504, 505, 506}));
    // Without a CAM its load bits mean nothing.
    EXPECT_EQ(evaluate({{"estado_cam", "0"}, {"alarma_procesats_system", "340"}}, kCamModule),
              Codes{502});
    EXPECT_EQ(evaluate({{"estado_cam", "00"}}, kCamModule), Codes{502});
}

TEST_F(AlarmEvaluation, RescueModeComesFromTheCamTable) {
    root_.exec(kTempDb, "UPDATE CAMInfoGlobal SET RescueMode = '1' WHERE MAC = '00:1A:2B:00:00:02'");
    EXPECT_EQ(evaluate({}, kCamModule), Codes{503});
    EXPECT_EQ(evaluate({}, kPlainModule), Codes{});
    root_.exec(kTempDb, "UPDATE CAMInfoGlobal SET RescueMode = NULL");
    EXPECT_EQ(evaluate({}, kCamModule), Codes{});
}

TEST_F(AlarmEvaluation, MissingVariablesAreLoggedAndRaiseNothing) {
    const AlarmSet alarms = evaluateModuleAlarms(configDb_.get(), tempDb_.get(), kPlainModule, {});
    EXPECT_TRUE(alarms.empty());
    for (const char* name : {"alarma_procesats_si_input1", "estado_procesats_si_input2",
                             "alarma_signal_quality_nim_T1", "alarma_rfout_2",
                             "alarma_procesats_system", "alarma_diseqc", "estado_cam"}) {
        EXPECT_EQ(log_.count(std::string("Status/alarm: ") + name + " was not found"), 1) << name;
    }
    for (const auto& line : log_.lines()) {
        if (line.text.find("was not found") != std::string::npos) {
            EXPECT_EQ(line.priority, 3);
        }
    }
}

TEST_F(AlarmEvaluation, GarbageValuesAndDamagedRowsNeverRaiseByAccident) {
    EXPECT_EQ(evaluate({{"alarma_procesats_system", "zz"},
                        {"alarma_rfout_1", ""},
                        {"estado_cam", "not hex"},  // reads as 0: no CAM
                        {"alarma_signal_quality_nim_T1", "x"}}),
              Codes{502});
    // A tuner row without its input number asks for a variable no module has.
    root_.exec(kTempDb, "UPDATE TempNIMGlobal SET Entrada = NULL WHERE MAC = '00:1A:2B:00:00:01'");
    log_.clear();
    EXPECT_EQ(evaluate({}), Codes{});
    EXPECT_TRUE(log_.contains("Status/alarm: alarma_procesats_si_input was not found")) << log_.dump();
}
