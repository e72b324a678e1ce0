// getConfiguration against the dev kit's headend: the document of a small
// headend, its branches per controller model, the coded values, the filters
// and the failures.
#include "commands/query/configuration_codes.h"
#include "commands/query/utc_time.h"
#include "common/xml.h"
#include "support/command_test.h"

#include <sstream>
#include <tuple>
#include <sys/time.h>
#include <unistd.h>

namespace {

using namespace dorel_remote_control;

// Element names of a node's children, separated by blanks.
std::string childNames(const XmlNode* node) {
    std::string names;
    for (auto* child = node != nullptr ? node->first_node() : nullptr; child; child = child->next_sibling()) {
        if (child->type() == rapidxml::node_element) names += (names.empty() ? "" : " ") + nodeName(child);
    }
    return names;
}

// A subtree on one line: "name=text" for a leaf, "name(child child ...)" otherwise.
std::string flat(const XmlNode* node) {
    if (node == nullptr) return "<none>";
    std::string children;
    for (auto* child = node->first_node(); child; child = child->next_sibling()) {
        if (child->type() == rapidxml::node_element) children += (children.empty() ? "" : " ") + flat(child);
    }
    return nodeName(node) + (children.empty() ? "=" + nodeText(node) : "(" + children + ")");
}

// The node at a path of child names (null when one is missing); "name#n" is
// the n-th (0-based) child of that name.
XmlNode* at(const XmlNode* node, const std::vector<std::string>& path) {
    auto* current = const_cast<XmlNode*>(node);
    for (const std::string& step : path) {
        const size_t hash = step.find('#');
        current = current ? childElement(current, step.substr(0, hash).c_str()) : nullptr;
        for (int n = hash == std::string::npos ? 0 : std::stoi(step.substr(hash + 1)); current && n > 0; --n) {
            current = current->next_sibling(step.substr(0, hash).c_str());
        }
    }
    return current;
}

class GetConfiguration : public rctest::CommandTest {
protected:
    explicit GetConfiguration(const std::vector<std::string>& args = {"--no-certs"}) : CommandTest(args) {}

    // Runs the command as the given model; keeps the printed result parsed.
    void runAs(const std::string& model) {
        useModel(model);
        auto command = run(rctest::envelope(5, "getConfiguration"));
        errors_ = command->result().errors();
        printed_ = command->result().print(env());
        parsed_ = std::make_unique<ParsedXml>(printed_);
    }
    XmlNode* configuration() const {
        return at(&parsed_->doc(), {"commandResult", "data", "getConfigurationResult", "configuration"});
    }
    XmlNode* module(int n) const { return at(configuration(), {"modules", "module#" + std::to_string(n)}); }

