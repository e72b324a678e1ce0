// The "modules" section of the configuration document: per module its
// identity, CAM state, inputs with their tuners and live signal, outputs with
// their modulators, and services with their PID orders.
#include "commands/query/configuration_sections.h"

#include "db/tables.h"

namespace dorel_remote_control {

namespace {

namespace db = doreldb;

bool onlyWmbG400(const ConfigurationContext& c, const db::Record&) { return c.wmbG400(); }
bool cloneCapable(const ConfigurationContext& c, const db::Record&) { return c.module().cloneCapable; }
bool decryptCapable(const ConfigurationContext& c, const db::Record&) {
    return c.module().cloneCapable && !c.kvdCd5();
}
bool cableRf(const ConfigurationContext& c, const db::Record&) { return c.module().cableRf; }
bool terrestrialRf(const ConfigurationContext& c, const db::Record&) { return !c.module().cableRf; }

// The module families whose modules carry a CAM (and clone services).
constexpr int kCamFamily = 36;
constexpr int kModelWithoutCamA = 2;
constexpr int kModelWithoutCamB = 13;

const ColumnElement kModuleIdentity[] = {
    {"id", db::RedesModulos::HostName, nullptr, nullptr},
    {"mac", db::RedesModulos::MAC, nullptr, nullptr},
    {"isMaster", db::RedesModulos::Master, nullptr, nullptr},
    {"name", db::RedesModulos::LabelName, nullptr, unlessWmbG400},
    {"family", db::RedesModulos::Familia, nullptr, unlessWmbG400},
    {"model", db::RedesModulos::Modelo, nullptr, unlessWmbG400},
    {"modoSalidaRF", db::RedesModulos::ModoSalidaRF, nullptr, unlessWmbG400},
    {"serialNumber", db::RedesModulos::NumeroSerie, nullptr, nullptr},
};

// The card number as the WMB-G400's server expects it.
std::string extendedCardNumber(const std::string& stored) { return stored + "000"; }

const ColumnElement kCamState[] = {
    {"CAMSerialNumber", db::CAMInfoGlobal::CAMSerialNumber, nullptr, nullptr},
    {"CAMVersion", db::CAMInfoGlobal::CAMVersion, nullptr, nullptr},
    {"CardSerialNumber", db::CAMInfoGlobal::CardSerialNumber, extendedCardNumber, onlyWmbG400},
    {"CardRights", db::CAMInfoGlobal::CardRights, cardRightsText, nullptr},
    {"CardStatus", db::CAMInfoGlobal::CardStatus, cardStatusText, nullptr},
};

// --- inputs -----------------------------------------------------------------

const ColumnElement kInput[] = {
    {"inputId", db::EntradasGlobal::fk_idEntrada, nullptr, nullptr},
    {"active", db::EntradasGlobal::Activo, nullptr, nullptr},
    {"type", db::EntradasGlobal::tipoEntrada, nullptr, unlessWmbG400},
    {"onid", db::EntradasGlobal::ONID, nullptr, unlessWmbG400},
    {"tsid", db::EntradasGlobal::TSID, nullptr, unlessWmbG400},
};

// The band is the tuner's own only when no DiSEqC position chooses it.
bool withoutDiseqc(const ConfigurationContext&, const db::Record& tuner) {
    return tuner.toInt(db::NimGlobal::DiSEqC) < 1;
}

const ColumnElement kSatelliteTuner[] = {
    {"frequency", db::NimGlobal::Frequency, nullptr, nullptr},
    {"diseqc", db::NimGlobal::DiSEqC, nullptr, nullptr},
    {"band", db::NimGlobal::banda_FI, bandText, withoutDiseqc},
    {"PLSmode", db::NimGlobal::ModoPLS, plsModeText, nullptr},
    {"scramblingID", db::NimGlobal::ScramblingID, nullptr, nullptr},
    {"streamID", db::NimGlobal::StreamID, autoOrNumberText, nullptr},
};
const ColumnElement kTerrestrialTuner[] = {
    {"frequency", db::NimCOFDMGlobal::Frequency, nullptr, nullptr},
    {"bandwidth", db::NimCOFDMGlobal::Bandwidth, inputBandwidthText, nullptr},
    {"hierarchy", db::NimCOFDMGlobal::Hierarchy, hierarchyText, nullptr},
    {"PLPID", db::NimCOFDMGlobal::PLP_ID, autoOrNumberText, nullptr},
    {"autoScan", db::NimCOFDMGlobal::trackingStatusEn, nullptr, nullptr},
    {"onidScan", db::NimCOFDMGlobal::ONID_Tracking, nullptr, nullptr},
    {"tsidScan", db::NimCOFDMGlobal::TSID_Tracking, nullptr, nullptr},
};
const ColumnElement kCableTuner[] = {
    {"frequency", db::NimQAMGlobal::Frequency, nullptr, nullptr},
    {"symbolRate", db::NimQAMGlobal::SymbolRate, nullptr, nullptr},
    {"constelacion", db::NimQAMGlobal::Constelacion, nullptr, nullptr},
};

// One kind of tuner: where its settings and its live state are kept, chosen
// by the input's type (tipoEntrada).
struct TunerKind {
    int inputType;
    const db::TableDef& (*table)();
    size_t inputColumn;   // the input (EntradasGlobal key)
    const ColumnElement* elements;
    size_t elementCount;
    size_t loopColumn;
    const db::TableDef& (*liveTable)();
    size_t liveTunerColumn;   // the tuner (its key)
    size_t liveLockColumn;
    size_t liveLevelColumn;
    std::string (*signal)(bool locked, const std::string& level);
};

template <size_t N>
constexpr size_t countOf(const ColumnElement (&)[N]) {
    return N;
}

const TunerKind kTuners[] = {
    {0, db::NimGlobal::table, db::NimGlobal::fk_idEntradasGlobal, kSatelliteTuner, countOf(kSatelliteTuner),
     db::NimGlobal::RFIN_LOOP, db::TempNIMGlobal::table, db::TempNIMGlobal::fk_idNimGlobal, db::TempNIMGlobal::Lock,
     db::TempNIMGlobal::SignalQuality, satelliteSignalText},
    {1, db::NimCOFDMGlobal::table, db::NimCOFDMGlobal::fk_idEntradasGlobal, kTerrestrialTuner,
     countOf(kTerrestrialTuner), db::NimCOFDMGlobal::RFIN_LOOP, db::TempNIMCOFDMGlobal::table,
     db::TempNIMCOFDMGlobal::fk_idNimCOFDMGlobal, db::TempNIMCOFDMGlobal::Lock, db::TempNIMCOFDMGlobal::SignalQuality,
     cableTerrestrialSignalText},
    {2, db::NimQAMGlobal::table, db::NimQAMGlobal::fk_idEntradasGlobal, kCableTuner, countOf(kCableTuner),
     db::NimQAMGlobal::RFIN_LOOP, db::TempNIMQAMGlobal::table, db::TempNIMQAMGlobal::fk_idNimQAMGlobal,
     db::TempNIMQAMGlobal::Lock, db::TempNIMQAMGlobal::SignalQuality, cableTerrestrialSignalText},
};

const TunerKind* tunerKind(int inputType) {
    for (const TunerKind& kind : kTuners) {
        if (kind.inputType == inputType) return &kind;
    }
    return nullptr;
}

void addTuner(ConfigurationContext& c, const db::Record& row) {
    const TunerKind* kind = tunerKind(row.toInt(db::EntradasGlobal::tipoEntrada));
    if (kind == nullptr) return;
    const db::Record* tuner =
        c.table(kind->table()).first({{kind->inputColumn, row.value(db::EntradasGlobal::idEntradasGlobal)}});
    if (tuner == nullptr) return;
    for (size_t i = 0; i < kind->elementCount; ++i) addColumn(c, *tuner, kind->elements[i]);
    if (tuner->toInt(kind->loopColumn) > 1) c.add("rfLoop", tuner->text(kind->loopColumn));
    if (row.toInt(db::EntradasGlobal::Activo) > 0) {
        const db::Record* live =
            c.table(kind->liveTable()).first({{kind->liveTunerColumn, tuner->value(tuner->table().keyColumn())}});
        const bool locked = live != nullptr && live->toInt(kind->liveLockColumn) > 0;
        c.open("inputStatus");
        c.add("signalQuality", kind->signal(locked, live != nullptr ? live->text(kind->liveLevelColumn) : ""));
        c.close();
    }
}

void addInputs(ConfigurationContext& c, const db::tSqlite3parent& mac) {
    c.open("inputs");
    for (const db::Record* row : c.table(db::EntradasGlobal::table()).where({{db::EntradasGlobal::MAC, mac}})) {
        c.open("input");
        addColumns(c, *row, kInput);
        addTuner(c, *row);
        c.close();
    }
    c.close();
}

// --- outputs ----------------------------------------------------------------

const ColumnElement kOutput[] = {
    {"outputId", db::SalidasLogicasGlobal::fk_idSalidasLogicas, nullptr, nullptr},
    {"type", db::SalidasLogicasGlobal::tipoSalida, nullptr, unlessWmbG400},
    {"onid", db::SalidasLogicasGlobal::ONID_Out, nullptr, nullptr},
    {"tsid", db::SalidasLogicasGlobal::TSID_Out, nullptr, nullptr},
};
const ColumnElement kModulator[] = {
    {"active", db::RFOutGlobal::Activo, activeText, nullptr},
    {"frequency", db::RFOutGlobal::Frecuencia, nullptr, nullptr},
    {"symbolRate", db::RFOutGlobal::Symbol_Rate, nullptr, unlessWmbG400},
    {"modeOFDM", db::RFOutGlobal::Modo_OFDM, modeOfdmText, unlessWmbG400},
    {"bandwidth", db::RFOutGlobal::Ancho_Banda, outputBandwidthText, nullptr},
    {"guardInterval", db::RFOutGlobal::Intervalo_Guarda, guardIntervalText, nullptr},
    {"constellation", db::RFOutGlobal::Modo_Salida_Modulacion, cableConstellationText, cableRf},
    {"constellation", db::RFOutGlobal::Modo_Salida_Modulacion, terrestrialConstellationText, terrestrialRf},
    {"codeRate", db::RFOutGlobal::Code_Rate, codeRateText, nullptr},
    {"formatIQ", db::RFOutGlobal::Espectro_Salida, formatIqText, nullptr},
};

void addOutputs(ConfigurationContext& c, const db::tSqlite3parent& mac) {
    c.open("outputs");
    db::TableRows& modulators = c.table(db::RFOutGlobal::table());
    for (const db::Record* row :
         c.table(db::SalidasLogicasGlobal::table()).where({{db::SalidasLogicasGlobal::MAC, mac}})) {
        c.open("output");
        addColumns(c, *row, kOutput);
        const db::Record* modulator = modulators.first(
            {{db::RFOutGlobal::fk_idSalidasLogicasGlobal, row->value(db::SalidasLogicasGlobal::idSalidasLogicasGlobal)}});
        if (modulator != nullptr) addColumns(c, *modulator, kModulator);
        c.close();
    }
    c.close();
}

// --- services ---------------------------------------------------------------

const ColumnElement kService[] = {
    {"outputId", db::ServiciosSalidaGlobal::fk_idSalidasLogicas, nullptr, nullptr},
    {"outputSid", db::ServiciosSalidaGlobal::OSID, nullptr, nullptr},
    {"inputId", db::ServiciosSalidaGlobal::fk_idEntrada, nullptr, nullptr},
    {"inputSid", db::ServiciosSalidaGlobal::SID, nullptr, nullptr},
    {"inputName", db::ServiciosSalidaGlobal::NombreEntrada, nullptr, nullptr},
    {"forcedName", db::ServiciosSalidaGlobal::NombreForzado, nullptr, nullptr},
    {"outputName", db::ServiciosSalidaGlobal::NombreSalida, nullptr, nullptr},
    {"lcn", db::ServiciosSalidaGlobal::LCN, nullptr, nullptr},
    {"olcn", db::ServiciosSalidaGlobal::OLCN, nullptr, unlessWmbG400},
    {"simulcastLcn", db::ServiciosSalidaGlobal::SimulcastLCN, nullptr, unlessWmbG400},
    {"forcedLcn", db::ServiciosSalidaGlobal::LCNForzado, nullptr, unlessWmbG400},
    {"idEPG", db::ServiciosSalidaGlobal::idEPG, nullptr, unlessWmbG400},
    {"serviceTypeDVB", db::ServiciosSalidaGlobal::Service_Type, nullptr, unlessWmbG400},
    {"serviceTypeCanal", db::ServiciosSalidaGlobal::Tipo, nullptr, unlessWmbG400},
    {"videoFormat", db::ServiciosSalidaGlobal::VideoFormat, nullptr, unlessWmbG400},
    {"cloned", db::ServiciosSalidaGlobal::DuplicadoClonado, nullptr, cloneCapable},
    {"decrypt", db::ServiciosSalidaGlobal::Descifrar, nullptr, decryptCapable},
    {"transcoding", db::ServiciosSalidaGlobal::Transcoding, nullptr, unlessWmbG400},
    {"videoPeakBitrate", db::ServiciosSalidaGlobal::Video_peak_bitrate, nullptr, unlessWmbG400},
    {"serviceStatus", db::ServiciosSalidaGlobal::EstadoServicio, nullptr, nullptr},
};
const ColumnElement kPidOrder[] = {
    {"languageCode", db::PIDsSalidaGlobal::AudioCode, nullptr, nullptr},
    {"streamId", db::PIDsSalidaGlobal::StreamId, nullptr, nullptr},
    {"type", db::PIDsSalidaGlobal::Tipo, nullptr, nullptr},
    {"order", db::PIDsSalidaGlobal::Orden, nullptr, nullptr},
};

// SSU carriers and services marked deleted are not the server's to see.
bool listedService(const db::Record& row) {
    return row.toInt(db::ServiciosSalidaGlobal::SSU) == 0 && row.toInt(db::ServiciosSalidaGlobal::EstadoBorrado) <= 0;
}

// A PID that setConfiguration marked deleted is left out like a deleted
// service: a document read back and sent again must not revive it.
bool listedPid(const db::Record& row) { return row.toInt(db::PIDsSalidaGlobal::EstadoBorrado) <= 0; }

void addLiveStatus(ConfigurationContext& c, const db::Record& row, const db::tSqlite3parent& mac) {
    namespace live = db::ServiciosEntradaGlobal;
    const db::Record* found = c.table(live::table()).first({{live::MAC, mac},
                                                            {live::OSID, row.value(db::ServiciosSalidaGlobal::OSID)},
                                                            {live::fk_idEntrada, row.value(db::ServiciosSalidaGlobal::fk_idEntrada)}});
    if (found == nullptr) return;
    const int status = found->toInt(live::EstadoServicio);
    if (statusReported(status, kDecryptStatusBits)) c.add("decrytStatus", statusText(status, kDecryptStatusBits));
    if (statusReported(status, kTranscodingStatusBits)) {
        c.add("transcodingStatus", statusText(status, kTranscodingStatusBits));
    }
}

void addServices(ConfigurationContext& c, const db::tSqlite3parent& mac) {
    c.open("services");
    db::TableRows& pids = c.table(db::PIDsSalidaGlobal::table());
    for (const db::Record* row :
         c.table(db::ServiciosSalidaGlobal::table()).where({{db::ServiciosSalidaGlobal::MAC, mac}})) {
        if (!listedService(*row)) continue;
        c.open("service");
        addColumns(c, *row, kService);
        addLiveStatus(c, *row, mac);
        c.open("pidOrders");
        const db::RowSelection orders =
            pids.where({{db::PIDsSalidaGlobal::fk_idSSG, row->value(db::ServiciosSalidaGlobal::idSSG)}});
        for (const db::Record* pid : orders) {
            if (!listedPid(*pid)) continue;
            c.open("pidOrder");
            addColumns(c, *pid, kPidOrder);
            c.close();
        }
        // The PID orders are most of a large headend's rows: each goes once
        // it is written, so the document grows into the memory they leave
        // (a module listed twice, from a damaged table, keeps them).
        if (c.module().listedOnce) pids.release(orders);
        c.close();
        c.close();
    }
    c.close();
}

// --- module -----------------------------------------------------------------

ConfigurationContext::Module moduleKind(const db::Record& row) {
    const int family = row.toInt(db::RedesModulos::Familia);
    const int model = row.toInt(db::RedesModulos::Modelo);
    ConfigurationContext::Module kind;
    kind.cam = family == kCamFamily && model != kModelWithoutCamA && model != kModelWithoutCamB;
    kind.cloneCapable = family == kCamFamily && model != kModelWithoutCamA;
    kind.cableRf = row.toInt(db::RedesModulos::ModoSalidaRF) != 0;
    return kind;
}

const ColumnElement kModuleVersions[] = {
    {"hwVersion", db::RedesModulos::HWVersion, nullptr, nullptr},
};
const ColumnElement kModuleNetwork[] = {
    {"attenuation", db::RedesModulos::Atenuacion, nullptr, nullptr},
    {"dvbNetworkId", db::RedesModulos::RED, nullptr, nullptr},
};

void addModule(ConfigurationContext& c, const db::Record& row, bool listedOnce) {
    ConfigurationContext::Module kind = moduleKind(row);
    kind.listedOnce = listedOnce;
    c.setModule(kind);
    const db::tSqlite3parent& mac = row.value(db::RedesModulos::MAC);
    c.open("module");
    addColumns(c, row, kModuleIdentity);
    if (c.module().cam) {
        const db::Record* cam = c.table(db::CAMInfoGlobal::table()).first({{db::CAMInfoGlobal::MAC, mac}});
        if (cam != nullptr) addColumns(c, *cam, kCamState);
    }
    addColumns(c, row, kModuleVersions);
    const db::Record* live = c.table(db::ModulosCabecera::table()).first({{db::ModulosCabecera::MAC, mac}});
    c.add("swVersion", live != nullptr ? live->text(db::ModulosCabecera::SWVersion) : std::string());
    addColumns(c, row, kModuleNetwork);
    addInputs(c, mac);
    addOutputs(c, mac);
    addServices(c, mac);
    c.close();
}

}  // namespace

void writeModules(ConfigurationContext& context) {
    db::TableRows& modules = context.table(db::RedesModulos::table());
    for (const db::Record& row : modules.all()) {
        addModule(context, row, modules.where({{db::RedesModulos::MAC, row.value(db::RedesModulos::MAC)}}).size() == 1);
    }
}

}  // namespace dorel_remote_control
