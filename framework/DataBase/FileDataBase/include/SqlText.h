#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Cuts the text of each statement into its pieces. The functions look at the text and at nothing else, so
/// the grammar of a statement is all here and what the pieces mean is all in FileDatabase.
///
/// Throws: DatabaseException, under the name of the statement's handler.
namespace Kalt::Vemo::Core::Database::Filedb::SqlText {

/// Where a condition stands in a statement: behind the first " WHERE ", with exactly one blank on each side.
struct Condition {
    explicit Condition(const std::string& statement, std::size_t from = 0);

    bool found() const { return keyword != std::string::npos; }

    std::size_t keyword;  ///< position of the blank before WHERE
    unsigned int first;   ///< position of the condition's first character
};

/// "(name, ...) VALUES (value, ...)"; without the list of names there are none.
struct Insert {
    std::vector<std::string> names;
    std::vector<std::string> values;
};

/// Throws: "Syntax Error: Wrong statement after TableName clause", "No matching ) bracket for column list",
/// "Syntax error: At VALUES phrase", "Syntax Error: At value phrase" (also for fewer values than names), and
/// the errors of a column's name.
Insert parseInsert(const std::string& text);

/// One "name = value" of a SET list; the value is kept as it stands.
struct Assignment {
    std::string name;
    std::string value;
};

/// Throws: "Syntax Error: Not found '=' in set clause", and the errors of a column's name.
Assignment parseAssignment(const std::string& text);

/// The comma-separated pieces of the SET list that ends where the condition begins.
std::vector<std::string> splitSetList(const std::string& text, const Condition& condition);

/// "SELECT item, ... FROM table WHERE ..."; items and table are kept as they stand.
struct Select {
    std::size_t itemsFirst;  ///< position of the first character behind SELECT
    std::size_t itemsEnd;    ///< position of FROM
    std::string table;
    Condition condition;
};

/// Throws: "DB Syntax Error: Error at SELECT or FROM clause".
Select parseSelect(const std::string& statement);

std::vector<std::string> splitItems(const std::string& statement, const Select& select);

/// The comma-separated pieces between the brackets of a CREATE TABLE statement.
/// Throws: "DB Syntax Error: No proper start & end bracket after TableName.".
std::vector<std::string> splitDefinitions(const std::string& text);

}  // namespace Kalt::Vemo::Core::Database::Filedb::SqlText
