// Reading the module's PHPserialize answer, and the small text rules of the
// status document (software versions, alarm texts).
#include "server/alarms.h"
#include "server/status_report.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <unistd.h>

using namespace dorel_remote_control;

namespace {

// One object as the module's XML-RPC service serialises it.
std::string object(int index, const std::string& name, const std::string& value) {
    return "i:" + std::to_string(index) + ";O:15:\"tAlarmasEstadoE\":2:{s:7:\"fnombre\";s:" +
           std::to_string(name.size()) + ":\"" + name + "\";s:6:\"fvalor\";s:" +
           std::to_string(value.size()) + ":\"" + value + "\";}";
}

class StatusVariablesFile : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/status-vars-XXXXXX";
        const int fd = mkstemp(pattern);
        ASSERT_NE(fd, -1);
        close(fd);
        path_ = pattern;
    }
    void TearDown() override { std::remove(path_.c_str()); }

    void write(const std::string& contents) {
        std::ofstream out(path_, std::ios::binary | std::ios::trunc);
        out << contents;
    }

    std::string path_;
};

}  // namespace

TEST_F(StatusVariablesFile, ReadsEveryObjectOfEveryLine) {
    write("a:2:{" + object(0, "alarma_diseqc", "1") + object(1, "estado_cam", "1f") + "}\n" +
          "a:1:{" + object(0, "alarma_rfout_1", "") + "}\n");
    const auto vars = parseStatusVariables(path_);
    ASSERT_EQ(vars.size(), 3u);
    EXPECT_EQ(vars.at("alarma_diseqc"), "1");
    EXPECT_EQ(vars.at("estado_cam"), "1f");
    EXPECT_EQ(vars.at("alarma_rfout_1"), "");
}

TEST_F(StatusVariablesFile, ARepeatedNameKeepsTheLaterValue) {
    write("a:2:{" + object(0, "estado_cam", "0") + object(1, "estado_cam", "1") + "}\n" +
          "a:1:{" + object(0, "estado_cam", "2") + "}\n");
    EXPECT_EQ(parseStatusVariables(path_).at("estado_cam"), "2");
}

TEST_F(StatusVariablesFile, ATruncatedObjectEndsItsLineButNotTheFile) {
    const std::string full = object(1, "alarma_cam_ini", "1");
    write("a:3:{" + object(0, "alarma_diseqc", "1") + full.substr(0, full.size() - 6) + "\n" +
          object(0, "estado_cam", "1") + "\n" +
          "O:15:\"tAlarmasEstadoE\":2:{s:7:\"fnombre\";s:4:\"half\n");
    const auto vars = parseStatusVariables(path_);
    EXPECT_EQ(vars.size(), 2u);
    EXPECT_EQ(vars.count("alarma_diseqc"), 1u);
    EXPECT_EQ(vars.count("estado_cam"), 1u);
    EXPECT_EQ(vars.count("alarma_cam_ini"), 0u);
    EXPECT_EQ(vars.count("half"), 0u);
}

TEST_F(StatusVariablesFile, GarbageAndBinaryContentGiveNothing) {
    const char binary[] = "no objects here\n\0\0\xff\xfe fnombre:\"x\" fvalor:\"y\"\n";
    write(std::string(binary, sizeof binary - 1) + "tAlarmasEstadoE fvalor:\"v\" fnombre:\"n\"\n");
    EXPECT_TRUE(parseStatusVariables(path_).empty());
}

TEST_F(StatusVariablesFile, AMissingOrUnreadableFileGivesAnEmptyMap) {
    EXPECT_TRUE(parseStatusVariables(path_ + ".missing").empty());
    EXPECT_TRUE(parseStatusVariables("/").empty());
    write("");
    EXPECT_TRUE(parseStatusVariables(path_).empty());
}

TEST(SoftwareVersion, ShortValuesAreHundredths) {
    EXPECT_EQ(formatSoftwareVersion("150"), "1.50");
    EXPECT_EQ(formatSoftwareVersion("123"), "1.23");
    EXPECT_EQ(formatSoftwareVersion("7"), "0.07");
    EXPECT_EQ(formatSoftwareVersion("1000"), "10.00");
    // Not a number, or nothing at all: still a well-formed version.
    EXPECT_EQ(formatSoftwareVersion(""), "0.00");
    EXPECT_EQ(formatSoftwareVersion("ab"), "0.00");
    EXPECT_EQ(formatSoftwareVersion("1-2"), "0.01");
}

TEST(SoftwareVersion, LongValuesAreCutBeforeTheirSuffix) {
    EXPECT_EQ(formatSoftwareVersion("20190412-r3"), "20190412");
    EXPECT_EQ(formatSoftwareVersion("2.1.4+git5-r1"), "2.1.4");
    EXPECT_EQ(formatSoftwareVersion("3.0.1-rc+x"), "3.0.1");
    EXPECT_EQ(formatSoftwareVersion("12345"), "12345");
    EXPECT_EQ(formatSoftwareVersion("-beta"), "");
}

TEST(AlarmTexts, ASetHoldsEachCodeOnceWithItsText) {
    AlarmSet alarms;
    for (int code : {506, 201, 404, 201, 0}) raiseAlarm(alarms, code);
    const AlarmSet expected = {{0, "No alarm"}, {201, "Hardware alarm"}, {404, "Output 2 overloaded"},
                               {506, "CAM alarm: There are services not being decrypted"}};
    EXPECT_EQ(alarms, expected);
    for (int code : {-1, 1, 207, 300, 507}) EXPECT_STREQ(alarmText(code), "Unknown Alarm") << code;
}
