#pragma once

#include "Session.h"

namespace Kalt::Vemo::Tool {

/// Prints rows for a person on standard output: in aligned columns, in a box with colours on a terminal.
/// Control characters, which could disturb the terminal, are shown as \xNN.
void printTable(const ResultSet& result);

/// Prints one column a line, with an empty line between two rows.
void printLines(const ResultSet& result);

}  // namespace Kalt::Vemo::Tool
