#pragma once

#include <string>
#include <vector>

#include "changes/TableState.h"

namespace Kalt::Vemo::Tool {

/// One difference between two states of a database.
struct Change {
    enum class Kind {
        kTableCreated,
        kTableDropped,
        kRowAdded,
        kRowChanged,
        kRowGone,
        kLineAdded,  ///< a line that is no row
        kLineGone
    };

    Kind kind = Kind::kRowAdded;
    std::string table;
    const TableSchema* schema = nullptr;  // of the states that were compared; nothing for a line
    std::string rowId;                    // of a row
    const StoredRow* before = nullptr;    // of a row that is changed or gone
    const StoredRow* after = nullptr;     // of a row that is changed or added
    const DamagedLine* line = nullptr;
};

/// What makes `after` of `before`, in the order of the tables' names and ROWIDs. A table that is defined anew
/// is dropped with all its rows, and created with all its rows. The order of the rows in a file does not
/// count.
///
/// Requires: both states outlive the result, which points into them.
std::vector<Change> changesBetween(const DatabaseState& before, const DatabaseState& after);

}  // namespace Kalt::Vemo::Tool
