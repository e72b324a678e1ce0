#!/usr/bin/env python3
"""Self-check of the dev kit: the simulated headend's stubs and the HTTPS test
server behave as devkit/README.md promises. Run by scripts/test.sh before the
agent's own tests, so a broken dev kit shows up as itself."""

import base64
import json
import os
import shutil
import signal
import sqlite3
import ssl
import subprocess
import sys
import tempfile
import time
import unittest
import xml.etree.ElementTree as ElementTree
import http.client

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
from headend import rows, schema  # noqa: E402  (the dev kit's own default rows)
CACHE = os.environ.get("RC_DEVKIT_CERT_CACHE") or os.path.join(
    tempfile.gettempdir(), "rc-devkit-selftest-certs-%d" % os.getuid())


def make_headend(root, *args, env=None):
    subprocess.run([sys.executable, os.path.join(HERE, "make-headend"), root,
                    "--cert-cache", CACHE] + list(args), check=True, stdin=subprocess.DEVNULL,
                   env=env)


def select(path, sql):
    db = sqlite3.connect(path)
    try:
        return db.execute(sql).fetchall()
    finally:
        db.close()


def db_path(root, table):
    return os.path.join(root, schema.DATABASE_FILES[table.database])


def table_info(root, table):
    """[(name, primary key flag)] of the table as created."""
    return [(r[1], r[5]) for r in select(db_path(root, table), 'PRAGMA table_info("%s")' % table.name)]


def gone(pid):
    """True once the process has ended (a zombie awaiting its reaper counts)."""
    try:
        with open("/proc/%d/stat" % pid) as f:
            return f.read().rpartition(")")[2].split()[0] == "Z"
    except FileNotFoundError:
        return True


def wait_until(predicate, seconds=10):
    deadline = time.monotonic() + seconds
    while not predicate():
        if time.monotonic() > deadline:
            return False
        time.sleep(0.02)
    return True


