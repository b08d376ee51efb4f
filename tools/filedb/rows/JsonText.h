#pragma once

#include <string>

#include "sql/ResultSet.h"

namespace Kalt::Vemo::Tool {

/// A text in JSON's quotes, safe on a terminal. Requires: it is UTF-8.
std::string jsonText(const std::string& text);

/// A cell as a value of JSON: null, a number for INTEGER and REAL, or a text. Requires: as jsonText.
std::string jsonValue(const Column& column, const Cell& cell);

}  // namespace Kalt::Vemo::Tool
