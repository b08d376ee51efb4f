#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "PrimaryKey.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class CompiledCondition;
struct RowIdCondition;
class Record;
class TableMetaData;

/// The condition of one statement: parsed once, then evaluated for each record. A front for Postfix,
/// CompiledCondition, Operators, Comparison and PrimaryKey.
///
/// docs/sql.md describes the grammar. Words are separated by white space, and a word's text alone decides
/// what it is: operator, bracket or operand.
///
/// Lifetime: the table's metadata must outlive the object and must have been read before the first
/// evaluation. Threads: an object belongs to one statement. Throws: DatabaseException, where a function says
/// so.
///
///     WhereClause where(metaData);
///     where.parseWhereClause("SELECT * FROM t WHERE a = ?", 22, 0, values);
///     if (where.evaluate(record)) { ... }
class WhereClause {
public:
    explicit WhereClause(TableMetaData& metaData);
    virtual ~WhereClause();
    WhereClause(const WhereClause&) = delete;
    WhereClause& operator=(const WhereClause&) = delete;

    /// Splits the condition into words, fills its placeholders and appends its postfix form to postfix().
    /// Without this call every record satisfies the condition.
    ///
    /// @param statement  the whole statement, without its closing semicolon
    /// @param first      position of the condition's first character
    /// @param valueIndex index in `values` of the value for the condition's first placeholder
    /// Throws: "Syntax Error: passed values less than required values in where clause", and InfixToPostFix's
    /// errors.
    void parseWhereClause(const std::string& statement, unsigned int first, unsigned int valueIndex,
                          const std::vector<std::string>& values);

    /// Whether the record satisfies the condition.
    ///
    /// Throws: "Syntax Error: evaluate stack contains less 2 operands.", "Syntax Error: Where clause is
    /// wrong", and getOperandValueType's errors.
    [[nodiscard]] bool evaluate(Record& record);

    /// See CompiledCondition::lookup. Valid until the condition changes.
    [[nodiscard]] std::optional<RowIdCondition> lookup();

    // For programs that use this class by itself

    bool evaluate(std::vector<std::string>& record);

    /// Appends the postfix form of `tokens` to postfix().
    ///
    /// Throws: "DB Syntax Error: No matching bracket for ')'", "DB Syntax Error: Stack contains the '('
    /// bracket at end..')'", and isOperatorAndprecedence's errors.
    void InfixToPostFix(std::vector<std::string>& tokens);
    const std::vector<std::string>& postfix() const { return postfix_; }

    /// Whether `token` is an operator.
    ///
    /// @param precedence set to the operator's precedence, 0 for any other token
    /// Throws: "DB Error: ** operator is not supported in File DataBase", and isNotSupportedOperator's error.
    bool isOperatorAndprecedence(const std::string& token, int& precedence);

    /// Throws: "DB Error: %s operator is not supported in File DataBase." when `token` is an operator that
    /// this engine refuses.
    void isNotSupportedOperator(const std::string& token);

    /// Applies an operator to two values.
    ///
    /// @param op   text of the operator
    /// @param type 1 integer, 2 real, 4 text: how ordering operators compare
    /// @param null whether one of the values is NULL, which makes every comparison false
    /// @return 1 when it holds, otherwise 0, also for an operator that has no meaning here
    int operation(const std::string& op, unsigned char type, const std::string& left,
                  const std::string& right, bool null);

    /// Compare as text, as unsigned 64-bit integers or as single-precision numbers; 1 when it holds,
    /// otherwise 0.
    int greaterThanOperater(unsigned char type, const std::string& left, const std::string& right);
    int lessThanOperater(unsigned char type, const std::string& left, const std::string& right);
    int greaterThanAndEqualOperater(unsigned char type, const std::string& left, const std::string& right);
    int lessThanAndEqualOperater(unsigned char type, const std::string& left, const std::string& right);
    int notEqualOperater(unsigned char type, const std::string& left, const std::string& right);

    /// 1 when `value` matches `pattern`, in which "%" stands for any text, at the pattern's ends only;
    /// otherwise 0.
    int likeOperater(const std::string& value, const std::string& pattern);

    /// Resolves an operand: a literal in quotes, a number, or else a column of `record`.
    ///
    /// @param value    receives the value without its quotes
    /// @param null     set when the value is NULL; never cleared
    /// @param isColumn receives whether the operand is a column
    /// @return the type code
    /// Throws: "Column %s not found in Table Definition", "DB Error: Record has fewer fields than Table
    /// Definition".
    unsigned char getOperandValueType(const std::string& token, std::string& value, bool& null,
                                      std::vector<std::string>& record, bool& isColumn);

    /// Removes the quotes of a text in single quotes and makes doubled quotes inside one.
    void removeEscapeCharacter(std::string& value);

    /// Throws: "DB Error: PRIMARY KEY must be unique" when two records have the same primary key. NULL keys
    /// differ.
    void checkPrimaryKeyValidation(std::vector<std::string>& a, std::vector<std::string>& b);

    /// Compares the record at `index` with the other `count` - 1 records. Throws: as
    /// checkPrimaryKeyValidation.
    void updatePrimaryKeyValidation(std::vector<std::vector<std::string>>& rows, int count, int index);

private:
    CompiledCondition& compiled();

    TableMetaData& metaData_;
    std::vector<std::string> postfix_;
    std::unique_ptr<CompiledCondition> compiled_;  // made at an evaluation, dropped when postfix_ may change
    PrimaryKey key_;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
