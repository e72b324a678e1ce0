#include "commands/setconfig/module_rows.h"

#include "db/access.h"
#include "db/like.h"
#include "db/tables.h"

#include <functional>

namespace dorel_remote_control {

using doreldb::Record;

namespace {

// One table read into a store, row by row (no list of all rows beside it);
// the store's type decides how rows are kept.
template <class Store>
int readInto(Store& store, const doreldb::DbHandle& db, const doreldb::TableDef& table) {
    store.clear();
    return doreldb::selectEach(
        db, table, [&](Record&& row) { store.push_back(std::move(row)); }, [&] { store.clear(); });
}

// A key -> row map of a store; the first row with a key wins, as the first
// row of a filtered select would.
template <class Store>
void indexBy(std::unordered_map<std::string, size_t>& index, const Store& store, size_t column) {
    index.clear();
    for (size_t row = 0; row < store.size(); ++row) index.emplace(store[row].text(column), row);
}

}  // namespace

int ModuleRows::load(const doreldb::DbHandle& db) {
    struct Read {
        const doreldb::TableDef& table;
        std::function<int()> read;
    };
    const Read reads[] = {
        {doreldb::RedesModulos::table(), [&] { return readInto(modules_, db, doreldb::RedesModulos::table()); }},
        {doreldb::EntradasGlobal::table(), [&] { return readInto(inputs_, db, doreldb::EntradasGlobal::table()); }},
        {doreldb::NimGlobal::table(),
         [&] { return readInto(tuners_[int(TunerKind::kSatellite)], db, doreldb::NimGlobal::table()); }},
        {doreldb::NimCOFDMGlobal::table(),
         [&] { return readInto(tuners_[int(TunerKind::kTerrestrial)], db, doreldb::NimCOFDMGlobal::table()); }},
        {doreldb::NimQAMGlobal::table(),
         [&] { return readInto(tuners_[int(TunerKind::kCable)], db, doreldb::NimQAMGlobal::table()); }},
        {doreldb::SalidasLogicasGlobal::table(),
         [&] { return readInto(outputs_, db, doreldb::SalidasLogicasGlobal::table()); }},
        {doreldb::RFOutGlobal::table(), [&] { return readInto(modulators_, db, doreldb::RFOutGlobal::table()); }},
        {doreldb::ServiciosSalidaGlobal::table(),
         [&] { return readInto(services_, db, doreldb::ServiciosSalidaGlobal::table()); }},
        {doreldb::PIDsSalidaGlobal::table(), [&] { return readInto(pids_, db, doreldb::PIDsSalidaGlobal::table()); }},
        {doreldb::DiSEqCGlobal::table(), [&] { return readInto(diseqcs_, db, doreldb::DiSEqCGlobal::table()); }},
    };
    failedTable_.clear();
    for (const Read& read : reads) {
        int rc = read.read();
        if (rc != SQLITE_OK) {
            failedTable_ = read.table.name();
            return rc;
        }
    }
    group();
    return SQLITE_OK;
}

void ModuleRows::group() {
    shares_.assign(modules_.size(), ModuleShare());
    moduleByMac_.clear();
    for (size_t row = 0; row < modules_.size(); ++row) {
        shares_[row].module = row;
        moduleByMac_.emplace(doreldb::likeKey(modules_[row].text(doreldb::RedesModulos::MAC)), row);
    }
    // Rows of a MAC that no module has are never reached and stay untouched.
    auto shareOfMac = [&](const Record& row, size_t macColumn) -> ModuleShare* {
        auto found = moduleByMac_.find(doreldb::likeKey(row.text(macColumn)));
        return found == moduleByMac_.end() ? nullptr : &shares_[found->second];
    };
    for (size_t row = 0; row < inputs_.size(); ++row) {
        if (ModuleShare* share = shareOfMac(inputs_[row], doreldb::EntradasGlobal::MAC)) share->inputs.push_back(row);
    }
    for (size_t row = 0; row < outputs_.size(); ++row) {
        if (ModuleShare* share = shareOfMac(outputs_[row], doreldb::SalidasLogicasGlobal::MAC)) {
            share->outputs.push_back(row);
        }
    }
    for (size_t row = 0; row < services_.size(); ++row) {
        if (ModuleShare* share = shareOfMac(services_[row], doreldb::ServiciosSalidaGlobal::MAC)) {
            share->services.push_back(row);
        }
    }
    indexBy(tunerByInput_[int(TunerKind::kSatellite)], tuners_[int(TunerKind::kSatellite)],
            doreldb::NimGlobal::fk_idEntradasGlobal);
    indexBy(tunerByInput_[int(TunerKind::kTerrestrial)], tuners_[int(TunerKind::kTerrestrial)],
            doreldb::NimCOFDMGlobal::fk_idEntradasGlobal);
    indexBy(tunerByInput_[int(TunerKind::kCable)], tuners_[int(TunerKind::kCable)],
            doreldb::NimQAMGlobal::fk_idEntradasGlobal);
    indexBy(modulatorByOutput_, modulators_, doreldb::RFOutGlobal::fk_idSalidasLogicasGlobal);
    pidsByService_.clear();
    for (size_t row = 0; row < pids_.size(); ++row) {
        pidsByService_[pidText(row, doreldb::PIDsSalidaGlobal::fk_idSSG)].push_back(row);
    }
}

ModuleShare* ModuleRows::findModule(const std::string& mac) {
    auto found = moduleByMac_.find(doreldb::likeKey(mac));
    return found == moduleByMac_.end() ? nullptr : &shares_[found->second];
}

namespace {

// The first of a module's rows whose number column holds `number`.
Record* numbered(std::vector<Record>& store, const std::vector<size_t>& rows, size_t column, int number) {
    for (size_t row : rows) {
        if (store[row].toInt(column) == number) return &store[row];
    }
    return nullptr;
}

Record* lookup(std::vector<Record>& store, const std::unordered_map<std::string, size_t>& index,
               const std::string& key) {
    auto found = index.find(key);
    return found == index.end() ? nullptr : &store[found->second];
}

}  // namespace

Record* ModuleRows::input(const ModuleShare& share, int number) {
    return numbered(inputs_, share.inputs, doreldb::EntradasGlobal::fk_idEntrada, number);
}

Record* ModuleRows::output(const ModuleShare& share, int number) {
    return numbered(outputs_, share.outputs, doreldb::SalidasLogicasGlobal::fk_idSalidasLogicas, number);
}

Record* ModuleRows::tuner(TunerKind kind, const std::string& inputKey) {
    return lookup(tuners_[int(kind)], tunerByInput_[int(kind)], inputKey);
}

Record* ModuleRows::modulator(const std::string& outputKey) {
    return lookup(modulators_, modulatorByOutput_, outputKey);
}

const Record* ModuleRows::diseqc(const std::string& position) const {
    for (const Record& row : diseqcs_) {
        if (doreldb::likeMatch(position, row.text(doreldb::DiSEqCGlobal::Posicion))) return &row;
    }
    return nullptr;
}

size_t ModuleRows::addService(ModuleShare& share, Record row) {
    services_.push_back(std::move(row));
    share.services.push_back(services_.size() - 1);
    return services_.size() - 1;
}

size_t ModuleRows::addPid(const std::string& serviceKey, const Record& row) {
    pids_.push_back(row);
    pidsByService_[serviceKey].push_back(pids_.size() - 1);
    return pids_.size() - 1;
}

}  // namespace dorel_remote_control
