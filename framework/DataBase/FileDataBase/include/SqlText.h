#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// Splits the text of each statement into its pieces: the grammar is here, what the pieces mean is in
/// Statements and Query.
///
/// Throws: DatabaseException, under the name of the statement's handler.
namespace Kalt::Vemo::Core::Database::Filedb::SqlText {

/// Where a condition stands in a statement.
struct Condition {
    std::size_t keyword;  ///< position of the blank before WHERE
    unsigned int first;   ///< position of the condition's first character
};

/// The condition after the first " WHERE " from `from` on, with exactly one blank on each side; nothing when
/// the statement has none.
[[nodiscard]] std::optional<Condition> findCondition(const std::string& statement, std::size_t from = 0);

/// "(name, ...) VALUES (value, ...)"; without the list of names there are none.
struct Insert {
    std::vector<std::string> names;
    std::vector<std::string> values;
};

/// Throws: "Syntax Error: Wrong statement after TableName clause", "No matching ) bracket for column list",
/// "Syntax error: At VALUES phrase", "Syntax Error: At value phrase" (also for fewer values than names), and
/// the errors of a column's name.
[[nodiscard]] Insert parseInsert(const std::string& text);

/// One "name = value" of a SET list; the value is kept as it stands.
struct Assignment {
    std::string name;
    std::string value;
};

/// Throws: "Syntax Error: Not found '=' in set clause", and the errors of a column's name.
[[nodiscard]] Assignment parseAssignment(const std::string& text);

/// The comma-separated pieces of the SET list, which ends where the condition begins.
[[nodiscard]] std::vector<std::string> splitSetList(const std::string& text,
                                                    const std::optional<Condition>& condition);

/// "SELECT item, ... FROM table WHERE ..."; items and table are kept as they stand.
struct Select {
    std::size_t itemsFirst;  ///< position of the first character after SELECT
    std::size_t itemsEnd;    ///< position of FROM
    std::string table;
    std::optional<Condition> condition;
};

/// Throws: "DB Syntax Error: Error at SELECT or FROM clause".
[[nodiscard]] Select parseSelect(const std::string& statement);

[[nodiscard]] std::vector<std::string> splitItems(const std::string& statement, const Select& select);

/// The comma-separated pieces between the brackets of a CREATE TABLE statement.
/// Throws: "DB Syntax Error: No proper start & end bracket after TableName.".
[[nodiscard]] std::vector<std::string> splitDefinitions(const std::string& text);

}  // namespace Kalt::Vemo::Core::Database::Filedb::SqlText
