#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Takes the text of each statement apart: the grammar is here, what the pieces mean is in Statements and
/// Query.
///
/// What is found depends on the text alone. So a Query or a Change is made once, never changes, and may be
/// used by many statements with the same text, in any thread. Making one writes nothing to the log and raises
/// no error of the text: both happen each time a statement gets to the piece.
///
/// Throws: DatabaseException, under the name of the statement's handler.
namespace Kalt::Vemo::Core::Database::Filedb::SqlText {

/// What is wrong with a text.
struct SyntaxError {
    const char* raiser;
    int line;
    const char* message;

    [[noreturn]] void raise() const;
};

/// The name of a table or a column.
struct Name {
    explicit Name(std::string_view text);

    /// Logs the name and returns it. Throws: the errors of Utils::validateColumnName.
    const std::string& checked() const;

    std::string written;  ///< as it stands in the text, with the white space around it
    std::string name;     ///< the name alone; empty when what is written is none
};

/// The pieces of a comma-separated text.
template <typename Piece>
struct List {
    explicit List(std::string_view listText);

    /// Logs what is split and returns the pieces.
    const std::vector<Piece>& logged() const;

    std::string_view text;
    std::vector<Piece> pieces;
};

/// Where a condition stands in a statement.
struct Condition {
    std::size_t keyword;  ///< position of the blank before WHERE
    unsigned int first;   ///< position of the condition's first character
};

/// The condition after the first " WHERE " from `from` on, with exactly one blank on each side; nothing when
/// the statement has none.
[[nodiscard]] std::optional<Condition> findCondition(std::string_view statement, std::size_t from = 0);

/// One item of a select list: a name or "*".
struct Item {
    explicit Item(std::string_view text);

    bool isStar;
    Name name;
};

/// "SELECT item, ... FROM table WHERE ..."
struct Select {
    List<Item> items;
    Name table;
    std::optional<Condition> condition;
};

/// Lifetime: the statement must outlive the result.
/// Throws: "DB Syntax Error: Error at SELECT or FROM clause".
[[nodiscard]] Select parseSelect(std::string_view statement);
Select parseSelect(std::string&& statement) = delete;

/// "(name, ...) VALUES (value, ...)"; without the list of names there are none.
class Insert {
public:
    explicit Insert(std::string_view text);

    /// Logs both lists and checks the names.
    ///
    /// Throws: "Syntax Error: Wrong statement after TableName clause", "No matching ) bracket for column
    /// list", "Syntax error: At VALUES phrase", "Syntax Error: At value phrase" (also for fewer values than
    /// names), and the errors of a column's name.
    void check() const;

    // Requires: check() has not thrown.
    const std::string& name(std::size_t i) const { return names_->pieces[i].name; }
    const std::string& value(std::size_t i) const { return values_->pieces[i]; }
    std::size_t nameCount() const { return names_ ? names_->pieces.size() : 0; }

private:
    [[nodiscard]] std::optional<SyntaxError> parse(std::string_view text);

    std::optional<List<Name>> names_;
    std::optional<List<std::string>> values_;
    std::optional<SyntaxError> error_;
};

/// One "name = value" of a SET list; the value is kept as it stands.
class Assignment {
public:
    explicit Assignment(std::string_view text);

    /// Logs the name and returns it.
    ///
    /// Throws: "Syntax Error: Not found '=' in set clause", and the errors of a column's name.
    const std::string& checkedName() const;
    const std::string& value() const { return value_; }

private:
    std::optional<Name> name_;
    std::string value_;
};

/// The comma-separated pieces between the brackets of a CREATE TABLE statement; they are logged.
/// Throws: "DB Syntax Error: No proper start & end bracket after TableName.".
[[nodiscard]] std::vector<std::string> splitDefinitions(const std::string& text);

/// The text of any statement.
class Text {
public:
    explicit Text(std::string_view sql);
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;

    /// As it was passed.
    std::string_view sql() const { return sql_; }

    /// How many "?" it has, also inside literals.
    std::size_t placeholderCount() const { return placeholderCount_; }

    /// The text without the semicolons and the white space at its end; nothing when no semicolon closes it.
    const std::optional<std::string>& statement() const { return statement_; }

protected:
    ~Text() = default;

private:
    std::string sql_;
    std::size_t placeholderCount_;
    std::optional<std::string> statement_;
};

/// The text of a query.
class Query : public Text {
public:
    explicit Query(std::string_view sql);

    /// Requires: statement(). Throws: as parseSelect.
    const Select& select() const;

private:
    std::optional<Select> select_;
};

/// The text of an update, taken apart as far as its first three words say what it is.
class Change : public Text {
public:
    enum class Kind {
        incomplete,  ///< fewer than three words
        unknown,
        alterTable,
        createTable,
        createTableIfMissing,
        dropTable,
        insert,
        update,
        deleteRows
    };

    explicit Change(std::string_view sql);

    Kind kind() const { return kind_; }

    /// Of the kinds that have it in their first three words.
    const std::string& tableName() const { return tableName_; }

    /// What follows the first three words.
    const std::string& remainder() const { return remainder_; }

    /// Requires: the kind insert.
    const Insert& insert() const { return *insert_; }

    /// The SET list, which ends where the condition begins. Requires: the kind update.
    const List<Assignment>& assignments() const { return *assignments_; }

    /// In the remainder of an update or deleteRows.
    const std::optional<Condition>& condition() const { return condition_; }

private:
    Kind kind_ = Kind::incomplete;
    std::string tableName_;
    std::string remainder_;
    std::optional<Insert> insert_;
    std::optional<List<Assignment>> assignments_;
    std::optional<Condition> condition_;
};

/// The words of a statement's head end at white space or at an opening bracket.
inline constexpr const char* kHeadDelimiter = "( \t\n\v\f\r";

}  // namespace Kalt::Vemo::Core::Database::Filedb::SqlText
