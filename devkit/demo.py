#!/usr/bin/env python3
"""The demo: a simulated headend, the test server with a scripted reply that
carries a few real commands, and the agent run with --once against them.
Prints what the server received and what the headend's tables hold afterwards.

    demo.py --agent build/remote-control
"""

import argparse
import datetime
import hashlib
import json
import os
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time
import xml.etree.ElementTree as ElementTree

HERE = os.path.dirname(os.path.abspath(__file__))

# A system-software-update linkage descriptor for TV CAMs (OUI 0x3A91E7).
TVCAM_LINKAGE = "4A0C00010002000309043A91E700"


def section(title):
    print("\n" + "=" * 78 + "\n" + title + "\n" + "=" * 78)


def query(db, sql):
    with sqlite3.connect(db) as conn:
        return conn.execute(sql).fetchall()


def reply_with_commands(due):
    commands = [
        "<command><id>101</id><data><changePassword><username>admin</username>"
        "<password>n3w-Secret</password></changePassword></data></command>",
        "<command><id>102</id><data><scheduleCommands><datetime>%s</datetime><commands>"
        "<command><id>201</id><data><stopTVCAMOTAFirmwareUpgrade/></data></command>"
        "</commands></scheduleCommands></data></command>" % due,
        "<command><id>103</id><data><startOTAFirmwareUpgrade><type>ndstvcam</type>"
        "<linkage>%s</linkage></startOTAFirmwareUpgrade></data></command>" % TVCAM_LINKAGE,
        "<command><id>104</id><data><formatAllDisks/></data></command>",
    ] + CONFIGURATION_AND_RESET_COMMANDS + maintenance_commands() + SET_CONFIGURATION_COMMANDS
    return ('<?xml version="1.0" encoding="utf-8"?>\n<statusReply><commands>'
            + "".join(commands) + "</commands></statusReply>")


# --- getConfiguration and resetCAMModules -----------------------------------
# The reply also asks for the whole configuration and for a CAM reset of every
# module; the configuration document is shown as an outline, the reset's
# result with its per-module errors.

CONFIGURATION_AND_RESET_COMMANDS = [
    "<command><id>109</id><data><getConfiguration/></data></command>",
    "<command><id>110</id><data><resetCAMModules><modules/></resetCAMModules></data></command>",
]


def outline_configuration(body):
    """A readable outline of a getConfiguration result: every section with
    its elements, and per module its identity and list sizes."""
    import xml.etree.ElementTree as ET
    root = ET.fromstring(body)
    configuration = root.find("./data/getConfigurationResult/configuration")
    print("getConfiguration result for command %s (%d bytes), result %s:"
          % (root.findtext("commandId"), len(body), root.findtext("result")))
    for sect in configuration:
        if sect.tag == "modules":
            for module in sect:
                services = module.findall("./services/service")
                print("  module %-10s mac %s family %s model %s sw %s: %d inputs, %d outputs, "
                      "%d services, %d PID orders%s"
                      % (module.findtext("id"), module.findtext("mac"), module.findtext("family"),
                         module.findtext("model"), module.findtext("swVersion"),
                         len(module.findall("./inputs/input")), len(module.findall("./outputs/output")),
                         len(services), len(module.findall("./services/service/pidOrders/pidOrder")),
                         ", CAM rights '%s', card '%s'" % (module.findtext("CardRights"),
                                                          module.findtext("CardStatus"))
                         if module.find("CardRights") is not None else ""))
                inp = module.find("./inputs/input")
                if inp is not None:
                    print("      input 1: " + ", ".join("%s=%s" % (c.tag, (c.text or "").strip())
                                                        for c in inp if len(c) == 0))
            continue
        leaves = ["%s=%s" % (c.tag, c.text or "") for c in sect if len(c) == 0]
        nested = [c for c in sect if len(c) > 0]
        line = "  %-18s %s" % (sect.tag, ", ".join(leaves) if leaves else (sect.text or "").strip())
        if nested:
            first = nested[0]
            line += "%d x %s (first: %s)" % (len(nested), first.tag, ", ".join(
                "%s=%s" % (c.tag, c.text or "") for c in first if len(c) == 0))
        print(line)


