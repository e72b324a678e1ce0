#!/usr/bin/env python3
"""The remote-control server as tests see it: HTTPS on 127.0.0.1 with a
client certificate required, basic authentication, answers taken from a
script, and every request recorded as one JSON line.

    testserver.py --root ROOT --script SCRIPT.json --log REQUESTS.jsonl
                  --port-file FILE [--cert-set default|other] [--idle-exit SECONDS]

Script (all keys optional):
    {"users":  {"rc-user": "rc-pass"},
     "routes": {"/rc/status": [{"code": 200, "body": "...", "delay": 0.0,
                                "headers": {}, "stall": "request"|"headers",
                                "stall_seconds": 60, "trickle": 0.0},
                               {"redirect": "/rc/other", "code": 302}]},
     "files":  {"/fw/fw-2.3.bin": "content", "/fw/big.bin": {"size": 1048575}},
     "signed_cn": "SN-0001 renewed {n}",
     "sign": "good"|"garbage"|"other_key"|"other_ca" or a list of these,
     "cam_keys": {"TV-0002": "PUBLIC-KEY-0002", "TV-0003": ""}}

A route's answers are used once each, in order. Without one left, paths
ending in "/status" or "/commandResult" get an empty statusReply, paths in
"files" are served to GET, a path ending in "/signCSR" gets the posted CSR
signed by the dev kit's CA (subject CN "signed_cn" with {n} the number of the
signature, else the CSR's own subject) or spoilt as "sign" says, a path ending in
"/getQuorvexCAMPublicKey" gets the key of every asked CAM that "cam_keys"
lists (the others are left out of the reply), anything else is 404.
"""

import argparse
import base64
import json
import os
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import threading
import time
import xml.etree.ElementTree as ElementTree
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

EMPTY_REPLY = '<?xml version="1.0" encoding="utf-8"?>\n<statusReply></statusReply>'
DEFAULT_REPLY_SUFFIXES = ("/status", "/commandResult")
CERT_SETS = {
    "default": ("server.crt", "server.key"),
    "other": ("other-server.crt", "other-server.key"),
}


class Script:
    """The answer script; route queues are shared by the handler threads."""

    def __init__(self, data):
        if not isinstance(data, dict):
            raise ValueError("script must be a JSON object")
        self.users = dict(data.get("users", {"rc-user": "rc-pass"}))
        self.files = {path: file_content(path, source) for path, source in data.get("files", {}).items()}
        self.signed_cn = data.get("signed_cn")
        sign = data.get("sign", [])
        self.sign_modes = [sign] if isinstance(sign, str) else list(sign)
        for mode in self.sign_modes:
            if mode not in SIGN_MODES:
                raise ValueError("unknown sign mode %r (one of %s)" % (mode, ", ".join(SIGN_MODES)))
        # A single mode holds for every signature, a list for one each.
        self.sign_forever = isinstance(sign, str)
        self.cam_keys = dict(data.get("cam_keys", {}))
        self.signatures = 0
        self.routes = {path: list(answers) for path, answers in data.get("routes", {}).items()}
        for path, answers in self.routes.items():
            for a in answers:
                if not isinstance(a, dict):
                    raise ValueError("answer for %s is not an object: %r" % (path, a))
        self.lock = threading.Lock()

    def next_signature(self):
        """(number of the signature, how to answer it)."""
        with self.lock:
            self.signatures += 1
            if self.sign_forever:
                mode = self.sign_modes[0]
            else:
                mode = self.sign_modes.pop(0) if self.sign_modes else "good"
            return self.signatures, mode

    def next_answer(self, path):
        with self.lock:
            queue = self.routes.get(path)
            if queue:
                return queue.pop(0)
        return None


