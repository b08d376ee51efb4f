#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Condition.h"
#include "DatabaseClient.h"
#include "TableSchema.h"

namespace Kalt::Vemo::Tool {

/// A statement in the engine's words.
struct EngineStatement {
    enum class Kind {
        kQuery,
        kChange,
        kBegin,
        kCommit,
        kRollback,
        kNothing  ///< there is nothing to do: no statement, or DROP TABLE IF EXISTS of a missing table
    };

    Kind kind = Kind::kNothing;
    std::string text;
    std::vector<Core::Database::Value> values;

    std::string table;
    bool isDrop = false;          ///< drops the table
    std::vector<Column> columns;  ///< of a query's result
};

/// Puts statements as a person writes them into the engine's words: keywords in any case become upper case,
/// literals become bound values, blanks go where the engine wants them. Where the engine would do something
/// else than what the statement says, the rewriter writes what makes it do just that, or refuses:
///
/// - INSERT without a list of columns gets one, because without it the engine stores a row of NULLs.
/// - The engine checks the n-th value of SET against the table's n-th column, whichever column it is for. So
///   every assignment is put at its column's place, and the places before it are filled with assignments that
///   the last one overrides.
/// - Of several "*" in one SELECT the engine drops columns; each becomes the list of columns.
/// - ALTER TABLE changes nothing in the engine, and is refused.
class StatementRewriter {
public:
    /// @param schemaOf gives the definition of a table, and throws Failure when there is no such table
    /// @param exists   whether there is such a table
    StatementRewriter(std::function<TableSchema(const std::string& table)> schemaOf,
                      std::function<bool(const std::string& table)> exists)
        : schemaOf_(std::move(schemaOf)), exists_(std::move(exists)) {}

    /// Throws: Failure when the statement cannot be understood or cannot be answered.
    EngineStatement rewrite(std::string_view statement) const;

    /// The INSERT of one row: a literal for each of the columns. Throws: Failure.
    static EngineStatement insertion(const std::string& table, const std::vector<Column>& columns,
                                     const std::vector<Literal>& literals);

private:
    EngineStatement rewriteSelect(TokenCursor& cursor) const;
    EngineStatement rewriteInsert(TokenCursor& cursor) const;
    EngineStatement rewriteUpdate(TokenCursor& cursor) const;
    EngineStatement rewriteDelete(TokenCursor& cursor) const;
    EngineStatement rewriteCreate(TokenCursor& cursor) const;
    EngineStatement rewriteDrop(TokenCursor& cursor) const;

    std::function<TableSchema(const std::string& table)> schemaOf_;
    std::function<bool(const std::string& table)> exists_;
};

}  // namespace Kalt::Vemo::Tool