    rctest::Errors errors_;
    std::string printed_;
    std::unique_ptr<ParsedXml> parsed_;
};

// A headend of one CAM module with one service, an input of each tuner kind
// (the cable one inactive) and one inactive cable modulator, with texts that
// need escaping, NULL columns, a missing setting and a PID mask beyond 32 bits.
struct Layout {
    const char* name;
    std::vector<std::string> makeHeadendArgs;
};
void PrintTo(const Layout& layout, std::ostream* out) { *out << layout.name; }

class ConfigurationDocument : public GetConfiguration, public ::testing::WithParamInterface<Layout> {
protected:
    static std::vector<std::string> headendArgs() {
        std::vector<std::string> args = {"--no-certs", "--modules", "1", "--services", "1", "--pids", "0"};
        args.insert(args.end(), GetParam().makeHeadendArgs.begin(), GetParam().makeHeadendArgs.end());
        return args;
    }
    ConfigurationDocument() : GetConfiguration(headendArgs()) {
        root_.setConfig("identificacion_cabecera", "Tom & Jerry's <\"head\"> end");
        root_.exec(kConfigDb,
                   "DELETE FROM configuracionWebGlobal WHERE nombre = 'network_Gateway';"
                   "UPDATE configuracionWebGlobal SET valor = NULL WHERE nombre = 'network_IP';"
                   "UPDATE RedesCabecera SET Block_PIDs = '4294967300';"
                   "UPDATE RedesModulos SET LabelName = 'Sala <A> & \"B\"', NumeroSerie = NULL, ModoSalidaRF = '1';"
                   "DELETE FROM SalidasLogicasGlobal WHERE idSalidasLogicasGlobal = 2;"
                   "UPDATE RFOutGlobal SET Modo_Salida_Modulacion = '4', Activo = '0';"
                   "UPDATE EntradasGlobal SET tipoEntrada = '1' WHERE idEntradasGlobal = 2;"
                   "INSERT INTO EntradasGlobal (idEntradasGlobal, MAC, tipoEntrada, TSID, ONID, Activo, fk_idEntrada) "
                   "VALUES (3, '00:1A:2B:00:00:01', '2', '1003', '1', '0', '3');"
                   "INSERT INTO NimCOFDMGlobal (idNimCOFDMGlobal, Bandwidth, Hierarchy, trackingStatusEn, "
                   "TSID_Tracking, ONID_Tracking, PLP_ID, Frequency, fk_idEntradasGlobal, RFIN_LOOP) "
                   "VALUES (7, '2', '1', '1', '5', '6', '-2', '474000', '2', '2');"
                   "INSERT INTO NimQAMGlobal (idNimQAMGlobal, Constelacion, Frequency, SymbolRate, "
                   "fk_idEntradasGlobal, RFIN_LOOP) VALUES (9, '4', '306000', '6900', '3', '1')");
        root_.exec(kTempDb, "INSERT INTO TempNIMCOFDMGlobal (fk_idNimCOFDMGlobal, Lock, SignalQuality) "
                            "VALUES ('7', '1', '2')");
        const struct timeval times[2] = {{1700000000, 0}, {1700000000, 0}};
        utimes(root_.rooted("/dorel/datosWeb/tablasSI/NIT_table_1").c_str(), times);
    }
};

// Every section one to a line; the modules are read from tables the headend's
// other programs lay out.
TEST_P(ConfigurationDocument, SaysWhatTheTablesHold) {
    {
        ScopedUtcTimezone utc;  // OutputNITDate is in local time
        runAs("KVB-200");
    }
    ASSERT_TRUE(errors_.empty());
    EXPECT_NE(std::string::npos, printed_.find("\n\t\t\t\t\t\t<name>Sala &lt;A&gt; &amp; &quot;B&quot;</name>\n"));
    std::string sections;
    for (XmlNode* section = configuration()->first_node(); section; section = section->next_sibling()) {
        sections += flat(section) + "\n";
    }
    EXPECT_EQ("identification(headendName=Tom & Jerry's <\"head\"> end location=Lab installationDate=2019-04-12 "
              "zatContractId=CONTRACT-1 installer=Installer Ltd clientID=CLIENT-1 hostType=0 TVModels= "
              "installationMode=0)\n"
              "regional(language=es country=ES timezone=Europe/Madrid)\n"
              "maturityRating=0\n"
              "maintenances(maintenance(hour=3 min=30 active=0))\n"
              "homeChannels(homechannel(frequency=11778 orbit=192 polarity=horizontal band=high symbolrate=27500 "
              "onid=1 tsid=1051))\n"
              "serviceEPGs(serviceEPG(onid=1 tsid=1051 epg=1 videoType=1 videoPeakBitrate=8000 serviceType=1 name=News "
              "provider=Broadcaster audiosEPGs(audiosEPG(languageCode=spa audioType=0)) replacingEPGs= "
              "satelliteEPG(onid=1 tsid=1051 frequency=11778 symbolrate=27500 polarity=horizontal orbit=192 "
              "westEastFlag=1)) serviceEPG(onid=1 tsid=1051 epg=1 videoType=1 videoPeakBitrate=8000 serviceType=1 "
              "name=Sport provider=Broadcaster audiosEPGs(audiosEPG(languageCode=eng audioType=0)) "
              "replacingEPGs(replacingEPG(replacingEpgChannelId=sport.example)) satelliteEPG(onid=1 tsid=1051 "
              "frequency=11778 symbolrate=27500 polarity=horizontal orbit=192 westEastFlag=1)))\n"
              "network(internet=1 dhcp=0 ip= netmask=255.255.255.0 gateway= dns1=192.168.1.1 dns2=192.168.1.2)\n"
              "dvbNetworks(dvbNetwork(id=1 nid=12345 onidOut=8916 name=Test network ciplusTVs=0 tvType=0 cellID=0 "
              "forceServiceName=0 autoServiceList=1 lcnOffset=0 lcnMode=0 tipoNITPatron=0 nitPatron=0 "
              "versionNITPatron=0 autoBlockPIDs(text=1 subtitles=1 data=1) autoDecryptPIDs(text=0 subtitles=1 data=0) "
              "InputVersionNIT=7 InputVersionBAT=12 OutputVersionNIT=3 OutputNITDate=14-11-23 22:13:20))\n"
              "lnb(oscLowFreq=9750 oscHighFreq=10600 oscBandaCFreq=5150 oscBandaSatelite=0)\n"
              "diseqcs(diseqc(position=1 name=Astra orbit=192 polarity=vertical band=low) diseqc(position=2 "
              "name=Hotbird orbit=130 polarity=vertical band=low))\n"
              "scramblings(scrambling(name=Quorvex active=1 mode=odd frequency=10 oddKey=0011223344556677 "
              "evenKey=8899AABBCCDDEEFF date=2019-04-12))\n"
              "preferredLanguages(language=spa language=eng)\n"
              "modules(module(id=module-01 mac=00:1A:2B:00:00:01 isMaster=1 name=Sala <A> & \"B\" family=36 model=5 "
              "modoSalidaRF=1 serialNumber= CAMSerialNumber=CAM-0001 CAMVersion=263 CardRights=Rights OK CardStatus=OK "
              "hwVersion=1.1 swVersion=150 attenuation=0 dvbNetworkId=1 inputs(input(inputId=1 active=1 type=0 onid=1 "
              "tsid=1001 frequency=10700 diseqc=1 PLSmode=auto scramblingID=0 streamID=auto "
              "inputStatus(signalQuality=Good)) input(inputId=2 active=1 type=1 onid=1 tsid=1002 frequency=474000 "
              "bandwidth=8 MHz hierarchy=Low Priority PLPID=auto autoScan=1 onidScan=6 tsidScan=5 rfLoop=2 "
              "inputStatus(signalQuality=Marginal)) input(inputId=3 active=0 type=2 onid=1 tsid=1003 frequency=306000 "
              "symbolRate=6900 constelacion=4)) outputs(output(outputId=1 type=1 onid=8916 tsid=2001 active=0 "
              "frequency=474000 symbolRate=6900 modeOFDM=8K bandwidth=8 MHz guardInterval=1/32 constellation=256 QAM "
              "codeRate=3/4 formatIQ=Normal)) services(service(outputId=1 outputSid=101 inputId=1 inputSid=101 "
              "inputName=Service 1-1 forcedName=0 outputName=Service 1-1 lcn=1 olcn=1 simulcastLcn=0 forcedLcn=0 "
              "idEPG=0 serviceTypeDVB=1 serviceTypeCanal=1 videoFormat=0 cloned=0 decrypt=0 transcoding=0 "
              "videoPeakBitrate=0 serviceStatus=1 decrytStatus=OK pidOrders=))))\n",
              sections);
}

INSTANTIATE_TEST_SUITE_P(Layouts, ConfigurationDocument,
                         ::testing::Values(Layout{"default", {}}, Layout{"shuffled", {"--layout", "shuffled:1"}}),
                         [](const ::testing::TestParamInfo<Layout>& info) { return info.param.name; });

// What each model's document holds: its sections, a network's children, the
// CAM module's children and a service of the CAM module.
struct ModelShape {
    const char* models;
    const char* sections;
    const char* network;
    const char* camModule;
    const char* camService;
};

#define NETWORK                                                                                                 \
    "id nid onidOut name ciplusTVs tvType cellID forceServiceName autoServiceList lcnOffset lcnMode tipoNITPatron " \
    "nitPatron versionNITPatron autoBlockPIDs"
#define MODULE                                                                                               \
    "id mac isMaster name family model modoSalidaRF serialNumber CAMSerialNumber CAMVersion CardRights CardStatus " \
    "hwVersion swVersion attenuation dvbNetworkId inputs outputs services"
#define SERVICE "outputId outputSid inputId inputSid inputName forcedName outputName lcn"
#define SERVICE_MORE_PLAIN " olcn simulcastLcn forcedLcn idEPG serviceTypeDVB serviceTypeCanal videoFormat"
#define SERVICE_MORE SERVICE_MORE_PLAIN " cloned"
#define SATELLITE "lnb diseqcs scramblings preferredLanguages modules"

const ModelShape kShapes[] = {
    {"KVA-100 KVB-200 KVC-300",
     "identification regional maturityRating maintenances homeChannels serviceEPGs network dvbNetworks " SATELLITE,
     NETWORK " autoDecryptPIDs InputVersionNIT InputVersionBAT OutputVersionNIT OutputNITDate", MODULE,
     SERVICE SERVICE_MORE " decrypt transcoding videoPeakBitrate serviceStatus decrytStatus pidOrders"},
    {"WMB-G400", "identification regional network remoteControl dvbNetworks " SATELLITE,
     "id nid onidOut name ciplusTVs autoBlockPIDs autoDecryptPIDs",
     "id mac isMaster serialNumber CAMSerialNumber CAMVersion CardSerialNumber CardRights CardStatus hwVersion "
     "swVersion attenuation dvbNetworkId inputs outputs services",
     SERVICE " cloned decrypt serviceStatus decrytStatus pidOrders"},
    {"KVD-AB5 KVB-210", "identification regional network dvbNetworks " SATELLITE,
     NETWORK " autoDecryptPIDs OutputVersionNIT OutputNITDate", MODULE,
     SERVICE SERVICE_MORE " decrypt transcoding videoPeakBitrate serviceStatus decrytStatus pidOrders"},
    {"KVD-CD5", "identification regional network dvbNetworks preferredLanguages modules",
     NETWORK " OutputVersionNIT OutputNITDate", MODULE,
     SERVICE SERVICE_MORE " transcoding videoPeakBitrate serviceStatus decrytStatus pidOrders"},
};

TEST_F(GetConfiguration, EachModelAndModuleKindGetsItsBranchesInOrder) {
    root_.exec(kTempDb, "UPDATE TempNIMGlobal SET Lock = '0' WHERE idTempNIMGlobal = 4");
    for (const ModelShape& shape : kShapes) {
        std::istringstream models(shape.models);
        for (std::string model; models >> model;) {
            SCOPED_TRACE(model);
            runAs(model);
            EXPECT_TRUE(errors_.empty());
            EXPECT_EQ(shape.sections, childNames(configuration()));
            EXPECT_EQ(shape.network, childNames(at(configuration(), {"dvbNetworks", "dvbNetwork"})));
            // Module 2 of the default headend is the CAM module.
            EXPECT_EQ(shape.camModule, childNames(module(1)));
            EXPECT_EQ(shape.camService, childNames(at(module(1), {"services", "service"})));
            if (model != "WMB-G400") continue;
            EXPECT_EQ("CARD-0002000", nodeText(at(module(1), {"CardSerialNumber"})));
            EXPECT_EQ("rc-user", nodeText(at(configuration(), {"remoteControl", "username"})));
        }
    }
    runAs("KVB-200");
    // A plain module's services are neither cloned nor decrypted.
    EXPECT_EQ(SERVICE SERVICE_MORE_PLAIN " transcoding videoPeakBitrate serviceStatus pidOrders",
              childNames(at(module(0), {"services", "service"})));
    // Family 36 without a CAM: model 13 still clones and decrypts, model 2 neither.
    for (const auto& [model, more] : {std::pair<const char*, const char*>{"13", " cloned decrypt"}, {"2", ""}}) {
        root_.exec(kConfigDb, "UPDATE RedesModulos SET Modelo = '" + std::string(model) + "' WHERE idRedMod = 2");
        runAs("KVB-200");
        EXPECT_EQ(childNames(module(0)), childNames(module(1))) << model;
        EXPECT_EQ(SERVICE SERVICE_MORE_PLAIN + std::string(more) + " transcoding videoPeakBitrate serviceStatus "
                  "decrytStatus pidOrders", childNames(at(module(1), {"services", "service"}))) << model;
    }
    // A satellite tuner's band is its own only without a DiSEqC position.
    EXPECT_EQ("input(inputId=2 active=1 type=0 onid=1 tsid=1004 frequency=11650 diseqc=0 band=high PLSmode=auto "
              "scramblingID=0 streamID=1 inputStatus(signalQuality=Unlocked))",
              flat(at(module(1), {"inputs", "input#1"})));
}

TEST(ConfigurationCodes, EdgeValues) {
    const std::tuple<ValueCoder, const char*, const char*> cases[] = {
        {cardRightsText, "49", "Rights OK"},          {cardRightsText, "48", "Less than 48 hours"},
        {cardRightsText, "25", "Less than 48 hours"}, {cardRightsText, "24", "KO. No rights"},
        {cardRightsText, "23", "Less than 24 hours"}, {cardRightsText, "0", "KO. No rights"},
        {cardRightsText, "-3", "Less than 24 hours"}, {cardStatusText, "5", "No API"},
        {autoOrNumberText, "-1", "-1"},               {plsModeText, "1", "gold"},
        {plsModeText, "2", "root"},                   {inputBandwidthText, "0", "6 MHz"},
        {outputBandwidthText, "3", ""},               {activeText, "1", "1"},
        // Read as the controller reads them: beyond 32 bits is the top of the
        // range, not the low bits a 64-bit atoi() would leave.
        {polarityText, "4294967297", ""},             {activeText, "4294967296", "1"},
        {cardRightsText, "4294967320", "Rights OK"},  {cardRightsText, "-4294967296", "Less than 24 hours"},
    };
    for (const auto& [coder, stored, text] : cases) EXPECT_EQ(text, coder(stored)) << stored;
}

TEST_F(GetConfiguration, LeavesOutSsuCarriersAndDeletedServicesAndPids) {
    // Module 1's services are 1..3: 1 an SSU carrier, 2 deleted, 3 kept with a
    // non-positive deletion mark and one of its two PIDs deleted. Rows of
    // other tables match case-blind.
    root_.exec(kConfigDb, "UPDATE ServiciosSalidaGlobal SET SSU = '1' WHERE idSSG = 1;"
                          "UPDATE ServiciosSalidaGlobal SET EstadoBorrado = '1' WHERE idSSG = 2;"
                          "UPDATE ServiciosSalidaGlobal SET EstadoBorrado = '-1', MAC = lower(MAC) WHERE idSSG = 3;"
                          "UPDATE PIDsSalidaGlobal SET EstadoBorrado = '1' WHERE idPSG = 5");
    root_.exec(kTempDb, "UPDATE ServiciosEntradaGlobal SET EstadoServicio = '112' WHERE idServiciosEntradaGlobal = 3");
    runAs("KVB-200");
    XmlNode* services = at(module(0), {"services"});
    EXPECT_EQ("service", childNames(services));
    EXPECT_EQ("103", nodeText(at(services, {"service", "outputSid"})));
    // 112 = 64 + 32 + 16: decryption reported and failing, transcoding reported and working.
    EXPECT_EQ("ERROR OK", nodeText(at(services, {"service", "decrytStatus"})) + " " +
                          nodeText(at(services, {"service", "transcodingStatus"})));
    EXPECT_EQ("pidOrder(languageCode=spa streamId=306 type=4 order=2)",
              flat(at(services, {"service", "pidOrders", "pidOrder"})));
}

TEST_F(GetConfiguration, UnreadableTablesGiveNothingSiFilesNotFoundAndUnopenableDatabases102) {
    root_.exec(kConfigDb, "DROP TABLE DiSEqCGlobal; DROP TABLE RFOutGlobal");
    unlink(root_.rooted("/dorel/datosWeb/tablasSI/NIT_table_1").c_str());
    // Shorter than a section header: as good as missing.
    root_.writeFile("/dorel/datosWeb/tablasSI/BAT_table_CPLUS", "\x4a\xf0");
    runAs("KVB-200");
    EXPECT_TRUE(errors_.empty());
    EXPECT_EQ("diseqcs=", flat(at(configuration(), {"diseqcs"})));
    EXPECT_EQ("outputId type onid tsid", childNames(at(module(0), {"outputs", "output"})));
    XmlNode* network = at(configuration(), {"dvbNetworks", "dvbNetwork"});
    EXPECT_EQ("InputVersionNIT=7 InputVersionBAT=Not Found OutputVersionNIT=Not Found OutputNITDate=",
              flat(at(network, {"InputVersionNIT"})) + " " + flat(at(network, {"InputVersionBAT"})) + " " +
                  flat(at(network, {"OutputVersionNIT"})) + " " + flat(at(network, {"OutputNITDate"})));
    // A database that cannot be opened ends the command with an empty result.
    for (const char* database : {kTempDb, kConfigDb}) {
        SCOPED_TRACE(database);
        const std::string path = root_.rooted(database);
        ASSERT_EQ(0, rename(path.c_str(), (path + ".away").c_str()));
        runAs("KVB-200");
        EXPECT_EQ(only(102), errors_);
        EXPECT_NE(std::string::npos, printed_.find("\t<data>\n\t\t<getConfigurationResult/>\n\t</data>\n"));
        ASSERT_EQ(0, rename((path + ".away").c_str(), path.c_str()));
    }
}

}  // namespace