def run_stub(root, relative, *args):
    return subprocess.run([os.path.join(root, relative)] + list(args),
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


class HeadendLayout(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tmp = tempfile.mkdtemp(prefix="rc-devkit-selftest-")
        cls.root = os.path.join(cls.tmp, "root")
        make_headend(cls.root, "--modules", "3", "--cam-modules", "2")

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.tmp, ignore_errors=True)

    def read_calls(self):
        with open(os.path.join(self.root, "devkit/calls.log")) as f:
            return f.read().splitlines()

    def test_identity_scripts_print_value_and_status(self):
        out = run_stub(self.root, "dorel/script/SERIAL")
        self.assertEqual(out.stdout, "SN-0001\nOK\n")
        status = os.path.join(self.root, "devkit/identity/MODELO.status")
        with open(status, "w") as f:
            f.write("FAIL\n")
        try:
            self.assertEqual(run_stub(self.root, "dorel/script/MODELO").stdout, "KVB-200\nFAIL\n")
        finally:
            os.unlink(status)
        self.assertEqual(run_stub(self.root, "bin/hostname").stdout, "headend-test\n")

    def test_fresh_modules_report_no_alarm_words(self):
        out = run_stub(self.root, "dorel/bin/clienteXMLRPC", "10.9.0.1", "GetTable", "TempDB",
                       "alarmasEstado", "WHERE 1")
        self.assertEqual(out.returncode, 0)
        with open(os.path.join(self.root, "tmp/PHPserialize.txt")) as f:
            text = f.read()
        self.assertTrue(text.startswith("a:15:{i:0;O:15:\"tAlarmasEstadoE\":2:{"), text)
        self.assertIn('s:7:"fnombre";s:10:"estado_cam";s:6:"fvalor";s:1:"1";', text)
        self.assertIn("/dorel/bin/clienteXMLRPC 10.9.0.1 GetTable TempDB alarmasEstado WHERE 1",
                      self.read_calls())

    def test_unknown_module_is_unreachable_and_exit_files_rule(self):
        self.assertEqual(run_stub(self.root, "dorel/bin/clienteXMLRPC", "10.9.9.9",
                                  "resetCAM").returncode, 1)
        exit_file = os.path.join(self.root, "devkit/xmlrpc-resetCAM.exit")
        with open(exit_file, "w") as f:
            f.write("4\n")
        try:
            self.assertEqual(run_stub(self.root, "dorel/bin/clienteXMLRPC", "10.9.0.2",
                                      "resetCAM").returncode, 4)
        finally:
            os.unlink(exit_file)
        with open(os.path.join(self.root, "devkit/exit/fw_upload_start.sh"), "w") as f:
            f.write("5\n")
        self.assertEqual(run_stub(self.root, "dorel/script/fw_upload_start.sh", "10").returncode, 5)
        self.assertEqual(run_stub(self.root, "sbin/reboot").returncode, 0)

    def test_hostile_arguments_are_recorded_not_run(self):
        marker = os.path.join(self.tmp, "pwned")
        out = run_stub(self.root, "dorel/bin/QuorKey", "$(touch %s)" % marker, "`touch x`")
        self.assertEqual(out.returncode, 0)
        self.assertFalse(os.path.exists(marker))
        self.assertIn("/dorel/bin/QuorKey $(touch %s) `touch x`" % marker, self.read_calls())

    def test_time_offsets_writes_one_line_per_zone(self):
        run_stub(self.root, "dorel/script/get_time_offsets.sh", "0", "Europe/Madrid",
                 "Atlantic/Canary")
        with open(os.path.join(self.root, "tmp/temp_tot_file_web")) as f:
            self.assertEqual(f.read(), "Europe/Madrid +0100\nAtlantic/Canary +0100\n")

    def test_reboot_keeps_the_command_store_of_its_moment(self):
        store = os.path.join(self.root, "dorel/DB/remote_control.sqlite")
        with sqlite3.connect(store) as db:
            db.execute("INSERT INTO RCCommand (commandId, status) VALUES ('7', '2')")
        self.assertEqual(run_stub(self.root, "sbin/reboot").returncode, 0)
        with sqlite3.connect(store) as db:
            db.execute("DELETE FROM RCCommand")
        snapshot = sqlite3.connect(os.path.join(self.root, "devkit/reboot/remote_control.sqlite"))
        try:
            self.assertEqual(snapshot.execute("SELECT commandId, status FROM RCCommand").fetchall(), [("7", "2")])
        finally:
            snapshot.close()

    def test_si_tables_carry_their_versions(self):
        for name, (_, version) in rows.SI_TABLES.items():
            with open(os.path.join(self.root, "dorel/datosWeb/tablasSI", name), "rb") as f:
                self.assertEqual((f.read()[5] >> 1) & 31, version, name)

    def test_cam_modules_are_the_last_ones(self):
        db = sqlite3.connect(os.path.join(self.root, "dorel/DB/config_global.sqlite"))
        try:
            rows = db.execute("SELECT Familia, Modelo FROM RedesModulos ORDER BY idRedMod").fetchall()
        finally:
            db.close()
        self.assertEqual(rows, [("20", "3"), ("36", "5"), ("36", "5")])


    def test_hanging_stubs_record_first_and_die_only_with_their_group(self):
        md5_input = os.path.join(self.tmp, "md5-input")
        with open(md5_input, "w") as f:
            f.write("hello\n")
        xmlrpc = "/dorel/bin/clienteXMLRPC"
        cases = [  # (control file under devkit/, stub, arguments, recorded line)
            ("hang/QuorKey", "dorel/bin/QuorKey", ["1"], "/dorel/bin/QuorKey 1"),
            ("hang/md5sum", "usr/bin/md5sum", [md5_input], "/usr/bin/md5sum " + md5_input),
            ("modules/10.9.0.1.hang", "dorel/bin/clienteXMLRPC", ["10.9.0.1", "GetTable"],
             xmlrpc + " 10.9.0.1 GetTable"),
            ("modules/10.9.0.2.resetCAM.hang", "dorel/bin/clienteXMLRPC", ["10.9.0.2", "resetCAM"],
             xmlrpc + " 10.9.0.2 resetCAM"),
        ]
        pids_file = os.path.join(self.root, "devkit/hang/pids")

        def pids():
            if not os.path.exists(pids_file):
                return []
            with open(pids_file) as f:
                return [int(p) for p in f.read().split()]

        for control, stub, args, line in cases:
            with self.subTest(control):
                control = os.path.join(self.root, "devkit", control)
                open(control, "w").close()
                before = len(pids())
                # stdin is a pipe never written to: a stub that read it would hang anyway.
                proc = subprocess.Popen([os.path.join(self.root, stub)] + args, start_new_session=True,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)
                try:
                    self.assertTrue(wait_until(lambda: len(pids()) == before + 2))
                    shell, child = pids()[before:]
                    self.assertEqual(shell, proc.pid)
                    time.sleep(0.2)
                    self.assertIsNone(proc.poll())
                    self.assertEqual(self.read_calls()[-1], line)
                finally:
                    os.killpg(proc.pid, signal.SIGKILL)
                    proc.wait()
                    proc.stdout.close()
                    proc.stdin.close()
                    os.unlink(control)
                ended = wait_until(lambda: gone(child), 5)
                if not ended:
                    os.kill(child, signal.SIGKILL)  # left behind: do not keep it
                self.assertTrue(ended, "the stub's child outlived its process group")

        # Only the method named hangs; without the control file md5sum is the real one.
        self.assertEqual(run_stub(self.root, "dorel/bin/clienteXMLRPC", "10.9.0.2", "GetTable",
                                  "TempDB", "alarmasEstado", "WHERE 1").returncode, 0)
        out = run_stub(self.root, "usr/bin/md5sum", md5_input)
        self.assertEqual(out.stdout, "b1946ac92492d2347c6235b4d2611184  %s\n" % md5_input)
        self.assertEqual(self.read_calls()[-1], "/usr/bin/md5sum " + md5_input)


class Layouts(unittest.TestCase):
    """The shuffled layout moves every column the agent must find by name and
    keeps the data; --nulls stores NULL."""

    @classmethod
    def setUpClass(cls):
        cls.tmp = tempfile.mkdtemp(prefix="rc-devkit-selftest-")
        cls.roots = {name: os.path.join(cls.tmp, name) for name in ("default", "shuffled", "nulls")}
        env = dict(os.environ, RC_DEVKIT_LAYOUT="shuffled")
        make_headend(cls.roots["default"], "--no-certs", "--layout", "default", "--modules", "3",
                     "--cam-modules", "2")
        make_headend(cls.roots["shuffled"], "--no-certs", "--modules", "3", "--cam-modules", "2",
                     env=env)
        make_headend(cls.roots["nulls"], "--no-certs", "--layout", "shuffled:5", "--nulls", env=env)
        cls.tables = schema.load_tables()

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.tmp, ignore_errors=True)

    def test_shuffled_tables_keep_positional_columns_and_move_the_others(self):
        default, shuffled = self.roots["default"], self.roots["shuffled"]
        for table in self.tables.values():
            with self.subTest(table.name):
                info = table_info(shuffled, table)
                names = [n for n, _ in info]
                self.assertEqual(dict(info)[table.key], 1)
                known = table.known_columns
                if table.name not in schema.PROGRAM_TABLES:
                    self.assertEqual(info, table_info(default, table))
                    continue
                for i, column in enumerate(known):
                    if column in table.positional:
                        self.assertEqual(names[i], column)
                    else:
                        self.assertNotEqual(names.index(column), i, column)
                unknown = [i for i, n in enumerate(names) if n not in known]
                self.assertGreaterEqual(len(unknown), 2)
                for i in unknown:
                    self.assertTrue(names[i - 1] in known and names[i + 1] in known, names)
                values = select(db_path(shuffled, table),
                                'SELECT devkitUnknown1, devkitUnknown2 FROM "%s"' % table.name)
                self.assertEqual({v for v, _ in values} - {"devkit-unknown-1"}, set())
                if values:
                    self.assertIn(None, {v for _, v in values})

                # The same rows by name, whatever the order.
                sql = 'SELECT %s FROM "%s" ORDER BY 1' % (
                    ", ".join('"%s"' % c for c in [table.key] + known), table.name)
                self.assertEqual(select(db_path(shuffled, table), sql),
                                 select(db_path(default, table), sql))
        with open(os.path.join(shuffled, "devkit/layout")) as f:
            self.assertEqual(f.read(), "shuffled:1\n")

    def test_seed_chooses_the_order_and_nulls_are_null_or_empty(self):
        nulls = self.roots["nulls"]
        t = self.tables["RedesModulos"]
        self.assertNotEqual(table_info(nulls, t), table_info(self.roots["shuffled"], t))
        for name, columns in rows.NULLABLE_COLUMNS.items():
            sql = 'SELECT %s FROM "%s"' % (", ".join("typeof(%s)" % c for c in columns), name)
            found = select(db_path(nulls, self.tables[name]), sql)
            self.assertTrue(found, name)
            values = {v for r in found for v in r}
            self.assertIn("null", values, name)
            self.assertLessEqual(values, {"null", "text"}, name)


