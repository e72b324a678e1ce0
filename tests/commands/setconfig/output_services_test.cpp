// Output services and their PID orders. The dev kit's module 1 carries
// services 101 and 103 on output 1 and 102 on output 2 (keys 1, 2, 3), each
// with a video PID (stream 16s+257) and a Spanish audio PID (16s+258).
#include "commands/setconfig/setconfig_fixture.h"

namespace rctest {
namespace {

using namespace dorel_remote_control;

std::string service(int outputId, int outputSid, const std::string& children = "") {
    return "<service><outputId>" + std::to_string(outputId) + "</outputId><outputSid>" + std::to_string(outputSid) +
           "</outputSid>" + children + "</service>";
}

// Module 1's three services, the first with extra children, then `more`.
std::string services(const std::string& firstChildren, const std::string& more = "") {
    return "<services>" + service(1, 101, firstChildren) + service(2, 102) + service(1, 103) + more + "</services>";
}

const char kServiceState[] =
    "SELECT idSSG, fk_idSalidasLogicas, OSID, EstadoServicio, EstadoBorrado FROM ServiciosSalidaGlobal "
    "WHERE MAC = '00:1A:2B:00:00:01' ORDER BY idSSG";
const char kPidState[] =
    "SELECT idPSG, fk_idSSG, StreamId, Orden, Tipo, AudioCode, EstadoPID, EstadoBorrado, MAC, fk_idEntrada, "
    "fk_idSalidasLogicas FROM PIDsSalidaGlobal WHERE fk_idSSG IN ('1', '2') ORDER BY idPSG";

const Rows kStoredServices = {
    {"1", "1", "101", "1", "0"}, {"2", "2", "102", "1", "0"}, {"3", "1", "103", "1", "0"}};

TEST_P(ModulesTest, IdentifiesServicesAndChecksTheirValues) {
    struct Case {
        const char* name;
        std::string list;
        Errors expected;
    };
    const std::vector<Case> cases = {
        {"largest outputSid", services("", service(2, 65535)), {}},
        {"outputSid too large", services("", service(1, 65536)),
         sectionFailure(kInvalidValue, "outputSid value cannot be greater than 65535")},
        {"outputSid 0", services("", service(1, 0)),
         sectionFailure(kInvalidCommand, "Service outputSid should be greater than 0")},
        {"no outputId", services("", "<service><outputSid>5</outputSid></service>"),
         sectionFailure(kInvalidCommand, "Service has no outputId field")},
        {"outputId 3", services("", service(3, 5)), sectionFailure(kInvalidCommand, "Service outputId should be 1 or 2")},
        {"no outputSid", services("", "<service><outputId>1</outputId></service>"),
         sectionFailure(kInvalidCommand, "Service has no outputSid field")},
        {"other element", services("", "<pidOrder/>"), sectionFailure(kInvalidCommand, "No service element found")},
        {"largest inputSid", services("<inputSid>65535</inputSid>"), {}},
        {"inputSid too large", services("<inputSid>65536</inputSid>"),
         sectionFailure(kInvalidValue, "inputSid value cannot be greater than 65535")},
        {"a new LCN 0", services("<lcn>0</lcn>"), sectionFailure(kInvalidValue, "LCN value cannot be 0")},
        {"a number that is not one", services("<olcn>1x</olcn>"),
         sectionFailure(kInvalidValue, "Invalid value for service/olcn")},
    };
    for (const Case& c : cases) EXPECT_EQ(c.expected, applyModules({{1, c.list}})) << c.name;
    EXPECT_EQ((Rows{{"2", "65535", "0", "1", "0", "0", "", "0"}}),
              query("SELECT fk_idSalidasLogicas, OSID, EstadoServicio, EstadoBorrado, LCN, SSU, NombreEntrada, "
                   "idEPG FROM ServiciosSalidaGlobal WHERE OSID = '65535'"))
        << "a new service has every number 0 and no names (the later lists without it withdrew it)";
    EXPECT_EQ("65535", value("SELECT SID FROM ServiciosSalidaGlobal WHERE idSSG = 1"));

    exec("UPDATE ServiciosSalidaGlobal SET LCN = '0' WHERE idSSG = 1");
    EXPECT_EQ(Errors{}, applyModules({{1, services("<lcn>0</lcn>", service(2, 65535))}}))
        << "a stored LCN 0 may be sent back";
}

TEST_P(ModulesTest, EveryValueReachesItsColumn) {
    EXPECT_EQ(Errors{}, applyModules({{1, services("<lcn>7</lcn><olcn>8</olcn><forcedLcn>1</forcedLcn>"
                                                    "<simulcastLcn>9</simulcastLcn><inputId>2</inputId>"
                                                    "<inputSid>4242</inputSid><inputName>In'); DROP TABLE x; --</inputName>"
                                                    "<forcedName>1</forcedName><outputName>Out %d</outputName>"
                                                    "<idEPG>5</idEPG><serviceTypeDVB>25</serviceTypeDVB>"
                                                    "<serviceTypeCanal>3</serviceTypeCanal><videoFormat>2</videoFormat>"
                                                    "<cloned>1</cloned><decrypt>1</decrypt><transcoding>1</transcoding>"
                                                    "<videoPeakBitrate>9000</videoPeakBitrate><serviceStatus>x</serviceStatus>")}}));
    EXPECT_EQ((Rows{{"7", "8", "1", "9", "2", "4242", "In'); DROP TABLE x; --", "1", "Out  d", "5", "25", "3", "2", "1", "1", "1", "9000"}}),
              query("SELECT LCN, OLCN, LCNForzado, SimulcastLCN, fk_idEntrada, SID, NombreEntrada, NombreForzado, "
                   "NombreSalida, idEPG, Service_Type, Tipo, VideoFormat, DuplicadoClonado, Descifrar, Transcoding, "
                   "Video_peak_bitrate FROM ServiciosSalidaGlobal WHERE idSSG = 1"));
}

TEST_P(ModulesTest, ServicesLeftOutAreWithdrawnWithTheirPidsAndComeBackWhenListedAgain) {
    EXPECT_EQ(Errors{}, applyModules({{1, "<services>" + service(1, 101) + service(1, 103) + "</services>"}}));
    EXPECT_EQ((Rows{{"1", "1", "101", "1", "0"}, {"2", "2", "102", "0", "1"}, {"3", "1", "103", "1", "0"}}),
              query(kServiceState));
    EXPECT_EQ((Rows{{"0", "1"}, {"0", "1"}}),
              query("SELECT EstadoPID, EstadoBorrado FROM PIDsSalidaGlobal WHERE fk_idSSG = '2'"));
    EXPECT_EQ("4", value("SELECT COUNT(*) FROM PIDsSalidaGlobal WHERE fk_idSSG IN ('1', '3') AND EstadoPID = '1' "
                         "AND EstadoBorrado = '0'"));
    EXPECT_EQ("3", value("SELECT COUNT(*) FROM ServiciosSalidaGlobal WHERE MAC = '00:1A:2B:00:00:02' AND "
                         "EstadoBorrado = '0'"))
        << "another module's services stay";

    EXPECT_EQ(Errors{}, applyModules({{1, services("")}}));
    EXPECT_EQ(kStoredServices, query(kServiceState));
    EXPECT_EQ((Rows{{"0", "1"}, {"0", "1"}}),
              query("SELECT EstadoPID, EstadoBorrado FROM PIDsSalidaGlobal WHERE fk_idSSG = '2'"))
        << "without pidOrders a service's PIDs stay as they are";

    EXPECT_EQ(Errors{}, applyModules({{1, "<services/>"}}));
    EXPECT_EQ("3", value("SELECT COUNT(*) FROM ServiciosSalidaGlobal WHERE EstadoBorrado = '1'"));
}

TEST_P(ModulesTest, SsuCarriersAreNeitherMatchedNorWithdrawn) {
    exec("UPDATE ServiciosSalidaGlobal SET SSU = '1' WHERE idSSG = 2");
    EXPECT_EQ(Errors{}, applyModules({{1, "<services>" + service(1, 101) + service(1, 103) + "</services>"}}));
    EXPECT_EQ(kStoredServices, query(kServiceState));
}

TEST_P(ModulesTest, PidOrdersAreMatchedByStreamInsertedAndDeleted) {
    const std::string pidOrders =
        "<pidOrders><pidOrder><languageCode>eng</languageCode><streamId>300</streamId><type>4</type><order>1</order>"
        "</pidOrder><pidOrder><streamId>273</streamId><type>2</type><order>2</order></pidOrder></pidOrders>";
    EXPECT_EQ(Errors{}, applyModules({{1, services(pidOrders)}}));
    EXPECT_EQ((Rows{{"1", "1", "273", "2", "2", "", "1", "0", "00:1A:2B:00:00:01", "1", "1"},
                    {"2", "1", "274", "2", "4", "spa", "0", "1", "00:1A:2B:00:00:01", "1", "1"},
                    {"3", "2", "289", "1", "2", "", "1", "0", "00:1A:2B:00:00:01", "2", "2"},
                    {"4", "2", "290", "2", "4", "spa", "1", "0", "00:1A:2B:00:00:01", "2", "2"},
                    {"13", "1", "300", "1", "4", "eng", "1", "0", "00:1A:2B:00:00:01", "1", "1"}}),
              query(kPidState));

    EXPECT_EQ(Errors{}, applyModules({{1, services("<pidOrders><pidOrder><streamId>274</streamId><type>4</type>"
                                                    "<order>2</order><languageCode>spa</languageCode></pidOrder>"
                                                    "</pidOrders>")}}));
    EXPECT_EQ((Rows{{"1", "0", "1"}, {"2", "1", "0"}, {"13", "0", "1"}}),
              query("SELECT idPSG, EstadoPID, EstadoBorrado FROM PIDsSalidaGlobal WHERE fk_idSSG = '1' ORDER BY idPSG"))
        << "a deleted PID listed again is carried again";

    EXPECT_EQ(sectionFailure(kInvalidCommand, "No pidOrder element found"),
              applyModules({{1, services("<pidOrders><pid/></pidOrders>")}}));
    EXPECT_EQ(sectionFailure(kInvalidValue, "Invalid value for pidOrder/streamId"),
              applyModules({{1, services("<pidOrders><pidOrder><streamId>x</streamId></pidOrder></pidOrders>")}}));
}

TEST_P(ModulesTest, MovingAServiceToTheOtherOutputMakesANewServiceThere) {
    EXPECT_EQ(Errors{}, applyModules({{1, "<services>" + service(2, 101, "<lcn>1</lcn><inputId>1</inputId>") +
                                              service(2, 102) + service(1, 103) + "</services>"}}));
    EXPECT_EQ((Rows{{"1", "1", "101", "0", "1"},
                    {"2", "2", "102", "1", "0"},
                    {"3", "1", "103", "1", "0"},
                    {"7", "2", "101", "1", "0"}}),
              query(kServiceState));
}

TEST_P(ModulesTest, OnWmbG400AChangedLcnIsForced) {
    useModel("WMB-G400");
    EXPECT_EQ(Errors{}, applyModules({{1, services("<lcn>1</lcn>", service(1, 104, "<lcn>0</lcn>"))}}));
    EXPECT_EQ((Rows{{"0"}, {"0"}}), query("SELECT LCNForzado FROM ServiciosSalidaGlobal WHERE OSID IN ('101', '104')"))
        << "nothing changed";
    EXPECT_EQ(Errors{}, applyModules({{1, services("<lcn>5</lcn>", service(1, 104))}}));
    EXPECT_EQ((Rows{{"5", "1"}}), query("SELECT LCN, LCNForzado FROM ServiciosSalidaGlobal WHERE idSSG = 1"));
}

}  // namespace
}  // namespace rctest