def show_reset_result(body):
    import xml.etree.ElementTree as ET
    root = ET.fromstring(body)
    errors = ["%s %s" % (e.findtext("id"), e.findtext("text")) for e in root.findall("./errors/error")]
    print("resetCAMModules result for command %s: result %s, errors: %s"
          % (root.findtext("commandId"), root.findtext("result"), "; ".join(errors) or "none"))


def show_special_body(body):
    """True when the body was shown in its own readable form."""
    if "<getConfigurationResult>" in body:
        outline_configuration(body)
        return True
    if "<resetCAMModulesResult" in body:
        show_reset_result(body)
        print(body)
        return True
    return False

# --- end of getConfiguration and resetCAMModules ----------------------------


# --- Firmware, certificate renewal and Quorvex CAM keys -----------------------
# The test server serves the package, signs the CSR with the headend's CA and
# knows the key of one of the CAMs the list adds.
FIRMWARE = "demo firmware 2.3\n" * 600
FIRMWARE_MD5 = hashlib.md5(FIRMWARE.encode()).hexdigest()
RENEWED_CN = "SN-0001 renewed {n}"
CAM_KEYS = {"TV-0003": "PUBLIC-KEY-0003"}


def maintenance_commands():
    return [
        "<command><id>105</id><data><downloadFirmwareUpgrade><firmware><url>{{server}}/fw/fw-2.3.bin</url>"
        "<md5>%s</md5></firmware></downloadFirmwareUpgrade></data></command>" % FIRMWARE_MD5,
        "<command><id>106</id><data><applyFirmwareUpgrade><firmware><filename>fw-2.3.bin</filename>"
        "<md5>%s</md5></firmware></applyFirmwareUpgrade></data></command>" % FIRMWARE_MD5,
        "<command><id>107</id><data><regenerateSSLCertificate/></data></command>",
        "<command><id>108</id><data><setQuorvexCAMList><partialList>1</partialList><list>"
        "<cam><serialNumber>TV-0003</serialNumber><manufacturer>CamMaker</manufacturer></cam>"
        "<cam><serialNumber>TV-0004</serialNumber><description>Room 104</description></cam>"
        "</list></setQuorvexCAMList></data></command>",
    ]


def maintenance_script():
    return {"files": {"/fw/fw-2.3.bin": FIRMWARE}, "signed_cn": RENEWED_CN, "cam_keys": CAM_KEYS}


def command_outcome(requests, command_id):
    """"succeeded" or "failed (code text, ...)" from the delivered result."""
    for r in requests:
        if not r.get("path", "").endswith("/commandResult"):
            continue
        try:
            doc = ElementTree.fromstring(r.get("body", ""))
        except ElementTree.ParseError:
            continue
        if doc.findtext("commandId") != str(command_id):
            continue
        errors = ["%s %s" % (e.findtext("id"), e.findtext("text")) for e in doc.iter("error")]
        return "succeeded" if doc.findtext("result") == "0" else "failed (%s)" % "; ".join(errors)
    return "no result delivered"


