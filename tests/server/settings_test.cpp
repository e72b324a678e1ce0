// Loading the remote-control settings and the controller's identity from a
// simulated headend.
#include "common/errors.h"
#include "server/settings.h"
#include "support/headend_root.h"

#include <gtest/gtest.h>

namespace {

using namespace dorel_remote_control;

class SettingsLoad : public ::testing::Test {
protected:
    rctest::HeadendRoot root{{"--server-url", "https://127.0.0.1:8443/rc"}};
};

// The values themselves reach the status document, the server's requests and
// the poll cycle, whose tests check them there.
TEST_F(SettingsLoad, FirstLoadReportsAChangeAndLaterOnesReadNeitherIdentityNorASecondContract) {
    root.writeFile("/devkit/identity/SERIAL", "SN-42  \t\n");
    root.writeFile("/devkit/identity/SERIAL.status", "OK \t\r\n");
    Settings s;
    EXPECT_TRUE(s.load(root.env()));
    EXPECT_EQ("SN-42", s.serialNumber());
    EXPECT_EQ("https://127.0.0.1:8443/rc/", s.serverAddress()) << "a missing trailing slash is added";
    EXPECT_FALSE(s.load(root.env())) << "nothing changed since";
    root.writeFile("/devkit/identity/SERIAL", "SN-43\n");
    root.exec("/dorel/DB/config_global.sqlite",
              "INSERT INTO configuracionWebGlobal (nombre, valor) VALUES ('identificacion_contrato', 'SECOND')");
    EXPECT_FALSE(s.load(root.env()));
    EXPECT_EQ("SN-42", s.serialNumber()) << "identity is never refreshed in a process's life";
    EXPECT_EQ("CONTRACT-1", s.contractId());
}

TEST_F(SettingsLoad, ConfigurationValuesAreReadStrictly) {
    Settings s;
    s.load(root.env());
    for (const char* off : {"true", "01", "", "1 "}) {
        root.setConfig("servidorZAT_activo", "1");
        s.load(root.env());
        ASSERT_TRUE(s.active());
        root.setConfig("servidorZAT_activo", off);
        EXPECT_TRUE(s.load(root.env()));
        EXPECT_FALSE(s.active()) << "'" << off << "' is not on";
    }
    // Beyond 32 bits the interval saturates as on the controller.
    const std::pair<const char*, uint32_t> intervals[] = {
        {"five", 0}, {"4294967296", 2147483647u}, {"5", 5}, {"4294967301", 2147483647u}, {"-1", 4294967295u}};
    for (const auto& c : intervals) {
        root.setConfig("servidorZAT_intervalo", c.first);
        EXPECT_TRUE(s.load(root.env())) << c.first;
        EXPECT_EQ(c.second, s.interval()) << c.first;
    }

    root.setConfig("servidorZAT_direccion", "https://127.0.0.1:8443/rc/");
    EXPECT_FALSE(s.load(root.env())) << "the same address with its slash is no change";
    root.setConfig("servidorZAT_password", "secret%");
    EXPECT_TRUE(s.load(root.env()));
    EXPECT_EQ("secret%", s.password());
}

TEST_F(SettingsLoad, IdentityThatCannotBeReadFailsTheLoad) {
    const struct {
        const char* file;
        const char* bad;
        const char* message;
    } cases[] = {
        // Each breaks a value read before those already broken: every failure is its own.
        {"/devkit/identity/hostname", "", "Could not read hostname"},
        {"/devkit/identity/MODELO.status", "ok", "Could not read model"},
        {"/devkit/identity/MAC.status", "OKAY", "Could not read MAC"},
        {"/devkit/identity/SERIAL.status", "ERROR", "Could not read Serial Number"},
        // Everything printed, then hung: stopped at its time-out, it told nothing.
        {"/dorel/script/SERIAL", "#!/bin/sh\necho SN-9; echo OK; sleep 5\n", "Could not read Serial Number"},
    };
    root.env().setTimeoutMillis(Program::kSerial, 300);
    for (const auto& c : cases) {
        root.writeFile(c.file, c.bad);
        root.env().clearLog();
        EXPECT_THROW(Settings().load(root.env()), ReadConfigError) << c.file << " '" << c.bad << "'";
        EXPECT_TRUE(root.env().contains(c.message)) << c.file << root.env().dump();
    }
}

}  // namespace
