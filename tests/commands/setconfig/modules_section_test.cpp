// The "modules" section: which modules a document may configure, and each
// module's settings, inputs, outputs, services and PID orders. The dev kit's
// module 1 has satellite inputs 1 (10700 MHz, fe 950, DiSEqC position 1 on the
// low band, stream auto) and 2 (11600 MHz, fe 1000, high band without DiSEqC);
// LNB_fb is 9750, LNB_fa 10600. It carries services 101 and 103 on output 1
// and 102 on output 2 (keys 1, 2, 3), each with a video PID (stream 16s+257)
// and a Spanish audio PID (16s+258). Every test runs on each layout below.
#include "commands/setconfig/setconfig_fixture.h"

namespace rctest {
namespace {

INSTANTIATE_TEST_SUITE_P(Layouts, ModulesTest,
                         testing::Values(Headend{"default", {"--no-certs"}},
                                         Headend{"shuffled", {"--no-certs", "--layout", "shuffled:3"}}),
                         headendName);

std::string inputs(int id, int type, const std::string& children) {
    return "<inputs><input><inputId>" + std::to_string(id) + "</inputId><type>" + std::to_string(type) + "</type>" +
           children + "</input></inputs>";
}
std::string outputs(int id, const std::string& children) {
    return "<outputs><output><outputId>" + std::to_string(id) + "</outputId>" + children + "</output></outputs>";
}
// Output 1 of a module whose RF mode is cable.
std::string cable(const std::string& children) { return "<modoSalidaRF>1</modoSalidaRF>" + outputs(1, children); }
std::string service(int outputId, int outputSid, const std::string& children = "") {
    return "<service><outputId>" + std::to_string(outputId) + "</outputId><outputSid>" + std::to_string(outputSid) +
           "</outputSid>" + children + "</service>";
}
// Module 1's three services, the first with extra children, then `more`.
std::string services(const std::string& firstChildren, const std::string& more = "") {
    return "<services>" + service(1, 101, firstChildren) + service(2, 102) + service(1, 103) + more + "</services>";
}
Errors badInput(const std::string& detail) { return failed(kInvalidModuleInput, detail); }
Errors notFound(const std::string& what) { return failed(kCouldNotFindModule, "Could not find module " + what); }
Errors badFamily(const std::string& mac) { return failed(kInvalidModuleFamily, "Invalid module family/model " + mac); }
Errors badOutput(const std::string& element) {
    return failed(kInvalidModuleOutput, "Invalid value for module/output/" + element);
}

// Module settings are whole numbers, optionally signed, nothing around them, within 32 bits on every build (the
// controller's long), and written only when they differ.
TEST_P(ModulesTest, AcceptsTheWholeHeadendInAnyOrderRefusesEverythingElseAndTakesStrictNumbers) {
    const std::string m1 = moduleElement(1), m2 = moduleElement(2);
    const std::pair<std::string, Errors> cases[] = {
        {m2 + m1, {}},
        {"<module><mac>00:1a:2b:00:00:01</mac></module>" + m2, {}},
        {moduleElement(1, "<family>20</family><model>3</model><isMaster>1</isMaster>") +
             moduleElement(2, "<FAMILY>36</FAMILY><isMaster>0</isMaster>"),
         {}},
        {"", refused("No modules found")},
        {m1 + "<modul/>" + m2, refused("No module element found")},
        {m1 + m2 + moduleElement(9), notFound(moduleMac(9))},
        {m1 + "<module><id>x</id></module>", notFound("(no mac)")},
        {m1 + "<module><mac>00:1A:2B:00:00:0_</mac></module>", notFound("00:1A:2B:00:00:0_")},
        {m2, failed(kInvalidAmountOfModules, "Invalid amount of modules (missing 00:1A:2B:00:00:01)")},
        {m1 + m2 + m1, failed(kInvalidAmountOfModules, "Invalid amount of modules (00:1A:2B:00:00:01 twice)")},
        {m1 + moduleElement(2, "<family>20</family>"), badFamily(moduleMac(2))},
        {moduleElement(1, "<model>5</model>") + m2, badFamily(moduleMac(1))},
        {m1 + moduleElement(2, "<isMaster>1</isMaster>"), notFound(moduleMac(2) + " (isMaster differs)")},
    };
    const auto before = configRows();
    for (const auto& [modules, expected] : cases) {
        SCOPED_TRACE(modules);
        EXPECT_EQ(expected, applyErrors("<modules>" + modules + "</modules>"));
    }
    EXPECT_EQ(before, configRows()) << "module elements without settings change nothing";
    EXPECT_TRUE(env().contains("headendAssignedModules: 00:1A:2B:00:00:01 00:1A:2B:00:00:02")) << env().dump();

    const std::pair<const char*, const char*> numbers[] = {  // text, stored (null: refused)
        {"-42", "-42"}, {"+7", "7"}, {"2147483647", "2147483647"}, {"-2147483648", "-2147483648"},
        {"12abc", nullptr}, {" 12", nullptr}, {"", nullptr}, {"-", nullptr}, {"2147483648", nullptr},
        {"4294967296", nullptr}, {"-2147483649", nullptr}, {"99999999999999999999", nullptr},
    };
    const std::string attenuation = "SELECT Atenuacion FROM RedesModulos WHERE MAC = '" + moduleMac(1) + "'";
    for (const auto& [text, stored] : numbers) {
        SCOPED_TRACE(text);
        const std::string before = value(attenuation);
        EXPECT_EQ(stored ? Errors{} : invalid("Invalid value for module/attenuation"),
                  applyModules({{1, std::string("<attenuation>") + text + "</attenuation>"}}));
        EXPECT_EQ(stored ? stored : before, value(attenuation));
    }
    // And they are written only when they differ.
    forbidUpdates("RedesModulos");
    EXPECT_EQ(Errors{}, applyModules({{2, "<attenuation>0</attenuation><name>Module 2</name><dvbNetworkId>1"
                                          "</dvbNetworkId><modoSalidaRF>0</modoSalidaRF>"}}));
    EXPECT_EQ(dbError("Could not save 'module'"), applyModules({{2, "<attenuation>3</attenuation>"}}));
}

const char kIfOutOfRange[] =
    "Resulting intermediate frequency is out of range. Please check frequency and diseqc/band/rfLoop values.";

TEST_P(ModulesTest, SatelliteInputsGoThroughTheLnbIntoTheTunerRange) {
    const std::vector<ModuleCase> cases = {
        {inputs(1, 0, "<frequency>11000</frequency><rfLoop>1</rfLoop>"), {}, row("11000 1250 0 1 0 -2 0")},
        {inputs(1, 0, "<frequency>10700</frequency>"), {}, row("10700 950 0 1 0 -2 0")},
        {inputs(1, 0, "<frequency>11900</frequency>"), {}, row("11900 2150 0 1 0 -2 0")},
        {inputs(1, 0, "<frequency>10699</frequency>"), badInput(kIfOutOfRange)},
        {inputs(1, 0, "<frequency>11901</frequency>"), badInput(kIfOutOfRange)},
        // The DiSEqC position's band wins over the input's.
        {inputs(1, 0, "<band>high</band><frequency>11000</frequency>"), {}, row("11000 1250 0 1 0 -2 0")},
        // Without a frequency the stored intermediate frequency stays.
        {inputs(1, 0, "<diseqc>0</diseqc><band>HIGH</band>"), {}, row("11850 1250 1 0 0 -2 0")},
        {inputs(1, 0, "<streamID>7</streamID><plsMode>gold</plsMode>"), {}, row("11850 1250 1 0 0 7 1")},
        {"<inputs/>", dbError("No module inputs found")},
        {"<inputs><output/></inputs>", refused("No input element found")},
        {"<inputs><input><type>0</type></input></inputs>", badInput("Input has no inputId field")},
        {inputs(3, 0, ""), badInput("Input inputId should be 1 or 2")},
        {"<inputs><input><inputId>1</inputId></input></inputs>", badInput("Input has no type field")},
        {inputs(1, 3, ""), badInput("Input Input type should be 0, 1 or 2")},
        {inputs(1, 2, ""), badInput("Input could not be found")},
        {inputs(1, 0, "<streamID>4294967294</streamID>"), badInput("Invalid value for module/input/streamID")},
        {inputs(2, 0, "<rfLoop>2</rfLoop>"), badInput("Invalid value for module/input/rfLoop")},
        // A value of another tuner kind is ignored.
        {inputs(1, 0, "<bandwidth>9 MHz</bandwidth>"), {}, row("11850 1250 1 0 0 7 1")},
    };
    exec("UPDATE NimGlobal SET RFIN_LOOP = '1' WHERE idNimGlobal = 1");   // input 1 never loops
    runCases(cases, "SELECT Frequency, fe, banda_FI, DiSEqC, RFIN_LOOP, StreamID, ModoPLS FROM NimGlobal "
                    "WHERE idNimGlobal = 1");
    EXPECT_TRUE(env().contains("REMOTE_CONTROL::: New INPUT parameters:  type: 0 frequency: 11000 rfLoop: 1"))
        << env().dump();
}

TEST_P(ModulesTest, InputTwoFollowsTheOscillatorsAndAChangedInputOneAndOtherTunersTakeTheirOwnValues) {
    const char kInput2[] = "SELECT Frequency, fe FROM NimGlobal WHERE idNimGlobal = 2";
    exec("UPDATE NimGlobal SET Frequency = '11000' WHERE idNimGlobal = 2");
    EXPECT_EQ(Errors{}, applyModules({{1, inputs(1, 0, "<frequency>10700</frequency>")}}));
    EXPECT_EQ(row("11000 1000"), query(kInput2)) << "input 1 did not change";
    EXPECT_EQ(Errors{}, applyModules({{1, inputs(1, 0, "<frequency>11000</frequency>")}}));
    EXPECT_EQ(row("11600 1000"), query(kInput2));

    EXPECT_EQ(Errors{}, applyErrors("<lnb><oscHighFreq>10700</oscHighFreq></lnb>" +
                                    modulesSection(2, {{1, inputs(2, 0, "<symbolRate>27500</symbolRate>")}})));
    EXPECT_EQ(row("11700 1000"), query(kInput2)) << "an oscillator changed earlier in the document";

    exec("DELETE FROM configuracionWebGlobal WHERE nombre = 'LNB_fb'");
    EXPECT_EQ(Errors{}, applyModules({{1, inputs(1, 0, "<frequency>99999</frequency>")}}))
        << "without the band's oscillator nothing is derived or checked";
    EXPECT_EQ(row("99999 1250"), query("SELECT Frequency, fe FROM NimGlobal WHERE idNimGlobal = 1"));

    // Terrestrial and cable tuners take their own values.
    exec("UPDATE EntradasGlobal SET tipoEntrada = '1' WHERE idEntradasGlobal = 2");
    exec("INSERT INTO NimCOFDMGlobal (idNimCOFDMGlobal, Bandwidth, Hierarchy, PLP_ID, Frequency, fk_idEntradasGlobal, "
         "RFIN_LOOP) VALUES (5, '2', '0', '0', '474000', '2', '0')");
    exec("INSERT INTO NimQAMGlobal (idNimQAMGlobal, Constelacion, Frequency, SymbolRate, fk_idEntradasGlobal, "
         "RFIN_LOOP) VALUES (6, '0', '306000', '6900', '1', '0')");
    runCases({{inputs(2, 1, "<bandwidth>6 MHz</bandwidth><hierarchy>low priority</hierarchy><PLPID>auto</PLPID>"
                            "<frequency>482000</frequency><autoScan>on</autoScan><rfLoop>1</rfLoop>"),
               {}, row("0 1 -2 482000 on 1")},
              {inputs(2, 1, "<bandwidth>8 MHz</bandwidth><PLPID>3</PLPID>"), {}, row("2 1 3 482000 on 1")},
              {inputs(2, 1, "<hierarchy>High</hierarchy>"), badInput("Invalid value for module/input/hierarchy")}},
             "SELECT Bandwidth, Hierarchy, PLP_ID, Frequency, trackingStatusEn, RFIN_LOOP FROM NimCOFDMGlobal");
    EXPECT_EQ(Errors{}, applyModules({{1, inputs(1, 2, "<constelacion>4</constelacion><symbolRate>6875</symbolRate>"
                                                       "<type>2</type>")}}));
    EXPECT_EQ(row("4 6875 306000"), query("SELECT Constelacion, SymbolRate, Frequency FROM NimQAMGlobal"));
    EXPECT_EQ((Rows{{"2"}, {"1"}}), query("SELECT tipoEntrada FROM EntradasGlobal WHERE idEntradasGlobal < 3 "
                                          "ORDER BY idEntradasGlobal"));
    exec("DELETE FROM NimGlobal WHERE idNimGlobal = 2");
    EXPECT_EQ(Errors{}, applyModules({{1, inputs(1, 0, "<frequency>11000</frequency>")}}))
        << "a changed satellite input 1 beside an input 2 without a satellite tuner";
}

TEST_P(ModulesTest, OutputValuesAreEncodedTheConstellationFollowsTheRfModeAndServicesAreChecked) {
    const Rows qam64 = row("0 490000 6875 0 2 3 2 4 1 0");
    runCases({{outputs(1, "<active>0</active><frequency>490000</frequency><symbolRate>6875</symbolRate><modeOFDM>2k"
                          "</modeOFDM><bandwidth>6 MHz</bandwidth><guardInterval>1/4</guardInterval><constellation>"
                          "QPSK</constellation><codeRate>7/8</codeRate><formatIQ>Reversed</formatIQ><type>9</type>"),
               {}, row("0 490000 6875 0 2 3 0 4 1 0")},
              {outputs(1, "<constellation>64 QAM</constellation><onid>1</onid><tsid>77</tsid>"), {}, qam64},
              {outputs(1, "<constellation>256 QAM</constellation>"), badOutput("constellation DVBT")},
              {cable("<constellation>QPSK</constellation>"), badOutput("constellation DVBC")},
              // The RF mode must come before the outputs.
              {outputs(1, "<constellation>256 QAM</constellation>") + "<modoSalidaRF>1</modoSalidaRF>",
               badOutput("constellation DVBT")},
              {cable("<constellation>256 qam</constellation>"), {}, row("0 490000 6875 0 2 3 4 4 1 0")},
              {cable("<constellation>64 QAM</constellation>"), {}, qam64},
              // Without one, terrestrial, whatever the module has stored.
              {outputs(1, "<constellation>QPSK</constellation>"), {}, row("0 490000 6875 0 2 3 0 4 1 0")},
              {outputs(1, "<active>2</active>"), badOutput("active")},
              {outputs(1, "<formatIQ>Inverted</formatIQ>"), badOutput("formatIQ")},
              {outputs(3, ""), failed(kInvalidModuleOutput, "Output outputId should be 1 or 2")},
              {"<outputs><output/></outputs>", failed(kInvalidModuleOutput, "Output has no outputId field")},
              {"<outputs/>", dbError("No module outputs found")},
              {"<outputs><input/></outputs>", refused("No output element found")}},
             // The logical output's own Activo (last) follows the modulator's.
             "SELECT r.Activo, Frecuencia, Symbol_Rate, Modo_OFDM, Ancho_Banda, Intervalo_Guarda, "
             "Modo_Salida_Modulacion, Code_Rate, Espectro_Salida, s.Activo FROM RFOutGlobal r, SalidasLogicasGlobal s "
             "WHERE idRFOutGlobal = 1 AND idSalidasLogicasGlobal = 1");
    EXPECT_EQ(row("1 77 1"), query("SELECT ONID_Out, TSID_Out, tipoSalida FROM SalidasLogicasGlobal "
                                   "WHERE idSalidasLogicasGlobal = 1"))
        << "its type is not the document's";
    EXPECT_TRUE(env().contains("REMOTE_CONTROL::: New OUTPUT parameters:  active:0 frequency: 490000")) << env().dump();

    // Services are identified and their values checked.
    runCases({{services("", service(2, 65535)), {}},
              {services("", service(1, 65536)), invalid("outputSid value cannot be greater than 65535")},
              {services("", service(1, 0)), refused("Service outputSid should be greater than 0")},
              {services("", "<service><outputSid>5</outputSid></service>"), refused("Service has no outputId field")},
              {services("", service(3, 5)), refused("Service outputId should be 1 or 2")},
              {services("", "<service><outputId>1</outputId></service>"), refused("Service has no outputSid field")},
              {services("", "<pidOrder/>"), refused("No service element found")},
              {services("<inputSid>65535</inputSid>"), {}},
              {services("<inputSid>65536</inputSid>"), invalid("inputSid value cannot be greater than 65535")},
              {services("<lcn>0</lcn>"), invalid("LCN value cannot be 0")},
              {services("<olcn>1x</olcn>"), invalid("Invalid value for service/olcn")},
              {services("<pidOrders><pid/></pidOrders>"), refused("No pidOrder element found")},
              {services("<pidOrders><pidOrder><streamId>x</streamId></pidOrder></pidOrders>"),
               invalid("Invalid value for pidOrder/streamId")},
              {services("<pidOrders><pidOrder><streamId>273</streamId><type>v</type></pidOrder></pidOrders>"),
               invalid("Invalid value for pidOrder/type")}},
             "");
    EXPECT_EQ((Rows{{"2", "65535", "0", "1", "0", "0", "", "0"}}),
              query("SELECT fk_idSalidasLogicas, OSID, EstadoServicio, EstadoBorrado, LCN, SSU, NombreEntrada, "
                    "idEPG FROM ServiciosSalidaGlobal WHERE OSID = '65535'"))
        << "a new service has every number 0 and no names (the later lists without it withdrew it)";

    exec("UPDATE ServiciosSalidaGlobal SET LCN = '0' WHERE idSSG = 1");
    EXPECT_EQ(Errors{}, applyModules({{1, services("<lcn>0</lcn>", service(2, 65535))}}))
        << "a stored LCN 0 may be sent back";
    EXPECT_EQ(Errors{}, applyModules({{1, services("<lcn>1</lcn>", service(2, 65535))}})) << "the lowest LCN";
}

const char kServiceState[] = "SELECT idSSG, fk_idSalidasLogicas, OSID, EstadoServicio, EstadoBorrado FROM "
                             "ServiciosSalidaGlobal WHERE MAC = '00:1A:2B:00:00:01' ORDER BY idSSG";
const char kPidsOf2[] = "SELECT EstadoPID, EstadoBorrado FROM PIDsSalidaGlobal WHERE fk_idSSG = '2'";

TEST_P(ModulesTest, ServicesLeftOutOrMovedAreWithdrawnWithTheirPidsButSsuCarriersStay) {
    exec("UPDATE ServiciosSalidaGlobal SET SSU = '1' WHERE idSSG = 3");
    EXPECT_EQ(Errors{}, applyModules({{1, "<services>" + service(1, 101) + "</services>"}}));
    EXPECT_EQ((Rows{{"1", "1", "101", "1", "0"}, {"2", "2", "102", "0", "1"}, {"3", "1", "103", "1", "0"}}),
              query(kServiceState));
    EXPECT_EQ((Rows{{"0", "1"}, {"0", "1"}}), query(kPidsOf2));
    EXPECT_EQ("4", value("SELECT COUNT(*) FROM PIDsSalidaGlobal WHERE fk_idSSG IN ('1', '3') AND EstadoPID = '1' "
                         "AND EstadoBorrado = '0'"));
    EXPECT_EQ("3", value("SELECT COUNT(*) FROM ServiciosSalidaGlobal WHERE MAC = '00:1A:2B:00:00:02' AND "
                         "EstadoBorrado = '0'"))
        << "another module's services stay";

    EXPECT_EQ(Errors{}, applyModules({{1, "<services>" + service(1, 101) + service(2, 102) + "</services>"}}));
    EXPECT_EQ((Rows{{"1", "1", "101", "1", "0"}, {"2", "2", "102", "1", "0"}, {"3", "1", "103", "1", "0"}}),
              query(kServiceState));
    EXPECT_EQ((Rows{{"0", "1"}, {"0", "1"}}), query(kPidsOf2)) << "without pidOrders a service's PIDs stay as they are";

    // Moved to the other output, a service is a new one there.
    EXPECT_EQ(Errors{}, applyModules({{1, "<services>" + service(2, 101) + service(2, 102) + "</services>"}}));
    EXPECT_EQ((Rows{{"1", "1", "101", "0", "1"}, {"2", "2", "102", "1", "0"}, {"3", "1", "103", "1", "0"},
                    {"7", "2", "101", "1", "0"}}),
              query(kServiceState));
}

TEST_P(ModulesTest, EveryServiceValueReachesItsColumnAndPidOrdersAreMatchedByStreamInsertedAndDeleted) {
    const std::string children =
        "<lcn>7</lcn><olcn>8</olcn><forcedLcn>1</forcedLcn><simulcastLcn>9</simulcastLcn><inputId>2</inputId>"
        "<inputSid>4242</inputSid><inputName>In'); DROP TABLE x; --</inputName><forcedName>1</forcedName>"
        "<outputName>Out</outputName><idEPG>5</idEPG><serviceTypeDVB>25</serviceTypeDVB><serviceTypeCanal>3"
        "</serviceTypeCanal><videoFormat>2</videoFormat><cloned>1</cloned><decrypt>1</decrypt><transcoding>1"
        "</transcoding><videoPeakBitrate>9000</videoPeakBitrate><serviceStatus>x</serviceStatus><pidOrders><pidOrder>"
        "<languageCode>eng</languageCode><streamId>300</streamId><type>4</type><order>1</order></pidOrder><pidOrder>"
        "<streamId>273</streamId><type>2</type><order>2</order></pidOrder></pidOrders>";
    EXPECT_EQ(Errors{}, applyModules({{1, services(children)}}));
    EXPECT_EQ((Rows{{"7", "8", "1", "9", "2", "4242", "In'); DROP TABLE x; --", "1", "Out", "5", "25", "3", "2", "1",
                     "1", "1", "9000"}}),
              query("SELECT LCN, OLCN, LCNForzado, SimulcastLCN, fk_idEntrada, SID, NombreEntrada, NombreForzado, "
                    "NombreSalida, idEPG, Service_Type, Tipo, VideoFormat, DuplicadoClonado, Descifrar, Transcoding, "
                    "Video_peak_bitrate FROM ServiciosSalidaGlobal WHERE idSSG = 1"));
    // The PIDs it carries are on its new input.
    EXPECT_EQ((Rows{{"1", "1", "273", "2", "2", "", "1", "0", "00:1A:2B:00:00:01", "2", "1"},
                    {"2", "1", "274", "2", "4", "spa", "0", "1", "00:1A:2B:00:00:01", "1", "1"},
                    {"3", "2", "289", "1", "2", "", "1", "0", "00:1A:2B:00:00:01", "2", "2"},
                    {"4", "2", "290", "2", "4", "spa", "1", "0", "00:1A:2B:00:00:01", "2", "2"},
                    {"13", "1", "300", "1", "4", "eng", "1", "0", "00:1A:2B:00:00:01", "2", "1"}}),
              query("SELECT idPSG, fk_idSSG, StreamId, Orden, Tipo, AudioCode, EstadoPID, EstadoBorrado, MAC, "
                    "fk_idEntrada, fk_idSalidasLogicas FROM PIDsSalidaGlobal WHERE fk_idSSG IN ('1', '2') "
                    "ORDER BY idPSG"));

    EXPECT_EQ(Errors{}, applyModules({{1, services("<pidOrders><pidOrder><streamId>274</streamId><type>4</type>"
                                                    "<order>2</order><languageCode>spa</languageCode></pidOrder>"
                                                    "</pidOrders>")}}));
    EXPECT_EQ((Rows{{"1", "0", "1"}, {"2", "1", "0"}, {"13", "0", "1"}}),
              query("SELECT idPSG, EstadoPID, EstadoBorrado FROM PIDsSalidaGlobal WHERE fk_idSSG = '1' ORDER BY idPSG"))
        << "a deleted PID listed again is carried again";
}

TEST_P(ModulesTest, OnWmbG400AChangedLcnIsForced) {
    useModel("WMB-G400");
    // A new service listed twice is one service.
    const std::string twice = service(1, 104, "<lcn>0</lcn>") + service(1, 104);
    EXPECT_EQ(Errors{}, applyModules({{1, services("<lcn>1</lcn>", twice)}}));
    EXPECT_EQ((Rows{{"0"}, {"0"}}), query("SELECT LCNForzado FROM ServiciosSalidaGlobal WHERE OSID IN ('101', '104')"))
        << "nothing changed";
    EXPECT_EQ(Errors{}, applyModules({{1, services("<lcn>5</lcn>", service(1, 104))}}));
    EXPECT_EQ(row("5 1"), query("SELECT LCN, LCNForzado FROM ServiciosSalidaGlobal WHERE idSSG = 1"));
}

}  // namespace
}  // namespace rctest
