#pragma once

#include <string>
#include <vector>

#include "DatabaseClient.h"
#include "sql/TableSchema.h"

namespace Kalt::Vemo::Tool {

/// A statement in the engine's words.
struct EngineStatement {
    enum class Kind {
        kQuery,
        kChange,
        kNothing  ///< there is nothing to do: DROP TABLE IF EXISTS of a missing table
    };

    Kind kind = Kind::kNothing;
    std::string text;
    std::vector<Core::Database::Value> values;

    std::string table;
    bool isDrop = false;          ///< drops the table
    std::vector<Column> columns;  ///< of a query's result
};

}  // namespace Kalt::Vemo::Tool
