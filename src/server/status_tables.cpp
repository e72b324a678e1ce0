#include "server/status_tables.h"

#include "db/access.h"
#include "db/tables.h"

namespace dorel_remote_control {

StatusTables StatusTables::read(sqlite3* configDb, sqlite3* tempDb) {
    using namespace doreldb;
    StatusTables tables;
    tables.modules = doSelect(configDb, RedesModulos::table());
    // Without modules nothing else is asked for.
    if (tables.modules.empty()) return tables;
    tables.liveModules = RowIndex(doSelect(tempDb, ModulosCabecera::table()), ModulosCabecera::MAC);
    tables.cams = RowIndex(doSelect(tempDb, CAMInfoGlobal::table()), CAMInfoGlobal::MAC);
    tables.inputs = RowIndex(doSelect(configDb, EntradasGlobal::table()), EntradasGlobal::MAC);
    tables.tuners = RowIndex(doSelect(configDb, NimGlobal::table()), NimGlobal::fk_idEntradasGlobal);
    tables.liveTuners = RowIndex(doSelect(tempDb, TempNIMGlobal::table()), TempNIMGlobal::fk_idNimGlobal);
    tables.outputs = RowIndex(doSelect(configDb, SalidasLogicasGlobal::table()), SalidasLogicasGlobal::MAC);
    return tables;
}

}  // namespace dorel_remote_control
