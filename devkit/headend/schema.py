"""The simulated headend's table layout, read from the agent's own table list
(src/db/tables.def) so that the two can never disagree about a position.

Every table gets its key as INTEGER PRIMARY KEY and its other columns without
a declared type, so values keep exactly the text the agent writes. A few
headend tables get one trailing column the agent does not know, to catch code
that assumes a column count.
"""

import os
import re

# Database name used in tables.def -> file under the root.
DATABASE_FILES = {
    "config_global": "dorel/DB/config_global.sqlite",
    "config_local": "dorel/DB/config_local.sqlite",
    "remote_control": "dorel/DB/remote_control.sqlite",
    "quor_global": "dorel/DB/quor_global.sqlite",
    "temp_global": "tmp/temp_global.sqlite",
}

# Headend tables that carry a column after the ones the agent knows. The
# agent's own command table, usuario and Quorvex are written whole by the agent
# and keep exactly their known columns.
EXTRA_COLUMN = "extraDevkit"
EXTRA_COLUMN_VALUE = "devkit-extra"
TABLES_WITH_EXTRA_COLUMN = frozenset({
    "RedesModulos",
    "ModulosCabecera",
    "EntradasGlobal",
    "CAMInfoGlobal",
    "configuracionWebGlobal",
})

# One level of parentheses inside an entry: DORELDB_AT(column) marks a column
# the agent reads at its position.
_ENTRY = re.compile(r"DORELDB_TABLE\s*\(((?:[^()]|\([^()]*\))*)\)", re.S)
_AT = re.compile(r"^DORELDB_AT\s*\(\s*(\w+)\s*\)$")


class Table:
    def __init__(self, name, database, key, columns):
        if key != columns[0]:
            raise ValueError("table %s: key %s is not the first column" % (name, key))
        if database not in DATABASE_FILES:
            raise ValueError("table %s: unknown database %s" % (name, database))
        self.name = name
        self.database = database
        self.key = key
        self.known_columns = list(columns)
        self.positional = set()   # columns the agent reads at their position
        self.columns = list(columns)
        if name in TABLES_WITH_EXTRA_COLUMN:
            self.columns.append(EXTRA_COLUMN)

    def create_sql(self):
        cols = ['"%s" INTEGER PRIMARY KEY' % self.key]
        cols += ['"%s"' % c for c in self.columns[1:]]
        return 'CREATE TABLE "%s" (%s)' % (self.name, ", ".join(cols))

    def insert_sql(self):
        return 'INSERT INTO "%s" (%s) VALUES (%s)' % (
            self.name,
            ", ".join('"%s"' % c for c in self.columns),
            ", ".join("?" for _ in self.columns))

    def row(self, values):
        """A full row from a dict of column -> value. Columns not given are
        empty text; the extra column gets a recognisable marker."""
        unknown = set(values) - set(self.columns)
        if unknown:
            raise KeyError("table %s has no column(s) %s" % (self.name, sorted(unknown)))
        out = []
        for c in self.columns:
            if c in values:
                v = values[c]
            elif c == EXTRA_COLUMN:
                v = EXTRA_COLUMN_VALUE
            else:
                v = ""
            if c == self.key:
                out.append(int(v))
            else:
                out.append(None if v is None else str(v))
        return tuple(out)


def _strip_comments(text):
    return "\n".join(line.split("//", 1)[0] for line in text.splitlines())


def parse_tables_def(text):
    """Tables in file order, as a list of Table."""
    tables = []
    for match in _ENTRY.finditer(_strip_comments(text)):
        parts = [p.strip() for p in match.group(1).split(",")]
        if len(parts) < 4 or any(not p for p in parts):
            raise ValueError("malformed table entry: %r" % match.group(0))
        name, database, key = parts[0], parts[1], parts[2]
        columns, positional = [], set()
        for part in parts[3:]:
            at = _AT.match(part)
            if at:
                positional.add(at.group(1))
                part = at.group(1)
            columns.append(part)
        table = Table(name, database, key, columns)
        table.positional = positional
        tables.append(table)
    if not tables:
        raise ValueError("no DORELDB_TABLE entries found")
    return tables


def default_tables_def():
    here = os.path.dirname(os.path.abspath(__file__))
    return os.path.join(here, "..", "..", "src", "db", "tables.def")


def load_tables(path=None):
    with open(path or default_tables_def(), encoding="utf-8") as f:
        return {t.name: t for t in parse_tables_def(f.read())}
