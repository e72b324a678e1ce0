// The sections that replace whole tables (dvbNetworks, diseqcs, homeChannels,
// preferredLanguages, serviceEPGs), scramblings and maintenances.
#include "commands/setconfig/setconfig_fixture.h"

#include "commands/core/result_codes.h"

namespace rctest {
namespace {

using namespace dorel_remote_control;

// The errors of a failed section: its own entry, then 202.
Errors failed(int code, const std::string& text) {
    return Errors{{code, text}, {kCouldNotSetConfiguration, "Could not set configuration"}};
}

const char* const kListTables[] = {"RedesCabecera", "DiSEqCGlobal", "MantenimientoHomeChannelsGlobal",
                                   "AudioLanguageListGlobal", "Service_EPG", "Service_EPG_Satellite",
                                   "Service_EPG_audios", "Service_EPG_replacing", "ScramblingGlobal",
                                   "ScramblingKeysGlobal", "configuracionWebGlobal"};

class ListSections : public SetConfigTest {
protected:
    std::vector<Rows> snapshot() const {
        std::vector<Rows> tables;
        for (const char* name : kListTables) tables.push_back(table(name));
        return tables;
    }
    // Runs a document that must fail with `expected` and leave every table as it was.
    void expectRejected(const std::string& sections, const Errors& expected) {
        const std::vector<Rows> before = snapshot();
        EXPECT_EQ(expected, applyErrors(sections)) << sections;
        EXPECT_EQ(before, snapshot()) << sections;
    }
};

TEST_F(ListSections, AnEmptyListEmptiesItsTables) {
    EXPECT_EQ(Errors{}, applyErrors("<dvbNetworks/><diseqcs/><homeChannels></homeChannels><preferredLanguages/>"
                                    "<serviceEPGs/>"));
    for (const char* name : {"RedesCabecera", "DiSEqCGlobal", "MantenimientoHomeChannelsGlobal",
                             "AudioLanguageListGlobal", "Service_EPG", "Service_EPG_Satellite", "Service_EPG_audios",
                             "Service_EPG_replacing"}) {
        EXPECT_EQ(Rows{}, table(name)) << name;
    }
}

TEST_F(ListSections, DvbNetworkColumnsMasksAndKeptColumns) {
    EXPECT_EQ(Errors{}, applyErrors(
        "<dvbNetworks><dvbNetwork><id>1</id><nid>77</nid><onidOut>8</onidOut><name>Hotel</name><ciplusTVs>2</ciplusTVs>"
        "<tvType>3</tvType><cellID>4</cellID><forceServiceName>1</forceServiceName><autoServiceList>0</autoServiceList>"
        "<lcnOffset>100</lcnOffset><lcnMode>2</lcnMode><tipoNITPatron>1</tipoNITPatron><nitPatron>7</nitPatron>"
        "<versionNITPatron>3</versionNITPatron><autoBlockPIDs><text>1</text><subtitles>0</subtitles><data>1</data>"
        "</autoBlockPIDs><AUTODECRYPTPIDS><Subtitles>1</Subtitles><data>yes</data></AUTODECRYPTPIDS></dvbNetwork>"
        "<dvbNetwork><id>9</id></dvbNetwork></dvbNetworks>"));
    // LCN_Type, NIT_Version, NIT_Data_Source, LG_comp_Quorvex and NIT_Follow are
    // not in the document: network 1 keeps its own, the new network 9 gets 0.
    EXPECT_EQ((Rows{{"1", "Hotel", "77", "8", "7", "3", "1", "0", "100", "2", "0", "1", "1", "0", "3", "2", "0", "5", "2",
                     "4", "0", "1"},
                    {"9", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0",
                     "0", "1"}}),
              table("RedesCabecera"));
}

TEST_F(ListSections, DvbNetworkRulesFollowDocumentOrderAndRejectTheWholeDocument) {
    const std::string ok = "<dvbNetworks><dvbNetwork><id>1</id><tipoNITPatron>1</tipoNITPatron><nitPatron>7</nitPatron>"
                           "</dvbNetwork></dvbNetworks>";
    EXPECT_EQ(Errors{}, applyErrors(ok));

    struct Case {
        const char* children;
        Errors expected;
    };
    const Case cases[] = {
        {"<id>1</id><nitPatron>2</nitPatron>", failed(kInvalidValue, "nitPatron not allowed value detected")},
        {"<id>1</id><nitPatron>7</nitPatron><tipoNITPatron>1</tipoNITPatron>",
         failed(kInvalidValue, "nitPatron not allowed value detected")},
        {"<id>1</id><tipoNITPatron>2</tipoNITPatron>", failed(kInvalidValue, "tipoNITPatron not allowed value detected")},
        {"<id>1</id><versionNITPatron>3</versionNITPatron>",
         failed(kInvalidValue, "versionNITPatron not allowed value detected")},
        {"<nid>1</nid>", failed(kInvalidCommand, "dvbNetwork has no id field")},
        {"<id>1</id><tvType>5x</tvType>", failed(kInvalidValue, "Invalid value for dvbNetwork/tvType")},
        {"<id>one</id>", failed(kInvalidValue, "Invalid value for dvbNetwork/id")},
    };
    for (const Case& c : cases) {
        // A good network before the bad one: nothing of either may stay.
        expectRejected(std::string("<dvbNetworks><dvbNetwork><id>5</id></dvbNetwork><dvbNetwork>") + c.children +
                           "</dvbNetwork></dvbNetworks>",
                       c.expected);
    }
    expectRejected("<dvbNetworks><network><id>1</id></network></dvbNetworks>",
                   failed(kInvalidCommand, "No dvbNetwork element found"));
}

TEST_F(ListSections, DiseqcsHomeChannelsAndLanguagesReplaceTheirRows) {
    EXPECT_EQ(Errors{}, applyErrors(
        "<diseqcs><diseqc><id>4</id><position>2</position><name>Hispasat</name><orbit>300</orbit>"
        "<polarity>Horizontal</polarity><band>high</band></diseqc></diseqcs>"
        "<homeChannels><homechannel><id>3</id><frequency>12000</frequency><orbit>192</orbit><polarity>vertical"
        "</polarity><band>1</band><symbolrate>27500</symbolrate><onid>1</onid><tsid>7</tsid></homechannel>"
        "</homeChannels><preferredLanguages><language>fre</language><LANGUAGE>ger</LANGUAGE></preferredLanguages>"));
    EXPECT_EQ((Rows{{"4", "Hispasat", "2", "300", "1", "1", "1"}}), table("DiSEqCGlobal"));
    EXPECT_EQ((Rows{{"3", "12000", "192", "0", "1", "27500", "1", "7", "1"}}), table("MantenimientoHomeChannelsGlobal"));
    EXPECT_EQ((Rows{{"fre"}, {"ger"}}), query("SELECT AudioCode FROM AudioLanguageListGlobal ORDER BY idALLG"));

    expectRejected("<diseqcs><diseqc><id>1</id><polarity>left</polarity></diseqc></diseqcs>",
                   failed(kInvalidCommand, "Invalid value for diseqc/polarity"));
    expectRejected("<diseqcs><diseqc><id>1</id><band>mid</band></diseqc></diseqcs>",
                   failed(kInvalidCommand, "Invalid value for diseqc/band"));
    expectRejected("<diseqcs><diseqc><name>x</name></diseqc></diseqcs>",
                   failed(kInvalidCommand, "diseqc has no id field"));
    expectRejected("<diseqcs><position/></diseqcs>", failed(kInvalidCommand, "No diseqc element found"));
    expectRejected("<diseqcs><diseqc><id>2</id></diseqc><diseqc><ID>2</ID></diseqc></diseqcs>",
                   failed(kInvalidValue, "Invalid value for diseqc/id"));
    expectRejected("<homeChannels><homechannel><tsid>1</tsid></homechannel></homeChannels>",
                   failed(kInvalidCommand, "homechannel has no id field"));
    expectRejected("<homeChannels><channel/></homeChannels>", failed(kInvalidCommand, "No homechannel element found"));
    expectRejected("<preferredLanguages><language>x</language><lang>y</lang></preferredLanguages>",
                   failed(kInvalidCommand, "language expected"));
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
    const Rows services = table("Service_EPG");
    ASSERT_EQ(2u, services.size());
    const std::string first = services[0][0];
    const std::string satellite = services[0][6];
    EXPECT_EQ((std::vector<std::string>{first, "1", "2", "3", "e1", "65535", satellite, "1", "9000", "25", "Film", "P"}),
              services[0]);
    EXPECT_EQ("<NULL>", services[1][6]) << "a service without satellite links none";
    EXPECT_EQ((Rows{{satellite, "2", "1", "11000", "22000", "1", "192", "1", "1"}}), table("Service_EPG_Satellite"));
    EXPECT_EQ((Rows{{first, "spa", "1", "1"}, {first, "eng", "<NULL>", "1"}}),
              query("SELECT fk_idService_EPG, Language_code, Audio_Type, Estado FROM Service_EPG_audios ORDER BY rowid"));
    EXPECT_EQ((Rows{{first, "film.example", "1"}}),
              query("SELECT fk_idService_EPG, replacing_epg_channel_id, Estado FROM Service_EPG_replacing"));
}

TEST_F(ListSections, ServiceEpgRangesAndRequiredEpg) {
    const char kLcn[] = "LCN value must be a value between [1-65535]";
    struct Case {
        const char* children;
        Errors expected;
    };
    const Case cases[] = {
        {"<epg>e</epg><lcn>65536</lcn>", failed(kInvalidValue, kLcn)},
        {"<epg>e</epg><lcn>0</lcn>", failed(kInvalidValue, kLcn)},
        {"<epg>e</epg><lcn>-1</lcn>", failed(kInvalidValue, kLcn)},
        {"<epg>e</epg><lcn>12 </lcn>", failed(kInvalidValue, kLcn)},
        {"<epg>e</epg><sid>abc</sid>", failed(kInvalidValue, "SID value must be a value between [1-65535]")},
        {"<epg>e</epg><satelliteEPG><onid>0</onid></satelliteEPG>",
         failed(kInvalidValue, "ONID value must be a value between [1-65535]")},
        {"<lcn>5</lcn>", failed(kInvalidValue, "EPG value can't be NULL")},
        {"<epg>e</epg><audiosEPGs><audio/></audiosEPGs>", failed(kInvalidCommand, "No audiosEPGs element found")},
        {"<epg>e</epg><replacingEPGs><x/></replacingEPGs>", failed(kInvalidCommand, "No replacingEPGs element found")},
    };
    for (const Case& c : cases) {
        expectRejected(std::string("<serviceEPGs><serviceEPG>") + c.children + "</serviceEPG></serviceEPGs>",
                       c.expected);
    }
    expectRejected("<serviceEPGs><service/></serviceEPGs>", failed(kInvalidCommand, "No serviceEPG element found"));
}

TEST_F(ListSections, ScramblingsWriteTheQuorvexRowsAndTheLastElementWins) {
    EXPECT_EQ(Errors{}, applyErrors(
        "<scramblings><scrambling><name>Other</name><active>0</active><mode>odd</mode><oddKey>AA</oddKey>"
        "</scrambling><scrambling><name>x</name><mode>Toggle</mode><evenKey>BB</evenKey><date>2026-01-02</date>"
        "<frequency>30</frequency></scrambling></scramblings>"));
    EXPECT_EQ((Rows{{"1", "Quorvex", "0", "1"}}), table("ScramblingGlobal"));
    EXPECT_EQ((Rows{{"1", "2", "30", "Quorvex", "AA", "BB", "K-SHARED-1", "EK-ODD-1", "EK-EVEN-1", "2026-01-02", "1"}}),
              table("ScramblingKeysGlobal"));

    root_.exec(kConfigDb, "DELETE FROM ScramblingGlobal; DELETE FROM ScramblingKeysGlobal");
    EXPECT_EQ(Errors{}, applyErrors("<scramblings><scrambling><name>x</name><mode>even</mode></scrambling></scramblings>"));
    EXPECT_EQ((Rows{{"Quorvex", "0", "1"}}), query("SELECT ScramblingName, Mode, Estado FROM ScramblingGlobal"));
    EXPECT_EQ((Rows{{"0", "Quorvex", "1"}}), query("SELECT Mode, System, Estado FROM ScramblingKeysGlobal"));

    expectRejected("<scramblings><scrambling><name>x</name><mode>both</mode></scrambling></scramblings>",
                   failed(kInvalidCommand, "scrambling has no name field"));
    expectRejected("<scramblings><scrambling><name>x</name><active>2</active></scrambling></scramblings>",
                   failed(kInvalidValue, "scrambling/active should be 0/1"));
    expectRejected("<scramblings><scrambling><active>1</active></scrambling></scramblings>",
                   failed(kInvalidCommand, "scrambling has no name field"));
    expectRejected("<scramblings><key/></scramblings>", failed(kInvalidCommand, "No scrambling element found"));
}

TEST_F(ListSections, ScramblingsRegenerateTheKeysOnlyOnWmbG400) {
    const char kQuorKey[] = "/dorel/bin/QuorKey";
    const char kScrambling[] = "<scramblings><scrambling><name>Quorvex</name></scrambling></scramblings>";
    EXPECT_EQ(Errors{}, applyErrors(kScrambling));
    EXPECT_TRUE(callsOf(kQuorKey).empty());

    useModel("WMB-G400");
    EXPECT_EQ(Errors{}, applyErrors(kScrambling)) << "flag 3 is raised even when nothing changed";
    EXPECT_EQ((std::vector<std::string>{std::string(kQuorKey) + " " +
                                        root_.rooted("/dorel/datosWeb/ScramblingKeys/quorkeys.txt")}),
              callsOf(kQuorKey));

    failStub("QuorKey", 1);
    EXPECT_EQ((Errors{{kErrorRegeneratingKey, "Error regenerating scrambling key"}}), applyErrors(kScrambling));
}

TEST_F(ListSections, MaintenancesKeepTheLastElementsValues) {
    EXPECT_EQ(Errors{}, applyErrors("<maintenances><maintenance><hour>1</hour><min>5</min><active>1</active>"
                                    "</maintenance><maintenance><hour>4</hour></maintenance></maintenances>"));
    EXPECT_EQ((Rows{{"mantenimiento_activo", "1"}, {"mantenimiento_hora", "4"}, {"mantenimiento_min", "5"}}),
              query("SELECT nombre, valor FROM configuracionWebGlobal WHERE nombre LIKE 'mantenimiento%' ORDER BY 1"));
    expectRejected("<maintenances><maintenance><hour>9</hour></maintenance><backup/></maintenances>",
                   failed(kInvalidCommand, "No maintenance element found"));
}

TEST_F(ListSections, AFailingDocumentRestoresEveryTableItTouched) {
    expectRejected(
        "<dvbNetworks><dvbNetwork><id>3</id></dvbNetwork></dvbNetworks><diseqcs/><homeChannels/>"
        "<preferredLanguages><language>x</language></preferredLanguages><serviceEPGs/><scramblings><scrambling>"
        "<name>n</name><active>0</active><mode>odd</mode></scrambling></scramblings><network><ip>1.1.1.1</ip>"
        "</network><maintenances><maintenance><hour>9</hour></maintenance></maintenances>"
        "<serviceEPGs><serviceEPG><lcn>0</lcn></serviceEPG></serviceEPGs>",
        failed(kInvalidValue, "LCN value must be a value between [1-65535]"));
    EXPECT_TRUE(root_.stubCalls().empty());
}

}  // namespace
}  // namespace rctest
