#include "commands/query/quorvex_key_fetch.h"

#include "commands/query/quorvex_cam_list.h"
#include "common/errors.h"
#include "common/env.h"
#include "common/numbers.h"
#include "db/access.h"
#include "db/tables.h"
#include "server/server_request.h"

#include <map>
#include <memory>

namespace dorel_remote_control {

namespace {

namespace q = doreldb::Quorvex;

// Fetches in which the server did not list a CAM before it is given up.
constexpr int kMissingLimit = 3;

using KeyMap = std::map<std::string, std::string>;


// The row as the reply leaves it.
void applyReply(Env& env, doreldb::Record& row, const KeyMap& keys) {
    const std::string serial = row.text(q::idCliente);
    const auto found = keys.find(serial);
    if (found != keys.end() && !found->second.empty()) {
        row.set(q::Reintentos, "0");
        row.set(q::Error, "0");
        row.set(q::K_Publica, found->second);
    } else if (found != keys.end()) {
        env.log(7, "No public key for %s was set", serial.c_str());
        row.set(q::Reintentos, "0");
        row.set(q::Error, "1");
    } else {
        env.log(7, "TVID %s is missing from getQuorvexCAMPublicKeyReply", serial.c_str());
        // Compared before counting on, so a count already at the top of the
        // 32-bit range gives up instead of wrapping round.
        const int32_t missedBefore = atoi32(row.text(q::Reintentos).c_str());
        if (missedBefore >= kMissingLimit - 1) {
            row.set(q::Reintentos, "0");
            row.set(q::Error, "1");
        } else {
            row.setInt(q::Reintentos, missedBefore + 1);
        }
    }
}

}  // namespace

bool readKeyReply(Env& env, const std::string& text, KeyMap& keys) {
    std::unique_ptr<ParsedXml> parsed;
    try {
        parsed = std::make_unique<ParsedXml>(text);
    } catch (const std::exception& e) {
        env.log(4, "Could not parse 'getQuorvexCAMPublicKeyReply': %s", e.what());
        return false;
    }
    const XmlNode* reply = childElementNoCase(&parsed->doc(), "getQuorvexCAMPublicKeyReply");
    if (reply == nullptr) {
        env.log(4, "Could not find 'getQuorvexCAMPublicKeyReply' element");
        return false;
    }
    const XmlNode* list = childElement(reply, "list");
    if (list == nullptr) {
        env.log(4, "Could not find 'getQuorvexCAMPublicKeyReply/list' element");
        return false;
    }
    for (const XmlNode* cam : camElements(list)) {
        CamValues values = readCam(cam);
        const auto serial = values.find(q::idCliente);
        const auto key = values.find(q::K_Publica);
        const char* failure = serial == values.end()    ? "Could not find 'cam/serialNumber' element"
                              : serial->second.empty()  ? "'cam/serialNumber' has no length"
                              : key == values.end()     ? "Could not find 'cam/publicKey' element"
                                                        : nullptr;
        if (failure != nullptr) {
            env.log(4, "%s", failure);
            return false;
        }
        env.log(7, "Got public key (size %lu) for TVID %s", static_cast<unsigned long>(key->second.size()),
             serial->second.c_str());
        keys[serial->second] = key->second;
    }
    return true;
}

void fetchQuorvexPublicKeys(Env& env) {
    const std::string path = env.paths().quorGlobalDb();
    doreldb::DbHandle db = doreldb::openDatabase(env, path);
    if (!db) {
        env.log(3, "Could not open db: %s", path.c_str());
        return;
    }
    std::vector<doreldb::Record> rows = doreldb::doSelect(
        db, q::table(), "WHERE Error!='1' AND (K_Publica='' OR K_Publica IS NULL) AND idCliente!=''");
    if (rows.empty()) return;

    ServerRequest request("getQuorvexCAMPublicKey");
    appendCamList(request.doc(), request.root(), rows, CamListFields());
    ResponseBuffer reply;
    try {
        reply = request.post(env);
    } catch (const CurlError& e) {
        env.log(3, "Error getting Quorvex public keys: %s", e.what());
        return;
    }

    KeyMap keys;
    if (!readKeyReply(env, reply.str(), keys)) return;
    // One commit for the whole reply: this runs on every connected pass, and
    // a commit per CAM would sync the controller's flash once per CAM.
    doreldb::Transaction transaction(db);
    const bool grouped = transaction.begin() == SQLITE_OK;
    for (doreldb::Record& row : rows) {
        applyReply(env, row, keys);
        // The whole row goes back, as the headend's other writers do.
        for (size_t column = 0; column < q::kKnownColumns; ++column) row.set(column, row.value(column));
        if (doreldb::update(db, row) != SQLITE_OK)
            env.log(3, "Could not store the Quorvex key of %s", row.text(q::idCliente).c_str());
    }
    if (grouped && transaction.commit() != SQLITE_OK) env.log(3, "Could not store the Quorvex keys");
}

}  // namespace dorel_remote_control
