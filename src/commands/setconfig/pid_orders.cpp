// The "pidOrders" of one output service: its rows of PIDsSalidaGlobal, those
// whose fk_idSSG is the service's key. A PID order is matched to a row by its
// stream (StreamId); listed PIDs are updated or inserted, the service's other
// PIDs are marked deleted (EstadoPID 0, EstadoBorrado 1), never removed.
#include "commands/setconfig/module_scope.h"

#include "commands/core/result_codes.h"
#include "commands/setconfig/value_rules.h"
#include "db/access.h"
#include "db/tables.h"

namespace dorel_remote_control {

namespace {

namespace psg = doreldb::PIDsSalidaGlobal;
namespace ssg = doreldb::ServiciosSalidaGlobal;

const char kPidLive[] = "1";       // EstadoPID of a PID the service carries
const char kPidDropped[] = "0";    // EstadoPID of a deleted PID
const char kNotDeleted[] = "0";    // EstadoBorrado
const char kDeleted[] = "1";

// A bad number is refused as 103 "Invalid value for pidOrder/<element>".
const ValueRule kPidRules[] = {
    rule("languageCode", psg::AudioCode).text(),
    rule("streamId", psg::StreamId).number(),
    rule("type", psg::Tipo).number(),
    rule("order", psg::Orden).number(),
};
const ValueRule& kStreamRule = kPidRules[1];

bool isDeleted(const std::string& estadoBorrado) { return lenientWholeNumber(estadoBorrado) > 0; }
bool isDeleted(const doreldb::Record& row) { return isDeleted(row.text(psg::EstadoBorrado)); }

// The first PID of the service, not yet matched, on that stream: a live one
// before a deleted one. Returns its position in `pids`.
bool findPid(ModuleScope& scope, const std::vector<size_t>& pids, const std::vector<bool>& confirmed,
             const std::string& stream, size_t& found) {
    // A stored StreamId matches when its number, written in decimal, is the
    // stream's text: decoded once here rather than per PID and comparison.
    const int32_t number = lenientWholeNumber(stream);
    if (std::to_string(number) != stream) return false;
    bool any = false;
    for (size_t i = 0; i < confirmed.size(); ++i) {
        if (confirmed[i] || lenientWholeNumber(scope.rows.pidText(pids[i], psg::StreamId)) != number) continue;
        if (!isDeleted(scope.rows.pidText(pids[i], psg::EstadoBorrado))) {
            found = i;
            return true;
        }
        if (!any) found = i;
        any = true;
    }
    return any;
}

// Writes a changed PID row and keeps the store in step with the database.
bool savePid(ModuleScope& scope, size_t row, doreldb::Record& pid, const char* failureText) {
    if (!pid.anyModified()) return true;
    if (!saveRow(scope.context, pid, failureText)) return false;
    scope.rows.storePid(row, pid);
    return true;
}

doreldb::Record newPid(const doreldb::Record& service) {
    doreldb::Record row(psg::table());
    row.set(psg::fk_idSSG, service.key());
    row.set(psg::Orden, "0");
    row.set(psg::Tipo, "0");
    row.set(psg::StreamId, "0");
    row.set(psg::AudioCode, "");
    row.set(psg::EstadoPID, kPidLive);
    row.set(psg::EstadoBorrado, kNotDeleted);
    return row;
}

bool applyPidOrder(ModuleScope& scope, doreldb::Record& service, const XmlNode* element,
                   std::vector<bool>& confirmed) {
    const std::string language = nodeText(childElementNoCase(element, "languageCode"));
    SetConfigContext::progress("languageCode node_value:" + language);

    const XmlNode* streamChild = childElementNoCase(element, kStreamRule.element);
    std::string stream;
    if (streamChild != nullptr && !decodeValue(kStreamRule, streamChild, stream)) {
        return scope.context.fail(kInvalidValue, "Invalid value for pidOrder/streamId");
    }
    std::vector<size_t>& pids = scope.rows.pidsOf(service.key());
    size_t position = 0;
    doreldb::Record fresh = newPid(service);
    doreldb::Record stored(psg::table());
    doreldb::Record* row = &fresh;
    if (streamChild != nullptr && findPid(scope, pids, confirmed, stream, position)) {
        confirmed[position] = true;
        stored = scope.rows.pid(pids[position]);
        row = &stored;
        if (isDeleted(*row)) {
            row->set(psg::EstadoBorrado, kNotDeleted);
            row->setIfDifferent(psg::EstadoPID, kPidLive);
        }
    }
    // A PID travels with its service's module, input and output.
    row->setIfDifferent(psg::MAC, service.text(ssg::MAC));
    row->setIfDifferent(psg::fk_idEntrada, service.text(ssg::fk_idEntrada));
    row->setIfDifferent(psg::fk_idSalidasLogicas, service.text(ssg::fk_idSalidasLogicas));

    WalkOutcome outcome;
    if (!applyRules(scope.context, ruleTable(kPidRules), element, {row}, outcome)) return false;
    if (row != &fresh) return savePid(scope, pids[position], stored, "Could not update pidOrder");
    if (doreldb::insert(scope.context.db(), fresh) != SQLITE_OK) {
        return scope.context.fail(kCouldNotAccessDatabase, "Could not insert pidOrder");
    }
    scope.rows.addPid(service.key(), std::move(fresh));
    return true;
}

bool markDeleted(ModuleScope& scope, size_t row, const char* failureText) {
    doreldb::Record pid = scope.rows.pid(row);
    if (isDeleted(pid)) return true;
    pid.set(psg::EstadoBorrado, kDeleted);
    pid.setIfDifferent(psg::EstadoPID, kPidDropped);
    return savePid(scope, row, pid, failureText);
}

}  // namespace

bool applyPidOrders(ModuleScope& scope, doreldb::Record& service, const XmlNode* pidOrders) {
    SetConfigContext::progress("Processing: PIDs --->idSSG:" + service.key());
    // PIDs inserted by this list come after these and are confirmed by it.
    std::vector<bool> confirmed(scope.rows.pidsOf(service.key()).size(), false);
    for (const XmlNode* child : childElements(pidOrders)) {
        if (!nameIs(child, "pidOrder")) return scope.context.fail(kInvalidCommand, "No pidOrder element found");
        if (!applyPidOrder(scope, service, child, confirmed)) return false;
    }
    const std::vector<size_t>& pids = scope.rows.pidsOf(service.key());
    for (size_t i = 0; i < confirmed.size(); ++i) {
        if (!confirmed[i] && !markDeleted(scope, pids[i], "Could not update pidOrder")) return false;
    }
    return true;
}

bool deletePidsOf(ModuleScope& scope, const doreldb::Record& service) {
    for (size_t row : scope.rows.pidsOf(service.key())) {
        if (!markDeleted(scope, row, "Could not update pidIt")) return false;
    }
    return true;
}

}  // namespace dorel_remote_control
