// Loading the remote-control settings and the controller's identity from a
// simulated headend.
#include "common/errors.h"
#include "server/settings.h"
#include "support/headend_root.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

namespace {

using namespace dorel_remote_control;

class SettingsLoad : public ::testing::Test {
protected:
    void SetUp() override { settings() = Settings(); }
    rctest::HeadendRoot root{{"--server-url", "https://127.0.0.1:8443/rc"}};
};

TEST_F(SettingsLoad, FirstLoadReadsEverythingAndReportsAChange) {
    Settings s;
    EXPECT_TRUE(s.load());
    EXPECT_TRUE(s.loaded());
    EXPECT_FALSE(s.active());
    EXPECT_EQ(1u, s.interval());
    EXPECT_EQ("https://127.0.0.1:8443/rc/", s.serverAddress()) << "a missing trailing slash is added";
    EXPECT_EQ("rc-user", s.user());
    EXPECT_EQ("rc-pass", s.password());
    EXPECT_EQ("SN-0001", s.serialNumber());
    EXPECT_EQ("00:1A:2B:FF:FF:01", s.mac());
    EXPECT_EQ("headend-test", s.hostName());
    EXPECT_EQ("KVB-200", s.model());
    EXPECT_EQ("CONTRACT-1", s.contractId());
    EXPECT_FALSE(s.load()) << "nothing changed since";
}

TEST_F(SettingsLoad, ConfigurationValuesAreReadStrictly) {
    Settings s;
    s.load();
    for (const char* off : {"true", "01", "", "1 "}) {
        root.setConfig("servidorZAT_activo", "1");
        s.load();
        ASSERT_TRUE(s.active());
        root.setConfig("servidorZAT_activo", off);
        EXPECT_TRUE(s.load());
        EXPECT_FALSE(s.active()) << "'" << off << "' is not on";
    }
    root.setConfig("servidorZAT_intervalo", "five");
    EXPECT_TRUE(s.load());
    EXPECT_EQ(0u, s.interval());
    root.setConfig("servidorZAT_intervalo", "5");
    EXPECT_TRUE(s.load());
    EXPECT_EQ(5u, s.interval());

    root.setConfig("servidorZAT_direccion", "https://127.0.0.1:8443/rc/");
    EXPECT_FALSE(s.load()) << "the same address with its slash is no change";
    root.setConfig("servidorZAT_password", "secret%");
    EXPECT_TRUE(s.load());
    EXPECT_EQ("secret%", s.password());
}

TEST_F(SettingsLoad, OnlyTheFirstContractRowCounts) {
    Settings s;
    s.load();
    root.exec("/dorel/DB/config_global.sqlite",
              "INSERT INTO configuracionWebGlobal (nombre, valor) VALUES ('identificacion_contrato', 'SECOND')");
    EXPECT_FALSE(s.load());
    EXPECT_EQ("CONTRACT-1", s.contractId());
}

TEST_F(SettingsLoad, IdentityIsReadOnceAndTrimmed) {
    root.writeFile("/devkit/identity/SERIAL", "SN-42  \t\n");
    root.writeFile("/devkit/identity/SERIAL.status", "OK \t\r\n");
    Settings s;
    s.load();
    EXPECT_EQ("SN-42", s.serialNumber());
    root.writeFile("/devkit/identity/SERIAL", "SN-43\n");
    EXPECT_FALSE(s.load());
    EXPECT_EQ("SN-42", s.serialNumber()) << "identity is never refreshed in a process's life";
}

TEST_F(SettingsLoad, IdentityThatCannotBeReadFailsTheLoad) {
    struct Case {
        const char* script;
        const char* status;
        const char* message;
    };
    for (const Case& c : {Case{"SERIAL", "ERROR", "Could not read Serial Number"},
                          Case{"SERIAL", "", "Could not read Serial Number"},
                          Case{"MAC", "OKAY", "Could not read MAC"},
                          Case{"MODELO", "ok", "Could not read model"}}) {
        rctest::HeadendRoot other;
        other.writeFile(std::string("/devkit/identity/") + c.script + ".status", c.status);
        rctest::LogCapture log;
        Settings s;
        try {
            s.load();
            ADD_FAILURE() << c.script << " with status '" << c.status << "' was accepted";
        } catch (const ReadConfigError& e) {
            EXPECT_STREQ(c.message, e.what());
            EXPECT_TRUE(log.contains(c.message));
        }
    }
    rctest::HeadendRoot noHost;
    noHost.writeFile("/devkit/identity/hostname", "");
    Settings s;
    EXPECT_THROW(s.load(), ReadConfigError);
}

TEST(ModelPredicates, CompareTheWholeModelName) {
    EXPECT_TRUE(isModelGroupA("KVA-100"));
    EXPECT_TRUE(isModelGroupA("KVC-300"));
    EXPECT_FALSE(isModelGroupA("KVB-210"));
    EXPECT_TRUE(isModelGroupB("KVB-210"));
    EXPECT_TRUE(isModelGroupB("KVB-200"));
    EXPECT_FALSE(isWmbG400("WMB-G400 "));
    EXPECT_TRUE(isWmbG400("WMB-G400"));
    EXPECT_TRUE(isKvdCd5("KVD-CD5"));
    EXPECT_FALSE(isKvdAb5("kvd-ab5"));
    EXPECT_TRUE(isKvc300("KVC-300"));
}

}  // namespace
