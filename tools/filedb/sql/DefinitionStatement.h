#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "sql/EngineStatement.h"

namespace Kalt::Vemo::Tool {

/// Whether the statement makes or drops a table of the database: the engine's business, not SQLite's.
bool isDefinitionStatement(std::string_view statement);

/// Puts a CREATE TABLE or DROP TABLE as a person writes it into the engine's words: keywords become upper
/// case, blanks go where the engine wants them. Which definitions there are is the engine's to say.
///
/// @param exists whether there is such a table
/// Requires: isDefinitionStatement(statement).
/// Throws: Failure when the statement cannot be understood.
EngineStatement definitionStatement(std::string_view statement,
                                    const std::function<bool(const std::string& table)>& exists);

}  // namespace Kalt::Vemo::Tool
