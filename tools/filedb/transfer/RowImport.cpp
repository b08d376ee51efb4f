#include "transfer/RowImport.h"

#include <cstdint>
#include <utility>

#include "TableFormat.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "sql/Literals.h"

namespace Kalt::Vemo::Tool {

using Core::Database::Filedb::kNullWord;
using Core::Database::Filedb::kRowIdColumn;

namespace {

// Does `action`, and tells what fails at the line.
template <typename Action>
auto at(std::size_t line, Action action) {
    try {
        return action();
    } catch (const Failure& error) {
        throw ImportError(line, error.what());
    }
}

std::uint64_t rowIdFrom(const std::string& stored) {
    const std::uint64_t rowId = std::stoull(stored);  // the stored form of an INTEGER always is one
    if (rowId == 0 || rowId > INT64_MAX) {
        throw Failure("a ROWID is a whole number from 1 to 9223372036854775807");
    }
    return rowId;
}

}  // namespace

RowImport::RowImport(GrowingTable& table, const StoredTable& stored, bool takesRowIds)
    : table_(table),
      tableName_(stored.schema().name),
      columns_(takesRowIds ? stored.storedColumns() : stored.schema().columns),
      valueCount_(stored.schema().columns.size()),
      leavesRowIds_(stored.schema().hasHiddenRowId && !takesRowIds) {}

void RowImport::takeHeading(std::size_t line, const std::vector<std::string>& names) const {
    std::vector<bool> named(columns_.size(), false);
    for (const std::string& name : names) {
        static_cast<void>(requireColumn(line, name, named));
    }
}

std::size_t RowImport::requireColumn(std::size_t line, const std::string& name,
                                     std::vector<bool>& named) const {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        if (columns_[i].name == name) {
            if (named[i]) {
                throw ImportError(line, "column " + Tool::quoted(name) + " is named twice");
            }
            named[i] = true;
            return i;
        }
    }
    throw ImportError(line,
                      "table " + tableName_ + " has no column " + Tool::quoted(name) +
                          (leavesRowIds_ && name == kRowIdColumn ? "; --rowid takes the hidden one" : ""));
}

void RowImport::take(const ImportedRow& row) {
    if (row.fields.empty()) {
        throw ImportError(row.line, "the row names no column");
    }
    std::vector<std::string> values(valueCount_, kNullWord);
    std::optional<std::uint64_t> rowId;
    std::vector<bool> named(columns_.size(), false);
    for (const ImportedField& field : row.fields) {
        const std::size_t column = requireColumn(field.line, field.column, named);
        std::string stored = at(field.line, [&] { return storedLiteral(columns_[column], field.literal); });
        if (column < valueCount_) {
            values[column] = std::move(stored);
        } else if (stored != kNullWord) {
            rowId = at(field.line, [&] { return rowIdFrom(stored); });
        }
    }
    at(row.line, [&] { table_.add(std::move(values), rowId); });
}

}  // namespace Kalt::Vemo::Tool
