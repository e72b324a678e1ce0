// The sections that replace whole tables (dvbNetworks, diseqcs, homeChannels,
// preferredLanguages, serviceEPGs), scramblings and maintenances.
#include "commands/setconfig/setconfig_fixture.h"

namespace rctest {
namespace {

using namespace dorel_remote_control;

class ListSections : public SetConfigTest {};

TEST_F(ListSections, AnEmptyListEmptiesItsTables) {
    EXPECT_EQ(Errors{}, applyErrors("<dvbNetworks/><diseqcs/><homeChannels></homeChannels><preferredLanguages/>"
                                    "<serviceEPGs/>"));
    for (const char* name : {"RedesCabecera", "DiSEqCGlobal", "MantenimientoHomeChannelsGlobal",
                             "AudioLanguageListGlobal", "Service_EPG", "Service_EPG_Satellite", "Service_EPG_audios",
                             "Service_EPG_replacing"}) {
        EXPECT_EQ("0", value(std::string("SELECT count(*) FROM ") + name)) << name;
    }
}

TEST_F(ListSections, DvbNetworksTakeTheirColumnsAndMasksAndKeepTheRest) {
    EXPECT_EQ(Errors{}, applyErrors(
        "<dvbNetworks><dvbNetwork><id>1</id><nid>77</nid><onidOut>8</onidOut><name>Hotel</name><ciplusTVs>2</ciplusTVs>"
        "<tvType>3</tvType><cellID>4</cellID><forceServiceName>1</forceServiceName><autoServiceList>0</autoServiceList>"
        "<lcnOffset>100</lcnOffset><lcnMode>2</lcnMode><tipoNITPatron>1</tipoNITPatron><nitPatron>7</nitPatron>"
        "<versionNITPatron>3</versionNITPatron><autoBlockPIDs><text>1</text><subtitles>0</subtitles><data>1</data>"
        "</autoBlockPIDs><AUTODECRYPTPIDS><Subtitles>1</Subtitles><data>yes</data></AUTODECRYPTPIDS></dvbNetwork>"
        "<dvbNetwork><id>9</id></dvbNetwork></dvbNetworks>"));
    // LCN_Type, NIT_Version, NIT_Data_Source, LG_comp_Quorvex and NIT_Follow are
    // not in the document: network 1 keeps its own, the new network 9 gets 0.
    EXPECT_EQ((Rows{{"1", "Hotel", "77", "8", "7", "3", "1", "0", "100", "2", "0", "1", "1", "0", "3", "2", "0", "5",
                     "2", "4", "0", "1"},
                    {"9", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0",
                     "0", "0", "1"}}),
              query("SELECT * FROM RedesCabecera ORDER BY rowid"));
}

TEST_F(ListSections, DiseqcsHomeChannelsAndLanguagesReplaceTheirRows) {
    EXPECT_EQ(Errors{}, applyErrors(
        "<diseqcs><diseqc><id>4</id><position>2</position><name>Hispasat</name><orbit>300</orbit>"
        "<polarity>Horizontal</polarity><band>high</band></diseqc></diseqcs>"
        "<homeChannels><homechannel><id>3</id><frequency>12000</frequency><orbit>192</orbit><polarity>vertical"
        "</polarity><band>1</band><symbolrate>27500</symbolrate><onid>1</onid><tsid>7</tsid></homechannel>"
        "</homeChannels><preferredLanguages><language>fre</language><LANGUAGE>ger</LANGUAGE></preferredLanguages>"));
    EXPECT_EQ((Rows{{"4", "Hispasat", "2", "300", "1", "1", "1"}}), query("SELECT * FROM DiSEqCGlobal"));
    EXPECT_EQ((Rows{{"3", "12000", "192", "0", "1", "27500", "1", "7", "1"}}),
              query("SELECT * FROM MantenimientoHomeChannelsGlobal"));
    EXPECT_EQ((Rows{{"fre"}, {"ger"}}), query("SELECT AudioCode FROM AudioLanguageListGlobal ORDER BY idALLG"));
}

TEST_F(ListSections, ServiceEpgsLinkTheirSatelliteAudiosAndReplacements) {
    EXPECT_EQ(Errors{}, applyErrors(
        "<serviceEPGs><serviceEPG><onid>1</onid><tsid>2</tsid><sid>3</sid><epg>e1</epg><lcn>65535</lcn>"
        "<videoType>1</videoType><videoPeakBitrate>9000</videoPeakBitrate><serviceType>25</serviceType>"
        "<name>Film</name><provider>P</provider><satelliteEPG><frequency>11000</frequency><symbolrate>22000"
        "</symbolrate><orbit>192</orbit><polarity>horizontal</polarity><westEastFlag>1</westEastFlag><onid>1</onid>"
        "<tsid>2</tsid></satelliteEPG><audiosEPGs><audiosEPG><languageCode>spa</languageCode><audioType>1"
        "</audioType></audiosEPG><audiosEPG><languageCode>eng</languageCode></audiosEPG></audiosEPGs>"
        "<replacingEPGs><replacingEPG><replacingEpgChannelId>film.example</replacingEpgChannelId></replacingEPG>"
        "</replacingEPGs></serviceEPG><serviceEPG><epg>e2</epg></serviceEPG></serviceEPGs>"));
    const Rows services = query("SELECT * FROM Service_EPG ORDER BY rowid");
    ASSERT_EQ(2u, services.size());
    const std::string first = services[0][0];
    const std::string satellite = services[0][6];
    EXPECT_EQ((std::vector<std::string>{first, "1", "2", "3", "e1", "65535", satellite, "1", "9000", "25", "Film", "P"}),
              services[0]);
    EXPECT_EQ("<NULL>", services[1][6]) << "a service without satellite links none";
    EXPECT_EQ((Rows{{satellite, "2", "1", "11000", "22000", "1", "192", "1", "1"}}),
              query("SELECT * FROM Service_EPG_Satellite"));
    EXPECT_EQ((Rows{{first, "spa", "1", "1"}, {first, "eng", "<NULL>", "1"}}),
              query("SELECT fk_idService_EPG, Language_code, Audio_Type, Estado FROM Service_EPG_audios ORDER BY rowid"));
    EXPECT_EQ((Rows{{first, "film.example", "1"}}),
              query("SELECT fk_idService_EPG, replacing_epg_channel_id, Estado FROM Service_EPG_replacing"));
}

TEST_F(ListSections, ScramblingsWriteTheQuorvexRowsAndTheLastElementWins) {
    EXPECT_EQ(Errors{}, applyErrors(
        "<scramblings><scrambling><name>Other</name><active>0</active><mode>odd</mode><oddKey>AA</oddKey>"
        "</scrambling><scrambling><name>x</name><mode>Toggle</mode><evenKey>BB</evenKey><date>2026-01-02</date>"
        "<frequency>30</frequency></scrambling></scramblings>"));
    EXPECT_EQ((Rows{{"1", "Quorvex", "0", "1"}}), query("SELECT * FROM ScramblingGlobal"));
    EXPECT_EQ((Rows{{"1", "2", "30", "Quorvex", "AA", "BB", "K-SHARED-1", "EK-ODD-1", "EK-EVEN-1", "2026-01-02", "1"}}),
              query("SELECT * FROM ScramblingKeysGlobal"));

    exec("DELETE FROM ScramblingGlobal; DELETE FROM ScramblingKeysGlobal");
    EXPECT_EQ(Errors{}, applyErrors("<scramblings><scrambling><name>x</name><mode>even</mode></scrambling></scramblings>"));
    EXPECT_EQ((Rows{{"Quorvex", "0", "1"}}), query("SELECT ScramblingName, Mode, Estado FROM ScramblingGlobal"));
    EXPECT_EQ((Rows{{"0", "Quorvex", "1"}}), query("SELECT Mode, System, Estado FROM ScramblingKeysGlobal"));
}

TEST_F(ListSections, MaintenancesKeepTheLastElementsValues) {
    EXPECT_EQ(Errors{}, applyErrors("<maintenances><maintenance><hour>1</hour><min>5</min><active>1</active>"
                                    "</maintenance><maintenance><hour>4</hour></maintenance></maintenances>"));
    EXPECT_EQ((Rows{{"mantenimiento_activo", "1"}, {"mantenimiento_hora", "4"}, {"mantenimiento_min", "5"}}),
              query("SELECT nombre, valor FROM configuracionWebGlobal WHERE nombre LIKE 'mantenimiento%' ORDER BY 1"));
}

std::string dvbNetwork(const std::string& children) {
    return "<dvbNetworks><dvbNetwork><id>5</id></dvbNetwork><dvbNetwork>" + children + "</dvbNetwork></dvbNetworks>";
}
std::string serviceEpg(const std::string& children) {
    return "<serviceEPGs><serviceEPG>" + children + "</serviceEPG></serviceEPGs>";
}
std::string scrambling(const std::string& children) {
    return "<scramblings><scrambling>" + children + "</scrambling></scramblings>";
}

// Every earlier section of the document, changing every table, goes back with the failing one.
TEST_F(ListSections, ABadElementRollsBackTheWholeDocument) {
    const std::string earlier =
        "<dvbNetworks><dvbNetwork><id>3</id></dvbNetwork></dvbNetworks><diseqcs/><homeChannels/><preferredLanguages>"
        "<language>x</language></preferredLanguages><serviceEPGs/><scramblings><scrambling><name>n</name><active>0"
        "</active><mode>odd</mode></scrambling></scramblings><network><ip>1.1.1.1</ip></network><maintenances>"
        "<maintenance><hour>9</hour></maintenance></maintenances>";
    const char kLcn[] = "LCN value must be a value between [1-65535]";
    struct Case {
        std::string section;
        int code;
        const char* detail;
    };
    const Case cases[] = {
        {dvbNetwork("<id>1</id><nitPatron>2</nitPatron>"), kInvalidValue, "nitPatron not allowed value detected"},
        {dvbNetwork("<id>1</id><nitPatron>7</nitPatron><tipoNITPatron>1</tipoNITPatron>"), kInvalidValue,
         "nitPatron not allowed value detected"},
        {dvbNetwork("<id>1</id><tipoNITPatron>2</tipoNITPatron>"), kInvalidValue,
         "tipoNITPatron not allowed value detected"},
        {dvbNetwork("<id>1</id><versionNITPatron>3</versionNITPatron>"), kInvalidValue,
         "versionNITPatron not allowed value detected"},
        {dvbNetwork("<nid>1</nid>"), kInvalidCommand, "dvbNetwork has no id field"},
        {dvbNetwork("<id>1</id><tvType>12abc</tvType>"), kInvalidValue, "Invalid value for dvbNetwork/tvType"},
        {"<dvbNetworks><network/></dvbNetworks>", kInvalidCommand, "No dvbNetwork element found"},
        {"<diseqcs><diseqc><id>1</id><polarity>left</polarity></diseqc></diseqcs>", kInvalidCommand,
         "Invalid value for diseqc/polarity"},
        {"<diseqcs><diseqc><id>1</id><band>mid</band></diseqc></diseqcs>", kInvalidCommand,
         "Invalid value for diseqc/band"},
        {"<diseqcs><diseqc><name>x</name></diseqc></diseqcs>", kInvalidCommand, "diseqc has no id field"},
        {"<diseqcs><position/></diseqcs>", kInvalidCommand, "No diseqc element found"},
        {"<diseqcs><diseqc><id>2</id></diseqc><diseqc><ID>2</ID></diseqc></diseqcs>", kInvalidValue,
         "Invalid value for diseqc/id"},
        {"<homeChannels><homechannel><tsid>1</tsid></homechannel></homeChannels>", kInvalidCommand,
         "homechannel has no id field"},
        {"<homeChannels><channel/></homeChannels>", kInvalidCommand, "No homechannel element found"},
        {"<preferredLanguages><language>x</language><lang>y</lang></preferredLanguages>", kInvalidCommand,
         "language expected"},
        {serviceEpg("<epg>e</epg><lcn>65536</lcn>"), kInvalidValue, kLcn},
        {serviceEpg("<epg>e</epg><lcn>0</lcn>"), kInvalidValue, kLcn},
        {serviceEpg("<epg>e</epg><lcn>12 </lcn>"), kInvalidValue, kLcn},
        {serviceEpg("<epg>e</epg><sid>abc</sid>"), kInvalidValue, "SID value must be a value between [1-65535]"},
        {serviceEpg("<epg>e</epg><satelliteEPG><onid>0</onid></satelliteEPG>"), kInvalidValue,
         "ONID value must be a value between [1-65535]"},
        {serviceEpg("<lcn>5</lcn>"), kInvalidValue, "EPG value can't be NULL"},
        {serviceEpg("<epg>e</epg><audiosEPGs><audio/></audiosEPGs>"), kInvalidCommand, "No audiosEPGs element found"},
        {serviceEpg("<epg>e</epg><replacingEPGs><x/></replacingEPGs>"), kInvalidCommand,
         "No replacingEPGs element found"},
        {"<serviceEPGs><service/></serviceEPGs>", kInvalidCommand, "No serviceEPG element found"},
        {scrambling("<name>x</name><mode>both</mode>"), kInvalidCommand, "scrambling has no name field"},
        {scrambling("<name>x</name><active>2</active>"), kInvalidValue, "scrambling/active should be 0/1"},
        {scrambling("<active>1</active>"), kInvalidCommand, "scrambling has no name field"},
        {"<scramblings><key/></scramblings>", kInvalidCommand, "No scrambling element found"},
        {"<maintenances><maintenance><hour>9</hour></maintenance><backup/></maintenances>", kInvalidCommand,
         "No maintenance element found"},
    };
    const auto before = configRows();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.section);
        EXPECT_EQ(failed(c.code, c.detail), applyErrors(earlier + c.section));
        EXPECT_EQ(before, configRows());
    }
    EXPECT_TRUE(root_.stubCalls().empty()) << "no follow-up after a rollback";
}

}  // namespace
}  // namespace rctest
