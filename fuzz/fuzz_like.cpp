// The in-memory row filter against SQLite's LIKE on the same rows: a table
// read with doSelect and filtered by TableRows::where must give, in table
// order, exactly the rows "WHERE c1 LIKE v1 AND c2 LIKE v2 ..." selects.
//
// The input is lines. The first one's first byte orders the table's columns
// (a select finds them by name). Every other line is a row of up to three
// values separated by '|', or, when it starts with '?', a filter of up to
// three conditions, separated by '|': each a column letter (a, b, c) and
// the value. "~" stands for NULL. Any difference aborts.
#include "common/env.h"
#include "db/access.h"
#include "db/table_rows.h"

#include <sqlite3.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

using namespace doreldb;
using Field = std::optional<std::string>;

namespace {

void check(bool same, const char* what) {
    if (same) return;
    fprintf(stderr, "like: %s\n", what);
    abort();
}

// A failed select retries at once; nothing is logged (the debug mask is 0).
struct QuietEnv : dorel_remote_control::Env {
    QuietEnv() : Env("") {}
    void sleepSeconds(unsigned) override {}
    void sleepMillis(unsigned) override {}
};

DbHandle& db() {
    static QuietEnv env;
    static DbHandle handle = openDatabase(env, ":memory:");
    return handle;
}

// Runs sql with the fields bound in order (a missing one is NULL, one too
// many is left out); gives the first column of every row, less one (a rowid
// is a row's place plus one).
std::vector<size_t> run(const std::string& sql, const std::vector<Field>& fields = {}) {
    sqlite3_stmt* raw = nullptr;
    check(sqlite3_prepare_v2(db().get(), sql.c_str(), -1, &raw, nullptr) == SQLITE_OK, "cannot prepare");
    const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> statement(raw, sqlite3_finalize);
    for (size_t i = 0; i < fields.size(); ++i) {
        if (fields[i]) sqlite3_bind_text(raw, int(i + 1), fields[i]->data(), int(fields[i]->size()), SQLITE_TRANSIENT);
    }
    std::vector<size_t> rows;
    while (sqlite3_step(raw) == SQLITE_ROW) rows.push_back(static_cast<size_t>(sqlite3_column_int64(raw, 0) - 1));
    return rows;
}

// "" is one empty part, and so is the end of "x|".
std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts(1);
    for (char c : text) c == separator ? parts.emplace_back() : parts.back().append(1, c);
    return parts;
}

Field field(const std::string& text) { return text == "~" ? Field() : Field(text); }

std::vector<size_t> agentRows(TableRows& rows, const std::vector<LikeFilter>& f) {
    const auto pick = [&rows](std::initializer_list<LikeFilter> filters) {
        std::vector<size_t> picked;
        for (const Record* row : rows.where(filters)) picked.push_back(static_cast<size_t>(row - rows.all().data()));
        const Record* first = rows.first(filters);
        check(first == (picked.empty() ? nullptr : &rows.all()[picked[0]]), "first() is not where()'s first");
        return picked;
    };
    if (f.size() == 1) return pick({f[0]});
    if (f.size() == 2) return pick({f[0], f[1]});
    return pick({f[0], f[1], f[2]});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<std::string> lines = split(std::string(reinterpret_cast<const char*>(data), size), '\n');
    static const char* const kOrders[] = {"a, b, c", "a, c, b", "b, a, c", "b, c, a", "c, a, b", "c, b, a"};
    const uint8_t order = lines[0].empty() ? 0 : static_cast<uint8_t>(lines[0][0]);
    run("DROP TABLE IF EXISTS T");
    run(std::string("CREATE TABLE T(") + kOrders[order % 6] + ")");
    for (size_t i = 1; i < lines.size(); ++i) {
        if (!lines[i].empty() && lines[i][0] == '?') continue;
        std::vector<Field> values;
        for (const std::string& text : split(lines[i], '|')) values.push_back(field(text));
        run("INSERT INTO T(a, b, c) VALUES (?, ?, ?)", values);
    }
    static const TableDef table("T", "a, b, c", 0);
    TableRows rows(doSelect(db(), table));

    for (const std::string& line : lines) {
        if (line.empty() || line[0] != '?') continue;
        std::string sql = "SELECT rowid FROM T WHERE 1";
        std::vector<Field> values;
        values.reserve(3);   // the filters point into it
        std::vector<LikeFilter> filters;
        for (const std::string& part : split(line.substr(1), '|')) {
            if (values.size() == 3) break;
            const size_t column = part.empty() ? 0 : (static_cast<uint8_t>(part[0]) + 2u) % 3u;
            // What the agent filters with comes from rows or XML texts, never with a NUL.
            values.push_back(field(part.empty() ? part : part.substr(1).c_str()));
            filters.push_back({column, values.back() ? values.back()->c_str() : nullptr});
            sql += std::string(" AND ") + "abc"[column] + " LIKE ?";
        }
        check(agentRows(rows, filters) == run(sql, values), "where() differs from SQLite's LIKE");
    }
    return 0;
}
