// The "services" list of a module: the output services it carries, each
// identified by its output (1 or 2) and output service id. Listed services
// are updated or inserted; the module's services that the list leaves out
// are withdrawn (EstadoBorrado 1, EstadoServicio 0) together with their PIDs,
// never deleted, so that the headend's programs see what went away. SSU
// carriers (SSU not 0) are not services of the list: never matched nor
// withdrawn.
#include "commands/setconfig/module_scope.h"

#include "commands/core/result_codes.h"
#include "commands/setconfig/value_rules.h"
#include "common/env.h"
#include "db/access.h"
#include "db/tables.h"
#include "server/settings.h"

#include <unordered_map>

namespace dorel_remote_control {

namespace {

namespace ssg = doreldb::ServiciosSalidaGlobal;

const char kLive[] = "0";        // EstadoBorrado of a service the module carries
const char kWithdrawn[] = "1";   // EstadoBorrado of a withdrawn service
const char kCarried[] = "1";     // EstadoServicio of a new or revived service
const char kNotCarried[] = "0";  // EstadoServicio of a withdrawn service

// An LCN below 1 is refused, unless the service already has it.
bool lcnAllowed(int32_t value, const std::vector<doreldb::Record*>& rows) {
    return value >= 1 || rows[0]->text(ssg::LCN) == std::to_string(value);
}

// A number; a bad one is refused as 103 "Invalid value for service/<element>".
constexpr RuleBuilder serviceRule(const char* element, size_t column, const char* label) {
    return RuleBuilder(rule(element, column).number().label(label));
}

const ValueRule kServiceRules[] = {
    serviceRule("lcn", ssg::LCN, " lcn:").check(lcnAllowed).invalid(kInvalidValue, "LCN value cannot be 0"),
    serviceRule("olcn", ssg::OLCN, " olcn:"),
    serviceRule("forcedLcn", ssg::LCNForzado, " forcedLcn:"),
    serviceRule("simulcastLcn", ssg::SimulcastLCN, " simulcastLcn:"),
    serviceRule("inputId", ssg::fk_idEntrada, "inputId:"),
    serviceRule("inputSid", ssg::SID, " inputSid:").range(INT32_MIN, 65535)
        .invalid(kInvalidValue, "inputSid value cannot be greater than 65535"),
    serviceRule("outputSid", ssg::OSID, " outputSid:").range(INT32_MIN, 65535)
        .invalid(kInvalidValue, "outputSid value cannot be greater than 65535"),
    rule("inputName", ssg::NombreEntrada).text(),
    serviceRule("forcedName", ssg::NombreForzado, " forcedName:"),
    rule("outputName", ssg::NombreSalida).text().label(" outputName:"),
    serviceRule("idEPG", ssg::idEPG, " idEPG:"),
    serviceRule("serviceTypeDVB", ssg::Service_Type, " serviceTypeDVB:"),
    serviceRule("serviceTypeCanal", ssg::Tipo, " serviceTypeCanal:"),
    serviceRule("videoFormat", ssg::VideoFormat, " videoFormat:"),
    serviceRule("cloned", ssg::DuplicadoClonado, " cloned:"),
    serviceRule("decrypt", ssg::Descifrar, "decrypt:"),
    serviceRule("transcoding", ssg::Transcoding, "transcoding:"),
    serviceRule("videoPeakBitrate", ssg::Video_peak_bitrate, "videoPeakBitrate:"),
};

bool isSsuCarrier(const doreldb::Record& row) { return lenientWholeNumber(row.text(ssg::SSU)) != 0; }
bool isWithdrawn(const doreldb::Record& row) { return lenientWholeNumber(row.text(ssg::EstadoBorrado)) > 0; }

// The module's services by output and output service id, a carried one
// before a withdrawn one, as positions in share.services.
class ServiceIndex {
public:
    explicit ServiceIndex(ModuleScope& scope) {
        for (size_t i = 0; i < scope.share.services.size(); ++i) add(scope.rows.service(scope.share.services[i]), i);
    }
    void add(const doreldb::Record& row, size_t position) {
        if (isSsuCarrier(row)) return;
        auto placed = positions_.emplace(key(lenientWholeNumber(row.text(ssg::fk_idSalidasLogicas)),
                                             lenientWholeNumber(row.text(ssg::OSID))),
                                         Entry{position, isWithdrawn(row)});
        if (!placed.second && placed.first->second.withdrawn && !isWithdrawn(row)) {
            placed.first->second = Entry{position, false};
        }
    }
    bool find(int32_t outputId, int32_t outputSid, size_t& position) const {
        auto found = positions_.find(key(outputId, outputSid));
        if (found == positions_.end()) return false;
        position = found->second.position;
        return true;
    }

private:
    struct Entry {
        size_t position;
        bool withdrawn;
    };
    static std::string key(int32_t outputId, int32_t outputSid) {
        return std::to_string(outputId) + "/" + std::to_string(outputSid);
    }
    std::unordered_map<std::string, Entry> positions_;
};

// A service the module did not carry yet: every number 0, no names.
doreldb::Record newService(ModuleScope& scope, int32_t outputId, int32_t outputSid) {
    doreldb::Record row(ssg::table());
    for (size_t column = 0; column < ssg::kKnownColumns; ++column) {
        if (column != ssg::idSSG && column != ssg::NombreEntrada && column != ssg::NombreSalida) {
            row.set(column, "0");
        }
    }
    row.set(ssg::NombreEntrada, "");
    row.set(ssg::NombreSalida, "");
    row.set(ssg::MAC, scope.mac());
    row.set(ssg::fk_idSalidasLogicas, std::to_string(outputId));
    row.set(ssg::OSID, std::to_string(outputSid));
    row.set(ssg::EstadoServicio, kCarried);
    return row;
}

// outputId and outputSid, which identify the service.
bool identifyService(ModuleScope& scope, const XmlNode* element, int32_t& outputId, int32_t& outputSid) {
    const XmlNode* id = childElementNoCase(element, "outputId");
    if (id == nullptr) return scope.context.fail(kInvalidCommand, "Service has no outputId field");
    if (!parseWholeNumber(nodeText(id), outputId) || (outputId != 1 && outputId != 2)) {
        return scope.context.fail(kInvalidCommand, "Service outputId should be 1 or 2");
    }
    const XmlNode* sid = childElementNoCase(element, "outputSid");
    if (sid == nullptr) return scope.context.fail(kInvalidCommand, "Service has no outputSid field");
    if (!parseWholeNumber(nodeText(sid), outputSid) || outputSid < 1) {
        return scope.context.fail(kInvalidCommand, "Service outputSid should be greater than 0");
    }
    return true;
}

bool applyService(ModuleScope& scope, const XmlNode* element, ServiceIndex& index, std::vector<bool>& confirmed) {
    int32_t outputId = 0;
    int32_t outputSid = 0;
    if (!identifyService(scope, element, outputId, outputSid)) return false;

    size_t position = 0;
    doreldb::Record fresh(ssg::table());
    doreldb::Record* row = &fresh;
    if (index.find(outputId, outputSid, position)) {
        if (position < confirmed.size()) confirmed[position] = true;
        row = &scope.rows.service(scope.share.services[position]);
        if (isWithdrawn(*row)) {
            row->set(ssg::EstadoBorrado, kLive);
            row->setIfDifferent(ssg::EstadoServicio, kCarried);
        }
    } else {
        fresh = newService(scope, outputId, outputSid);
    }

    const std::string lcnBefore = row->text(ssg::LCN);
    WalkOutcome outcome;
    if (!applyRules(scope.context, ruleTable(kServiceRules), element, {row}, outcome)) return false;
    // On this controller a changed LCN is a forced one.
    if (isWmbG400(scope.context.model()) && row->text(ssg::LCN) != lcnBefore) row->setIfDifferent(ssg::LCNForzado, "1");
    scope.context.env().logAlways(5, "REMOTE_CONTROL::: New SERVICE parameters: %s", outcome.description.c_str());

    if (row == &fresh) {
        if (doreldb::insert(scope.context.db(), fresh) != SQLITE_OK) {
            return scope.context.fail(kCouldNotAccessDatabase, "Could not insert service");
        }
        row = &scope.rows.service(scope.rows.addService(scope.share, std::move(fresh)));
        index.add(*row, scope.share.services.size() - 1);
    } else if (!saveRow(scope.context, *row, "Could not update service")) {
        return false;
    }
    const XmlNode* pidOrders = childElementNoCase(element, "pidOrders");
    return pidOrders == nullptr || applyPidOrders(scope, *row, pidOrders);
}

bool withdraw(ModuleScope& scope, doreldb::Record& row) {
    row.set(ssg::EstadoBorrado, kWithdrawn);
    row.setIfDifferent(ssg::EstadoServicio, kNotCarried);
    return deletePidsOf(scope, row) && saveRow(scope.context, row, "Could not update service");
}

}  // namespace

bool applyOutputServices(ModuleScope& scope, const XmlNode* services) {
    SetConfigContext::progress("Processing: Services");
    // Services added by this list come after these and are confirmed by it.
    std::vector<bool> confirmed(scope.share.services.size(), false);
    ServiceIndex index(scope);
    for (const XmlNode* child : childElements(services)) {
        if (!nameIs(child, "service")) return scope.context.fail(kInvalidCommand, "No service element found");
        if (!applyService(scope, child, index, confirmed)) return false;
    }
    for (size_t i = 0; i < confirmed.size(); ++i) {
        doreldb::Record& row = scope.rows.service(scope.share.services[i]);
        if (confirmed[i] || isSsuCarrier(row) || isWithdrawn(row)) continue;
        if (!withdraw(scope, row)) return false;
    }
    return true;
}

}  // namespace dorel_remote_control
