#!/usr/bin/env python3
"""The demo: a simulated headend, the test server with a scripted reply that
carries a few real commands, and the agent run with --once against them.
Prints what the server received and what the headend's tables hold afterwards.

    demo.py --agent build/remote-control
"""

import argparse
import datetime
import json
import os
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time

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
    ]
    return ('<?xml version="1.0" encoding="utf-8"?>\n<statusReply><commands>'
            + "".join(commands) + "</commands></statusReply>")


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
        subprocess.run([sys.executable, os.path.join(HERE, "make-headend"), root, "--modules", "3",
                        "--cam-modules", "1", "--active", "1"], check=True, stdout=subprocess.DEVNULL)
        addresses = [r[0] for r in query(os.path.join(root, "tmp/temp_global.sqlite"),
                                         "SELECT Direccion FROM ModulosCabecera ORDER BY idModulosCabecera")]
        # Module 1 reports a hardware alarm on its input 1 and a fan alarm;
        # module 2 does not answer at all.
        vars_path = os.path.join(root, "devkit/modules", addresses[0] + ".vars")
        with open(vars_path) as f:
            lines = [l for l in f.read().splitlines()
                     if not l.startswith(("alarma_procesats_si_input1=", "alarma_procesats_system="))]
        lines += ["alarma_procesats_si_input1=2", "alarma_procesats_system=2000"]
        with open(vars_path, "w") as f:
            f.write("\n".join(lines) + "\n")
        with open(os.path.join(root, "devkit/modules", addresses[1] + ".exit"), "w") as f:
            f.write("1\n")

        due = (datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(seconds=5)).strftime(
            "%Y-%m-%dT%H:%M:%S")
        server, port, log_path = start_server(root, work, {
            "routes": {"/rc/status": [{"code": 200, "body": reply_with_commands(due)}]}})
        with sqlite3.connect(os.path.join(root, "dorel/DB/config_global.sqlite")) as conn:
            conn.execute("UPDATE configuracionWebGlobal SET valor = ? WHERE nombre = 'servidorZAT_direccion'",
                         ("https://127.0.0.1:%d/rc" % port,))

        section("Simulated headend at %s; test server on 127.0.0.1:%d" % (root, port))
        print("3 modules: %s (alarms), %s (unreachable), %s (CAM module)" % tuple(addresses))
        print("The server's first reply carries: changePassword, scheduleCommands (a")
        print("stopTVCAMOTAFirmwareUpgrade due at %s UTC), startOTAFirmwareUpgrade and an" % due)
        print("unknown command 'formatAllDisks'.")

        section("Agent, pass 1 (--once)")
        run_agent(agent, root, "pass 1")
        section("Agent, pass 2 (--once): runs the scheduled command at its second")
        run_agent(agent, root, "pass 2")

        requests = show_requests(log_path)
        unknown_answered = any("<commandId>104</commandId>" in r.get("body", "") for r in requests)

        section("Headend afterwards")
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
