#include "Operators.h"

#include <algorithm>
#include <array>
#include <string>

#include "DatabaseException.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

// Longer words are operands.
constexpr std::size_t kLongestOperator = 4;
constexpr std::size_t kLongestRefusedOperator = 9;

// The most frequent ones first.
constexpr std::array<OperatorEntry, 18> kOperators = {{
    {"=", Operator::equal, 4},
    {"OR", Operator::logicalOr, 1},
    {"AND", Operator::logicalAnd, 2},
    {"LIKE", Operator::like, 4},
    {">", Operator::greater, 4},
    {"<", Operator::less, 4},
    {">=", Operator::greaterOrEqual, 4},
    {"<=", Operator::lessOrEqual, 4},
    {"!=", Operator::notEqual, 4},
    {"NOT", Operator::meaningless, 3},
    {"*", Operator::meaningless, 6},
    {"/", Operator::meaningless, 6},
    {"%", Operator::meaningless, 6},
    {"+", Operator::meaningless, 5},
    {"-", Operator::meaningless, 5},
    {"&", Operator::meaningless, 5},
    {"^", Operator::meaningless, 5},
    {"|", Operator::meaningless, 5},
}};

constexpr std::array<std::string_view, 20> kRefusedOperators = {
    "!<",  "!>",  "+=",      "-=",     "*=", "/=",  "%=",   "&=",     "^=",        "|=",
    "ALL", "ANY", "BETWEEN", "EXISTS", "IN", "NOT", "SOME", "EXCEPT", "INTERSECT", "UNION"};

}  // namespace

const OperatorEntry* findOperator(std::string_view word) {
    if (word.size() > kLongestOperator) {
        return nullptr;
    }
    const auto* const found = std::find_if(kOperators.begin(), kOperators.end(),
                                           [&](const OperatorEntry& entry) { return entry.text == word; });
    return found == kOperators.end() ? nullptr : found;
}

const OperatorEntry* operatorOrOperand(std::string_view word) {
    if (word == "**") {
        throw DatabaseException("isOperatorAndprecedence", __LINE__,
                                "DB Error: ** operator is not supported in File DataBase");
    }
    const OperatorEntry* const entry = findOperator(word);
    if (entry == nullptr) {
        refuseUnsupportedOperator(word);
    }
    return entry;
}

void refuseUnsupportedOperator(std::string_view word) {
    if (word.size() <= kLongestRefusedOperator &&
        std::find(kRefusedOperators.begin(), kRefusedOperators.end(), word) != kRefusedOperators.end()) {
        throw DatabaseException("isNotSupportedOperator", __LINE__,
                                "DB Error: %s operator is not supported in File DataBase.",
                                std::string(word).c_str());
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
