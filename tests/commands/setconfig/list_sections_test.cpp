// The sections that replace whole tables (dvbNetworks, diseqcs, homeChannels,
// preferredLanguages, serviceEPGs), scramblings and maintenances.
#include "commands/setconfig/setconfig_fixture.h"

namespace rctest {
namespace {

// in("a/b", "X") is "<a><b>X</b></a>".
std::string in(const std::string& path, const std::string& inner) {
    const size_t slash = path.find('/');
    if (slash != std::string::npos) return in(path.substr(0, slash), in(path.substr(slash + 1), inner));
    return "<" + path + ">" + inner + "</" + path + ">";
}
std::string scrambling(const std::string& children) { return in("scramblings/scrambling", children); }
// A service EPG with an EPG and these children.
std::string epg(const std::string& children) { return in("serviceEPGs/serviceEPG", "<epg>e</epg>" + children); }
// A good network, then one with these children.
std::string dvbNetwork(const std::string& children) {
    return "<dvbNetworks><dvbNetwork><id>5</id></dvbNetwork>" + in("dvbNetwork", children) + "</dvbNetworks>";
}

class ListSections : public SetConfigTest {};

// The dev kit's rows of every list are replaced (an old row left behind shows as one too many), service EPGs link
// their parts, networks keep what the document lacks, and scramblings and maintenances keep the last element's values.
TEST_F(ListSections, ListsReplaceTheirRowsAndSingleRowSectionsKeepTheLastElementsValues) {
    EXPECT_EQ(Errors{}, applyErrors(
        "<serviceEPGs><serviceEPG><onid>1</onid><tsid>2</tsid><sid>3</sid><epg>e1</epg><lcn>65535</lcn><videoType>1"
        "</videoType><videoPeakBitrate>9000</videoPeakBitrate><serviceType>25</serviceType><name>Film</name><provider>P"
        "</provider><satelliteEPG><frequency>11000</frequency><symbolrate>22000</symbolrate><orbit>192</orbit>"
        "<polarity>horizontal</polarity><westEastFlag>1</westEastFlag><onid>1</onid><tsid>2</tsid></satelliteEPG>"
        "<audiosEPGs><audiosEPG><languageCode>spa</languageCode><audioType>1</audioType></audiosEPG><audiosEPG>"
        "<languageCode>eng</languageCode></audiosEPG></audiosEPGs><replacingEPGs><replacingEPG>"
        "<replacingEpgChannelId>film.example</replacingEpgChannelId></replacingEPG></replacingEPGs></serviceEPG>"
        "<serviceEPG><epg>e2</epg></serviceEPG></serviceEPGs><diseqcs><diseqc><id>4</id><position>2</position>"
        "<name>Hispasat</name><orbit>300</orbit><polarity>Horizontal</polarity><band>high</band></diseqc></diseqcs>"
        "<homeChannels><homechannel><id>3</id><frequency>12000</frequency><orbit>192</orbit><polarity>vertical"
        "</polarity><band>1</band><symbolrate>27500</symbolrate><onid>1</onid><tsid>7</tsid></homechannel>"
        "</homeChannels><dvbNetworks><dvbNetwork><id>1</id><nid>77</nid><autoServiceList>0</autoServiceList>"
        "<autoBlockPIDs><text>1</text><subtitles>0</subtitles></autoBlockPIDs><AUTODECRYPTPIDS><Subtitles>1</Subtitles>"
        "<data>yes</data></AUTODECRYPTPIDS></dvbNetwork><dvbNetwork><id>9</id></dvbNetwork></dvbNetworks>"
        "<preferredLanguages><language>fre</language><LANGUAGE>ger</LANGUAGE></preferredLanguages><scramblings>"
        "<scrambling><name>Other</name><active>0</active><mode>odd</mode><oddKey>AA</oddKey></scrambling><scrambling>"
        "<name>x</name><mode>Toggle</mode><evenKey>BB</evenKey><date>2026-01-02</date><frequency>30</frequency>"
        "</scrambling></scramblings><maintenances><maintenance><hour>1</hour><min>5</min><active>1</active>"
        "</maintenance><maintenance><hour>4</hour></maintenance></maintenances>"));
    EXPECT_EQ(row("4 Hispasat 2 300 1 1 1"), query("SELECT * FROM DiSEqCGlobal"));
    EXPECT_EQ(row("3 12000 192 0 1 27500 1 7 1"), query("SELECT * FROM MantenimientoHomeChannelsGlobal"));
    EXPECT_EQ((Rows{{"fre"}, {"ger"}}), query("SELECT AudioCode FROM AudioLanguageListGlobal ORDER BY idALLG"));
    // Network 1 keeps its name and NIT version but takes the 0 it was sent; the new network 9 starts at 0.
    EXPECT_EQ((Rows{{"1", "77", "Test network", "1", "0", "1", "2", "1"}, {"9", "0", "0", "0", "0", "0", "0", "1"}}),
              query("SELECT idRed, NID, NombreRed, NIT_Version, Auto_Service_List, Block_PIDs, Decrypt_PIDs, estado "
                    "FROM RedesCabecera ORDER BY idRed"));
    EXPECT_TRUE(env().contains("REMOTE_CONTROL::: New network parameters: idRed=9")) << env().dump();
    const Rows services = query("SELECT * FROM Service_EPG ORDER BY rowid");
    ASSERT_EQ(2u, services.size());
    const std::string first = services[0][0], satellite = services[0][6];
    EXPECT_EQ(row(first + " 1 2 3 e1 65535 " + satellite + " 1 9000 25 Film P")[0], services[0]);
    EXPECT_EQ("<NULL>", services[1][6]) << "a service without satellite links none";
    EXPECT_EQ(row(satellite + " 2 1 11000 22000 1 192 1 1"), query("SELECT * FROM Service_EPG_Satellite"));
    EXPECT_EQ((Rows{{first, "spa", "1", "1"}, {first, "eng", "<NULL>", "1"}}),
              query("SELECT fk_idService_EPG, Language_code, Audio_Type, Estado FROM Service_EPG_audios"));
    EXPECT_EQ(row(first + " film.example 1"),
              query("SELECT fk_idService_EPG, replacing_epg_channel_id, Estado FROM Service_EPG_replacing"));

    // Scramblings and maintenances keep their last element's values.
    EXPECT_EQ(row("1 Quorvex 0 1"), query("SELECT * FROM ScramblingGlobal"));
    EXPECT_EQ(row("1 2 30 Quorvex AA BB K-SHARED-1 EK-ODD-1 EK-EVEN-1 2026-01-02 1"),
              query("SELECT * FROM ScramblingKeysGlobal"));
    EXPECT_EQ((Rows{{"mantenimiento_activo", "1"}, {"mantenimiento_hora", "4"}, {"mantenimiento_min", "5"}}),
              query("SELECT nombre, valor FROM configuracionWebGlobal WHERE nombre LIKE 'mantenimiento%' ORDER BY 1"));

    exec("DELETE FROM ScramblingGlobal; DELETE FROM ScramblingKeysGlobal");
    EXPECT_EQ(Errors{}, applyErrors(scrambling("<name>x</name><mode>even</mode>")));
    EXPECT_EQ(row("Quorvex 0 1 0 Quorvex 1"),
              query("SELECT g.ScramblingName, g.Mode, g.Estado, k.Mode, k.System, k.Estado FROM ScramblingGlobal g, "
                    "ScramblingKeysGlobal k"));
    forbidUpdates("ScramblingKeysGlobal");
    EXPECT_EQ(dbError("Could not update ScramblingKG"), applyErrors(scrambling("<name>x</name><oddKey>CC</oddKey>")));
}

// Every earlier section of the document, changing every table, goes back with the failing one.
TEST_F(ListSections, ABadElementRollsBackTheWholeDocument) {
    const std::string earlier =
        "<dvbNetworks><dvbNetwork><id>3</id></dvbNetwork></dvbNetworks><diseqcs/><homeChannels/><preferredLanguages>"
        "<language>x</language></preferredLanguages><serviceEPGs/><scramblings><scrambling><name>n</name><active>0"
        "</active><mode>odd</mode></scrambling></scramblings><network><ip>1.1.1.1</ip></network><maintenances>"
        "<maintenance><hour>9</hour></maintenance></maintenances>";
    const char kLcn[] = "LCN value must be a value between [1-65535]";
    const std::tuple<std::string, int, const char*> cases[] = {  // section, code, detail
        {dvbNetwork("<id>1</id><nitPatron>2</nitPatron>"), kInvalidValue, "nitPatron not allowed value detected"},
        {dvbNetwork("<id>1</id><nitPatron>7</nitPatron><tipoNITPatron>1</tipoNITPatron>"), kInvalidValue,
         "nitPatron not allowed value detected"},
        {dvbNetwork("<id>1</id><tipoNITPatron>2</tipoNITPatron>"), kInvalidValue,
         "tipoNITPatron not allowed value detected"},
        {dvbNetwork("<id>1</id><versionNITPatron>3</versionNITPatron>"), kInvalidValue,
         "versionNITPatron not allowed value detected"},
        {dvbNetwork("<nid>1</nid>"), kInvalidCommand, "dvbNetwork has no id field"},
        {dvbNetwork("<id>1</id><tvType>12abc</tvType>"), kInvalidValue, "Invalid value for dvbNetwork/tvType"},
        {in("dvbNetworks", "<network/>"), kInvalidCommand, "No dvbNetwork element found"},
        {in("diseqcs/diseqc", "<id>1</id><polarity>left</polarity>"), kInvalidCommand,
         "Invalid value for diseqc/polarity"},
        {in("diseqcs/diseqc", "<name>x</name>"), kInvalidCommand, "diseqc has no id field"},
        {in("diseqcs", "<diseqc><id>2</id></diseqc><diseqc><ID>2</ID></diseqc>"), kInvalidValue,
         "Invalid value for diseqc/id"},
        {in("homeChannels/homechannel", "<tsid>1</tsid>"), kInvalidCommand, "homechannel has no id field"},
        {in("preferredLanguages", "<language>x</language><lang>y</lang>"), kInvalidCommand, "language expected"},
        {epg("<lcn>65536</lcn>"), kInvalidValue, kLcn},
        {epg("<lcn>0</lcn>"), kInvalidValue, kLcn},
        {epg("<satelliteEPG><onid>0</onid></satelliteEPG>"), kInvalidValue,
         "ONID value must be a value between [1-65535]"},
        {in("serviceEPGs/serviceEPG", "<lcn>5</lcn>"), kInvalidValue, "EPG value can't be NULL"},
        {epg("<audiosEPGs><audio/></audiosEPGs>"), kInvalidCommand, "No audiosEPGs element found"},
        {epg("<replacingEPGs><x/></replacingEPGs>"), kInvalidCommand, "No replacingEPGs element found"},
        {in("serviceEPGs", "<service/>"), kInvalidCommand, "No serviceEPG element found"},
        {scrambling("<name>x</name><mode>both</mode>"), kInvalidCommand, "scrambling has no name field"},
        {scrambling("<name>x</name><active>2</active>"), kInvalidValue, "scrambling/active should be 0/1"},
        {scrambling("<active>1</active>"), kInvalidCommand, "scrambling has no name field"},
        {in("scramblings", "<key/>"), kInvalidCommand, "No scrambling element found"},
        {in("maintenances", "<maintenance><hour>9</hour></maintenance><backup/>"), kInvalidCommand,
         "No maintenance element found"},
    };
    const auto before = configRows();
    for (const auto& [section, code, detail] : cases) {
        SCOPED_TRACE(section);
        EXPECT_EQ(failed(code, detail), applyErrors(earlier + section));
        EXPECT_EQ(before, configRows());
    }
    EXPECT_TRUE(root_.stubCalls().empty()) << "no follow-up after a rollback";
}

}  // namespace
}  // namespace rctest
