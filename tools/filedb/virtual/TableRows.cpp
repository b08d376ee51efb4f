#include "virtual/TableRows.h"

#include <algorithm>

#include "StringConversion.h"
#include "sql/Literals.h"

namespace Kalt::Vemo::Tool {

namespace {

SqlValue valueOf(const Column& column, const Cell& cell) {
    if (!cell) {
        return {};
    }
    if (column.type == Column::Type::kInteger) {
        if (const auto number = wholeNumber(*cell)) {
            return static_cast<std::int64_t>(*number);
        }
    }
    if (column.type == Column::Type::kReal) {
        if (const auto number = realNumber(*cell)) {
            return *number;
        }
    }
    return *cell;
}

std::size_t rowIdColumn(const TableSchema& schema) {
    const auto isRowId = [&schema](const Column& column) { return column.name == schema.key.front(); };
    return schema.hasHiddenRowId ? schema.columns.size()
                                 : static_cast<std::size_t>(
                                       std::find_if(schema.columns.begin(), schema.columns.end(), isRowId) -
                                       schema.columns.begin());
}

}  // namespace

TableRows::TableRows(const TableSchema& schema, const std::vector<std::vector<Cell>>& cells) {
    const std::size_t idColumn = rowIdColumn(schema);
    rows_.reserve(cells.size());
    sortedRowIds_.reserve(cells.size());
    for (const std::vector<Cell>& row : cells) {
        TableRow result;
        result.values.reserve(schema.columns.size());
        for (std::size_t i = 0; i < schema.columns.size(); ++i) {
            result.values.push_back(valueOf(schema.columns[i], row[i]));
        }
        const std::string id = idColumn < row.size() ? row[idColumn].value_or("") : "";
        // As the engine reads it, which takes 4 for "4x", and 0 for what is no number.
        result.rowId = Platform::StringConversion::stringTouint64(id);
        if (std::to_string(result.rowId) != id) {
            hasPlainRowIds_ = false;
            oddRowIds_.insert(result.rowId);
        }
        sortedRowIds_.push_back(result.rowId);
        rows_.push_back(std::move(result));
    }
    std::sort(sortedRowIds_.begin(), sortedRowIds_.end());
    hasPlainRowIds_ = hasPlainRowIds_ &&
                      std::adjacent_find(sortedRowIds_.begin(), sortedRowIds_.end()) == sortedRowIds_.end();
    for (std::size_t i = 0; hasPlainRowIds_ && i < rows_.size(); ++i) {
        positions_.emplace(rows_[i].rowId, i);
    }
}

std::size_t TableRows::count(std::uint64_t rowId) const {
    const auto [first, last] = std::equal_range(sortedRowIds_.begin(), sortedRowIds_.end(), rowId);
    return static_cast<std::size_t>(last - first);
}

bool TableRows::areNeighbours(std::uint64_t first, std::uint64_t last) const {
    return *std::upper_bound(sortedRowIds_.begin(), sortedRowIds_.end(), first) == last;
}

std::size_t TableRows::find(std::uint64_t rowId) const {
    const auto found = positions_.find(rowId);
    return found == positions_.end() ? rows_.size() : found->second;
}

}  // namespace Kalt::Vemo::Tool
