// Every kind of headend program hanging the way a stuck one does (the dev
// kit's stand-in starts a child that hangs too): the call is stopped at its
// time-out with everything it started, ends as that program's failure always
// has, and the next call works. The time-outs are a test's, not minutes.
#include "common/errors.h"
#include "support/command_test.h"

#include <functional>
#include <unistd.h>

namespace rctest {
namespace {

using namespace dorel_remote_control;

struct HungPrograms : CommandTest {
    HungPrograms() {
        for (int p = 0; p < static_cast<int>(Program::kCount); ++p) env().setTimeoutMillis(Program(p), 300);
    }
    // The outcome of a command: its error codes.
    std::string codes(const std::string& name, const std::string& params) {
        std::string out;
        for (const auto& error : errorsOf(name, params)) out += std::to_string(error.first) + ";";
        return out;
    }
    // A regional change, whose follow-up only logs: the collector's lines.
    std::string regionalChange(const char* country) {
        env().clearLog();
        codes("setConfiguration", std::string("<configuration><regional><country>") + country +
                                      "</country></regional></configuration>");
        std::string out;
        for (const LogLine& line : env().lines()) out += line.text.rfind("r9::: Error", 0) == 0 ? line.text : "";
        return out;
    }
};

TEST_F(HungPrograms, EachIsStoppedAtItsTimeOutAndFailsAsItAlwaysHas) {
    auto applyFirmware = [&] {
        root_.writeFile("/dorel/rc_uploads/fw.bin", "package B");
        return codes("applyFirmwareUpgrade",
                     "<firmware><filename>fw.bin</filename><md5>663840473143a11ec7047ffcb444aa31</md5></firmware>");
    };
    int n = 0;
    auto network = [&] {
        return codes("setConfiguration",
                     "<configuration><network><ip>10.0.0." + std::to_string(++n) + "</ip></network></configuration>");
    };
    const struct {
        const char* stub;
        std::function<std::string()> run;
        std::string hung, normal;
    } cases[] = {
        {"SERIAL",
         [&] {
             try {
                 loadSettings();
             } catch (const ReadConfigError& e) {
                 return std::string(e.what());
             }
             return std::string("read");
         },
         "Could not read Serial Number", "read"},
        {"md5sum", applyFirmware, "702;", ""},
        {"fw_upload_start.sh", applyFirmware, "711;", ""},
        {"fw_upload_end.sh", applyFirmware, "711;", ""},
        {"QuorKey", [&] { return codes("regenerateQuorvexScramblingKey", ""); }, "911;", ""},
        {"WAN_from_DB.sh", network, "203;", ""},
        {"get_time_offsets.sh", [&] { return regionalChange(n++ % 2 ? "FR" : "IT"); },
         "r9::: Error (-1) executing get_time_offsets.sh: " + root_.rooted("/dorel/script/get_time_offsets.sh") +
             " 0 \"Europe/Rome\"",
         ""},
        {"S60crond", [&] { return regionalChange(n++ % 2 ? "FR" : "IT"); }, "r9::: Error (-1) restarting cron", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.stub);
        const std::string hang = std::string("/devkit/hang/") + c.stub;
        root_.writeFile(hang, "");
        env().clearLog();
        EXPECT_EQ(c.hung, c.run());
        EXPECT_EQ(0, root_.hungProcessesLeft());
        EXPECT_TRUE(env().contains("did not end within its time-out of 0.3 s")) << env().dump();
        unlink(root_.rooted(hang).c_str());
        EXPECT_EQ(c.normal, c.run());
    }
}

}  // namespace
}  // namespace rctest
