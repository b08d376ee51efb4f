#pragma once

#include <string_view>

/// The words of a condition that are operators, compared byte by byte.
namespace Kalt::Vemo::Core::Database::Filedb {

enum class Operator : unsigned char {
    equal,
    greater,
    less,
    greaterOrEqual,
    lessOrEqual,
    notEqual,
    like,
    logicalAnd,
    logicalOr,
    meaningless  ///< accepted, and false whatever its operands are
};

struct OperatorEntry {
    std::string_view text;
    Operator op;
    int precedence;
};

/// The operator with this text; null for any other word.
[[nodiscard]] const OperatorEntry* findOperator(std::string_view word);

/// As findOperator, for a word of a condition.
///
/// Throws: DatabaseException "DB Error: ** operator is not supported in File DataBase", and
/// refuseUnsupportedOperator's error.
[[nodiscard]] const OperatorEntry* operatorOrOperand(std::string_view word);

/// Throws: DatabaseException "DB Error: %s operator is not supported in File DataBase." for an operator of
/// SQL that the engine does not have.
void refuseUnsupportedOperator(std::string_view word);

}  // namespace Kalt::Vemo::Core::Database::Filedb
