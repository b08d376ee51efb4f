#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

#include "sql/ResultSet.h"
#include "sql/TableSchema.h"

namespace Kalt::Vemo::Tool {

/// A value as a query sees it; NULL, or what the column's type makes of the text in the file. A text that is
/// no value of the type stays a text.
using SqlValue = std::variant<std::monostate, std::int64_t, double, std::string>;

struct TableRow {
    std::uint64_t rowId = 0;
    std::vector<SqlValue> values;
};

/// The rows of a table in memory, in the order of its file, and what can be told of their ROWIDs. Never
/// changes once it is made.
class TableRows {
public:
    /// @param cells of all columns, with the ROWID behind them where it is a hidden column
    TableRows(const TableSchema& schema, const std::vector<std::vector<Cell>>& cells);

    const std::vector<TableRow>& rows() const { return rows_; }

    /// Whether every ROWID stands in the file as plain digits, and no two are the same: then the engine finds
    /// exactly the row that is meant.
    bool hasPlainRowIds() const { return hasPlainRowIds_; }

    /// How many rows have the ROWID.
    std::size_t count(std::uint64_t rowId) const;

    /// Whether a row that the engine reads this ROWID of has it in another form than plain digits.
    bool isOdd(std::uint64_t rowId) const { return oddRowIds_.count(rowId) > 0; }

    /// Whether no ROWID lies between the two. Requires: first < last.
    bool areNeighbours(std::uint64_t first, std::uint64_t last) const;

    /// Position of the row with this ROWID, rows().size() when there is none. Requires: hasPlainRowIds().
    std::size_t find(std::uint64_t rowId) const;

private:
    std::vector<TableRow> rows_;
    std::vector<std::uint64_t> sortedRowIds_;
    std::set<std::uint64_t> oddRowIds_;
    std::unordered_map<std::uint64_t, std::size_t> positions_;  // empty unless hasPlainRowIds_
    bool hasPlainRowIds_ = true;
};

}  // namespace Kalt::Vemo::Tool
