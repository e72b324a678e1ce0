// resetModules and resetCAMModules in a simulated headend: which client lines
// run, in which order, and what a failure reports. (The controller's own
// reboot, last and after its result is stored, is the app's reboot test.)
#include "support/command_test.h"

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
    const struct {
        const char* what;
        const char* devkitFile;  // written first, with contents
        const char* contents;
        const char* command;
        std::string modules;
        Errors expected;
    } cases[] = {
        {"unknown module", nullptr, "", "resetCAMModules", macs({"00:00:00:00:00:99"}),
         {{kCouldNotFindModule, "00:00:00:00:00:99"}}},
        {"no modules", nullptr, "", "resetCAMModules", "", {{kInvalidCommand, "Could not find 'modules' field"}}},
        {"only the first fails", "/devkit/modules/10.9.0.1.resetCAM.exit", "3\n", "resetCAMModules",
         macs({kModule1, kModule2}), {{kCouldNotResetCam, kModule1}}},
        {"both fail", "/devkit/xmlrpc-resetCAM.exit", "1\n", "resetCAMModules", macs({kModule1, kModule2}),
         {{kCouldNotResetCam, kModule2}}},
        {"module reboot fails", "/devkit/xmlrpc-EjecutarScript.exit", "1\n", "resetModules", macs({kModule1}),
         {{kCouldNotResetModule, kModule1}}},
        // Stopped at the client's time-out: a reset that failed.
        {"client hangs", "/devkit/modules/10.9.0.2.hang", "", "resetModules", macs({kModule2}),
         {{kCouldNotResetModule, kModule2}}},
    };
    for (const auto& c : cases) {
        if (c.devkitFile) root_.writeFile(c.devkitFile, c.contents);
        EXPECT_EQ(c.expected, errorsOf(c.command, c.modules)) << c.what;
    }
    unlink(root_.rooted(kTempDb).c_str());
    EXPECT_EQ(only(kCouldNotAccessDatabase), errorsOf("resetCAMModules", "<modules/>")) << "no temporary database";
    EXPECT_EQ(0, root_.hungProcessesLeft());
}

}  // namespace
}  // namespace rctest
