#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "sql/EngineStatement.h"
#include "sql/Literals.h"
#include "sql/TableSchema.h"

namespace Kalt::Vemo::Tool {

/// A run of rows: all whose ROWID, as an unsigned number, is in the range.
struct RowRange {
    std::uint64_t first = 0;
    std::uint64_t last = 0;
};

/// Writes statements that the engine runs to the letter. Where it would do something else than what the
/// statement says, the builder writes what makes it do just that:
///
/// - INSERT without a list of columns gets one, because without it the engine stores a row of NULLs.
/// - The engine checks the n-th value of SET against the table's n-th column, whichever column it is for. So
///   every assignment is put at its column's place, and the places before it are filled with assignments that
///   the last one overrides.
/// - A range of ROWIDs is compared as numbers, a single ROWID as a text: the latter is found in the engine's
///   index of rows, but only under the very digits that stand in the file.
class StatementBuilder {
public:
    StatementBuilder() = delete;

    /// The INSERT of one row: a literal for each of the columns. Throws: Failure for a value that cannot be
    /// stored.
    static EngineStatement insertion(const std::string& table, const std::vector<Column>& columns,
                                     const std::vector<Literal>& literals);

    /// One value of an UPDATE, in its stored form.
    struct Assignment {
        std::size_t column;  ///< position in the table
        std::string stored;

        bool operator==(const Assignment& other) const {
            return column == other.column && stored == other.stored;
        }
    };

    // Each for the rows of a range; `isPlain` says that all ROWIDs stand in the file as plain digits.
    static EngineStatement update(const TableSchema& schema, const std::vector<Assignment>& assignments,
                                  RowRange range, bool isPlain);
    static EngineStatement deletion(const TableSchema& schema, RowRange range, bool isPlain);

    /// The cells of all rows, with the ROWID behind them where it is a hidden column.
    static EngineStatement reading(const TableSchema& schema);

    /// The same of one row. Requires: all ROWIDs stand in the file as plain digits.
    static EngineStatement reading(const TableSchema& schema, std::uint64_t rowId);
};

}  // namespace Kalt::Vemo::Tool
