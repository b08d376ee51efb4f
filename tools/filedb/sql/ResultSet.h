#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sql/TableSchema.h"

namespace Kalt::Vemo::Tool {

/// A cell of a result; nothing for NULL.
using Cell = std::optional<std::string>;

/// The rows of a query, in the form in which they are shown.
struct ResultSet {
    std::vector<Column> columns;
    std::vector<std::vector<Cell>> rows;
};

}  // namespace Kalt::Vemo::Tool
