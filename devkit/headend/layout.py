"""Lays out a simulated headend under a root: directories, databases with
their default rows, identity and module files for the stubs, the stubs
themselves and the logging configuration."""

import os
import sqlite3

from . import rows as rowdefs
from . import schema
from .stubs import install_stubs

DIRECTORIES = [
    "dorel/DB",
    "dorel/conf/timezone",
    "dorel/datosWeb/tablasSI",
    "dorel/datosWeb/ScramblingKeys",
    "dorel/shared/upgrades",
    "dorel/certs/module",
    "dorel/certs/dorel",
    "dorel/certs/capath",
    "dorel/script",
    "dorel/bin",
    "var/run",
    "tmp",
    "etc/init.d",
    "bin",
    "sbin",
    "usr/bin",
    "devkit/identity",
    "devkit/modules",
    "devkit/exit",
    "devkit/certs",
    "devkit/hang",
]


class Identity:
    def __init__(self, serial="SN-0001", mac="00:1A:2B:FF:FF:01", hostname="headend-test",
                 model="KVB-200"):
        self.serial = serial
        self.mac = mac
        self.hostname = hostname
        self.model = model


def _write(path, text):
    with open(path, "w", encoding="utf-8") as f:
        f.write(text)


def create_databases(root, tables, opts):
    """One transaction per database file; refuses to reuse existing files so
    a root is never laid out twice over stale data."""
    contents = rowdefs.all_rows(opts)
    unknown = set(contents) - set(tables)
    if unknown:
        raise KeyError("rows for tables the agent does not know: %s" % sorted(unknown))
    by_database = {}
    for table in tables.values():
        by_database.setdefault(table.database, []).append(table)
    for database, members in by_database.items():
        path = os.path.join(root, schema.DATABASE_FILES[database])
        if os.path.exists(path):
            raise FileExistsError("%s already exists" % path)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        conn = sqlite3.connect(path, isolation_level=None)
        try:
            conn.execute("BEGIN")
            for table in members:
                conn.execute(table.create_sql())
                data = contents.get(table.name, [])
                if data:
                    conn.executemany(table.insert_sql(),
                                     [table.row(r, i) for i, r in enumerate(data)])
            conn.execute("COMMIT")
        finally:
            conn.close()


def write_identity(root, identity):
    base = os.path.join(root, "devkit/identity")
    for name, value in (("SERIAL", identity.serial), ("MAC", identity.mac),
                        ("MODELO", identity.model), ("hostname", identity.hostname)):
        _write(os.path.join(base, name), value + "\n")


def write_module_files(root, opts):
    """A status-variable file per module address: a fresh headend has no
    alarms."""
    text = "".join("%s=%s\n" % kv for kv in rowdefs.module_status_vars())
    for m in range(1, opts.modules + 1):
        _write(os.path.join(root, "devkit/modules", rowdefs.module_address(m) + ".vars"), text)


def write_si_tables(root):
    for name, (table_id, version) in rowdefs.SI_TABLES.items():
        with open(os.path.join(root, "dorel/datosWeb/tablasSI", name), "wb") as f:
            f.write(rowdefs.si_section(table_id, version))


def lay_out(root, opts, identity, tables, layout_name="default"):
    for d in DIRECTORIES:
        os.makedirs(os.path.join(root, d), exist_ok=True)
    _write(os.path.join(root, "devkit/layout"), layout_name + "\n")
    _write(os.path.join(root, "dorel/conf/debug.conf"), "remote-control 0x10\n")
    _write(os.path.join(root, "devkit/calls.log"), "")
    create_databases(root, tables, opts)
    write_identity(root, identity)
    write_module_files(root, opts)
    write_si_tables(root)
    install_stubs(root)
