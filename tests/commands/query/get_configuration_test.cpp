// getConfiguration against the dev kit's headend: the document's shape for
// every controller model, the coded values, the filters, and the failures.
#include "commands/query/configuration_codes.h"
#include "configuration_document.h"

#include <unistd.h>

namespace {

using namespace dorel_remote_control;
using rctest::at;
using rctest::childNames;
using rctest::nth;
using rctest::textAt;

class GetConfiguration : public rctest::ConfigurationTest {};

// What each model's document holds: its sections, a network's children, the
// CAM module's children and a service of the CAM module.
struct ModelShape {
    const char* model;
    const char* sections;
    const char* network;
    const char* camModule;
    const char* camService;
};

#define GROUP_A_SECTIONS                                                                                    \
    "identification regional maturityRating maintenances homeChannels serviceEPGs network dvbNetworks lnb " \
    "diseqcs scramblings preferredLanguages modules"
#define PLAIN_SECTIONS "identification regional network dvbNetworks lnb diseqcs scramblings preferredLanguages modules"
#define FULL_NETWORK                                                                                            \
    "id nid onidOut name ciplusTVs tvType cellID forceServiceName autoServiceList lcnOffset lcnMode tipoNITPatron " \
    "nitPatron versionNITPatron autoBlockPIDs"
#define FULL_MODULE                                                                                          \
    "id mac isMaster name family model modoSalidaRF serialNumber CAMSerialNumber CAMVersion CardRights CardStatus " \
    "hwVersion swVersion attenuation dvbNetworkId inputs outputs services"
#define SERVICE_HEAD "outputId outputSid inputId inputSid inputName forcedName outputName lcn"
#define SERVICE_EXTRA " olcn simulcastLcn forcedLcn idEPG serviceTypeDVB serviceTypeCanal videoFormat"

const ModelShape kShapes[] = {
    {"KVA-100", GROUP_A_SECTIONS,
     FULL_NETWORK " autoDecryptPIDs InputVersionNIT InputVersionBAT OutputVersionNIT OutputNITDate", FULL_MODULE,
     SERVICE_HEAD SERVICE_EXTRA " cloned decrypt transcoding videoPeakBitrate serviceStatus decrytStatus pidOrders"},
    {"KVB-200", GROUP_A_SECTIONS,
     FULL_NETWORK " autoDecryptPIDs InputVersionNIT InputVersionBAT OutputVersionNIT OutputNITDate", FULL_MODULE,
     SERVICE_HEAD SERVICE_EXTRA " cloned decrypt transcoding videoPeakBitrate serviceStatus decrytStatus pidOrders"},
    {"KVC-300", GROUP_A_SECTIONS,
     FULL_NETWORK " autoDecryptPIDs InputVersionNIT InputVersionBAT OutputVersionNIT OutputNITDate", FULL_MODULE,
     SERVICE_HEAD SERVICE_EXTRA " cloned decrypt transcoding videoPeakBitrate serviceStatus decrytStatus pidOrders"},
    {"WMB-G400",
     "identification regional network remoteControl dvbNetworks lnb diseqcs scramblings preferredLanguages modules",
     "id nid onidOut name ciplusTVs autoBlockPIDs autoDecryptPIDs",
     "id mac isMaster serialNumber CAMSerialNumber CAMVersion CardSerialNumber CardRights CardStatus hwVersion "
     "swVersion attenuation dvbNetworkId inputs outputs services",
     SERVICE_HEAD " cloned decrypt serviceStatus decrytStatus pidOrders"},
    {"KVD-AB5", PLAIN_SECTIONS, FULL_NETWORK " autoDecryptPIDs OutputVersionNIT OutputNITDate", FULL_MODULE,
     SERVICE_HEAD SERVICE_EXTRA " cloned decrypt transcoding videoPeakBitrate serviceStatus decrytStatus pidOrders"},
    {"KVB-210", PLAIN_SECTIONS, FULL_NETWORK " autoDecryptPIDs OutputVersionNIT OutputNITDate", FULL_MODULE,
     SERVICE_HEAD SERVICE_EXTRA " cloned decrypt transcoding videoPeakBitrate serviceStatus decrytStatus pidOrders"},
    {"KVD-CD5", "identification regional network dvbNetworks preferredLanguages modules",
     FULL_NETWORK " OutputVersionNIT OutputNITDate", FULL_MODULE,
     SERVICE_HEAD SERVICE_EXTRA " cloned transcoding videoPeakBitrate serviceStatus decrytStatus pidOrders"},
};

TEST_F(GetConfiguration, EachModelGetsItsBranchesInOrder) {
    for (const ModelShape& shape : kShapes) {
        SCOPED_TRACE(shape.model);
        runAs(shape.model);
        EXPECT_TRUE(errors_.empty());
        EXPECT_EQ(shape.sections, childNames(configuration()));
        EXPECT_EQ(shape.network, childNames(at(configuration(), {"dvbNetworks", "dvbNetwork"})));
        // Module 2 of the default headend is the CAM module.
        EXPECT_EQ(shape.camModule, childNames(module(1)));
        EXPECT_EQ(shape.camService, childNames(at(module(1), {"services", "service"})));
        if (std::string(shape.model) == "WMB-G400") {
            EXPECT_EQ("CARD-0002000", textAt(module(1), {"CardSerialNumber"}));
            EXPECT_EQ("rc-user", textAt(configuration(), {"remoteControl", "username"}));
        }
    }
}

TEST_F(GetConfiguration, PlainModuleHasNoCamStateNorCloning) {
    runAs("KVB-200");
    EXPECT_EQ("id mac isMaster name family model modoSalidaRF serialNumber hwVersion swVersion attenuation "
              "dvbNetworkId inputs outputs services",
              childNames(module(0)));
    EXPECT_EQ(SERVICE_HEAD SERVICE_EXTRA " transcoding videoPeakBitrate serviceStatus pidOrders",
              childNames(at(module(0), {"services", "service"})));
}

TEST_F(GetConfiguration, WritesTheDefaultHeadendsValues) {
    runAs("KVB-200");
    XmlNode* c = configuration();
    EXPECT_EQ("Test headend", textAt(c, {"identification", "headendName"}));
    EXPECT_EQ("Europe/Madrid", textAt(c, {"regional", "timezone"}));
    EXPECT_EQ("30", textAt(c, {"maintenances", "maintenance", "min"}));
    EXPECT_EQ("horizontal", textAt(c, {"homeChannels", "homechannel", "polarity"}));
    EXPECT_EQ("high", textAt(c, {"homeChannels", "homechannel", "band"}));
    XmlNode* sport = nth(at(c, {"serviceEPGs"}), "serviceEPG", 1);
    EXPECT_EQ("Sport", textAt(sport, {"name"}));
    EXPECT_EQ("audiosEPG", childNames(at(sport, {"audiosEPGs"})));
    EXPECT_EQ("sport.example", textAt(sport, {"replacingEPGs", "replacingEPG", "replacingEpgChannelId"}));
    EXPECT_EQ("onid tsid frequency symbolrate polarity orbit westEastFlag", childNames(at(sport, {"satelliteEPG"})));

    XmlNode* network = at(c, {"dvbNetworks", "dvbNetwork"});
    EXPECT_EQ("1 0 1", textAt(network, {"autoBlockPIDs", "text"}) + " " +
                           textAt(network, {"autoBlockPIDs", "subtitles"}) + " " +
                           textAt(network, {"autoBlockPIDs", "data"}));
    EXPECT_EQ("1", textAt(network, {"autoDecryptPIDs", "subtitles"}));
    EXPECT_EQ("7", textAt(network, {"InputVersionNIT"}));
    EXPECT_EQ("12", textAt(network, {"InputVersionBAT"}));
    EXPECT_EQ("3", textAt(network, {"OutputVersionNIT"}));
    EXPECT_EQ(17u, textAt(network, {"OutputNITDate"}).size());

    EXPECT_EQ("odd", textAt(c, {"scramblings", "scrambling", "mode"}));
    EXPECT_EQ("0011223344556677", textAt(c, {"scramblings", "scrambling", "oddKey"}));
    EXPECT_EQ("language language", childNames(at(c, {"preferredLanguages"})));

    XmlNode* cam = module(1);
    EXPECT_EQ("Rights OK", textAt(cam, {"CardRights"}));
    EXPECT_EQ("OK", textAt(cam, {"CardStatus"}));
    EXPECT_EQ("263", textAt(cam, {"CAMVersion"}));
    EXPECT_EQ("20190412-r3", textAt(cam, {"swVersion"}));

    XmlNode* inputs = at(module(0), {"inputs"});
    EXPECT_EQ("inputId active type onid tsid frequency diseqc PLSmode scramblingID streamID inputStatus",
              childNames(nth(inputs, "input", 0)));
    EXPECT_EQ("auto", textAt(nth(inputs, "input", 0), {"streamID"}));
    EXPECT_EQ("high", textAt(nth(inputs, "input", 1), {"band"}));
    EXPECT_EQ("Good", textAt(nth(inputs, "input", 1), {"inputStatus", "signalQuality"}));

    XmlNode* output = at(module(0), {"outputs", "output"});
    EXPECT_EQ("outputId type onid tsid active frequency symbolRate modeOFDM bandwidth guardInterval constellation "
              "codeRate formatIQ",
              childNames(output));
    EXPECT_EQ("8 MHz|8K|1/32|64 QAM|3/4|Normal",
              textAt(output, {"bandwidth"}) + "|" + textAt(output, {"modeOFDM"}) + "|" +
                  textAt(output, {"guardInterval"}) + "|" + textAt(output, {"constellation"}) + "|" +
                  textAt(output, {"codeRate"}) + "|" + textAt(output, {"formatIQ"}));
    EXPECT_EQ("pidOrder pidOrder", childNames(at(module(0), {"services", "service", "pidOrders"})));
    EXPECT_EQ("spa", textAt(nth(at(module(0), {"services", "service", "pidOrders"}), "pidOrder", 1), {"languageCode"}));
}

TEST(ConfigurationCodes, EdgeValues) {
    struct Case {
        ValueCoder coder;
        const char* stored;
        const char* text;
    } cases[] = {
        {cardRightsText, "49", "Rights OK"},          {cardRightsText, "48", "Less than 48 hours"},
        {cardRightsText, "25", "Less than 48 hours"}, {cardRightsText, "24", "KO. No rights"},
        {cardRightsText, "23", "Less than 24 hours"}, {cardRightsText, "1", "Less than 24 hours"},
        {cardRightsText, "0", "KO. No rights"},       {cardRightsText, "-3", "Less than 24 hours"},
        {cardStatusText, "4", "Not Supported"},       {cardStatusText, "0", "No API"},
        {cardStatusText, "5", "No API"},              {autoOrNumberText, "-2", "auto"},
        {autoOrNumberText, "-1", "-1"},               {autoOrNumberText, "7", "7"},
        {plsModeText, "1", "gold"},                   {plsModeText, "2", "root"},
        {plsModeText, "3", "auto"},                   {outputBandwidthText, "0", "8 MHz"},
        {inputBandwidthText, "0", "6 MHz"},           {outputBandwidthText, "3", ""},
        {activeText, "-1", "0"},                      {activeText, "2", "1"},
        {cableConstellationText, "4", "256 QAM"},     {terrestrialConstellationText, "0", "QPSK"},
        {terrestrialConstellationText, "3", ""},      {polarityText, "", "vertical"},
        // Read as the controller reads them: beyond 32 bits is the top of the
        // range, not the low bits a 64-bit atoi() would leave.
        {polarityText, "4294967297", ""},             {activeText, "4294967296", "1"},
        {cardRightsText, "4294967320", "Rights OK"},  {cardRightsText, "-4294967296", "Less than 24 hours"},
    };
    for (const Case& c : cases) EXPECT_EQ(c.text, c.coder(c.stored)) << c.stored;
    EXPECT_EQ("Good", satelliteSignalText(true, "2"));
    EXPECT_EQ("Marginal", cableTerrestrialSignalText(true, "2"));
    EXPECT_EQ("Unlocked", cableTerrestrialSignalText(false, "2"));
}

// A mask beyond 32 bits is the top of the range on the controller, every bit
// set, not whatever low bits a 64-bit reading would leave.
TEST_F(GetConfiguration, APidMaskBeyond32BitsReadsAsOnTheController) {
    root_.exec(kConfig, "UPDATE RedesCabecera SET Block_PIDs = '4294967300', Decrypt_PIDs = '4294967297'");
    runAs("KVB-200");
    XmlNode* network = at(configuration(), {"dvbNetworks", "dvbNetwork"});
    for (const char* mask : {"autoBlockPIDs", "autoDecryptPIDs"}) {
        EXPECT_EQ("1 1 1", textAt(network, {mask, "text"}) + " " + textAt(network, {mask, "subtitles"}) + " " +
                               textAt(network, {mask, "data"}))
            << mask;
    }
}

TEST_F(GetConfiguration, TerrestrialAndCableInputsReportTheirTuners) {
    root_.exec(kConfig, "UPDATE EntradasGlobal SET tipoEntrada = '1' WHERE idEntradasGlobal = 1");
    root_.exec(kConfig, "UPDATE EntradasGlobal SET tipoEntrada = '2' WHERE idEntradasGlobal = 2");
    root_.exec(kConfig, "INSERT INTO NimCOFDMGlobal (idNimCOFDMGlobal, Bandwidth, Hierarchy, trackingStatusEn, "
                        "TSID_Tracking, ONID_Tracking, PLP_ID, Frequency, fk_idEntradasGlobal, RFIN_LOOP) "
                        "VALUES (7, '2', '1', '1', '5', '6', '-2', '474000', '1', '2')");
    root_.exec(kConfig, "INSERT INTO NimQAMGlobal (idNimQAMGlobal, Constelacion, Frequency, SymbolRate, "
                        "fk_idEntradasGlobal, RFIN_LOOP) VALUES (9, '4', '306000', '6900', '2', '0')");
    root_.exec(kTemp, "INSERT INTO TempNIMCOFDMGlobal (fk_idNimCOFDMGlobal, Lock, SignalQuality) VALUES ('7', '1', '2')");
    root_.exec(kTemp, "INSERT INTO TempNIMQAMGlobal (fk_idNimQAMGlobal, Lock, SignalQuality) VALUES ('9', '0', '2')");
    runAs("KVB-200");
    XmlNode* inputs = at(module(0), {"inputs"});
    XmlNode* terrestrial = nth(inputs, "input", 0);
    EXPECT_EQ("inputId active type onid tsid frequency bandwidth hierarchy PLPID autoScan onidScan tsidScan rfLoop "
              "inputStatus",
              childNames(terrestrial));
    EXPECT_EQ("8 MHz|Low Priority|auto|Marginal",
              textAt(terrestrial, {"bandwidth"}) + "|" + textAt(terrestrial, {"hierarchy"}) + "|" +
                  textAt(terrestrial, {"PLPID"}) + "|" + textAt(terrestrial, {"inputStatus", "signalQuality"}));
    XmlNode* cable = nth(inputs, "input", 1);
    EXPECT_EQ("inputId active type onid tsid frequency symbolRate constelacion inputStatus", childNames(cable));
    EXPECT_EQ("Unlocked", textAt(cable, {"inputStatus", "signalQuality"}));
}

TEST_F(GetConfiguration, ServicesAreFilteredAndCarryTheirLiveStatus) {
    // Module 1's services are 1..3: 1 an SSU carrier, 2 deleted, 3 kept with a
    // non-positive deletion mark. Rows of other tables match case-blind.
    root_.exec(kConfig, "UPDATE ServiciosSalidaGlobal SET SSU = '1' WHERE idSSG = 1");
    root_.exec(kConfig, "UPDATE ServiciosSalidaGlobal SET EstadoBorrado = '1' WHERE idSSG = 2");
    root_.exec(kConfig, "UPDATE ServiciosSalidaGlobal SET EstadoBorrado = '-1', MAC = lower(MAC) WHERE idSSG = 3");
    root_.exec(kTemp, "UPDATE ServiciosEntradaGlobal SET EstadoServicio = '112' WHERE idServiciosEntradaGlobal = 3");
    runAs("KVB-200");
    XmlNode* services = at(module(0), {"services"});
    EXPECT_EQ("service", childNames(services));
    EXPECT_EQ("103", textAt(services, {"service", "outputSid"}));
    // 112 = 64 + 32 + 16: decryption reported and failing, transcoding reported and working.
    EXPECT_EQ("ERROR", textAt(services, {"service", "decrytStatus"}));
    EXPECT_EQ("OK", textAt(services, {"service", "transcodingStatus"}));
}

TEST_F(GetConfiguration, MissingSettingGivesAnEmptyElement) {
    root_.exec(kConfig, "DELETE FROM configuracionWebGlobal WHERE nombre = 'identificacion_cabecera'");
    runAs("KVB-200");
    XmlNode* name = at(configuration(), {"identification", "headendName"});
    ASSERT_NE(nullptr, name);
    EXPECT_EQ("", nodeText(name));
}

TEST_F(GetConfiguration, UnreadableTableContributesNothing) {
    root_.exec(kConfig, "DROP TABLE DiSEqCGlobal");
    root_.exec(kConfig, "DROP TABLE RFOutGlobal");
    runAs("KVB-200");
    EXPECT_TRUE(errors_.empty());
    EXPECT_EQ("", childNames(at(configuration(), {"diseqcs"})));
    EXPECT_EQ("outputId type onid tsid", childNames(at(module(0), {"outputs", "output"})));
}

TEST_F(GetConfiguration, MissingSiFilesReadNotFound) {
    unlink(root_.rooted("/dorel/datosWeb/tablasSI/NIT_table_1").c_str());
    // Shorter than a section header: as good as missing.
    root_.writeFile("/dorel/datosWeb/tablasSI/BAT_table_CPLUS", "\x4a\xf0");
    runAs("KVC-300");
    XmlNode* network = at(configuration(), {"dvbNetworks", "dvbNetwork"});
    EXPECT_EQ("Not Found", textAt(network, {"OutputVersionNIT"}));
    EXPECT_EQ("", textAt(network, {"OutputNITDate"}));
    EXPECT_EQ("Not Found", textAt(network, {"InputVersionBAT"}));
    EXPECT_EQ("7", textAt(network, {"InputVersionNIT"}));
}

TEST_F(GetConfiguration, UnreadableDatabaseGives102AndNoDocument) {
    for (const char* database : {kTemp, kConfig}) {
        SCOPED_TRACE(database);
        const std::string path = root_.rooted(database);
        ASSERT_EQ(0, rename(path.c_str(), (path + ".away").c_str()));
        runAs("KVB-200");
        EXPECT_EQ(1u, errors_.count(102));
        ASSERT_NE(nullptr, resultElement());
        EXPECT_EQ(nullptr, configuration());
        ASSERT_EQ(0, rename((path + ".away").c_str(), path.c_str()));
    }
}

class LargeHeadendConfiguration : public rctest::ConfigurationTest {
protected:
    LargeHeadendConfiguration()
        : ConfigurationTest({"--no-certs", "--modules", "48", "--services", "60", "--pids", "8"}) {}
};

TEST_F(LargeHeadendConfiguration, HoldsEveryServiceAndPid) {
    runAs("KVB-200");
    ASSERT_TRUE(errors_.empty());
    size_t modules = 0, services = 0, pids = 0;
    for (XmlNode* m = at(configuration(), {"modules", "module"}); m; m = m->next_sibling("module")) {
        ++modules;
        for (XmlNode* s = at(m, {"services", "service"}); s; s = s->next_sibling("service")) {
            ++services;
            for (XmlNode* p = at(s, {"pidOrders", "pidOrder"}); p; p = p->next_sibling("pidOrder")) ++pids;
        }
    }
    EXPECT_EQ(48u, modules);
    EXPECT_EQ(48u * 60u, services);
    EXPECT_EQ(48u * 60u * 8u, pids);
    EXPECT_EQ("preferredLanguages modules", childNames(configuration()).substr(childNames(configuration()).size() - 26));
}

}  // namespace