def show_maintenance(root, requests):
    section("Firmware, certificate renewal and Quorvex CAM keys")
    calls_path = os.path.join(root, "devkit/calls.log")
    calls = open(calls_path).read().splitlines() if os.path.exists(calls_path) else []
    start = [c for c in calls if c.startswith("/dorel/script/fw_upload_start.sh")]
    package = os.path.join(root, "dorel/shared/upgrades/fw-2.3.bin")
    print("downloadFirmwareUpgrade (id 105): %s; fw-2.3.bin (%d bytes) fetched from the test server, MD5 checked"
          % (command_outcome(requests, 105), len(FIRMWARE)))
    print("applyFirmwareUpgrade (id 106): %s; start script called as '%s', package in "
          "/dorel/shared/upgrades: %s, upload directory left: %s"
          % (command_outcome(requests, 106), start[0] if start else "-", os.path.exists(package),
             os.path.exists(os.path.join(root, "dorel/rc_uploads"))))
    subjects = []
    for r in requests:
        if not subjects or subjects[-1] != r.get("client_subject"):
            subjects.append(r.get("client_subject"))
    print("regenerateSSLCertificate (id 107): %s; client certificates the server saw, in order: %s; "
          "previous one kept as wmb-client.crt.bak: %s"
          % (command_outcome(requests, 107), " -> ".join("'%s'" % s for s in subjects),
             os.path.exists(os.path.join(root, "dorel/certs/module/wmb-client.crt.bak"))))
    print("setQuorvexCAMList (id 108): %s; TV-0003 and TV-0004 added to the CAM list"
          % command_outcome(requests, 108))
    fetches = [r for r in requests if r.get("path", "").endswith("/getQuorvexCAMPublicKey")]
    for n, r in enumerate(fetches, 1):
        try:
            asked = [c.findtext("serialNumber") for c in ElementTree.fromstring(r["body"]).iter("cam")]
        except ElementTree.ParseError:
            asked = ["?"]
        known = [a for a in asked if a in CAM_KEYS]
        print("key fetch %d: asked the server for the keys of %s; it knew %s"
              % (n, ", ".join(asked), ", ".join(known) or "none"))
    for serial, key, retries, error in query(os.path.join(root, "dorel/DB/quor_global.sqlite"),
                                             "SELECT idCliente, K_Publica, Reintentos, Error FROM Quorvex "
                                             "ORDER BY idQuorvex"):
        print("  Quorvex %s: key %s, Reintentos %s, Error %s" % (serial, key or "(none)", retries, error))
# --- end of firmware, certificate renewal and Quorvex CAM keys ---------------

# --- setConfiguration of the modules ----------------------------------------
# After the getConfiguration above, the reply sends a setConfiguration that
# moves module 1's service 101 from output 1 to output 2 and tunes its input 1
# to 11000 MHz; the rows of both are shown before the agent runs and after.

def _module_element(m, children=""):
    return "<module><mac>00:1A:2B:00:00:%02X</mac>%s</module>" % (m, children)


SET_CONFIGURATION_COMMANDS = [
    "<command><id>111</id><data><setConfiguration><configuration><modules>"
    + _module_element(1, "<inputs><input><inputId>1</inputId><type>0</type><frequency>11000</frequency>"
                         "</input></inputs><services>"
                         "<service><outputId>2</outputId><outputSid>101</outputSid><inputId>1</inputId>"
                         "<inputSid>101</inputSid><outputName>Service 1-1</outputName><lcn>1</lcn><pidOrders>"
                         "<pidOrder><streamId>273</streamId><type>2</type><order>1</order></pidOrder>"
                         "<pidOrder><languageCode>spa</languageCode><streamId>274</streamId><type>4</type>"
                         "<order>2</order></pidOrder></pidOrders></service>"
                         "<service><outputId>2</outputId><outputSid>102</outputSid></service>"
                         "<service><outputId>1</outputId><outputSid>103</outputSid></service></services>")
    + _module_element(2) + _module_element(3)
    + "</modules></configuration></setConfiguration></data></command>",
]


def module_one_rows(root):
    db = os.path.join(root, "dorel/DB/config_global.sqlite")
    return {
        "ServiciosSalidaGlobal (idSSG, output, OSID, SID, name, EstadoServicio, EstadoBorrado)": query(
            db, "SELECT idSSG, fk_idSalidasLogicas, OSID, SID, NombreSalida, EstadoServicio, EstadoBorrado "
                "FROM ServiciosSalidaGlobal WHERE MAC = '00:1A:2B:00:00:01' ORDER BY idSSG"),
        "PIDsSalidaGlobal of OSID 101 (idPSG, idSSG, output, StreamId, Orden, EstadoPID, EstadoBorrado)": query(
            db, "SELECT p.idPSG, p.fk_idSSG, p.fk_idSalidasLogicas, p.StreamId, p.Orden, p.EstadoPID, "
                "p.EstadoBorrado FROM PIDsSalidaGlobal p JOIN ServiciosSalidaGlobal s ON p.fk_idSSG = s.idSSG "
                "WHERE s.MAC = '00:1A:2B:00:00:01' AND s.OSID = '101' ORDER BY p.idPSG"),
        "NimGlobal of input 1 (Frequency, fe = intermediate frequency, banda_FI)": query(
            db, "SELECT Frequency, fe, banda_FI FROM NimGlobal WHERE idNimGlobal = 1"),
    }


