// Module outputs and the module's own settings: the logical output and its
// modulator, the encodings of the modulator's values, the constellation read
// in the module's RF mode, and the strict numbers every checked value obeys.
#include "commands/setconfig/setconfig_fixture.h"

namespace rctest {
namespace {

using namespace dorel_remote_control;

std::string outputs(int id, const std::string& children) {
    return "<outputs><output><outputId>" + std::to_string(id) + "</outputId>" + children + "</output></outputs>";
}
Errors invalidOutput(const std::string& element) {
    return sectionFailure(kInvalidModuleOutput, "Invalid value for module/output/" + element);
}

TEST_P(ModulesTest, OutputValuesAreEncodedAndTheConstellationFollowsTheRfMode) {
    const struct {
        const char* name;
        std::string moduleChildren;   // module 1's
        Errors expected;
        Rows modulator;               // output 1's afterwards (empty: not read)
    } cases[] = {
        {"every value", outputs(1, "<active>0</active><frequency>490000</frequency><symbolRate>6875</symbolRate>"
                                   "<modeOFDM>2k</modeOFDM><bandwidth>6 MHz</bandwidth><guardInterval>1/4"
                                   "</guardInterval><constellation>QPSK</constellation><codeRate>7/8</codeRate>"
                                   "<formatIQ>Reversed</formatIQ><onid>1</onid><tsid>77</tsid><type>9</type>"),
         {}, {{"0", "490000", "6875", "0", "2", "3", "0", "4", "1"}}},
        {"64 QAM terrestrial", outputs(1, "<constellation>64 QAM</constellation>"), {},
         {{"0", "490000", "6875", "0", "2", "3", "2", "4", "1"}}},
        {"256 QAM is cable only", outputs(1, "<constellation>256 QAM</constellation>"),
         invalidOutput("constellation DVBT"), {}},
        {"QPSK is terrestrial only", "<modoSalidaRF>1</modoSalidaRF>" + outputs(1, "<constellation>QPSK</constellation>"),
         invalidOutput("constellation DVBC"), {}},
        {"the RF mode must come first",
         outputs(1, "<constellation>256 QAM</constellation>") + "<modoSalidaRF>1</modoSalidaRF>",
         invalidOutput("constellation DVBT"), {}},
        {"256 QAM cable", "<modoSalidaRF>1</modoSalidaRF>" + outputs(1, "<constellation>256 qam</constellation>"), {},
         {{"0", "490000", "6875", "0", "2", "3", "4", "4", "1"}}},
        {"without modoSalidaRF terrestrial, whatever is stored", outputs(1, "<constellation>QPSK</constellation>"),
         {}, {{"0", "490000", "6875", "0", "2", "3", "0", "4", "1"}}},
        {"active 2", outputs(1, "<active>2</active>"), invalidOutput("active"), {}},
        {"modeOFDM", outputs(1, "<modeOFDM>4K</modeOFDM>"), invalidOutput("modeOFDM"), {}},
        {"bandwidth", outputs(1, "<bandwidth>5 MHz</bandwidth>"), invalidOutput("bandwidth"), {}},
        {"guardInterval", outputs(1, "<guardInterval>1/2</guardInterval>"), invalidOutput("guardInterval"), {}},
        {"codeRate", outputs(1, "<codeRate>1/3</codeRate>"), invalidOutput("codeRate"), {}},
        {"formatIQ", outputs(1, "<formatIQ>Inverted</formatIQ>"), invalidOutput("formatIQ"), {}},
        {"outputId 3", outputs(3, ""), sectionFailure(kInvalidModuleOutput, "Output outputId should be 1 or 2"), {}},
        {"no outputId", "<outputs><output/></outputs>",
         sectionFailure(kInvalidModuleOutput, "Output has no outputId field"), {}},
        {"empty list", "<outputs/>", sectionFailure(kCouldNotAccessDatabase, "No module outputs found"), {}},
        {"other element", "<outputs><input/></outputs>", sectionFailure(kInvalidCommand, "No output element found"),
         {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.expected, applyModules({{1, c.moduleChildren}}));
        if (c.modulator.empty()) continue;
        EXPECT_EQ(c.modulator, query("SELECT Activo, Frecuencia, Symbol_Rate, Modo_OFDM, Ancho_Banda, Intervalo_Guarda, "
                                     "Modo_Salida_Modulacion, Code_Rate, Espectro_Salida FROM RFOutGlobal "
                                     "WHERE idRFOutGlobal = 1"));
    }
    EXPECT_EQ((Rows{{"1", "77", "0", "1"}}), query("SELECT ONID_Out, TSID_Out, Activo, tipoSalida FROM "
                                                   "SalidasLogicasGlobal WHERE idSalidasLogicasGlobal = 1"))
        << "the logical output follows the modulator's active flag; its type is not the document's";
}

TEST_P(ModulesTest, BandwidthCodesOfOutputsAndInputsRunOppositeWays) {
    exec("UPDATE EntradasGlobal SET tipoEntrada = '1' WHERE idEntradasGlobal = 1");
    exec("INSERT INTO NimCOFDMGlobal (idNimCOFDMGlobal, Bandwidth, fk_idEntradasGlobal) VALUES (1, '2', '1')");
    EXPECT_EQ(Errors{}, applyModules({{1, outputs(2, "<bandwidth>6 MHz</bandwidth>") +
                                              "<inputs><input><inputId>1</inputId><type>1</type>"
                                              "<bandwidth>6 MHz</bandwidth></input></inputs>"}}));
    EXPECT_EQ("2", value("SELECT Ancho_Banda FROM RFOutGlobal WHERE idRFOutGlobal = 2"));
    EXPECT_EQ("0", value("SELECT Bandwidth FROM NimCOFDMGlobal"));
}

TEST_P(ModulesTest, ModuleSettingsAreWrittenOnlyWhenTheyDiffer) {
    forbidWrites("RedesModulos");
    EXPECT_EQ(Errors{}, applyModules({{2, "<attenuation>0</attenuation><name>Module 2</name><dvbNetworkId>1"
                                          "</dvbNetworkId><modoSalidaRF>0</modoSalidaRF>"}}));
    EXPECT_EQ(sectionFailure(kCouldNotAccessDatabase, "Could not save 'module'"),
              applyModules({{2, "<attenuation>3</attenuation>"}}));
}

// Numbers are whole, optionally signed, with nothing around them, and within
// 32 bits on every build (the controller's long).
TEST_P(ModulesTest, NumbersAreStrictWholeThirtyTwoBitNumbers) {
    const struct {
        const char* text;
        const char* stored;   // null: refused
    } cases[] = {
        {"-42", "-42"}, {"+7", "7"}, {"2147483647", "2147483647"}, {"-2147483648", "-2147483648"},
        {"12abc", nullptr}, {" 12", nullptr}, {"", nullptr}, {"-", nullptr}, {"2147483648", nullptr},
        {"4294967296", nullptr}, {"-2147483649", nullptr}, {"99999999999999999999", nullptr},
    };
    const std::string stored = "SELECT Atenuacion FROM RedesModulos WHERE MAC = '" + moduleMac(1) + "'";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const std::string before = value(stored);
        EXPECT_EQ(c.stored ? Errors{} : sectionFailure(kInvalidValue, "Invalid value for module/attenuation"),
                  applyModules({{1, std::string("<attenuation>") + c.text + "</attenuation>"}}));
        EXPECT_EQ(c.stored ? c.stored : before, value(stored));
    }
}

}  // namespace
}  // namespace rctest
