"""The simulated headend's table layout, read from the agent's own table list
(src/db/tables.def) so that the two can never disagree about a position.

Every table gets its key as INTEGER PRIMARY KEY and its other columns without
a declared type, so values keep exactly the text the agent writes. A few
headend tables get one trailing column the agent does not know, to catch code
that assumes a column count.

Two layouts: "default" creates every table in the order of tables.def;
"shuffled[:SEED]" reorders the tables whose layout the headend's other
programs own (PROGRAM_TABLES) the way those programs may: the columns marked
DORELDB_AT stay at their place, every other column moves, and columns the
agent does not know sit between them.
"""

import os
import random
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

# Tables whose column layout belongs to the headend's other programs: the
# shuffled layout reorders exactly these.
PROGRAM_TABLES = (
    "RedesModulos", "EntradasGlobal", "NimGlobal", "SalidasLogicasGlobal", "TempNIMGlobal",
    "ModulosCabecera", "CAMInfoGlobal", "NimCOFDMGlobal", "NimQAMGlobal", "RFOutGlobal",
    "ServiciosEntradaGlobal", "TempNIMCOFDMGlobal", "TempNIMQAMGlobal",
)

# Columns the agent does not know, placed between known ones in the shuffled
# layout. The second is NULL on every other row (the first, third, ...), so a
# table of one row has a NULL too.
UNKNOWN_COLUMNS = ("devkitUnknown1", "devkitUnknown2")
UNKNOWN_VALUES = {"devkitUnknown1": "devkit-unknown-1", "devkitUnknown2": "devkit-unknown-2"}
NULL_ON_EVEN_ROWS = "devkitUnknown2"

LAYOUTS = ("default", "shuffled")
DEFAULT_SEED = 1

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
        cols = ['"%s" INTEGER PRIMARY KEY' % c if c == self.key else '"%s"' % c
                for c in self.columns]
        return 'CREATE TABLE "%s" (%s)' % (self.name, ", ".join(cols))

    def insert_sql(self):
        return 'INSERT INTO "%s" (%s) VALUES (%s)' % (
            self.name,
            ", ".join('"%s"' % c for c in self.columns),
            ", ".join("?" for _ in self.columns))

    def row(self, values, index=0):
        """A full row from a dict of column -> value; index is the row's
        place in its table (from 0). Columns not given are empty text; the
        columns the agent does not know get recognisable markers."""
        unknown = set(values) - set(self.known_columns)
        if unknown:
            raise KeyError("table %s has no column(s) %s" % (self.name, sorted(unknown)))
        out = []
        for c in self.columns:
            if c in values:
                v = values[c]
            elif c == EXTRA_COLUMN:
                v = EXTRA_COLUMN_VALUE
            elif c == NULL_ON_EVEN_ROWS and index % 2 == 0:
                v = None
            elif c in UNKNOWN_VALUES:
                v = UNKNOWN_VALUES[c]
            else:
                v = ""
            if c == self.key:
                out.append(int(v))
            else:
                out.append(None if v is None else str(v))
        return tuple(out)


    def shuffle(self, rng):
        """Reorders the columns: each DORELDB_AT column stays at its index in
        tables.def, every other known column (the key too) lands somewhere
        else, and the unknown columns each sit between two known ones."""
        known = self.known_columns
        unknowns = list(UNKNOWN_COLUMNS) + [c for c in self.columns if c not in known]
        width = len(known) + len(unknowns)
        fixed = {known.index(c): c for c in self.positional}
        free = [i for i in range(width) if i not in fixed]
        movable = [c for c in known if c not in self.positional] + unknowns
        for _ in range(10000):
            order = movable[:]
            rng.shuffle(order)
            columns = [None] * width
            for i, c in fixed.items():
                columns[i] = c
            for i, c in zip(free, order):
                columns[i] = c
            moved = all(columns.index(c) != known.index(c) for c in known if c not in self.positional)
            inside = all(0 < i < width - 1 and columns[i - 1] in known and columns[i + 1] in known
                         for i, c in enumerate(columns) if c not in known)
            if moved and inside:
                self.columns = columns
                return
        raise ValueError("table %s: no shuffled layout found" % self.name)


def parse_layout(text):
    """(name, seed) from "default", "shuffled" or "shuffled:SEED"."""
    name, colon, seed = text.partition(":")
    if name not in LAYOUTS or (colon and (name != "shuffled" or not seed.isdigit())):
        raise ValueError("bad layout %r (default, shuffled or shuffled:SEED)" % text)
    return name, int(seed) if seed else DEFAULT_SEED


def apply_layout(tables, layout):
    """Reorders the tables (a dict name -> Table) for a layout of
    parse_layout."""
    name, seed = layout
    if name == "default":
        return
    rng = random.Random(seed)
    for table_name in PROGRAM_TABLES:
        tables[table_name].shuffle(rng)


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
