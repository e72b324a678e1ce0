"""Default contents of a small simulated headend: settings, users, CAM keys
and, per module, its identity, inputs, tuners, outputs, services and PIDs.

Everything is generated from a few numbers so that a headend of any size can
be laid out; SCHEMA.md lists what ends up where.
"""

CAM_FAMILY, CAM_MODEL = "36", "5"
PLAIN_FAMILY, PLAIN_MODEL = "20", "3"
INPUTS_PER_MODULE = 2
OUTPUTS_PER_MODULE = 2
LNB_LOW_OSCILLATOR = 9750    # the LNB_fb setting below
LNB_HIGH_OSCILLATOR = 10600  # LNB_fa


# Numeric columns a configuration export reads that a real headend may leave
# without a value; --nulls stores SQL NULL in them on every other row, from the
# first, and an empty text on the rest (a headend leaves a value out either way).
NULLABLE_COLUMNS = {
    "RedesCabecera": ("CellID",),
    "ServiciosSalidaGlobal": ("idEPG", "OLCN", "SimulcastLCN", "Video_peak_bitrate"),
    "NimGlobal": ("ScramblingID", "ModoPLS", "RFIN_LOOP"),
    "RedesModulos": ("Atenuacion",),
    "RFOutGlobal": ("Espectro_Salida",),
}


class Options:
    def __init__(self, modules=2, services=3, pids=2, cam_modules=1, active=False,
                 server_url="https://127.0.0.1:1/rc", user="rc-user", password="rc-pass",
                 nulls=False):
        self.modules = modules
        self.services = services
        self.pids = pids
        self.cam_modules = cam_modules
        self.active = active
        self.server_url = server_url
        self.user = user
        self.password = password
        self.nulls = nulls


def module_mac(m):
    return "00:1A:2B:00:%02X:%02X" % (m >> 8, m & 0xFF)


