// Building the status document: the controller's identity, then every module
// of the headend with its versions, its CAM state and the alarms it reports.
#include "server/status_report.h"

#include "common/env.h"
#include "common/errors.h"
#include "common/xml.h"
#include "db/access.h"
#include "db/table_rows.h"
#include "db/tables.h"
#include "server/alarms.h"
#include "server/pass_databases.h"
#include "server/settings.h"
#include "common/numbers.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

namespace dorel_remote_control {

namespace {

// A module whose CAM state the server wants: family 36, except the two models
// of that family that carry no CAM.
constexpr int kCamFamily = 36;
bool isCamModule(const doreldb::Record& module) {
    using namespace doreldb;
    const int model = module.toInt(RedesModulos::Modelo);
    return module.toInt(RedesModulos::Familia) == kCamFamily && model != 2 && model != 13;
}

const doreldb::DbHandle* openedOrThrow(Env& env, const doreldb::DbHandle& db, const char* failure) {
    if (!db) {
        env.log(3, "%s", failure);
        throw CouldNotOpenDBError(failure);
    }
    return &db;
}

// Bytes of the document per module, a little over what a module with a CAM
// and a few alarms takes.
constexpr size_t kTextPerModule = 1024;

class StatusBuilder {
public:
    // config_global is opened (and its failure reported) first: members are
    // made in the order they are declared, arguments in no fixed order.
    StatusBuilder(Env& env, PassDatabases& databases)
        : env_(env),
          configGlobal_(openedOrThrow(env, databases.configGlobal(), "Could not open conf global DB")),
          tempGlobal_(openedOrThrow(env, databases.tempGlobal(), "Could not open temp global DB")),
          tables_(configGlobal_, tempGlobal_) {}

    std::string build() {
        const Settings& identity = settings();
        XmlNode* status = appendElement(*doc_, doc_.get(), "status");
        appendElement(*doc_, status, "id", identity.hostName());
        appendElement(*doc_, status, "mac", identity.mac());
        appendElement(*doc_, status, "serialNumber", identity.serialNumber());
        appendElement(*doc_, status, "zatContractId", identity.contractId());

        XmlNode* headend = appendElement(*doc_, status, "headendStatus");
        headendAlarms_ = appendElement(*doc_, headend, "alarms");
        appendElement(*doc_, headend, "configurationChanged", "0");
        XmlNode* modules = appendElement(*doc_, headend, "modules");

        const bool withFamilyModel = !isWmbG400(identity.model());
        // Each table is read once, at its first use, and its rows grouped by
        // module in memory: the cost of a document grows with the headend,
        // not with its square.
        const std::vector<doreldb::Record>& all = tables_.table(doreldb::RedesModulos::table()).all();
        for (const doreldb::Record& module : all) appendModule(modules, module, withFamilyModel);
        std::string text(kXmlDeclaration);
        // Room for a module of average size, so that the text is not moved
        // over and over as it grows.
        text.reserve(kTextPerModule * (all.size() + 1));
        appendXml(text, *status);
        return text;
    }

private:
    void appendModule(XmlNode* modules, const doreldb::Record& row, bool withFamilyModel) {
        using namespace doreldb;
        const std::string mac = row.text(RedesModulos::MAC);
        XmlNode* module = appendElement(*doc_, modules, "module");
        appendElement(*doc_, module, "mac", mac);
        appendElement(*doc_, module, "serialNumber", row.value(RedesModulos::NumeroSerie).view());
        if (withFamilyModel) {
            appendElement(*doc_, module, "family", row.value(RedesModulos::Familia).view());
            appendElement(*doc_, module, "model", row.value(RedesModulos::Modelo).view());
        }
        appendElement(*doc_, module, "hwVersion", row.value(RedesModulos::HWVersion).view());

        // The live row also gives the address the module answers on; with
        // several rows the last one is the one asked.
        std::string address;
        for (const Record* live :
             tables_.table(ModulosCabecera::table()).where({{ModulosCabecera::MAC, mac}})) {
            appendElement(*doc_, module, "swVersion",
                          formatSoftwareVersion(live->text(ModulosCabecera::SWVersion)));
            address = live->text(ModulosCabecera::Direccion);
        }

        if (isCamModule(row)) appendCam(module, mac);

        const AlarmSet alarms = fetchModuleAlarms(env_, tables_, address, mac);
        XmlNode* moduleAlarms = appendElement(*doc_, module, "alarms");
        for (const auto& alarm : alarms) appendAlarm(moduleAlarms, alarm.first, alarm.second);
        if (!alarms.empty()) {
            appendAlarm(headendAlarms_, kAlarmModulesHaveAlarms, alarmText(kAlarmModulesHaveAlarms));
        }
    }

    void appendCam(XmlNode* module, const std::string& mac) {
        using namespace doreldb;
        std::string camSerial;
        std::string camVersion;
        std::string cardSerial;
        for (const Record* cam : tables_.table(CAMInfoGlobal::table()).where({{CAMInfoGlobal::MAC, mac}})) {
            camSerial = cam->text(CAMInfoGlobal::CAMSerialNumber);
            camVersion = std::to_string(cam->toInt(CAMInfoGlobal::CAMVersion) & 0xFF);
            cardSerial = cam->text(CAMInfoGlobal::CardSerialNumber);
        }
        appendElement(*doc_, module, "CAMSerialNumber", camSerial);
        appendElement(*doc_, module, "CAMVersion", camVersion);
        appendElement(*doc_, module, "CardSerialNumber", cardSerial);
    }

    void appendAlarm(XmlNode* parent, int code, const std::string& text) {
        XmlNode* alarm = appendElement(*doc_, parent, "alarm");
        appendElement(*doc_, alarm, "type", std::to_string(code));
        appendElement(*doc_, alarm, "text", text);
    }

    Env& env_;
    const doreldb::DbHandle* configGlobal_;
    const doreldb::DbHandle* tempGlobal_;
    doreldb::HeadendRows tables_;
    // Heap-held: a document carries its first memory pool inside itself.
    std::unique_ptr<XmlDocument> doc_ = std::make_unique<XmlDocument>();
    XmlNode* headendAlarms_ = nullptr;
};

}  // namespace

std::string formatSoftwareVersion(const std::string& version) {
    if (version.size() > 4) return version.substr(0, version.find_first_of("-+"));
    // Short values are the old numeric form, in hundredths.
    char text[32];
    std::snprintf(text, sizeof text, "%.2f",
                  static_cast<double>(static_cast<float>(atoi32(version.c_str())) / 100.0f));
    return text;
}

std::string buildStatusText(Env& env, PassDatabases& databases) {
    std::string text = StatusBuilder(env, databases).build();
    // The document is all the pass needs of these pages until the next read.
    databases.releaseCachedPages();
    return text;
}

}  // namespace dorel_remote_control
