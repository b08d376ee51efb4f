#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "rows/CountedInput.h"
#include "transfer/StoredTable.h"

namespace Kalt::Vemo::Tool {

/// A whole database as text, one JSON document a line:
///
///     {"filedb":"dump","version":1}
///     {"table":"rooms","columns":["name TEXT NOT NULL","area REAL","ROWID INTEGER"],"key":["name"]}
///     ["attic",12.5,1]
///     {"end":{"tables":1,"rows":1}}
///
/// The columns are those of the table's file, the hidden ROWID the last of them. A text that is not valid
/// UTF-8 is an object with its bytes, {"hex":"61ff"}. The last line tells a whole dump from one that was cut
/// short.

/// Requires: the tables are sound. Stops early when the output takes no more.
void writeDump(std::ostream& out, const std::vector<StoredTable>& tables);

/// A table of a dump.
struct DumpedTable {
    std::string name;
    std::string text;  // the whole file
    std::size_t rows = 0;
};

/// Reads a whole dump; what it gives is sound, as `filedb check` sees it.
/// Throws: ImportError for what is no dump, and for a table that would not be sound.
std::vector<DumpedTable> readDump(CountedInput& input);

}  // namespace Kalt::Vemo::Tool
