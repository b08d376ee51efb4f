#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "files/RawFile.h"
#include "files/Snapshot.h"
#include "sql/TableSchema.h"

namespace Kalt::Vemo::Tool {

/// The fields of a row's columns, in the form in which its file stores them.
using StoredRow = std::vector<std::string>;

/// Puts ROWIDs, which are kept as they stand in the file, into the order of their numbers.
struct RowIdOrder {
    bool operator()(const std::string& a, const std::string& b) const {
        return a.size() != b.size() ? a.size() < b.size() : a < b;
    }
};

/// A line that is no row, and why.
struct DamagedLine {
    std::size_t number = 0;
    std::string text;
    std::string problem;
};

/// What the file of a table says.
struct TableState {
    std::optional<TableSchema> schema;  // nothing where the definition cannot be read
    std::map<std::string, StoredRow, RowIdOrder> rows;
    std::vector<DamagedLine> damage;

    /// Every line is told: also one that is longer than the database reads it, which is shown whole.
    static TableState read(const std::string& table, const RawFile& file);

    bool isSound() const { return damage.empty(); }
};

/// The tables of a database, by their names.
using DatabaseState = std::map<std::string, TableState>;

/// The tables whose files are in the directory; with a name that table alone.
DatabaseState tablesOf(const Snapshot& snapshot, const std::string& onlyTable = "");

}  // namespace Kalt::Vemo::Tool