class TestServer(unittest.TestCase):
    SCRIPT = {
        "routes": {
            "/rc/status": [{"code": 200, "body": "<statusReply>first</statusReply>"},
                           {"code": 500, "body": "oops"}],
            "/rc/moved": [{"redirect": "/rc/status", "code": 302}],
        },
        "files": {"/fw/fw-2.3.bin": "firmware bytes", "/fw/big.bin": {"size": 1048575}},
        "signed_cn": "SN-0001 renewed {n}",
        "sign": ["good", "garbage", "other_key", "other_ca"],
        "cam_keys": {"TV-0002": "KEY-2", "TV-0003": ""},
    }

    @classmethod
    def setUpClass(cls):
        cls.tmp = tempfile.mkdtemp(prefix="rc-devkit-selftest-")
        cls.root = os.path.join(cls.tmp, "root")
        make_headend(cls.root, "--modules", "1")
        cls.log = os.path.join(cls.tmp, "requests.jsonl")
        cls.server = cls.start("default", cls.SCRIPT)
        cls.port = cls.wait_port(os.path.join(cls.tmp, "port-default"))

    @classmethod
    def start(cls, name, script, cert_set="default", idle="60"):
        path = os.path.join(cls.tmp, "script-%s.json" % name)
        with open(path, "w") as f:
            json.dump(script, f)
        return subprocess.Popen([sys.executable, os.path.join(HERE, "testserver.py"),
                                 "--root", cls.root, "--script", path, "--log", cls.log,
                                 "--port-file", os.path.join(cls.tmp, "port-" + name),
                                 "--cert-set", cert_set, "--idle-exit", idle])

    @staticmethod
    def wait_port(path):
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline:
            if os.path.exists(path):
                with open(path) as f:
                    return int(f.read())
            time.sleep(0.05)
        raise AssertionError("test server did not start")

    @classmethod
    def tearDownClass(cls):
        cls.server.send_signal(signal.SIGTERM)
        cls.server.wait(timeout=10)
        shutil.rmtree(cls.tmp, ignore_errors=True)

    def context(self, client_cert=True):
        ctx = ssl.create_default_context(cafile=os.path.join(self.root,
                                                             "dorel/certs/dorel/wmb-ca-chain.pem"))
        if client_cert:
            ctx.load_cert_chain(os.path.join(self.root, "dorel/certs/module/wmb-client.crt"),
                                os.path.join(self.root, "dorel/certs/module/wmb.key"))
        return ctx

    def request(self, method, path, body=None, user="rc-user", password="rc-pass", port=None):
        conn = http.client.HTTPSConnection("127.0.0.1", port or self.port, context=self.context(),
                                           timeout=10)
        headers = {}
        if user is not None:
            token = base64.b64encode(("%s:%s" % (user, password)).encode()).decode()
            headers["Authorization"] = "Basic " + token
        if body is not None:
            headers["Content-Type"] = "application/xml"
        try:
            conn.request(method, path, body=body, headers=headers)
            response = conn.getresponse()
            return response.status, response.read().decode(), dict(response.getheaders())
        finally:
            conn.close()

    def records(self):
        with open(self.log) as f:
            return [json.loads(line) for line in f if line.strip()]

    def test_routes_defaults_files_and_auth(self):
        self.assertEqual(self.request("POST", "/rc/status", "<status/>")[:2],
                         (200, "<statusReply>first</statusReply>"))
        self.assertEqual(self.request("POST", "/rc/status", "<status/>")[0], 500)
        code, body, _ = self.request("POST", "/rc/status", "<status/>")
        self.assertEqual((code, body), (200, '<?xml version="1.0" encoding="utf-8"?>\n'
                                             '<statusReply></statusReply>'))
        self.assertEqual(self.request("POST", "/rc/commandResult", "<r/>")[0], 200)
        self.assertEqual(self.request("GET", "/fw/fw-2.3.bin")[:2], (200, "firmware bytes"))
        self.assertEqual(self.request("GET", "/fw/missing.bin")[0], 404)
        code, _, headers = self.request("GET", "/rc/moved")
        self.assertEqual(code, 302)
        self.assertEqual(headers["Location"], "https://127.0.0.1:%d/rc/status" % self.port)
        code, _, headers = self.request("POST", "/rc/status", "<status/>", password="wrong")
        self.assertEqual(code, 401)
        self.assertTrue(headers["WWW-Authenticate"].startswith("Basic"))
        self.assertEqual(self.request("POST", "/rc/status", "x", user=None)[0], 401)

        wrong = [r for r in self.records() if r.get("user") == "rc-user" and not r["auth_ok"]]
        self.assertEqual(len(wrong), 1)
        first = next(r for r in self.records() if r.get("status") == 200 and r.get("path") == "/rc/status")
        self.assertEqual(first["client_subject"], "SN-0001")
        self.assertEqual(first["body"], "<status/>")
        self.assertEqual(first["headers"]["Content-Type"], "application/xml")

    def test_generated_files_csr_signing_and_cam_keys(self):
        code, body, _ = self.request("GET", "/fw/big.bin")
        self.assertEqual((code, len(body)), (200, 1048575))

        with open(os.path.join(self.root, "dorel/certs/module/wmb-client.csr")) as f:
            csr = f.read()
        code, body, _ = self.request("POST", "/rc/signCSR", "<signCSR><csr>%s</csr></signCSR>" % csr)
        self.assertEqual(code, 200)
        crt = ElementTree.fromstring(body).findtext("crt")
        subject = subprocess.run(["openssl", "x509", "-noout", "-subject"], input=crt, text=True,
                                 capture_output=True, check=True).stdout
        self.assertIn("SN-0001 renewed 1", subject)
        self.assertEqual(self.request("POST", "/rc/signCSR", "<signCSR><csr/></signCSR>")[0], 400)

        def openssl(*args, stdin=""):
            done = subprocess.run(["openssl"] + list(args), input=stdin, text=True,
                                  capture_output=True, cwd=os.path.join(self.root, "devkit/certs"))
            return done.returncode, done.stdout

        csr_key = openssl("req", "-noout", "-pubkey", stdin=csr)[1]
        expected = {  # mode: (parses, key of the CSR, verified by the CA, by the other CA)
            "garbage": (False, False, False, False),
            "other_key": (True, False, True, False),
            "other_ca": (True, True, False, True),
        }
        for mode, facts in expected.items():
            code, body, _ = self.request("POST", "/rc/signCSR", "<signCSR><csr>%s</csr></signCSR>" % csr)
            crt = ElementTree.fromstring(body).findtext("crt")
            status, key = openssl("x509", "-noout", "-pubkey", stdin=crt)
            self.assertEqual((code, status == 0, key == csr_key,
                              openssl("verify", "-CAfile", "ca.crt", stdin=crt)[0] == 0,
                              openssl("verify", "-CAfile", "other-ca.crt", stdin=crt)[0] == 0),
                             (200,) + facts, mode)
        # The server does not take a certificate of the other CA.
        other_ca_crt = os.path.join(self.tmp, "other-ca-client.crt")
        with open(other_ca_crt, "w") as f:
            f.write(crt)
        ctx = self.context(client_cert=False)
        ctx.load_cert_chain(other_ca_crt, os.path.join(self.root, "dorel/certs/module/wmb.key"))
        conn = http.client.HTTPSConnection("127.0.0.1", self.port, context=ctx, timeout=10)
        with self.assertRaises((ssl.SSLError, ConnectionError)):
            conn.request("GET", "/rc/status")
            conn.getresponse().read()
        conn.close()

        asked = "".join("<cam><serialNumber>%s</serialNumber></cam>" % s for s in ("TV-0002", "TV-0003", "TV-9"))
        code, body, _ = self.request("POST", "/rc/getQuorvexCAMPublicKey",
                                     "<getQuorvexCAMPublicKey><serialNumber>SN-0001</serialNumber>"
                                     "<list>%s</list></getQuorvexCAMPublicKey>" % asked)
        cams = [(c.findtext("serialNumber"), c.findtext("publicKey") or "")
                for c in ElementTree.fromstring(body).iter("cam")]
        self.assertEqual(cams, [("TV-0002", "KEY-2"), ("TV-0003", "")])
        self.assertNotEqual(self.records()[-1]["client_serial"], "")

    def test_client_without_certificate_is_refused(self):
        conn = http.client.HTTPSConnection("127.0.0.1", self.port,
                                           context=self.context(client_cert=False), timeout=10)
        with self.assertRaises((ssl.SSLError, ConnectionError)):
            conn.request("GET", "/rc/status")
            conn.getresponse().read()
        conn.close()

    def test_other_certificate_set_is_not_trusted_by_the_agent_ca(self):
        server = self.start("other", {}, cert_set="other")
        try:
            port = self.wait_port(os.path.join(self.tmp, "port-other"))
            with self.assertRaises(ssl.SSLCertVerificationError):
                self.request("GET", "/rc/status", port=port)
        finally:
            server.send_signal(signal.SIGTERM)
            server.wait(timeout=10)

    def test_idle_server_exits_by_itself(self):
        server = self.start("idle", {}, idle="0.5")
        self.assertEqual(server.wait(timeout=10), 0)


if __name__ == "__main__":
    unittest.main(verbosity=1)