def file_content(path, source):
    """A served file: a text, or {"size": N} for N bytes of a fixed pattern."""
    if isinstance(source, dict):
        size = int(source.get("size", 0))
        pattern = b"devkit firmware package\n"
        return (pattern * (size // len(pattern) + 1))[:size]
    if isinstance(source, str):
        return source.encode("utf-8")
    raise ValueError("file %s is neither a text nor {\"size\": N}" % path)


# The certificate the test server issues for a CSR: a client certificate of
# the headend's CA, so the agent can present it right away.
SIGN_EXTENSIONS = """basicConstraints = critical,CA:FALSE
keyUsage = critical,digitalSignature
extendedKeyUsage = clientAuth
"""

# How a signCSR is answered: "good" signs the CSR's key with the headend's CA;
# the others are what a broken or confused server might send.
SIGN_MODES = ("good", "garbage", "other_key", "other_ca")
GARBAGE_CRT = "devkit: this is not a certificate\n"


def sign_csr(certs, csr, subject_cn, mode="good"):
    """PEM certificate for the CSR text as the mode says, or None when it
    cannot be signed."""
    if mode == "garbage":
        return GARBAGE_CRT
    ca = "other-ca" if mode == "other_ca" else "ca"
    with tempfile.TemporaryDirectory(prefix="rc-sign-") as work:
        def openssl(*args):
            return subprocess.run(["openssl"] + list(args), cwd=work, stdin=subprocess.DEVNULL,
                                  capture_output=True).returncode == 0

        with open(os.path.join(work, "ext.cnf"), "w") as f:
            f.write(SIGN_EXTENSIONS)
        with open(os.path.join(work, "in.csr"), "w") as f:
            f.write(csr)
        args = ["x509", "-req", "-in", "in.csr",
                "-CA", os.path.join(certs, ca + ".crt"), "-CAkey", os.path.join(certs, ca + ".key"),
                "-set_serial", str(int.from_bytes(os.urandom(8), "big") >> 1), "-days", "3650",
                "-sha256", "-extfile", "ext.cnf", "-out", "out.crt"]
        if subject_cn:
            args += ["-subj", "/CN=" + subject_cn]
        if mode == "other_key":
            # A valid certificate of the right CA, for a key the agent never had.
            if not (openssl("genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256",
                            "-out", "other.key")
                    and openssl("pkey", "-in", "other.key", "-pubout", "-out", "other.pub")):
                return None
            args += ["-force_pubkey", "other.pub"]
        if not openssl(*args):
            return None
        with open(os.path.join(work, "out.crt")) as f:
            return f.read()


def xml_escape(text):
    return text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")


def request_root(body):
    try:
        return ElementTree.fromstring(body)
    except ElementTree.ParseError:
        return None


class RequestLog:
    def __init__(self, path):
        self.file = open(path, "a", encoding="utf-8")
        self.lock = threading.Lock()

    def write(self, record):
        line = json.dumps(record, ensure_ascii=False)
        with self.lock:
            self.file.write(line + "\n")
            self.file.flush()


class Activity:
    def __init__(self):
        self.last = time.monotonic()

    def touch(self):
        self.last = time.monotonic()


def client_serial(cert):
    return (cert or {}).get("serialNumber", "")


def client_common_name(cert):
    for rdn in (cert or {}).get("subject", ()):
        for key, value in rdn:
            if key == "commonName":
                return value
    return ""


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    server_version = "DevkitRC/1.0"

    # TLS is set up here, in the request's own thread, so a client that stalls
    # in the handshake cannot hold up the others.
    def setup(self):
        self.server.activity.touch()
        self.request.settimeout(30)
        try:
            self.request = self.server.tls.wrap_socket(self.request, server_side=True)
        except (ssl.SSLError, OSError) as e:
            self.server.log.write({"event": "tls_error", "error": str(e)})
            self.tls_failed = True
        else:
            self.tls_failed = False
        super().setup()

    def handle(self):
        if not self.tls_failed:
            super().handle()

    def log_message(self, format, *args):  # keep the test output quiet
        pass

    def do_GET(self):
        self.answer()

    def do_POST(self):
        self.answer()

    def read_body(self):
        length = self.headers.get("Content-Length")
        if length is None:
            return b""
        try:
            n = int(length)
        except ValueError:
            return b""
        return self.rfile.read(max(n, 0))

    def credentials(self):
        header = self.headers.get("Authorization", "")
        if not header.startswith("Basic "):
            return "", None
        try:
            user, _, password = base64.b64decode(header[6:].strip()).decode("utf-8").partition(":")
        except (ValueError, UnicodeDecodeError):
            return "", None
        return user, password

    def sign(self, body):
        root = request_root(body)
        csr = root.findtext("csr", "") if root is not None else ""
        script = self.server.script
        crt = None
        if csr.strip():
            number, mode = script.next_signature()
            cn = script.signed_cn.replace("{n}", str(number)) if script.signed_cn else None
            crt = sign_csr(self.server.certs, csr, cn, mode)
        if crt is None:
            return 400, b"cannot sign\n", {"Content-Type": "text/plain"}
        reply = ('<?xml version="1.0" encoding="utf-8"?>\n<signCSRReply><crt>%s</crt></signCSRReply>'
                 % xml_escape(crt))
        return 200, reply.encode("utf-8"), {}

    def cam_keys(self, body):
        root = request_root(body)
        cams = root.find("list") if root is not None else None
        asked = [cam.findtext("serialNumber", "") for cam in cams.findall("cam")] if cams is not None else []
        keys = self.server.script.cam_keys
        cams = "".join("<cam><serialNumber>%s</serialNumber><publicKey>%s</publicKey></cam>"
                       % (xml_escape(serial), xml_escape(keys[serial])) for serial in asked if serial in keys)
        reply = ('<?xml version="1.0" encoding="utf-8"?>\n<getQuorvexCAMPublicKeyReply><list>%s</list>'
                 "</getQuorvexCAMPublicKeyReply>" % cams)
        return 200, reply.encode("utf-8"), {}

    def decide(self, path, method, request_body=b""):
        """(code, body bytes, extra headers, answer) for an authenticated request."""
        script = self.server.script
        answer = script.next_answer(path)
        code, body, headers = self.decide_answer(answer, path, method, request_body)
        return code, body, headers, answer or {}

    def decide_answer(self, answer, path, method, request_body):
        script = self.server.script
        if answer is not None:
            delay = float(answer.get("delay", 0) or 0)
            if delay > 0:
                time.sleep(delay)
            headers = dict(answer.get("headers", {}))
            if "redirect" in answer:
                target = answer["redirect"]
                if not target.startswith("http"):
                    target = "https://127.0.0.1:%d%s" % (self.server.server_address[1], target)
                headers.setdefault("Location", target)
                return int(answer.get("code", 302)), b"", headers
            # "{{server}}" stands for this server's own address, which a
            # script cannot know before the server picked its port.
            body = str(answer.get("body", "")).replace(
                "{{server}}", "https://127.0.0.1:%d" % self.server.server_address[1]).encode("utf-8")
            return int(answer.get("code", 200)), body, headers
        if path.endswith(DEFAULT_REPLY_SUFFIXES):
            return 200, EMPTY_REPLY.encode("utf-8"), {}
        if method == "GET" and path in script.files:
            return 200, script.files[path], {"Content-Type": "application/octet-stream"}
        if method == "POST" and path.endswith("/signCSR"):
            return self.sign(request_body)
        if method == "POST" and path.endswith("/getQuorvexCAMPublicKey"):
            return self.cam_keys(request_body)
        return 404, b"not found\n", {"Content-Type": "text/plain"}

    def answer(self):
        self.server.activity.touch()
        body = self.read_body()
        user, password = self.credentials()
        script = self.server.script
        auth_ok = password is not None and script.users.get(user) == password
        answer = {}
        if auth_ok:
            code, payload, headers, answer = self.decide(self.path, self.command, body)
        else:
            code, payload, headers = 401, b"unauthorized\n", {
                "WWW-Authenticate": 'Basic realm="remote-control"'}
        self.server.log.write({
            "method": self.command,
            "path": self.path,
            "headers": {k: v for k, v in self.headers.items()},
            "body": body.decode("utf-8", errors="replace"),
            "client_subject": client_common_name(self.connection.getpeercert()),
            "client_serial": client_serial(self.connection.getpeercert()),
            "user": user,
            "auth_ok": auth_ok,
            "status": code,
        })
        stall = answer.get("stall")
        if stall == "request":
            self.stall(answer)
            return
        self.send_response(code)
        headers.setdefault("Content-Type", "application/xml")
        for name, value in headers.items():
            self.send_header(name, str(value))
        # A stalled answer promises a body it never sends.
        promised = len(payload) + (1024 if stall == "headers" else 0)
        self.send_header("Content-Length", str(promised))
        self.end_headers()
        if stall == "headers":
            self.wfile.flush()
            self.stall(answer)
            return
        trickle = float(answer.get("trickle", 0) or 0)
        if trickle > 0:
            # A slow but moving server: one byte of the body at a time.
            for i in range(len(payload)):
                self.wfile.write(payload[i:i + 1])
                self.wfile.flush()
                self.server.activity.touch()
                time.sleep(trickle)
        else:
            self.wfile.write(payload)
        self.server.activity.touch()

    def stall(self, answer):
        """Says nothing more for a while (or until the client gives up), then
        closes the connection."""
        end = time.monotonic() + float(answer.get("stall_seconds", 60))
        self.request.settimeout(0.2)
        while time.monotonic() < end:
            try:
                if self.request.recv(1) == b"":
                    break  # the client hung up
            except (socket.timeout, ssl.SSLWantReadError):
                continue
            except (OSError, ssl.SSLError):
                break
        self.close_connection = True


class Server(ThreadingHTTPServer):
    daemon_threads = True
    allow_reuse_address = False

    def handle_error(self, request, client_address):
        # A client that hangs up mid-request is normal in tests.
        exc = sys.exc_info()[1]
        if not isinstance(exc, (ConnectionError, ssl.SSLError, socket.timeout)):
            super().handle_error(request, client_address)


def tls_context(root, cert_set):
    certs = os.path.join(root, "devkit", "certs")
    crt, key = CERT_SETS[cert_set]
    ctx = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    ctx.load_cert_chain(os.path.join(certs, crt), os.path.join(certs, key))
    ctx.verify_mode = ssl.CERT_REQUIRED
    ctx.load_verify_locations(os.path.join(certs, "ca.crt"))
    return ctx


def write_port_file(path, port):
    tmp = path + ".tmp"
    with open(tmp, "w") as f:
        f.write("%d\n" % port)
    os.rename(tmp, path)


def watch_idle(server, idle_seconds):
    while True:
        time.sleep(min(1.0, idle_seconds))
        if time.monotonic() - server.activity.last > idle_seconds:
            os._exit(0)


def main():
    p = argparse.ArgumentParser(description="HTTPS test server for the remote-control agent.")
    p.add_argument("--root", required=True)
    p.add_argument("--script", required=True)
    p.add_argument("--log", required=True)
    p.add_argument("--port-file", required=True)
    p.add_argument("--cert-set", choices=sorted(CERT_SETS), default="default")
    p.add_argument("--idle-exit", type=float, default=300.0)
    args = p.parse_args()

    # Exit at once on a signal: the log is flushed line by line already.
    for sig in (signal.SIGTERM, signal.SIGINT):
        signal.signal(sig, lambda *_: os._exit(0))

    try:
        with open(args.script, encoding="utf-8") as f:
            script = Script(json.load(f))
        tls = tls_context(args.root, args.cert_set)
        server = Server(("127.0.0.1", 0), Handler)
    except (OSError, ValueError, ssl.SSLError) as e:
        print("testserver: %s" % e, file=sys.stderr)
        return 1
    server.script = script
    server.tls = tls
    server.certs = os.path.join(args.root, "devkit", "certs")
    server.log = RequestLog(args.log)
    server.activity = Activity()
    threading.Thread(target=watch_idle, args=(server, args.idle_exit), daemon=True).start()
    write_port_file(args.port_file, server.server_address[1])
    server.serve_forever(poll_interval=0.2)
    return 0


if __name__ == "__main__":
    sys.exit(main())
