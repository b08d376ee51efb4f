#pragma once

#include "sql/ResultSet.h"

namespace Kalt::Vemo::Tool {

/// Prints rows for a person on standard output: in aligned columns, in a box with colours on a terminal.
/// Control characters, which could disturb the terminal, are shown as \xNN.
void printAsTable(const ResultSet& result);

/// Prints one column a line, with an empty line between two rows.
void printAsLines(const ResultSet& result);

}  // namespace Kalt::Vemo::Tool
