// getConfiguration's printed result, byte for byte, against documents stored
// in tests/commands/query/expected/ (first written by the builder that made a
// RapidXML tree and printed it). The headend carries texts that need escaping,
// empty and NULL columns, blanks, line breaks and several CAM and plain
// modules, so that any change in escaping, indentation or empty-element form
// shows up here before the server sees it.
//
// After a deliberate change of the document, RC_WRITE_EXPECTED=1 rewrites the
// stored files instead of comparing.
#include "configuration_document.h"

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>
#include <sys/time.h>

namespace {

using namespace dorel_remote_control;

std::string expectedPath(const std::string& model) {
    return std::string(RC_SOURCE_DIR) + "/tests/commands/query/expected/getConfiguration-" + model + ".xml";
}

// Line number and both lines of the first difference, so that a failure
// does not dump two whole documents.
std::string firstDifference(const std::string& expected, const std::string& actual) {
    std::istringstream a(expected), b(actual);
    std::string lineA, lineB;
    for (int line = 1;; ++line) {
        const bool moreA = static_cast<bool>(std::getline(a, lineA));
        const bool moreB = static_cast<bool>(std::getline(b, lineB));
        if (!moreA && !moreB) return "same lines, different line ends";
        if (!moreA || !moreB || lineA != lineB) {
            return "line " + std::to_string(line) + ": expected [" + (moreA ? lineA : "<end>") + "] got [" +
                   (moreB ? lineB : "<end>") + "]";
        }
    }
}

class ConfigurationText : public rctest::ConfigurationTest {
protected:
    ConfigurationText()
        : ConfigurationTest({"--no-certs", "--modules", "4", "--cam-modules", "2", "--services", "3", "--pids", "2"}) {
        // OutputNITDate is the SI file's time in local time.
        const char* tz = getenv("TZ");
        hadTz_ = tz != nullptr;
        if (hadTz_) previousTz_ = tz;
        setenv("TZ", "UTC0", 1);
        tzset();
        for (const char* file : {"NIT_table_1", "NIT_table_CPLUS", "BAT_table_CPLUS"}) {
            const struct timeval times[2] = {{1700000000, 0}, {1700000000, 0}};
            utimes(root_.rooted(std::string("/dorel/datosWeb/tablasSI/") + file).c_str(), times);
        }
        fillAssortedContent();
    }
    ~ConfigurationText() override {
        if (hadTz_) {
            setenv("TZ", previousTz_.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }

    void fillAssortedContent() {
        const char* settings[][2] = {
            {"identificacion_cabecera", "Tom & Jerry's <\"head\"> end"},
            {"identificacion_localizacion", ""},
            {"identificacion_instalador", "   "},
            {"identificacion_codCanal", "line one\n\tline two"},
            {"servidorZAT_password", "p&ss<w>\"'rd"},
            {"LNB_fb", "9750 ñ €"},
        };
        for (const auto& s : settings) root_.setConfig(s[0], s[1]);
        root_.exec(kConfig, "DELETE FROM configuracionWebGlobal WHERE nombre = 'network_Gateway'");
        root_.exec(kConfig, "UPDATE configuracionWebGlobal SET valor = NULL WHERE nombre = 'network_IP'");
        root_.exec(kConfig,
                   "UPDATE RedesModulos SET LabelName = 'Sala <A> & \"B\"' WHERE idRedMod = 1;"
                   "UPDATE RedesModulos SET NumeroSerie = NULL, HWVersion = '' WHERE idRedMod = 2;"
                   "UPDATE RedesModulos SET LabelName = '''' WHERE idRedMod = 3;"
                   "UPDATE ServiciosSalidaGlobal SET NombreSalida = '''quoted'' & <b>', NombreEntrada = NULL,"
                   " NombreForzado = '' WHERE idSSG = 1;"
                   "UPDATE ServiciosSalidaGlobal SET NombreSalida = 'Canal España >>', LCN = ' ' WHERE idSSG = 2;"
                   "UPDATE PIDsSalidaGlobal SET AudioCode = '\"en\"' WHERE idPSG = 1;"
                   "UPDATE PIDsSalidaGlobal SET AudioCode = NULL WHERE idPSG = 2;"
                   "UPDATE Service_EPG SET Nombre = 'A&E <HD>', Proveedor = NULL;"
                   "UPDATE DiSEqCGlobal SET Nombre = 'Astra \"19.2\" & <E>';"
                   "UPDATE AudioLanguageListGlobal SET AudioCode = '<x>' WHERE rowid = 1;"
                   "UPDATE RedesCabecera SET NombreRed = 'Red & \"Uno\"', NIT_Patron = NULL;"
                   "UPDATE EntradasGlobal SET tipoEntrada = '1' WHERE idEntradasGlobal = 1;"
                   "UPDATE EntradasGlobal SET tipoEntrada = '2' WHERE idEntradasGlobal = 2;"
                   "INSERT INTO NimCOFDMGlobal (idNimCOFDMGlobal, Bandwidth, Hierarchy, trackingStatusEn, "
                   "TSID_Tracking, ONID_Tracking, PLP_ID, Frequency, fk_idEntradasGlobal, RFIN_LOOP) "
                   "VALUES (7, '2', '1', '1', '5', '6', '-2', '474000', '1', '2');"
                   "INSERT INTO NimQAMGlobal (idNimQAMGlobal, Constelacion, Frequency, SymbolRate, "
                   "fk_idEntradasGlobal, RFIN_LOOP) VALUES (9, '4', '306000', '6900', '2', '0')");
        root_.exec(kTemp,
                   "UPDATE CAMInfoGlobal SET CAMVersion = '1.0 <beta> & co', CardSerialNumber = NULL;"
                   "UPDATE ModulosCabecera SET SWVersion = NULL WHERE rowid = 1;"
                   "INSERT INTO TempNIMCOFDMGlobal (fk_idNimCOFDMGlobal, Lock, SignalQuality) VALUES ('7', '1', '2')");
    }

    void expectStored(const std::string& model) {
        runAs(model);
        ASSERT_TRUE(errors_.empty());
        const std::string path = expectedPath(model);
        if (getenv("RC_WRITE_EXPECTED") != nullptr) {
            std::ofstream(path, std::ios::binary) << printed_;
            return;
        }
        std::ifstream file(path, std::ios::binary);
        ASSERT_TRUE(file) << "cannot read " << path;
        std::ostringstream stored;
        stored << file.rdbuf();
        EXPECT_TRUE(stored.str() == printed_) << firstDifference(stored.str(), printed_);
    }

private:
    bool hadTz_ = false;
    std::string previousTz_;
};

// One model of each branch: every section (KVB-200), the server's own
// reduced document (WMB-G400), and no satellite sections nor decryption
// (KVD-CD5).
TEST_F(ConfigurationText, DocumentIsTheStoredOneForEachBranchOfModels) {
    for (const char* model : {"KVB-200", "WMB-G400", "KVD-CD5"}) {
        SCOPED_TRACE(model);
        expectStored(model);
    }
}

TEST_F(ConfigurationText, UnreadableDatabaseLeavesAnEmptyResultElement) {
    const std::string path = root_.rooted(kTemp);
    ASSERT_EQ(0, rename(path.c_str(), (path + ".away").c_str()));
    runAs("KVB-200");
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<commandResult>\n"
              "\t<id>headend-test</id>\n"
              "\t<mac>00:1A:2B:FF:FF:01</mac>\n"
              "\t<serialNumber>SN-0001</serialNumber>\n"
              "\t<zatContractId>CONTRACT-1</zatContractId>\n"
              "\t<commandId>5</commandId>\n"
              "\t<result>1</result>\n"
              "\t<errors>\n"
              "\t\t<error>\n"
              "\t\t\t<id>102</id>\n"
              "\t\t\t<text>Could not access database</text>\n"
              "\t\t</error>\n"
              "\t</errors>\n"
              "\t<data>\n"
              "\t\t<getConfigurationResult/>\n"
              "\t</data>\n"
              "</commandResult>\n",
              printed_);
}

}  // namespace
