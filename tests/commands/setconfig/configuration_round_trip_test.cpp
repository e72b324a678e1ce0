// getConfiguration fed back unchanged through setConfiguration changes no row:
// the two commands agree on every column, encoding and state value. Also the
// withdrawn services and dropped PID orders of a setConfiguration are gone
// from the next getConfiguration.
#include "commands/query/configuration_document.h"
#include "commands/setconfig/modules_fixture.h"

#include <functional>

namespace rctest {
namespace {

using namespace dorel_remote_control;

// Sections whose two documents cannot agree by their definitions.
struct Disagreement {
    const char* section;
    const char* why;
};
const Disagreement kDisagreeing[] = {
    {"homeChannels", "getConfiguration's homechannel has no \"id\"; setConfiguration requires one"},
    {"diseqcs", "getConfiguration's diseqc has no \"id\"; setConfiguration requires one"},
    {"serviceEPGs", "setConfiguration replaces the EPG tables; getConfiguration's serviceEPG has no \"sid\" or \"lcn\""},
};

class ConfigurationRoundTrip : public ConfigurationTest {
protected:
    // Table by table, so that a difference names its table.
    void expectUnchanged(const std::map<std::string, Rows>& before) const {
        const std::map<std::string, Rows> after = configRowsOf(root_);
        for (const auto& table : before) {
            auto found = after.find(table.first);
            EXPECT_TRUE(found != after.end() && found->second == table.second) << table.first << " changed";
        }
    }

    explicit ConfigurationRoundTrip(const std::vector<std::string>& args = {"--no-certs"}) : ConfigurationTest(args) {}

    // The configuration getConfiguration reports, sent back as it is but for
    // the sections of kDisagreeing and what `edit` changes.
    Errors sendBack(const std::function<void(XmlNode*)>& edit = nullptr) {
        runAs();
        EXPECT_EQ(Errors{}, errors_);
        XmlNode* document = configuration();
        if (edit) edit(document);
        for (const Disagreement& d : kDisagreeing) {
            if (XmlNode* section = childElement(document, d.section)) document->remove_node(section);
        }
        auto command = createCommand(envelope(6, "setConfiguration", printXml(*document)));
        command->run();
        return command->result().errors();
    }
    // Output service ids of module m that getConfiguration lists.
    std::vector<std::string> listedServices(size_t m) {
        runAs();
        std::vector<std::string> sids;
        const XmlNode* services = at(module(m), {"services"});
        for (const XmlNode* s = childElement(services, "service"); s != nullptr; s = s->next_sibling("service")) {
            sids.push_back(textAt(s, {"outputSid"}));
        }
        return sids;
    }
};

TEST_F(ConfigurationRoundTrip, TheSmallHeadendComesBackUnchanged) {
    const auto before = configRowsOf(root_);
    EXPECT_EQ(Errors{}, sendBack());
    expectUnchanged(before);
}

TEST_F(ConfigurationRoundTrip, WithdrawnServicesAreNoLongerListed) {
    ASSERT_EQ((std::vector<std::string>{"101", "102", "103"}), listedServices(0));
    auto command = createCommand(envelope(
        6, "setConfiguration",
        "<configuration>" +
            modulesSection(2, {{1, "<services><service><outputId>1</outputId><outputSid>101</outputSid></service>"
                                   "<service><outputId>1</outputId><outputSid>103</outputSid></service></services>"}}) +
            "</configuration>"));
    command->run();
    EXPECT_EQ(Errors{}, command->result().errors());
    EXPECT_EQ((std::vector<std::string>{"101", "103"}), listedServices(0));
}

// A dropped PID order stays in its table marked deleted; were it listed
// again, the document read back would revive it.
TEST_F(ConfigurationRoundTrip, ADroppedPidOrderIsNotListedAndStaysDropped) {
    const std::vector<const char*> firstOrders = {"modules", "module", "services", "service", "pidOrders"};
    EXPECT_EQ(Errors{}, sendBack([&](XmlNode* document) {
        XmlNode* orders = at(document, firstOrders);
        ASSERT_EQ("pidOrder pidOrder", childNames(orders));
        orders->remove_node(nth(orders, "pidOrder", 1));
    }));
    EXPECT_EQ((Rows{{"1", "0"}, {"0", "1"}}),
              root_.query(kConfig, "SELECT EstadoPID, EstadoBorrado FROM PIDsSalidaGlobal WHERE fk_idSSG = '1' "
                                   "ORDER BY idPSG"));
    runAs();
    EXPECT_EQ("pidOrder", childNames(at(configuration(), firstOrders)));

    const auto before = configRowsOf(root_);
    EXPECT_EQ(Errors{}, sendBack());
    expectUnchanged(before);
}

class LargeConfigurationRoundTrip : public ConfigurationRoundTrip {
protected:
    LargeConfigurationRoundTrip()
        : ConfigurationRoundTrip({"--no-certs", "--modules", "48", "--services", "60", "--pids", "8"}) {}
};

TEST_F(LargeConfigurationRoundTrip, FortyEightModulesComeBackUnchanged) {
    const auto before = configRowsOf(root_);
    EXPECT_EQ(Errors{}, sendBack());
    expectUnchanged(before);
}

}  // namespace
}  // namespace rctest
