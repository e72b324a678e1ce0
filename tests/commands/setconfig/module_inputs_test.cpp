// Module inputs: values, their encodings and errors, the intermediate
// frequency of satellite tuners and the RF loop. The dev kit's module 1 has
// satellite inputs 1 (10700 MHz, fe 950, DiSEqC position 1 on the low band,
// stream auto) and 2 (11600 MHz, fe 1000, high band without DiSEqC); LNB_fb
// is 9750, LNB_fa 10600.
#include "commands/setconfig/modules_fixture.h"

namespace rctest {
namespace {

using namespace dorel_remote_control;

const char kIfOutOfRange[] =
    "Resulting intermediate frequency is out of range. Please check frequency and diseqc/band/rfLoop values.";

// "<inputs><input><inputId>ID</inputId><type>TYPE</type>CHILDREN</input></inputs>"
std::string inputs(int id, int type, const std::string& children) {
    return "<inputs><input><inputId>" + std::to_string(id) + "</inputId><type>" + std::to_string(type) + "</type>" +
           children + "</input></inputs>";
}

struct InputCase {
    const char* name;
    std::string inputsElement;   // module 1's inputs
    Errors expected;
    std::string query;           // read afterwards (empty: nothing)
    Rows rows;
};

class ModuleInputs : public ModulesTest {
protected:
    void runCases(const std::vector<InputCase>& cases) {
        for (const InputCase& c : cases) {
            EXPECT_EQ(c.expected, applyModules({{1, c.inputsElement}})) << c.name;
            if (!c.query.empty()) {
                EXPECT_EQ(c.rows, rows(c.query)) << c.name;
            }
        }
    }
    static constexpr const char* kSatellite1 =
        "SELECT Frequency, fe, banda_FI, DiSEqC, RFIN_LOOP, StreamID, ModoPLS FROM NimGlobal WHERE idNimGlobal = 1";
};

TEST_F(ModuleInputs, SatelliteFrequenciesGoThroughTheLnbIntoTheTunerRange) {
    runCases({
        {"low band", inputs(1, 0, "<frequency>11000</frequency>"), {}, kSatellite1,
         {{"11000", "1250", "0", "1", "0", "-2", "0"}}},
        {"high band out of range", inputs(1, 0, "<diseqc>0</diseqc><band>high</band><frequency>12800</frequency>"),
         sectionFailure(kInvalidModuleInput, kIfOutOfRange), kSatellite1, {{"11000", "1250", "0", "1", "0", "-2", "0"}}},
        {"lowest", inputs(1, 0, "<frequency>10700</frequency>"), {}, kSatellite1,
         {{"10700", "950", "0", "1", "0", "-2", "0"}}},
        {"highest", inputs(1, 0, "<frequency>11900</frequency>"), {}, kSatellite1,
         {{"11900", "2150", "0", "1", "0", "-2", "0"}}},
        {"below", inputs(1, 0, "<frequency>10699</frequency>"), sectionFailure(kInvalidModuleInput, kIfOutOfRange), "",
         {}},
        {"above", inputs(1, 0, "<frequency>11901</frequency>"), sectionFailure(kInvalidModuleInput, kIfOutOfRange), "",
         {}},
        {"the DiSEqC position's band wins", inputs(1, 0, "<band>high</band><frequency>11000</frequency>"), {},
         kSatellite1, {{"11000", "1250", "0", "1", "0", "-2", "0"}}},
        {"no frequency: recomputed from the stored fe", inputs(1, 0, "<diseqc>0</diseqc><band>HIGH</band>"), {},
         kSatellite1, {{"11850", "1250", "1", "0", "0", "-2", "0"}}},
        {"auto stream, root PLS", inputs(1, 0, "<streamID>auto</streamID><PLSmode>root</PLSmode>"), {}, kSatellite1,
         {{"11850", "1250", "1", "0", "0", "-2", "2"}}},
        {"numbered stream", inputs(1, 0, "<streamID>7</streamID><plsMode>gold</plsMode>"), {}, kSatellite1,
         {{"11850", "1250", "1", "0", "0", "7", "1"}}},
    });
}

TEST_F(ModuleInputs, RefusesBadInputsWithTheirOwnMessages) {
    const Errors noField = sectionFailure(kInvalidModuleInput, "Input has no inputId field");
    runCases({
        {"empty list", "<inputs/>", sectionFailure(kCouldNotAccessDatabase, "No module inputs found"), "", {}},
        {"other element", "<inputs><output/></inputs>", sectionFailure(kInvalidCommand, "No input element found"), "",
         {}},
        {"no inputId", "<inputs><input><type>0</type></input></inputs>", noField, "", {}},
        {"inputId 3", inputs(3, 0, ""), sectionFailure(kInvalidModuleInput, "Input inputId should be 1 or 2"), "", {}},
        {"no type", "<inputs><input><inputId>1</inputId></input></inputs>",
         sectionFailure(kInvalidModuleInput, "Input has no type field"), "", {}},
        {"type 3", inputs(1, 3, ""), sectionFailure(kInvalidModuleInput, "Input Input type should be 0, 1 or 2"), "",
         {}},
        {"no such tuner", inputs(1, 2, ""), sectionFailure(kInvalidModuleInput, "Input could not be found"), "", {}},
        {"active 2", inputs(1, 0, "<active>2</active>"),
         sectionFailure(kInvalidModuleInput, "Invalid value for module/input/active"), "", {}},
        {"band", inputs(1, 0, "<band>middle</band>"),
         sectionFailure(kInvalidModuleInput, "Invalid value for module/input/band"), "", {}},
        {"PLS mode", inputs(1, 0, "<PLSmode>silver</PLSmode>"),
         sectionFailure(kInvalidModuleInput, "Invalid value for module/input/PLSmode"), "", {}},
        {"rfLoop 2 on input 2", inputs(2, 0, "<rfLoop>2</rfLoop>"),
         sectionFailure(kInvalidModuleInput, "Invalid value for module/input/rfLoop"), "", {}},
        {"a value of another tuner kind is ignored", inputs(1, 0, "<bandwidth>9 MHz</bandwidth>"), {}, "", {}},
    });
}

TEST_F(ModuleInputs, TheRfLoopIsInputTwosOnly) {
    exec("UPDATE NimGlobal SET RFIN_LOOP = '1' WHERE idNimGlobal = 1");
    EXPECT_EQ(Errors{}, applyModules({{1, inputs(1, 0, "<rfLoop>1</rfLoop>")}}));
    EXPECT_EQ(Errors{}, applyModules({{1, inputs(2, 0, "<rfLoop>1</rfLoop>")}}));
    EXPECT_EQ((Rows{{"1", "0"}, {"2", "1"}}), rows("SELECT idNimGlobal, RFIN_LOOP FROM NimGlobal WHERE idNimGlobal < 3"));
}

TEST_F(ModuleInputs, StoredValuesAreNotWrittenAgain) {
    forbidWrites("EntradasGlobal");
    forbidWrites("NimGlobal");
    EXPECT_EQ(Errors{}, applyModules({{1, inputs(1, 0,
                                                 "<active>1</active><tsid>1001</tsid><onid>1</onid>"
                                                 "<frequency>10700</frequency><diseqc>1</diseqc><rfLoop>0</rfLoop>"
                                                 "<symbolRate>27500</symbolRate><PLSmode>auto</PLSmode>"
                                                 "<scramblingID>0</scramblingID><streamID>auto</streamID>")}}));
    EXPECT_EQ(sectionFailure(kCouldNotAccessDatabase, "Could not update nim"),
              applyModules({{1, inputs(1, 0, "<symbolRate>27501</symbolRate>")}}))
        << "the same trigger refuses a real change";
}

TEST_F(ModuleInputs, AChangedInputOneRederivesInputTwo) {
    exec("UPDATE NimGlobal SET Frequency = '11000' WHERE idNimGlobal = 2");
    EXPECT_EQ(Errors{}, applyModules({{1, inputs(1, 0, "<frequency>11000</frequency>")}}));
    EXPECT_EQ((Rows{{"11600", "1000"}}), rows("SELECT Frequency, fe FROM NimGlobal WHERE idNimGlobal = 2"));
}

TEST_F(ModuleInputs, AnOscillatorChangedEarlierInTheDocumentMovesTheReceivedFrequency) {
    EXPECT_EQ(Errors{}, apply("<lnb><oscHighFreq>10700</oscHighFreq></lnb>" +
                              modulesSection(2, {{1, inputs(2, 0, "<symbolRate>27500</symbolRate>")}})));
    EXPECT_EQ((Rows{{"11700", "1000"}}), rows("SELECT Frequency, fe FROM NimGlobal WHERE idNimGlobal = 2"));
    root_.exec(kConfigDb, "DELETE FROM configuracionWebGlobal WHERE nombre = 'LNB_fb'");
    EXPECT_EQ(Errors{}, applyModules({{1, inputs(1, 0, "<frequency>99999</frequency>")}}))
        << "without the band's oscillator nothing is derived or checked";
    EXPECT_EQ((Rows{{"99999", "950"}}), rows("SELECT Frequency, fe FROM NimGlobal WHERE idNimGlobal = 1"));
}

TEST_F(ModuleInputs, TerrestrialAndCableTunersTakeTheirOwnValues) {
    exec("UPDATE EntradasGlobal SET tipoEntrada = '1' WHERE idEntradasGlobal = 2");
    exec("INSERT INTO NimCOFDMGlobal (idNimCOFDMGlobal, Bandwidth, Hierarchy, PLP_ID, Frequency, fk_idEntradasGlobal, "
         "RFIN_LOOP) VALUES (5, '2', '0', '0', '474000', '2', '0')");
    exec("INSERT INTO NimQAMGlobal (idNimQAMGlobal, Constelacion, Frequency, SymbolRate, fk_idEntradasGlobal, "
         "RFIN_LOOP) VALUES (6, '0', '306000', '6900', '1', '0')");
    const std::string cofdm =
        "SELECT Bandwidth, Hierarchy, PLP_ID, Frequency, trackingStatusEn, RFIN_LOOP FROM NimCOFDMGlobal";
    runCases({
        {"terrestrial", inputs(2, 1, "<bandwidth>6 MHz</bandwidth><hierarchy>low priority</hierarchy>"
                                     "<PLPID>auto</PLPID><frequency>482000</frequency><autoScan>on</autoScan>"
                                     "<rfLoop>1</rfLoop>"),
         {}, cofdm, {{"0", "1", "-2", "482000", "on", "1"}}},
        {"8 MHz", inputs(2, 1, "<bandwidth>8 MHz</bandwidth><PLPID>3</PLPID>"), {}, cofdm,
         {{"2", "1", "3", "482000", "on", "1"}}},
        {"bandwidth", inputs(2, 1, "<bandwidth>5 MHz</bandwidth>"),
         sectionFailure(kInvalidModuleInput, "Invalid value for module/input/bandwidth"), "", {}},
        {"hierarchy", inputs(2, 1, "<hierarchy>Medium</hierarchy>"),
         sectionFailure(kInvalidModuleInput, "Invalid value for module/input/hierarchy"), "", {}},
        {"cable", inputs(1, 2, "<constelacion>4</constelacion><symbolRate>6875</symbolRate><type>2</type>"), {},
         "SELECT Constelacion, SymbolRate, Frequency FROM NimQAMGlobal", {{"4", "6875", "306000"}}},
    });
    EXPECT_EQ((Rows{{"2"}, {"1"}}), rows("SELECT tipoEntrada FROM EntradasGlobal WHERE idEntradasGlobal < 3"));
}

}  // namespace
}  // namespace rctest