def module_address(m):
    # Only the XML-RPC stub ever sees these; they just have to be distinct.
    return "10.9.%d.%d" % (m // 250, m % 250)


def is_cam_module(opts, m):
    return m > opts.modules - opts.cam_modules


def module_sw_version(m):
    # Both shapes the status report reformats: a plain number and a dated tag.
    return "150" if m % 2 else "20190412-r3"


def settings_rows(opts):
    values = [
        ("servidorZAT_activo", "1" if opts.active else "0"),
        ("servidorZAT_intervalo", "1"),
        ("servidorZAT_direccion", opts.server_url),
        ("servidorZAT_usuario", opts.user),
        ("servidorZAT_password", opts.password),
        ("servidorZAT_conectado", "0"),
        ("identificacion_contrato", "CONTRACT-1"),
        ("identificacion_cabecera", "Test headend"),
        ("identificacion_localizacion", "Lab"),
        ("identificacion_fecha", "2019-04-12"),
        ("identificacion_hostType", "0"),
        ("identificacion_instalador", "Installer Ltd"),
        ("identificacion_codCanal", "CLIENT-1"),
        ("identificacion_TVModels", ""),
        ("identificacion_installationMode", "0"),
        ("LNB_fb", str(LNB_LOW_OSCILLATOR)),
        ("LNB_fa", str(LNB_HIGH_OSCILLATOR)),
        ("LNB_fbandaC", "5150"),
        ("LNB_BandaSatelite", "0"),
        ("codtimezone", "es"),
        ("idtimezone", "ES"),
        ("subtimezone", "Europe/Madrid"),
        ("MaturityRating", "0"),
        ("mantenimiento_hora", "3"),
        ("mantenimiento_min", "30"),
        ("mantenimiento_activo", "0"),
        ("network_ConfigureNET", "1"),
        ("network_UseDHCPIP", "0"),
        ("network_IP", "192.168.1.10"),
        ("network_Netmask", "255.255.255.0"),
        ("network_Gateway", "192.168.1.1"),
        ("network_PrimaryDNS", "192.168.1.1"),
        ("network_SecondaryDNS", "192.168.1.2"),
    ]
    return [{"idConfiguracionGlobal": i, "nombre": k, "valor": v, "aplicarBackup": "0"}
            for i, (k, v) in enumerate(values, 1)]


def fixed_rows():
    """Rows that do not depend on the number of modules."""
    return {
        "usuario": [
            {"idUsuario": 1, "usuario": "admin", "clave": "admin", "permisos": "15",
             "oculto": "0", "activo": "1"},
            {"idUsuario": 2, "usuario": "installer", "clave": "installer", "permisos": "7",
             "oculto": "0", "activo": "1"},
        ],
        "Quorvex": [
            {"idQuorvex": 1, "Fabricante": "CamMaker", "idCliente": "TV-0001",
             "K_Publica": "PUBLIC-KEY-0001", "EK_Shared": "EK-0001", "Alta": "2019-04-12",
             "Reintentos": "0", "Error": "0", "Descripcion": "Room 101", "estado": "1"},
            {"idQuorvex": 2, "Fabricante": "CamMaker", "idCliente": "TV-0002",
             "K_Publica": "", "EK_Shared": "", "Alta": "2019-04-12",
             "Reintentos": "0", "Error": "0", "Descripcion": "Room 102", "estado": "1"},
        ],
        "RedesCabecera": [
            {"idRed": 1, "NombreRed": "Test network", "NID": "12345", "ONID_Out": "8916",
             "NIT_Patron": "0", "Version_NIT_Patron": "0", "Tipo_NIT_Patron": "0",
             "Auto_Service_List": "1", "LCN_Offset": "0", "LCN_Mode": "0", "LCN_Type": "0",
             "Force_ServiceName": "0", "NIT_Version": "1", "NIT_Data_Source": "0",
             "TV_Type": "0", "CI_TV_Type": "0", "LG_comp_Quorvex": "0", "Block_PIDs": "5",
             "Decrypt_PIDs": "2", "CellID": "0", "NIT_Follow": "0", "estado": "1"},
        ],
        "DiSEqCGlobal": [
            {"idDiSEqCGlobal": 1, "Nombre": "Astra", "Posicion": "1", "Orbita": "192",
             "Polaridad": "0", "Banda": "0", "Estado": "1"},
            {"idDiSEqCGlobal": 2, "Nombre": "Hotbird", "Posicion": "2", "Orbita": "130",
             "Polaridad": "0", "Banda": "0", "Estado": "1"},
        ],
        "AudioLanguageListGlobal": [
            {"idALLG": 1, "AudioCode": "spa"},
            {"idALLG": 2, "AudioCode": "eng"},
        ],
        "ScramblingGlobal": [
            {"idScrambling": 1, "ScramblingName": "Quorvex", "Mode": "1", "Estado": "1"},
        ],
        "ScramblingKeysGlobal": [
            {"idScramblingKeys": 1, "Mode": "1", "Frequency": "10", "System": "Quorvex",
             "Odd": "0011223344556677", "Even": "8899AABBCCDDEEFF", "K_Shared": "K-SHARED-1",
             "EK_Odd": "EK-ODD-1", "EK_Even": "EK-EVEN-1", "Date": "2019-04-12",
             "Estado": "1"},
        ],
        "MantenimientoHomeChannelsGlobal": [
            {"idMantenimiento": 1, "Frequency": "11778", "Orbita": "192", "Polaridad": "1",
             "Banda": "1", "SymbolRate": "27500", "ONID": "1", "TSID": "1051", "Estado": "1"},
        ],
        "Service_EPG_Satellite": [
            {"idService_EPG_Satellite": 1, "TSID": "1051", "ONID": "1", "Frequency": "11778",
             "SymbolRate": "27500", "Polaridad": "1", "Orbita": "192",
             "West_East_Flag": "1", "Estado": "1"},
        ],
        "Service_EPG": [
            {"idService_EPG": 1, "ONID": "1", "TSID": "1051", "SID": "28001", "EPG": "1",
             "LCN": "1", "fk_idService_EPG_Satellite": "1", "Video_Type": "1",
             "Video_peak_bitrate": "8000", "Service_type": "1", "Nombre": "News",
             "Proveedor": "Broadcaster"},
            {"idService_EPG": 2, "ONID": "1", "TSID": "1051", "SID": "28002", "EPG": "1",
             "LCN": "2", "fk_idService_EPG_Satellite": "1", "Video_Type": "1",
             "Video_peak_bitrate": "8000", "Service_type": "1", "Nombre": "Sport",
             "Proveedor": "Broadcaster"},
        ],
        "Service_EPG_audios": [
            {"idService_EPG_audios_EPG": 1, "fk_idService_EPG": "1", "Language_code": "spa",
             "Audio_Type": "0", "Estado": "1"},
            {"idService_EPG_audios_EPG": 2, "fk_idService_EPG": "2", "Language_code": "eng",
             "Audio_Type": "0", "Estado": "1"},
        ],
        "Service_EPG_replacing": [
            {"idService_EPG_replacing": 1, "fk_idService_EPG": "2",
             "replacing_epg_channel_id": "sport.example", "Estado": "1"},
        ],
    }


def _append(rows, table, row):
    rows.setdefault(table, []).append(row)


def module_rows(opts):
    """Rows of every per-module table, keys numbered across all modules."""
    rows = {}
    ssg = 0
    psg = 0
    for m in range(1, opts.modules + 1):
        mac = module_mac(m)
        cam = is_cam_module(opts, m)
        family, model = (CAM_FAMILY, CAM_MODEL) if cam else (PLAIN_FAMILY, PLAIN_MODEL)
        host = "module-%02d" % m
        serial = "MSN-%04d" % m
        _append(rows, "RedesModulos", {
            "idRedMod": m, "MAC": mac, "HostName": host, "LabelName": "Module %d" % m,
            "RED": "1", "Familia": family, "Modelo": model, "Master": "1" if m == 1 else "0",
            "HWVersion": "1.%d" % (m % 10), "NumeroSerie": serial, "PairedHost": "",
            "Atenuacion": "0", "ResetFactory": "0", "NFS_Server": "0", "UpgradeCounter": "0",
            "ModoSalidaRF": "0"})
        _append(rows, "ModulosCabecera", {
            "idModulosCabecera": m, "MAC": mac, "HostName": host, "Familia": family,
            "Modelo": model, "NumeroSerie": serial, "Direccion": module_address(m),
            "HWVersion": "1.%d" % (m % 10), "Estado": "1", "Temperatura": "45",
            "Uptime": "3600", "SWVersion": module_sw_version(m)})
        if cam:
            _append(rows, "CAMInfoGlobal", {
                "idCAMInfoGlobal": len(rows.get("CAMInfoGlobal", [])) + 1, "MAC": mac,
                "Slot": "1", "CAMName": "Quorvex CAM", "CAMPresent": "1", "RescueMode": "0",
                "CardRights": "720", "CardStatus": "1", "Manufacturer": "CamMaker",
                "Estado": "1", "CardSerialNumber": "CARD-%04d" % m,
                "CAMSerialNumber": "CAM-%04d" % m,
                # 0x107: only the low byte (7) is reported.
                "CAMVersion": "263"})
        for i in range(1, INPUTS_PER_MODULE + 1):
            n = (m - 1) * INPUTS_PER_MODULE + i
            # Inside the tuner's range at any headend size: fe, the intermediate
            # frequency after the band's LNB oscillator, runs 950..2100 on
            # input 1 (low band) and 1000..2150 on input 2 (high band).
            oscillator = LNB_LOW_OSCILLATOR if i == 1 else LNB_HIGH_OSCILLATOR
            freq = oscillator + (950 if i == 1 else 1000) + 50 * ((m - 1) % 24)
            _append(rows, "EntradasGlobal", {
                "idEntradasGlobal": n, "MAC": mac, "tipoEntrada": "0",
                "TSID": str(1000 + n), "ONID": "1", "Activo": "1", "ResumenNIT": "0",
                "fk_idEntrada": str(i)})
            _append(rows, "NimGlobal", {
                "idNimGlobal": n, "SymbolRate": "27500", "banda_FI": "0" if i == 1 else "1",
                "fe": str(freq - oscillator),
                "STANDBY": "0", "DiSEqC": "1" if i == 1 else "0", "RFIN_LOOP": "0",
                "fk_idEntradasGlobal": str(n), "fk_idNim": str(i), "ModoPLS": "0",
                # Input 1 on a DiSEqC position with the stream left to the
                # tuner; input 2 on the high band without DiSEqC.
                "ScramblingID": "0", "StreamID": "-2" if i == 1 else "1", "Frequency": str(freq),
                "MAC": mac})
            _append(rows, "TempNIMGlobal", {
                "idTempNIMGlobal": n, "fk_idNimGlobal": str(n), "MAC": mac, "Lock": "1",
                "Entrada": str(i), "SignalQuality": "2", "Nivel": "70", "CN": "12",
                "BER": "0", "MER": "15", "Frecuencia": str(freq), "SymbolRate": "27500",
                "Polaridad": "0", "Banda": "0", "ModoPLS": "0", "ScramblingID": "0",
                "StreamID": "0", "Standby": "0"})
        for o in range(1, OUTPUTS_PER_MODULE + 1):
            n = (m - 1) * OUTPUTS_PER_MODULE + o
            _append(rows, "SalidasLogicasGlobal", {
                "idSalidasLogicasGlobal": n, "MAC": mac, "TSID_Out": str(2000 + n),
                "ONID_Out": "8916", "tipoSalida": "1", "Activo": "1",
                "fk_idSalidasLogicas": str(o), "num_check_solapamientos": "0"})
            _append(rows, "RFOutGlobal", {
                "idRFOutGlobal": n, "Frecuencia": str(474000 + 8000 * (n - 1)),
                "Symbol_Rate": "6900", "Ancho_Banda": "0", "Modo_OFDM": "1",
                "Intervalo_Guarda": "0", "Code_Rate": "2", "Espectro_Salida": "0",
                "Modo_Salida_Modulacion": "2", "fk_idSalidasLogicasGlobal": str(n),
                "fk_idRFOut": str(o), "Activo": "1", "MAC": mac, "Estado": "1"})
        for s in range(1, opts.services + 1):
            ssg += 1
            entrada = str((s - 1) % INPUTS_PER_MODULE + 1)
            salida = str((s - 1) % OUTPUTS_PER_MODULE + 1)
            sid = str(100 * m + s)
            pmt = str(256 + 16 * s)
            name = "Service %d-%d" % (m, s)
            _append(rows, "ServiciosSalidaGlobal", {
                "idSSG": ssg, "MAC": mac, "OSID": sid, "SID": sid, "NombreEntrada": name,
                "NombreSalida": name, "NombreForzado": "0", "Tipo": "1", "VideoFormat": "0",
                "Service_Type": "1", "Video_peak_bitrate": "0", "fk_idEntrada": entrada,
                "fk_idSalidasLogicas": salida, "Seleccionado": "1", "Especial": "0",
                "Orden": str(s), "Descifrar": "0", "Transcoding": "0", "OLCN": str(s),
                "LCN": str(s), "LCNForzado": "0", "SimulcastLCN": "0", "idEPG": "0",
                "DuplicadoClonado": "0", "SSU": "0", "PMT_pid": pmt, "EstadoBorrado": "0",
                "EstadoServicio": "1"})
            _append(rows, "ServiciosEntradaGlobal", {
                "idServiciosEntradaGlobal": ssg, "MAC": mac, "fk_idEntrada": entrada,
                "SID": sid, "OSID": sid, "Nombre": name, "Proveedor": "Broadcaster",
                "Tipo": "1", "ServiceType": "1", "PMT_pid": pmt, "PCR_pid": str(int(pmt) + 1),
                "Video_pid": str(int(pmt) + 1), "Cifrado": "0", "Bitrate": "4000",
                "LCN": str(s), "NumAudios": "1", "NumSubtitulos": "0", "Estado": "1",
                # A CAM module reports its descrambling as working.
                "EstadoServicio": "17" if cam else "1"})
            for p in range(1, opts.pids + 1):
                psg += 1
                _append(rows, "PIDsSalidaGlobal", {
                    "idPSG": psg, "MAC": mac, "fk_idSSG": str(ssg), "fk_idEntrada": entrada,
                    "fk_idSalidasLogicas": salida, "Orden": str(p),
                    "Tipo": "2" if p == 1 else "4", "StreamId": str(int(pmt) + p),
                    "AudioCode": "" if p == 1 else "spa", "EstadoPID": "1",
                    "EstadoBorrado": "0"})
    return rows


# SI table files under dorel/datosWeb/tablasSI: name -> (table_id, version).
# NIT_table_<idRed> is the output NIT of the one default network.
SI_TABLES = {
    "NIT_table_1": (0x40, 3),
    "NIT_table_CPLUS": (0x40, 7),
    "BAT_table_CPLUS": (0x4A, 12),
}


def si_section(table_id, version):
    """The start of a DVB section: the agent reads the version_number from
    bits 1 to 5 of the sixth byte."""
    return bytes([table_id, 0xF0, 0x0D, 0x30, 0x39, 0xC1 | (version << 1), 0x00, 0x00,
                  0xF0, 0x00, 0xF0, 0x00, 0xDE, 0xAD, 0xBE, 0xEF])


def all_rows(opts):
    rows = {"configuracionWebGlobal": settings_rows(opts)}
    rows.update(fixed_rows())
    rows.update(module_rows(opts))
    if opts.nulls:
        for table, columns in NULLABLE_COLUMNS.items():
            for i, row in enumerate(rows.get(table, [])):
                row.update(dict.fromkeys(columns, None if i % 2 == 0 else ""))
    return rows


def module_status_vars():
    """Every status variable the alarm evaluation reads, all in the no-alarm
    state."""
    names = []
    for n in range(1, INPUTS_PER_MODULE + 1):
        names += [("alarma_procesats_si_input%d" % n, "0"),
                  ("estado_procesats_si_input%d" % n, "0"),
                  ("alarma_signal_quality_nim_T%d" % n, "0")]
    for n in range(1, OUTPUTS_PER_MODULE + 1):
        names.append(("alarma_rfout_%d" % n, "0"))
    names += [
        ("alarma_procesats_system", "0"),
        ("alarma_i2c_nim_T1", "0"),
        ("alarma_i2c_nim_T2", "0"),
        ("alarma_diseqc", "0"),
        ("alarma_cam_ini", "0"),
        ("alarma_cam_i2c_cimax", "0"),
        ("estado_cam", "1"),
    ]
    return names