def show_module_one_rows(before, after):
    print("setConfiguration (command 111): service 101 of module 1 moves to output 2, input 1 to 11000 MHz")
    for title in before:
        print("  %s" % title)
        for label, rows in (("before", before[title]), ("after", after[title])):
            print("    %-7s %s" % (label + ":", "\n            ".join(str(r) for r in rows)))

# --- end of setConfiguration of the modules ---------------------------------


def start_server(root, work, script):
    script_path = os.path.join(work, "script.json")
    with open(script_path, "w") as f:
        json.dump(script, f)
    port_file = os.path.join(work, "port")
    log_path = os.path.join(work, "requests.jsonl")
    server = subprocess.Popen([sys.executable, os.path.join(HERE, "testserver.py"), "--root", root,
                               "--script", script_path, "--log", log_path, "--port-file", port_file,
                               "--idle-exit", "120"])
    for _ in range(200):
        if os.path.exists(port_file) and open(port_file).read().strip():
            return server, int(open(port_file).read().strip()), log_path
        if server.poll() is not None:
            break
        time.sleep(0.05)
    server.kill()
    sys.exit("demo: the test server did not start")


def run_agent(agent, root, label):
    env = dict(os.environ, REMOTE_CONTROL_ROOT=root)
    pidfile = os.path.join(root, "var/run/remote-control.pid")
    started = time.time()
    done = subprocess.run([agent, "--once", "-p", pidfile], env=env, capture_output=True, text=True, timeout=120)
    print("%s: exit status %d after %.1f s" % (label, done.returncode, time.time() - started))
    if done.stderr.strip():
        print(done.stderr.rstrip())
    return done


def show_requests(log_path):
    with open(log_path) as f:
        requests = [json.loads(line) for line in f if line.strip()]
    show_bodies(requests)
    return requests


def show_bodies(requests):
    seen = set()
    for i, r in enumerate(requests, 1):
        section("Request %d: %s %s (client certificate %s, user %s, answered %s)"
                % (i, r.get("method"), r.get("path"), r.get("client_subject"), r.get("user"), r.get("status")))
        body = r.get("body", "").rstrip()
        if body in seen:
            print("(the same document as an earlier request)")
        elif show_special_body(body):
            seen.add(body)
        else:
            seen.add(body)
            print(body)


# --- setConfiguration ------------------------------------------------------
# Two setConfiguration commands on a headend of their own: the first changes
# the network and the regional settings (the WAN script and the time-zone
# follow-up run after the commit), the second carries a failing section and
# changes nothing at all.

SETCONFIG_GOOD = ("<network><ip>10.20.30.40</ip><gateway>10.20.30.1</gateway></network>"
                  "<regional><language>fr</language><country>FR</country><timezone>Europe/Paris</timezone>"
                  "</regional>")
SETCONFIG_BAD = ("<identification><headendName>Must not stay</headendName></identification>"
                 "<dvbNetworks><dvbNetwork><id>1</id><tipoNITPatron>0</tipoNITPatron><nitPatron>2</nitPatron>"
                 "</dvbNetwork></dvbNetworks>")


def setconfig_reply():
    commands = ["<command><id>%d</id><data><setConfiguration><configuration>%s</configuration>"
                "</setConfiguration></data></command>" % (cid, body)
                for cid, body in ((301, SETCONFIG_GOOD), (302, SETCONFIG_BAD))]
    return ('<?xml version="1.0" encoding="utf-8"?>\n<statusReply><commands>'
            + "".join(commands) + "</commands></statusReply>")


