// resetModules and resetCAMModules in a simulated headend: which client lines
// run, in which order, what a failure reports, that no address can run
// anything, and that the controller stores its result before it reboots.
#include "commands/query/command_runner.h"

#include "commands/core/command_store.h"
#include "commands/core/result_codes.h"
#include "commands/maintenance/module_reset.h"
#include "common/paths.h"
#include "server/settings.h"

#include <sys/wait.h>
#include <unistd.h>

namespace rctest {
namespace {

using namespace dorel_remote_control;

const char kModule1[] = "00:1A:2B:00:00:01";
const char kModule2[] = "00:1A:2B:00:00:02";
const char kController[] = "00:1A:2B:FF:FF:01";   // make-headend's controller MAC

std::string macs(std::initializer_list<const char*> list) {
    std::string out = "<modules>";
    for (const char* mac : list) out += std::string("<mac>") + mac + "</mac>";
    return out + "</modules>";
}

std::string camLine(const std::string& address) { return "/dorel/bin/clienteXMLRPC " + address + " resetCAM"; }
std::string rebootLine(const std::string& address) {
    return "/dorel/bin/clienteXMLRPC " + address + " EjecutarScript reboot";
}

class ModuleReset : public StoreTest {
protected:
    void SetUp() override {
        settings() = Settings();
        settings().load();
        root_.writeFile("/devkit/calls.log", "");   // only the resets' own calls from here on
    }
    Errors resetCams(const std::string& modules) { return errorsOf(envelope(3, "resetCAMModules", modules)); }
    Errors resetModules(const std::string& modules) { return errorsOf(envelope(4, "resetModules", modules)); }
};

TEST_F(ModuleReset, NoMacResetsEveryModuleAndARepeatedMacTwice) {
    EXPECT_EQ(Errors{}, resetCams("<modules/>"));
    EXPECT_EQ(Errors{}, resetCams(macs({kModule2, kModule2, kModule1})));
    EXPECT_EQ((std::vector<std::string>{camLine("10.9.0.1"), camLine("10.9.0.2"), camLine("10.9.0.2"),
                                        camLine("10.9.0.2"), camLine("10.9.0.1")}),
              root_.stubCalls());
}

TEST_F(ModuleReset, CommandLinesQuoteTheAddress) {
    const std::string client = paths::clienteXmlRpc();
    EXPECT_EQ(client + " \"10.9.0.1\" resetCAM", moduleResetCommandLine("10.9.0.1", "resetCAM"));
    EXPECT_EQ(client + " \"10.9.0.1\" EjecutarScript 'reboot'",
              moduleResetCommandLine("10.9.0.1", "EjecutarScript 'reboot'"));
}

TEST_F(ModuleReset, FailuresAreReportedPerModuleAndTheLastOneDecides) {
    const std::string client = root_.rooted("/dorel/bin/clienteXMLRPC");
    struct Case {
        const char* what;
        std::function<void()> prepare;
        bool camReset;
        std::string modules;
        Errors expected;
    } cases[] = {
        {"unknown module", [] {}, true, macs({"00:00:00:00:00:99"}), {{kCouldNotFindModule, "00:00:00:00:00:99"}}},
        {"no modules element", [] {}, true, "", {{kInvalidCommand, "Could not find 'modules' field"}}},
        {"client exits 1", [&] { root_.writeFile("/devkit/xmlrpc-resetCAM.exit", "1\n"); }, true,
         macs({kModule1, kModule2}), {{kCouldNotResetCam, kModule2}}},
        {"only the first fails",
         [&] {
             root_.writeFile("/devkit/xmlrpc-resetCAM.exit", "0\n");
             root_.writeFile("/devkit/modules/10.9.0.1.resetCAM.exit", "3\n");
         },
         true, macs({kModule1, kModule2}), {{kCouldNotResetCam, kModule1}}},
        {"module reboot fails", [&] { root_.writeFile("/devkit/xmlrpc-EjecutarScript.exit", "1\n"); }, false,
         macs({kModule1}), {{kCouldNotResetModule, kModule1}}},
        // A client that does not end normally counts like one that could not start.
        {"client killed", [&] { root_.writeFile("/dorel/bin/clienteXMLRPC", "#!/bin/sh\nkill -9 $$\n"); }, true,
         macs({kModule1}), {{kCouldNotResetCam, kModule1}}},
        {"no shell for the client", [&] { root_.writeFile("/dorel/bin/clienteXMLRPC", "#!/nonexistent/sh\n"); },
         true, macs({kModule2}), {{kCouldNotResetCam, kModule2}}},
    };
    for (Case& c : cases) {
        c.prepare();
        const std::string params = c.modules;
        const Errors errors = c.camReset ? resetCams(params) : resetModules(params);
        EXPECT_EQ(c.expected, errors) << c.what;
    }
}

TEST_F(ModuleReset, TemporaryDatabaseMissingGives102) {
    const std::string path = root_.rooted("/tmp/temp_global.sqlite");
    ASSERT_EQ(0, unlink(path.c_str()));
    EXPECT_EQ((Errors{{kCouldNotAccessDatabase, "Could not access database"}}), resetCams("<modules/>"));
}

TEST_F(ModuleReset, HostileAddressRunsNothingButTheClient) {
    const std::string marker = root_.rooted("/pwned");
    const std::string addresses[] = {
        "$(touch " + marker + ")",
        "`touch " + marker + "`",
        "x\"; touch " + marker + "; echo \"",
        "x'; touch " + marker + "; echo '",
    };
    for (const std::string& address : addresses) {
        root_.exec("/tmp/temp_global.sqlite", "UPDATE ModulosCabecera SET Direccion = '" +
                                                  [&] {
                                                      std::string q;
                                                      for (char ch : address) q += ch == '\'' ? "''" : std::string(1, ch);
                                                      return q;
                                                  }() +
                                                  "' WHERE idModulosCabecera = 1");
        resetCams(macs({kModule1}));
        EXPECT_FALSE(root_.exists("/pwned")) << address;
        ASSERT_FALSE(root_.stubCalls().empty());
        EXPECT_EQ(camLine(address), root_.stubCalls().back()) << address;
    }
}

TEST_F(ModuleReset, ControllerStoresItsResultThenRebootsLastAndEnds) {
    // The controller is the first module of the table but reboots last.
    root_.exec("/dorel/DB/config_global.sqlite",
               std::string("INSERT INTO RedesModulos (idRedMod, MAC) VALUES (0, '") + kController + "')");
    fflush(nullptr);
    const pid_t child = fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        auto command = createCommand(envelope(21, "resetModules", "<modules/>"));
        save(*command);
        command->run();
        _exit(99);   // run() must not come back
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
    EXPECT_EQ((std::vector<std::string>{rebootLine("10.9.0.1"), rebootLine("10.9.0.2"), "reboot"}),
              root_.stubCalls());

    // What the store held when reboot ran, and still holds.
    for (const char* store : {"/devkit/reboot/remote_control.sqlite", kStore}) {
        const auto rows = root_.query(store, "SELECT commandId, status, result FROM RCCommand");
        ASSERT_EQ(1u, rows.size()) << store;
        EXPECT_EQ("21", rows[0][0]);
        EXPECT_EQ("2", rows[0][1]);
        EXPECT_NE(std::string::npos, rows[0][2].find("<resetModulesResult/>")) << rows[0][2];
        EXPECT_NE(std::string::npos, rows[0][2].find("<result>0</result>")) << rows[0][2];
    }
}

}  // namespace
}  // namespace rctest
