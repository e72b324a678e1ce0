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
    ] + CONFIGURATION_AND_RESET_COMMANDS
    return ('<?xml version="1.0" encoding="utf-8"?>\n<statusReply><commands>'
            + "".join(commands) + "</commands></statusReply>")


# --- getConfiguration and resetCAMModules -----------------------------------
# The reply also asks for the whole configuration and for a CAM reset of every
# module; the configuration document is shown as an outline, the reset's
# result with its per-module errors.

CONFIGURATION_AND_RESET_COMMANDS = [
    "<command><id>105</id><data><getConfiguration/></data></command>",
    "<command><id>106</id><data><resetCAMModules><modules/></resetCAMModules></data></command>",
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
        with open(os.path.join(root, "devkit/modules", addresses[1] + ".resetCAM.exit"), "w") as f:
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
        print("unknown command 'formatAllDisks', a getConfiguration and a resetCAMModules of")
        print("every module (module %s fails to reset: error 552)." % addresses[1])

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
