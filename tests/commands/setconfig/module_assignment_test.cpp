// Which documents may configure the headend's modules: all of them, each once,
// in any order, with the stored family, model and master flag.
#include "commands/setconfig/modules_fixture.h"

namespace rctest {
namespace {

using namespace dorel_remote_control;

struct AssignmentCase {
    const char* name;
    std::string modules;   // content of the "modules" section
    Errors expected;
};

class ModuleAssignment : public ModulesTest {};

TEST_F(ModuleAssignment, AcceptsTheWholeHeadendInAnyOrderAndRefusesEverythingElse) {
    const std::string m1 = moduleElement(1);
    const std::string m2 = moduleElement(2);
    const std::vector<AssignmentCase> cases = {
        {"in order", m1 + m2, {}},
        {"reversed", m2 + m1, {}},
        {"lower-case MAC", "<module><mac>00:1a:2b:00:00:01</mac></module>" + m2, {}},
        {"stored identity", moduleElement(1, "<family>20</family><model>3</model><isMaster>1</isMaster>") +
                                moduleElement(2, "<FAMILY>36</FAMILY><isMaster>0</isMaster>"),
         {}},
        {"no module", "", sectionFailure(kInvalidCommand, "No modules found")},
        {"other element", m1 + "<modul/>" + m2, sectionFailure(kInvalidCommand, "No module element found")},
        {"unknown MAC", m1 + m2 + moduleElement(9),
         sectionFailure(kCouldNotFindModule, "Could not find module 00:1A:2B:00:00:09")},
        {"no MAC", m1 + "<module><id>x</id></module>", sectionFailure(kCouldNotFindModule, "Could not find module (no mac)")},
        {"wildcard MAC", m1 + "<module><mac>00:1A:2B:00:00:0_</mac></module>",
         sectionFailure(kCouldNotFindModule, "Could not find module 00:1A:2B:00:00:0_")},
        {"module left out", m2, sectionFailure(kInvalidAmountOfModules, "Invalid amount of modules (missing 00:1A:2B:00:00:01)")},
        {"module twice", m1 + m2 + m1,
         sectionFailure(kInvalidAmountOfModules, "Invalid amount of modules (00:1A:2B:00:00:01 twice)")},
        {"other family", m1 + moduleElement(2, "<family>20</family>"),
         sectionFailure(kInvalidModuleFamily, "Invalid module family/model 00:1A:2B:00:00:02")},
        {"other model", moduleElement(1, "<model>5</model>") + m2,
         sectionFailure(kInvalidModuleFamily, "Invalid module family/model 00:1A:2B:00:00:01")},
        {"other master", m1 + moduleElement(2, "<isMaster>1</isMaster>"),
         sectionFailure(kCouldNotFindModule, "Could not find module 00:1A:2B:00:00:02 (isMaster differs)")},
    };
    const auto before = allConfigRows();
    for (const AssignmentCase& c : cases) {
        EXPECT_EQ(c.expected, apply("<modules>" + c.modules + "</modules>")) << c.name;
    }
    EXPECT_EQ(before, allConfigRows()) << "module elements without settings change nothing";
}

}  // namespace
}  // namespace rctest
