// Module inputs: values, their encodings and errors, the intermediate
// frequency of satellite tuners and the RF loop. The dev kit's module 1 has
// satellite inputs 1 (10700 MHz, fe 950, DiSEqC position 1 on the low band,
// stream auto) and 2 (11600 MHz, fe 1000, high band without DiSEqC); LNB_fb
// is 9750, LNB_fa 10600.
#include "commands/setconfig/setconfig_fixture.h"

namespace rctest {
namespace {

using namespace dorel_remote_control;

// "<inputs><input><inputId>ID</inputId><type>TYPE</type>CHILDREN</input></inputs>"
std::string inputs(int id, int type, const std::string& children) {
    return "<inputs><input><inputId>" + std::to_string(id) + "</inputId><type>" + std::to_string(type) + "</type>" +
           children + "</input></inputs>";
}
Errors badInput(const std::string& detail) { return sectionFailure(kInvalidModuleInput, detail); }

struct InputCase {
    const char* name;
    std::string inputs;   // module 1's
    Errors expected;
    Rows rows;            // what `sql` reads afterwards (empty: not read)
};

const char kIfOutOfRange[] =
    "Resulting intermediate frequency is out of range. Please check frequency and diseqc/band/rfLoop values.";

TEST_P(ModulesTest, SatelliteInputsGoThroughTheLnbIntoTheTunerRange) {
    const std::vector<InputCase> cases = {
        {"low band, loop off on input 1", inputs(1, 0, "<frequency>11000</frequency><rfLoop>1</rfLoop>"), {},
         {{"11000", "1250", "0", "1", "0", "-2", "0"}}},
        {"high band out of range", inputs(1, 0, "<diseqc>0</diseqc><band>high</band><frequency>12800</frequency>"),
         badInput(kIfOutOfRange), {{"11000", "1250", "0", "1", "0", "-2", "0"}}},
        {"lowest", inputs(1, 0, "<frequency>10700</frequency>"), {}, {{"10700", "950", "0", "1", "0", "-2", "0"}}},
        {"highest", inputs(1, 0, "<frequency>11900</frequency>"), {}, {{"11900", "2150", "0", "1", "0", "-2", "0"}}},
        {"below", inputs(1, 0, "<frequency>10699</frequency>"), badInput(kIfOutOfRange), {}},
        {"above", inputs(1, 0, "<frequency>11901</frequency>"), badInput(kIfOutOfRange), {}},
        {"the DiSEqC position's band wins", inputs(1, 0, "<band>high</band><frequency>11000</frequency>"), {},
         {{"11000", "1250", "0", "1", "0", "-2", "0"}}},
        {"no frequency: the stored fe stays", inputs(1, 0, "<diseqc>0</diseqc><band>HIGH</band>"), {},
         {{"11850", "1250", "1", "0", "0", "-2", "0"}}},
        {"auto stream, root PLS", inputs(1, 0, "<streamID>auto</streamID><PLSmode>root</PLSmode>"), {},
         {{"11850", "1250", "1", "0", "0", "-2", "2"}}},
        {"numbered stream", inputs(1, 0, "<streamID>7</streamID><plsMode>gold</plsMode>"), {},
         {{"11850", "1250", "1", "0", "0", "7", "1"}}},
        {"empty list", "<inputs/>", sectionFailure(kCouldNotAccessDatabase, "No module inputs found"), {}},
        {"other element", "<inputs><output/></inputs>", sectionFailure(kInvalidCommand, "No input element found"), {}},
        {"no inputId", "<inputs><input><type>0</type></input></inputs>", badInput("Input has no inputId field"), {}},
        {"inputId 3", inputs(3, 0, ""), badInput("Input inputId should be 1 or 2"), {}},
        {"no type", "<inputs><input><inputId>1</inputId></input></inputs>", badInput("Input has no type field"), {}},
        {"type 3", inputs(1, 3, ""), badInput("Input Input type should be 0, 1 or 2"), {}},
        {"no such tuner", inputs(1, 2, ""), badInput("Input could not be found"), {}},
        {"active 2", inputs(1, 0, "<active>2</active>"), badInput("Invalid value for module/input/active"), {}},
        {"band", inputs(1, 0, "<band>middle</band>"), badInput("Invalid value for module/input/band"), {}},
        {"PLS mode", inputs(1, 0, "<PLSmode>silver</PLSmode>"), badInput("Invalid value for module/input/PLSmode"), {}},
        {"stream beyond 32 bits", inputs(1, 0, "<streamID>4294967294</streamID>"),
         badInput("Invalid value for module/input/streamID"), {}},
        {"rfLoop 2 on input 2", inputs(2, 0, "<rfLoop>2</rfLoop>"), badInput("Invalid value for module/input/rfLoop"),
         {}},
        {"a value of another tuner kind is ignored", inputs(1, 0, "<bandwidth>9 MHz</bandwidth>"), {},
         {{"11850", "1250", "1", "0", "0", "7", "1"}}},
    };
    exec("UPDATE NimGlobal SET RFIN_LOOP = '1' WHERE idNimGlobal = 1");
    for (const InputCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.expected, applyModules({{1, c.inputs}}));
        if (c.rows.empty()) continue;
        EXPECT_EQ(c.rows, query("SELECT Frequency, fe, banda_FI, DiSEqC, RFIN_LOOP, StreamID, ModoPLS FROM NimGlobal "
                                "WHERE idNimGlobal = 1"));
    }
    EXPECT_EQ(Errors{}, applyModules({{1, inputs(2, 0, "<rfLoop>1</rfLoop>")}}));
    EXPECT_EQ("1", value("SELECT RFIN_LOOP FROM NimGlobal WHERE idNimGlobal = 2"));
    EXPECT_TRUE(env().contains("REMOTE_CONTROL::: New INPUT parameters:  type: 0 rfLoop: 1")) << env().dump();
}

TEST_P(ModulesTest, StoredInputValuesAreNotWrittenAgain) {
    forbidWrites("EntradasGlobal");
    forbidWrites("NimGlobal");
    EXPECT_EQ(Errors{}, applyModules({{1, inputs(1, 0, "<active>1</active><tsid>1001</tsid><onid>1</onid>"
                                                       "<frequency>10700</frequency><diseqc>1</diseqc><rfLoop>0</rfLoop>"
                                                       "<symbolRate>27500</symbolRate><PLSmode>auto</PLSmode>"
                                                       "<scramblingID>0</scramblingID><streamID>auto</streamID>")}}));
    EXPECT_EQ(sectionFailure(kCouldNotAccessDatabase, "Could not update nim"),
              applyModules({{1, inputs(1, 0, "<symbolRate>27501</symbolRate>")}}))
        << "the same trigger refuses a real change";
}

TEST_P(ModulesTest, InputTwoFollowsTheOscillatorsAndAChangedInputOne) {
    exec("UPDATE NimGlobal SET Frequency = '11000' WHERE idNimGlobal = 2");
    EXPECT_EQ(Errors{}, applyModules({{1, inputs(1, 0, "<frequency>11000</frequency>")}}));
    EXPECT_EQ((Rows{{"11600", "1000"}}), query("SELECT Frequency, fe FROM NimGlobal WHERE idNimGlobal = 2"));

    EXPECT_EQ(Errors{}, applyErrors("<lnb><oscHighFreq>10700</oscHighFreq></lnb>" +
                                    modulesSection(2, {{1, inputs(2, 0, "<symbolRate>27500</symbolRate>")}})));
    EXPECT_EQ((Rows{{"11700", "1000"}}), query("SELECT Frequency, fe FROM NimGlobal WHERE idNimGlobal = 2"))
        << "an oscillator changed earlier in the document";

    exec("DELETE FROM configuracionWebGlobal WHERE nombre = 'LNB_fb'");
    EXPECT_EQ(Errors{}, applyModules({{1, inputs(1, 0, "<frequency>99999</frequency>")}}))
        << "without the band's oscillator nothing is derived or checked";
    EXPECT_EQ((Rows{{"99999", "1250"}}), query("SELECT Frequency, fe FROM NimGlobal WHERE idNimGlobal = 1"));
}

TEST_P(ModulesTest, TerrestrialAndCableTunersTakeTheirOwnValues) {
    exec("UPDATE EntradasGlobal SET tipoEntrada = '1' WHERE idEntradasGlobal = 2");
    exec("INSERT INTO NimCOFDMGlobal (idNimCOFDMGlobal, Bandwidth, Hierarchy, PLP_ID, Frequency, fk_idEntradasGlobal, "
         "RFIN_LOOP) VALUES (5, '2', '0', '0', '474000', '2', '0')");
    exec("INSERT INTO NimQAMGlobal (idNimQAMGlobal, Constelacion, Frequency, SymbolRate, fk_idEntradasGlobal, "
         "RFIN_LOOP) VALUES (6, '0', '306000', '6900', '1', '0')");
    const char kCofdm[] = "SELECT Bandwidth, Hierarchy, PLP_ID, Frequency, trackingStatusEn, RFIN_LOOP FROM NimCOFDMGlobal";
    const std::vector<InputCase> cases = {
        {"terrestrial", inputs(2, 1, "<bandwidth>6 MHz</bandwidth><hierarchy>low priority</hierarchy>"
                                     "<PLPID>auto</PLPID><frequency>482000</frequency><autoScan>on</autoScan>"
                                     "<rfLoop>1</rfLoop>"),
         {}, {{"0", "1", "-2", "482000", "on", "1"}}},
        {"8 MHz", inputs(2, 1, "<bandwidth>8 MHz</bandwidth><PLPID>3</PLPID>"), {}, {{"2", "1", "3", "482000", "on", "1"}}},
        {"bandwidth", inputs(2, 1, "<bandwidth>5 MHz</bandwidth>"), badInput("Invalid value for module/input/bandwidth"),
         {}},
        {"hierarchy", inputs(2, 1, "<hierarchy>Medium</hierarchy>"), badInput("Invalid value for module/input/hierarchy"),
         {}},
    };
    for (const InputCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.expected, applyModules({{1, c.inputs}}));
        if (!c.rows.empty()) {
            EXPECT_EQ(c.rows, query(kCofdm));
        }
    }
    EXPECT_EQ(Errors{}, applyModules({{1, inputs(1, 2, "<constelacion>4</constelacion><symbolRate>6875</symbolRate>"
                                                       "<type>2</type>")}}));
    EXPECT_EQ((Rows{{"4", "6875", "306000"}}), query("SELECT Constelacion, SymbolRate, Frequency FROM NimQAMGlobal"));
    EXPECT_EQ((Rows{{"2"}, {"1"}}), query("SELECT tipoEntrada FROM EntradasGlobal WHERE idEntradasGlobal < 3 "
                                          "ORDER BY idEntradasGlobal"));
}

}  // namespace
}  // namespace rctest