def demo_set_configuration(agent, work):
    work = os.path.join(work, "setconfig")
    os.makedirs(work)
    root = os.path.join(work, "root")
    subprocess.run([sys.executable, os.path.join(HERE, "make-headend"), root, "--modules", "1", "--active", "1"],
                   check=True, stdout=subprocess.DEVNULL)
    config_db = os.path.join(root, "dorel/DB/config_global.sqlite")
    keys = ("network_IP", "network_Gateway", "codtimezone", "idtimezone", "subtimezone", "identificacion_cabecera")

    def show_keys():
        for name, value in query(config_db, "SELECT nombre, valor FROM configuracionWebGlobal WHERE nombre IN (%s)"
                                 % ",".join("'%s'" % k for k in keys)):
            print("  %-24s %s" % (name, value))

    server, port, log_path = start_server(root, work, {"routes": {"/rc/status": [{"body": setconfig_reply()}]}})
    try:
        with sqlite3.connect(config_db) as conn:
            conn.execute("UPDATE configuracionWebGlobal SET valor = ? WHERE nombre = 'servidorZAT_direccion'",
                         ("https://127.0.0.1:%d/rc" % port,))
        networks_before = query(config_db, "SELECT * FROM RedesCabecera")
        section("setConfiguration: command 301 changes the network and the regional settings;\n"
                "command 302 carries a failing dvbNetworks section after an identification change")
        print("settings before:")
        show_keys()
        done = run_agent(agent, root, "setConfiguration pass")
        print("the agent's setConfiguration progress lines (standard output):")
        for line in done.stdout.splitlines():
            if line.startswith(("Processing: ", "setConfig: ", "Could not set ")):
                print("  " + line)

        with open(log_path) as f:
            results = [json.loads(l) for l in f if l.strip()]
        show_bodies([r for r in results if r.get("path", "").endswith("/commandResult")])

        section("setConfiguration: the headend afterwards")
        print("settings after (302 left no trace):")
        show_keys()
        print("RedesCabecera unchanged by 302:", query(config_db, "SELECT * FROM RedesCabecera") == networks_before)
        print("programs the agent ran (devkit/calls.log):")
        with open(os.path.join(root, "devkit/calls.log")) as f:
            for line in f:
                if not line.startswith(("/dorel/script/SERIAL", "/dorel/script/MAC", "/dorel/script/MODELO",
                                        "hostname", "/dorel/bin/clienteXMLRPC")):
                    print("  " + line.rstrip())
        for fixed in ("dorel/conf/timezone/localtime", "dorel/conf/tot_file"):
            with open(os.path.join(root, fixed)) as f:
                print("/%s:\n  %s" % (fixed, f.read().rstrip().replace("\n", "\n  ")))
    finally:
        server.send_signal(signal.SIGTERM)
        try:
            server.wait(timeout=10)
        except subprocess.TimeoutExpired:
            server.kill()
