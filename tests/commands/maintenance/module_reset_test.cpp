// resetModules and resetCAMModules in a simulated headend: which client lines
// run, in which order, and what a failure reports. (The controller's own
// reboot, last and after its result is stored, is the app's reboot test.)
#include "support/command_test.h"

#include <functional>

#include <unistd.h>

namespace rctest {
namespace {

using namespace dorel_remote_control;

const char kModule1[] = "00:1A:2B:00:00:01";
const char kModule2[] = "00:1A:2B:00:00:02";
const char kClient[] = "/dorel/bin/clienteXMLRPC";

std::string macs(std::initializer_list<const char*> list) {
    std::string out = "<modules>";
    for (const char* mac : list) out += std::string("<mac>") + mac + "</mac>";
    return out + "</modules>";
}

std::string camLine(const std::string& address) { return std::string(kClient) + " " + address + " resetCAM"; }

// The module's address is read at its place in ModulosCabecera, its MAC by
// name: both layouts of the dev kit give the same lines.
struct ModuleReset : CommandTest, ::testing::WithParamInterface<const char*> {
    ModuleReset() : CommandTest({"--no-certs", "--layout", GetParam()}) {
        env().setTimeoutMillis(Program::kClienteXmlRpcReset, 300);
    }
};
INSTANTIATE_TEST_SUITE_P(Layouts, ModuleReset, ::testing::Values("default", "shuffled:2"));

TEST_P(ModuleReset, NoMacResetsEveryModuleAndARepeatedMacTwice) {
    EXPECT_EQ(Errors{}, errorsOf("resetCAMModules", "<modules/>"));
    EXPECT_EQ(Errors{}, errorsOf("resetCAMModules", macs({kModule2, kModule2, kModule1})));
    EXPECT_EQ((std::vector<std::string>{camLine("10.9.0.1"), camLine("10.9.0.2"), camLine("10.9.0.2"),
                                        camLine("10.9.0.2"), camLine("10.9.0.1")}),
              callsOf(kClient));
    EXPECT_EQ(Errors{}, errorsOf("resetModules", macs({kModule2})));
    EXPECT_EQ(std::string(kClient) + " 10.9.0.2 EjecutarScript reboot", callsOf(kClient).back());
}

TEST_P(ModuleReset, FailuresAreReportedPerModuleAndTheLastOneDecides) {
    struct Case {
        const char* what;
        std::function<void()> prepare;
        const char* command;
        std::string modules;
        Errors expected;
    } cases[] = {
        {"unknown module", [] {}, "resetCAMModules", macs({"00:00:00:00:00:99"}),
         {{kCouldNotFindModule, "00:00:00:00:00:99"}}},
        {"no modules element", [] {}, "resetCAMModules", "", {{kInvalidCommand, "Could not find 'modules' field"}}},
        {"client exits 1", [&] { root_.writeFile("/devkit/xmlrpc-resetCAM.exit", "1\n"); }, "resetCAMModules",
         macs({kModule1, kModule2}), {{kCouldNotResetCam, kModule2}}},
        {"only the first fails",
         [&] {
             root_.writeFile("/devkit/xmlrpc-resetCAM.exit", "0\n");
             root_.writeFile("/devkit/modules/10.9.0.1.resetCAM.exit", "3\n");
         },
         "resetCAMModules", macs({kModule1, kModule2}), {{kCouldNotResetCam, kModule1}}},
        {"module reboot fails", [&] { root_.writeFile("/devkit/xmlrpc-EjecutarScript.exit", "1\n"); }, "resetModules",
         macs({kModule1}), {{kCouldNotResetModule, kModule1}}},
        // Stopped at the client's time-out: a reset that failed.
        {"client hangs", [&] { root_.writeFile("/devkit/modules/10.9.0.2.hang", ""); }, "resetModules",
         macs({kModule2}), {{kCouldNotResetModule, kModule2}}},
        {"no temporary database", [&] { unlink(root_.rooted(kTempDb).c_str()); }, "resetCAMModules", "<modules/>",
         only(kCouldNotAccessDatabase)},
    };
    for (Case& c : cases) {
        c.prepare();
        EXPECT_EQ(c.expected, errorsOf(c.command, c.modules)) << c.what;
    }
    EXPECT_EQ(0, root_.hungProcessesLeft());
}

}  // namespace
}  // namespace rctest
