// Packed rows against the records they were made from. The input is a list of
// steps: add a row, or put a row in another row's place (the same size, fewer
// or more bytes, more or fewer values), each row of 0 to 15 values of any
// bytes and length, or NULL. After every step every row must read back as its
// record, value for value, whole and one value at a time. Any difference
// aborts.
#include "db/packed_rows.h"
#include "db/tables.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

using namespace doreldb;

namespace {

struct Input {
    const uint8_t* at;
    const uint8_t* end;
    size_t byte() { return at < end ? *at++ : 0; }
};

Record rowFrom(Input& in) {
    std::vector<tSqlite3parent> values(in.byte() % 16);
    for (tSqlite3parent& value : values) {
        const size_t length = in.byte();
        if (length == 255) continue;  // NULL
        const size_t size = length < static_cast<size_t>(in.end - in.at) ? length : static_cast<size_t>(in.end - in.at);
        value = tSqlite3parent(reinterpret_cast<const char*>(in.at), size);
        in.at += size;
    }
    return Record(PIDsSalidaGlobal::table(), std::move(values));
}

void check(const PackedRows& packed, const std::vector<Record>& rows) {
    for (size_t r = 0; r < rows.size(); ++r) {
        const Record back = packed.at(r);
        bool same = back.size() == rows[r].size();
        for (size_t c = 0; same && c <= rows[r].size(); ++c) {
            same = back.value(c) == rows[r].value(c) && packed.text(r, c) == rows[r].value(c).view();
        }
        if (!same) {
            fprintf(stderr, "packed row %zu differs from its record\n", r);
            abort();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input in{data, data + size};
    PackedRows packed(PIDsSalidaGlobal::table());
    std::vector<Record> rows;
    while (in.at < in.end) {
        const size_t step = in.byte();
        if (step % 2 == 0 || rows.empty()) {
            rows.push_back(rowFrom(in));
            packed.push_back(rows.back());
        } else {
            const size_t row = in.byte() % rows.size();
            rows[row] = rowFrom(in);
            packed.replace(row, rows[row]);
        }
        check(packed, rows);
    }
    return 0;
}
