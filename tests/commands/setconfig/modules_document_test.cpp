// Whole documents: a failing module leaves every table as it was.
#include "commands/setconfig/modules_fixture.h"

namespace rctest {
namespace {

using namespace dorel_remote_control;

class ModulesDocument : public ModulesTest {};

TEST_F(ModulesDocument, ALastModuleThatFailsLeavesEveryTableAsItWas) {
    const auto before = allConfigRows();
    const std::string firstModule =
        "<attenuation>4</attenuation><name>Changed</name>"
        "<inputs><input><inputId>1</inputId><type>0</type><frequency>11000</frequency></input></inputs>"
        "<outputs><output><outputId>1</outputId><frequency>498000</frequency></output></outputs>"
        "<services><service><outputId>2</outputId><outputSid>900</outputSid><pidOrders><pidOrder>"
        "<streamId>901</streamId></pidOrder></pidOrders></service></services>";
    EXPECT_EQ(sectionFailure(kInvalidModuleOutput, "Invalid value for module/output/active"),
              apply("<identification><headendName>Other</headendName></identification>" +
                    modulesSection(2, {{1, firstModule},
                                       {2, "<outputs><output><outputId>1</outputId><active>2</active></output>"
                                           "</outputs>"}})));
    EXPECT_EQ(before, allConfigRows());
}

}  // namespace
}  // namespace rctest
