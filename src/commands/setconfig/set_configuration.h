// setConfiguration: applies a configuration document, section by section, to
// config_global inside one transaction (all sections or none), then runs the
// follow-up that the committed changes need: the WAN script, the country's
// time zones and, on WMB-G400 controllers, the scrambling-key regeneration.
//
//   <setConfiguration><configuration><network>...</network>...</configuration></setConfiguration>
#pragma once

#include "commands/core/command.h"
#include "commands/setconfig/section_context.h"
#include "common/xml_stream.h"

#include <memory>
#include <string_view>

namespace dorel_remote_control {

class ModulesSection;
struct SectionEntry;

class CmdSetConfiguration : public Command {
public:
    explicit CmdSetConfiguration(Env& env, Envelope envelope) : Command(env, std::move(envelope), "setConfiguration") {}

protected:
    void execute() override;

private:
    // Applies every section of the configuration element whose text starts
    // the view, inside the transaction, one at a time as the walk over the
    // document reaches its end; false when a section failed (its error entry
    // is recorded) and the document must be rolled back.
    bool applySections(SetConfigContext& context, std::string_view configuration);
    // At a section's start tag: its progress line, and its entry (null for an
    // unknown section, logged); the modules section starts taking modules.
    const SectionEntry* startSection(SetConfigContext& context, const std::string& name,
                                     std::unique_ptr<ModulesSection>& modules);
    // At its end: the section applied (nothing for an unknown one).
    bool applySection(SetConfigContext& context, const SectionEntry* entry, std::unique_ptr<ModulesSection>& modules,
                      std::string_view text);
    // The follow-up of a committed document, in its fixed order.
    void runFollowUp(const SetConfigContext& context);
    // Records an error through the same double log line the sections use.
    void report(int code, const std::string& detail = std::string());
};

// How a section is applied: parsed alone into a tree for its handler, or,
// for the one section that can hold the whole headend (handler null), taken
// a module element at a time (modules_section.h).
struct SectionEntry {
    const char* name;
    SectionHandler handler;
};

// The entry of a section name (ASCII case ignored), or null for a name the
// agent does not know.
const SectionEntry* findSection(const std::string& name);

}  // namespace dorel_remote_control
