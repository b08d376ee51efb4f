#pragma once

#include "rows/CountedInput.h"
#include "rows/ImportedRow.h"

namespace Kalt::Vemo::Tool {

/// Reads CSV after RFC 4180, row by row; the first record names the columns. Lines may end without a carriage
/// return. An empty field without quotes is NULL.
///
/// Throws: ImportError for what is no CSV, and what `take` and `takeHeading` throw.
void readCsv(CountedInput& input, char delimiter, const TakeHeading& takeHeading, const TakeRow& take);

}  // namespace Kalt::Vemo::Tool
