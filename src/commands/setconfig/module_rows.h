// The rows the "modules" section of setConfiguration works on: every table
// that holds per-module configuration, each read whole once per section and
// grouped in memory by module (MAC, compared ASCII case-blind as LIKE does)
// and by the foreign keys that tie tuners to inputs, modulators to outputs and
// PIDs to services. A whole-headend document is then applied without a query
// per module, service or PID; only the rows that change are written back.
#pragma once

#include "db/record.h"

#include "db/access.h"
#include "db/packed_rows.h"
#include "db/tables.h"

#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

namespace dorel_remote_control {

// The three tuner kinds, numbered as an input's "type" and tipoEntrada.
enum class TunerKind : int { kSatellite = 0, kTerrestrial = 1, kCable = 2 };
constexpr int kTunerKinds = 3;

// One module's share of the tables: positions in ModuleRows' row stores.
struct ModuleShare {
    size_t module = 0;                  // RedesModulos row
    std::vector<size_t> inputs;         // EntradasGlobal rows
    std::vector<size_t> outputs;        // SalidasLogicasGlobal rows
    std::vector<size_t> services;       // ServiciosSalidaGlobal rows, in table order
};

class ModuleRows {
public:
    // Reads every table. Returns the SQLite code of the first read that
    // failed (0 when all were read); failedTable() names that table.
    int load(const doreldb::DbHandle& db);
    const std::string& failedTable() const { return failedTable_; }

    // Modules in RedesModulos order.
    const std::vector<doreldb::Record>& modules() const { return modules_; }
    doreldb::Record& module(size_t row) { return modules_[row]; }
    // The share of the module with that MAC (letter case ignored), or null.
    ModuleShare* findModule(const std::string& mac);
    ModuleShare& shareOf(size_t moduleRow) { return shares_[moduleRow]; }

    // The module's input / logical output with that number, or null.
    doreldb::Record* input(const ModuleShare& share, int number);
    doreldb::Record* output(const ModuleShare& share, int number);
    // The tuner row of an input (by the input's key) of one kind, or null.
    doreldb::Record* tuner(TunerKind kind, const std::string& inputKey);
    // The RF modulator row of a logical output (by the output's key), or null.
    doreldb::Record* modulator(const std::string& outputKey);
    // The first DiSEqCGlobal row whose Posicion is LIKE the position, or null.
    const doreldb::Record* diseqc(const std::string& position) const;

    doreldb::Record& service(size_t row) { return services_[row]; }
    // Adds a new service row to the module (not yet in the database).
    size_t addService(ModuleShare& share, doreldb::Record row);

    // The PID rows of a service (fk_idSSG = the service's key). They are most
    // of a large headend's rows, so they are kept packed: read one as a
    // record to change it and put it back with storePid(), or read a value.
    std::vector<size_t>& pidsOf(const std::string& serviceKey) { return pidsByService_[serviceKey]; }
    doreldb::Record pid(size_t row) const { return pids_.at(row); }
    std::string pidText(size_t row, size_t column) const { return std::string(pids_.text(row, column)); }
    void storePid(size_t row, const doreldb::Record& record) { pids_.replace(row, record); }
    size_t addPid(const std::string& serviceKey, const doreldb::Record& row);

private:
    void group();

    std::vector<doreldb::Record> modules_;
    std::vector<doreldb::Record> inputs_;
    std::vector<doreldb::Record> tuners_[kTunerKinds];
    std::vector<doreldb::Record> outputs_;
    std::vector<doreldb::Record> modulators_;
    std::deque<doreldb::Record> services_;   // grows while a document is applied
    doreldb::PackedRows pids_{doreldb::PIDsSalidaGlobal::table()};
    std::vector<doreldb::Record> diseqcs_;

    std::vector<ModuleShare> shares_;                                   // one per module row
    std::unordered_map<std::string, size_t> moduleByMac_;               // lower-cased MAC -> module row
    std::unordered_map<std::string, size_t> tunerByInput_[kTunerKinds]; // input key -> tuner row
    std::unordered_map<std::string, size_t> modulatorByOutput_;         // output key -> RFOutGlobal row
    std::unordered_map<std::string, std::vector<size_t>> pidsByService_;
    std::string failedTable_;
};

}  // namespace dorel_remote_control
