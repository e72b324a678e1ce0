// setConfiguration: applies a configuration document, section by section, to
// config_global inside one transaction (all sections or none), then runs the
// follow-up that the committed changes need: the WAN script, the country's
// time zones and, on WMB-G400 controllers, the scrambling-key regeneration.
//
//   <setConfiguration><configuration><network>...</network>...</configuration></setConfiguration>
#pragma once

#include "commands/core/command.h"
#include "commands/setconfig/section_context.h"

namespace dorel_remote_control {

class CmdSetConfiguration : public Command {
public:
    explicit CmdSetConfiguration(Env& env, Envelope envelope) : Command(env, std::move(envelope), "setConfiguration") {}

protected:
    void execute() override;

private:
    // Applies every section inside the transaction; false when a section
    // failed (its error entry is recorded) and the document must be rolled
    // back.
    bool applySections(SetConfigContext& context, const XmlNode* configuration);
    // The follow-up of a committed document, in its fixed order.
    void runFollowUp(const SetConfigContext& context);
    // Records an error through the same double log line the sections use.
    void report(int code, const std::string& detail = std::string());
};

// The handler of a section name (ASCII case ignored), or null for a name the
// agent does not know.
SectionHandler findSection(const std::string& name);

}  // namespace dorel_remote_control