# --- end of setConfiguration ---------------------------------------------


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--agent", required=True)
    parser.add_argument("--keep", action="store_true", help="keep the simulated headend")
    args = parser.parse_args()
    agent = os.path.abspath(args.agent)

    work = tempfile.mkdtemp(prefix="rc-demo-")
    root = os.path.join(work, "root")
    server = None
    try:
        subprocess.run([sys.executable, os.path.join(HERE, "make-headend"), root, "--modules", "4",
                        "--cam-modules", "1", "--active", "1"], check=True, stdout=subprocess.DEVNULL)
        addresses = [r[0] for r in query(os.path.join(root, "tmp/temp_global.sqlite"),
                                         "SELECT Direccion FROM ModulosCabecera ORDER BY idModulosCabecera")]
        # Module 1 reports a hardware alarm on its input 1 and a fan alarm;
        # module 2 does not answer at all; module 3 takes the status request
        # and never answers, as a module whose software hangs does.
        vars_path = os.path.join(root, "devkit/modules", addresses[0] + ".vars")
        with open(vars_path) as f:
            lines = [l for l in f.read().splitlines()
                     if not l.startswith(("alarma_procesats_si_input1=", "alarma_procesats_system="))]
        lines += ["alarma_procesats_si_input1=2", "alarma_procesats_system=2000"]
        with open(vars_path, "w") as f:
            f.write("\n".join(lines) + "\n")
        with open(os.path.join(root, "devkit/modules", addresses[1] + ".exit"), "w") as f:
            f.write("1\n")
        with open(os.path.join(root, "devkit/modules", addresses[1] + ".resetCAM.exit"), "w") as f:
            f.write("1\n")
        open(os.path.join(root, "devkit/modules", addresses[2] + ".GetTable.hang"), "w").close()

        due = (datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(seconds=25)).strftime(
            "%Y-%m-%dT%H:%M:%S")
        server, port, log_path = start_server(root, work, dict(
            maintenance_script(), routes={"/rc/status": [{"code": 200, "body": reply_with_commands(due)}]}))
        with sqlite3.connect(os.path.join(root, "dorel/DB/config_global.sqlite")) as conn:
            conn.execute("UPDATE configuracionWebGlobal SET valor = ? WHERE nombre = 'servidorZAT_direccion'",
                         ("https://127.0.0.1:%d/rc" % port,))

        section("Simulated headend at %s; test server on 127.0.0.1:%d" % (root, port))
        print("4 modules: %s (alarms), %s (unreachable), %s (hangs: stopped at its 10 s time-out, reported as"
              " unreachable, and the pass goes on), %s (CAM module)" % tuple(addresses))
        print("The server's first reply carries: changePassword, scheduleCommands (a")
        print("stopTVCAMOTAFirmwareUpgrade due at %s UTC), startOTAFirmwareUpgrade and an" % due)
        print("unknown command 'formatAllDisks', a getConfiguration and a resetCAMModules of")
        print("every module (module %s fails to reset: error 552)." % addresses[1])
        print("The same reply also carries downloadFirmwareUpgrade + applyFirmwareUpgrade,")
        print("regenerateSSLCertificate and a partial setQuorvexCAMList.")


        module_one_before = module_one_rows(root)
        section("Agent, pass 1 (--once)")
        run_agent(agent, root, "pass 1")
        section("Agent, pass 2 (--once): runs the scheduled command at its second")
        run_agent(agent, root, "pass 2")

        requests = show_requests(log_path)
        unknown_answered = any("<commandId>104</commandId>" in r.get("body", "") for r in requests)
        show_maintenance(root, requests)

        section("Headend afterwards")
        show_module_one_rows(module_one_before, module_one_rows(root))
        rows = query(os.path.join(root, "dorel/DB/remote_control.sqlite"),
                     "SELECT id, commandId, status, nextTime, schedule FROM RCCommand")
        print("RCCommand rows (every result delivered, so none left): %d" % len(rows))
        for r in rows:
            print("  ", r)
        print("admin password in usuario:",
              query(os.path.join(root, "dorel/DB/config_local.sqlite"),
                    "SELECT clave FROM usuario WHERE usuario = 'admin'")[0][0])
        ota = os.path.join(root, "dorel/datosWeb/tablasSI/wmbLinkageDescriptor_CAM_CI_PLUS")
        print("TV CAM OTA descriptor file present:", os.path.exists(ota),
              "(started in pass 1, stopped by the scheduled command in pass 2)")
        print("unknown command 'formatAllDisks' (id 104):",
              "answered?!" if unknown_answered else "refused when it arrived: never stored, never run")
        print("connection flag servidorZAT_conectado:",
              query(os.path.join(root, "dorel/DB/config_global.sqlite"),
                    "SELECT valor FROM configuracionWebGlobal WHERE nombre = 'servidorZAT_conectado'")[0][0])
        demo_set_configuration(agent, work)
    finally:
        if server is not None:
            server.send_signal(signal.SIGTERM)
            try:
                server.wait(timeout=10)
            except subprocess.TimeoutExpired:
                server.kill()
        if args.keep:
            print("\nkept:", work)
        else:
            shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
