// getConfiguration fed back through setConfiguration changes no row, NULLs
// included: the two commands agree on every column, encoding and state value.
// What a setConfiguration withdraws is no longer listed, and stays withdrawn
// when the document read back is sent again.
#include "commands/setconfig/setconfig_fixture.h"

#include "common/xml.h"

#include <functional>
#include <initializer_list>

namespace rctest {
namespace {

// Sections whose two documents cannot agree by their definitions: getConfiguration's
// homechannel and diseqc have no "id", which setConfiguration requires; its
// serviceEPG has no "sid" or "lcn", and setConfiguration replaces the EPG tables.
const char* const kDisagreeing[] = {"homeChannels", "diseqcs", "serviceEPGs"};

XmlNode* at(const XmlNode* node, std::initializer_list<const char*> path) {
    for (const char* name : path) node = node != nullptr ? childElement(node, name) : nullptr;
    return const_cast<XmlNode*>(node);
}

class ConfigurationRoundTrip : public ModulesTest {
protected:
    // getConfiguration's "configuration" element, kept in read_.
    XmlNode* read() {
        auto command = run("getConfiguration", "");
        EXPECT_EQ(Errors{}, command->result().errors());
        read_ = std::make_unique<ParsedXml>(command->result().print(env()));
        return at(&read_->doc(), {"commandResult", "data", "getConfigurationResult", "configuration"});
    }
    // The configuration read, edited, sent back without the sections that cannot agree.
    Errors sendBack(const std::function<void(XmlNode*)>& edit = nullptr) {
        XmlNode* configuration = read();
        if (edit) edit(configuration);
        for (const char* name : kDisagreeing) {
            if (XmlNode* section = childElement(configuration, name)) configuration->remove_node(section);
        }
        return run("setConfiguration", printXml(*configuration))->result().errors();
    }
    std::unique_ptr<ParsedXml> read_;
};

INSTANTIATE_TEST_SUITE_P(Headends, ConfigurationRoundTrip,
                         testing::Values(Headend{"nulls", {"--no-certs", "--nulls"}},
                                         Headend{"large", {"--no-certs", "--modules", "48", "--services", "60",
                                                           "--pids", "8"}}),
                         headendName);

TEST_P(ConfigurationRoundTrip, TheHeadendComesBackUnchangedWholeOrNotAtAllAndWhatIsLeftOutStaysOut) {
    const auto before = configRows();
    EXPECT_EQ(Errors{}, sendBack());
    EXPECT_EQ(before, configRows());

    // The modules are applied one at a time as the walk over the document reaches them, all in the document's
    // one transaction: a PID order refused at the very end of the last module takes back what every module wrote.
    const auto set = [](XmlNode* element, const char* text) {  // a parsed element prints its text node
        (element->first_node() != nullptr ? element->first_node() : element)->value(text);
    };
    EXPECT_EQ(invalid("Invalid value for pidOrder/streamId"), sendBack([&set](XmlNode* configuration) {
        for (XmlNode* module = at(configuration, {"modules", "module"}); module; module = module->next_sibling()) {
            set(at(module, {"attenuation"}), "7");
            for (XmlNode* service = at(module, {"services", "service"}); service; service = service->next_sibling()) {
                set(at(service, {"outputName"}), "Renamed");
                if (module->next_sibling() == nullptr && service->next_sibling() == nullptr) {
                    set(at(service, {"pidOrders"})->last_node("pidOrder")->first_node("streamId"), "x");
                }
            }
        }
    }));
    EXPECT_EQ(before, configRows());

    // Without the first service's second PID order and the second service, the first module's services come
    // back from getConfiguration as they were sent.
    std::string sent;
    EXPECT_EQ(Errors{}, sendBack([&sent](XmlNode* configuration) {
        XmlNode* services = at(configuration, {"modules", "module", "services"});
        XmlNode* orders = at(services, {"service", "pidOrders"});
        orders->remove_node(orders->first_node("pidOrder")->next_sibling("pidOrder"));
        services->remove_node(services->first_node("service")->next_sibling("service"));
        sent = printXml(*services);
    }));
    EXPECT_EQ(sent, printXml(*at(read(), {"modules", "module", "services"})));

    const auto withdrawn = configRows();
    EXPECT_EQ(Errors{}, sendBack());
    EXPECT_EQ(withdrawn, configRows());
}

}  // namespace
}  // namespace rctest
