#pragma once

#include "rows/CountedInput.h"
#include "rows/ImportedRow.h"

namespace Kalt::Vemo::Tool {

/// Reads a JSON array of objects, object by object; the names are those of columns. true and false are 1 and
/// 0.
///
/// Throws: ImportError for what is no such array, and what `take` throws.
void readJsonRows(CountedInput& input, const TakeRow& take);

/// The same for a file of such objects, a line each; lines of blanks are left out.
void readJsonLines(CountedInput& input, const TakeRow& take);

}  // namespace Kalt::Vemo::Tool
