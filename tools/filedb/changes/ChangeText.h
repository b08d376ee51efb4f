#pragma once

#include <string>

#include "changes/Changes.h"

namespace Kalt::Vemo::Tool {

/// A change as a line for people, without its line feed:
///
///     rooms +7 name='attic' floor=2      a row is there
///     rooms ~7 floor=2 → 3               a row has other values
///     rooms -7 name='attic' floor=3      a row is gone
///     rooms + (name TEXT, floor INTEGER) a table is there; "-" in its place when it is gone
///     rooms +? "'attic'~2" ...           a line is there that is no row, and why; "-?" when it is gone
///
/// Values stand as in the file, INTEGER with its sign. Control characters are shown as \xNN.
std::string lineOf(const Change& change);

/// The same as an object of JSON. A text that is no UTF-8 is an object with its bytes in hexadecimal.
std::string jsonOf(const Change& change);

}  // namespace Kalt::Vemo::Tool
