#pragma once

#include <string>

#include "sql/TableSchema.h"

namespace CLI {
class App;
}

namespace Kalt::Vemo::Tool {

/// Adds the option that says what stands between the fields of CSV.
void addDelimiter(CLI::App& command, std::string& delimiter);

/// The delimiter that the option gives, a comma without it.
/// Throws: Trouble for a text that is none, and when the format is not "csv".
char delimiterFrom(const std::string& delimiter, const std::string& format);

/// Throws: Failure when the table has a column ROWID of its own beside the hidden one.
void requireRowIdsApart(const TableSchema& schema);

}  // namespace Kalt::Vemo::Tool
