// Which documents may configure the headend's modules: all of them, each once,
// in any order, with the stored family, model and master flag. Every modules
// test runs on each headend layout listed here.
#include "commands/setconfig/setconfig_fixture.h"

namespace rctest {
namespace {

using namespace dorel_remote_control;

INSTANTIATE_TEST_SUITE_P(Layouts, ModulesTest, testing::Values(Headend{"default", {"--no-certs"}}), headendName);

TEST_P(ModulesTest, AcceptsTheWholeHeadendInAnyOrderAndRefusesEverythingElse) {
    const std::string m1 = moduleElement(1);
    const std::string m2 = moduleElement(2);
    const struct {
        std::string modules;
        Errors expected;
    } cases[] = {
        {m2 + m1, {}},
        {"<module><mac>00:1a:2b:00:00:01</mac></module>" + m2, {}},
        {moduleElement(1, "<family>20</family><model>3</model><isMaster>1</isMaster>") +
             moduleElement(2, "<FAMILY>36</FAMILY><isMaster>0</isMaster>"),
         {}},
        {"", sectionFailure(kInvalidCommand, "No modules found")},
        {m1 + "<modul/>" + m2, sectionFailure(kInvalidCommand, "No module element found")},
        {m1 + m2 + moduleElement(9), sectionFailure(kCouldNotFindModule, "Could not find module 00:1A:2B:00:00:09")},
        {m1 + "<module><id>x</id></module>", sectionFailure(kCouldNotFindModule, "Could not find module (no mac)")},
        {m1 + "<module><mac>00:1A:2B:00:00:0_</mac></module>",
         sectionFailure(kCouldNotFindModule, "Could not find module 00:1A:2B:00:00:0_")},
        {m2, sectionFailure(kInvalidAmountOfModules, "Invalid amount of modules (missing 00:1A:2B:00:00:01)")},
        {m1 + m2 + m1, sectionFailure(kInvalidAmountOfModules, "Invalid amount of modules (00:1A:2B:00:00:01 twice)")},
        {m1 + moduleElement(2, "<family>20</family>"),
         sectionFailure(kInvalidModuleFamily, "Invalid module family/model 00:1A:2B:00:00:02")},
        {moduleElement(1, "<model>5</model>") + m2,
         sectionFailure(kInvalidModuleFamily, "Invalid module family/model 00:1A:2B:00:00:01")},
        {m1 + moduleElement(2, "<isMaster>1</isMaster>"),
         sectionFailure(kCouldNotFindModule, "Could not find module 00:1A:2B:00:00:02 (isMaster differs)")},
    };
    const auto before = configRows();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.modules);
        EXPECT_EQ(c.expected, applyErrors("<modules>" + c.modules + "</modules>"));
    }
    EXPECT_EQ(before, configRows()) << "module elements without settings change nothing";
}

TEST_P(ModulesTest, ALastModuleThatFailsLeavesEveryTableAsItWas) {
    const auto before = configRows();
    const std::string firstModule =
        "<attenuation>4</attenuation><name>Changed</name>"
        "<inputs><input><inputId>1</inputId><type>0</type><frequency>11000</frequency></input></inputs>"
        "<outputs><output><outputId>1</outputId><frequency>498000</frequency></output></outputs>"
        "<services><service><outputId>2</outputId><outputSid>900</outputSid><pidOrders><pidOrder>"
        "<streamId>901</streamId></pidOrder></pidOrders></service></services>";
    EXPECT_EQ(sectionFailure(kInvalidModuleOutput, "Invalid value for module/output/active"),
              applyModules({{1, firstModule}, {2, "<outputs><output><outputId>1</outputId><active>2</active>"
                                                  "</output></outputs>"}}));
    EXPECT_EQ(before, configRows());
}

}  // namespace
}  // namespace rctest
