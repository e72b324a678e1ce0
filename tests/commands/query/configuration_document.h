// Running getConfiguration inside a simulated headend for a given controller
// model and reading the document it produced.
#pragma once

#include "commands/core/command.h"
#include "commands/core/dispatch.h"
#include "common/xml.h"
#include "server/settings.h"
#include "support/fake_clock.h"
#include "support/headend_root.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace rctest {

// Element names of a node's children, separated by blanks.
inline std::string childNames(const dorel_remote_control::XmlNode* node) {
    std::string names;
    for (auto* child = node != nullptr ? node->first_node() : nullptr; child; child = child->next_sibling()) {
        if (child->type() != rapidxml::node_element) continue;
        if (!names.empty()) names += ' ';
        names += dorel_remote_control::nodeName(child);
    }
    return names;
}

// The node at a path of child names from node ("" for a missing one: null).
inline dorel_remote_control::XmlNode* at(const dorel_remote_control::XmlNode* node,
                                         const std::vector<const char*>& path) {
    auto* current = const_cast<dorel_remote_control::XmlNode*>(node);
    for (const char* name : path) {
        if (current == nullptr) return nullptr;
        current = dorel_remote_control::childElement(current, name);
    }
    return current;
}

inline std::string textAt(const dorel_remote_control::XmlNode* node, const std::vector<const char*>& path) {
    return dorel_remote_control::nodeText(at(node, path));
}

// The n-th (0-based) child element of that name.
inline dorel_remote_control::XmlNode* nth(const dorel_remote_control::XmlNode* parent, const char* name, size_t n) {
    auto* child = parent != nullptr ? dorel_remote_control::childElement(parent, name) : nullptr;
    for (; child != nullptr && n > 0; --n) child = child->next_sibling(name);
    return child;
}

class ConfigurationTest : public ::testing::Test {
protected:
    explicit ConfigurationTest(const std::vector<std::string>& headendArgs = {"--no-certs"}) : root_(headendArgs) {}

    // Runs the command as the given model; keeps the printed result parsed.
    void runAs(const std::string& model = "KVB-200") {
        root_.writeFile("/devkit/identity/MODELO", model + "\n");
        dorel_remote_control::settings() = dorel_remote_control::Settings();
        dorel_remote_control::settings().load();
        auto command = dorel_remote_control::createCommand(
            "<command><id>5</id><data><getConfiguration/></data></command>");
        command->run();
        errors_ = command->result().errors();
        printed_ = command->result().print();
        parsed_ = std::make_unique<dorel_remote_control::ParsedXml>(printed_);
    }
    dorel_remote_control::XmlNode* resultElement() const {
        return at(&parsed_->doc(), {"commandResult", "data", "getConfigurationResult"});
    }
    dorel_remote_control::XmlNode* configuration() const { return at(resultElement(), {"configuration"}); }
    dorel_remote_control::XmlNode* module(size_t n) const { return nth(at(configuration(), {"modules"}), "module", n); }

    HeadendRoot root_;
    FakeClock clock_;
    std::map<int, std::string> errors_;
    std::string printed_;
    std::unique_ptr<dorel_remote_control::ParsedXml> parsed_;
    static constexpr const char* kConfig = "/dorel/DB/config_global.sqlite";
    static constexpr const char* kTemp = "/tmp/temp_global.sqlite";
};

}  // namespace rctest
