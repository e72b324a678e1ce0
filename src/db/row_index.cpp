#include "db/row_index.h"

namespace doreldb {

namespace {

char foldAscii(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

std::string folded(const std::string& text) {
    std::string out(text);
    for (char& c : out) c = foldAscii(c);
    return out;
}

// Length of the UTF-8 sequence starting at text[at] (1 for a stray byte), so
// that '_' stands for one character as it does in SQLite.
size_t characterLength(const std::string& text, size_t at) {
    const unsigned char lead = static_cast<unsigned char>(text[at]);
    size_t length = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    size_t end = at + 1;
    while (end < text.size() && end < at + length &&
           (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        ++end;
    return end - at;
}

}  // namespace

bool likeMatches(const std::string& pattern, const std::string& text) {
    // The usual wildcard walk: remember the last '%' and, on a mismatch, let
    // it swallow one more character. Linear in both lengths for each '%', so
    // a hostile pattern cannot blow up.
    size_t p = 0, t = 0;
    size_t starP = std::string::npos, starT = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '%') {
            starP = ++p;
            starT = t;
        } else if (p < pattern.size() && pattern[p] == '_') {
            ++p;
            t += characterLength(text, t);
        } else if (p < pattern.size() && foldAscii(pattern[p]) == foldAscii(text[t])) {
            ++p;
            ++t;
        } else if (starP != std::string::npos) {
            p = starP;
            starT += characterLength(text, starT);
            t = starT;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '%') ++p;
    return p == pattern.size();
}

RowIndex::RowIndex(std::vector<Record> rows, size_t column) : rows_(std::move(rows)), column_(column) {
    for (size_t i = 0; i < rows_.size(); ++i) {
        if (!rows_[i].isNull(column_)) byFolded_[folded(rows_[i].text(column_))].push_back(i);
    }
}

std::vector<const Record*> RowIndex::like(const std::string& pattern) const {
    std::vector<const Record*> matches;
    if (pattern.find_first_of("%_") == std::string::npos) {
        auto found = byFolded_.find(folded(pattern));
        if (found != byFolded_.end()) {
            for (size_t i : found->second) matches.push_back(&rows_[i]);
        }
        return matches;
    }
    // A pattern with wildcards (a MAC never has one) is matched row by row.
    for (const Record& row : rows_) {
        if (!row.isNull(column_) && likeMatches(pattern, row.text(column_))) matches.push_back(&row);
    }
    return matches;
}

}  // namespace doreldb
