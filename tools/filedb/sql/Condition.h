#pragma once

#include <string>
#include <vector>

#include "DatabaseClient.h"
#include "sql/TableSchema.h"
#include "sql/TokenCursor.h"

namespace Kalt::Vemo::Tool {

/// A WHERE condition as a person writes it, put into words that the engine evaluates to the same answer.
///
/// Understood are =, ==, !=, <>, <, <=, >, >=, LIKE, BETWEEN, IN, IS NULL, AND, OR, NOT and brackets, with
/// the precedence that SQL gives them; a comparison with NULL holds for no row. The engine's own rules
/// differ: it limits how far operators of higher precedence go first, refuses most brackets, has no NOT, and
/// compares INTEGER values as unsigned numbers. So a condition is sent as it was written only where the
/// engine's conversion keeps its meaning; otherwise it is spelled out in the order in which it is evaluated.
class Condition {
public:
    /// No condition: every row.
    Condition() = default;

    /// Reads from behind WHERE to the end of the statement. Throws: Failure, also for what the engine could
    /// not answer rightly.
    Condition(TokenCursor& cursor, const TableSchema& schema);

    /// " WHERE ...", with a "?" for each value; empty when there is no condition.
    const std::string& text() const { return text_; }
    const std::vector<Core::Database::Value>& values() const { return values_; }

private:
    std::string text_;
    std::vector<Core::Database::Value> values_;
};

}  // namespace Kalt::Vemo::Tool
