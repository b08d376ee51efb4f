#pragma once

#include <ostream>

#include "sql/ResultSet.h"

namespace Kalt::Vemo::Tool {

/// How much of its cells a table shows on a terminal. In files and pipes all are whole.
enum class CellWidth {
    kFitting,  ///< the widest are cut until a line of the table fits into one of the terminal
    kWhole
};

/// Prints rows for a person, who reads `out` on standard output: in aligned columns, in a box with colours on
/// a terminal. Control characters, which could disturb the terminal, are shown as \xNN.
void printAsTable(std::ostream& out, const ResultSet& result, CellWidth cellWidth);

/// Prints one column a line, whole, with an empty line between two rows.
void printAsLines(std::ostream& out, const ResultSet& result);

}  // namespace Kalt::Vemo::Tool
