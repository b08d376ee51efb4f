#include "sql/Condition.h"

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>
#include <variant>

#include "DatabaseException.h"
#include "Operators.h"
#include "Postfix.h"

namespace Kalt::Vemo::Tool {

using Core::Database::DatabaseException;
using Core::Database::Filedb::operatorOrOperand;
namespace Postfix = Core::Database::Filedb::Postfix;

namespace {

using Words = std::vector<std::string>;

// The engine looks at no more words than these.
constexpr std::size_t kMaxWords = 65000;

std::string largestSigned() {
    return std::to_string(std::numeric_limits<std::int64_t>::max());
}

/// A condition in two spellings: as it is written, and in the order of evaluation. Values stand in it as
/// texts in single quotes, which no name begins with.
struct Expression {
    Words written;
    Words evaluated;
    enum Binding { kOr, kAnd, kComparison } binding = kComparison;
};

Words joined(Words first, const Words& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Words inBrackets(const Words& words) {
    return joined(joined({"("}, words), {")"});
}

Expression comparison(const std::string& left, const std::string& op, const std::string& right) {
    return {{left, op, right}, {left, right, op}};
}

Expression combined(const Expression& left, Expression::Binding binding, const Expression& right) {
    const std::string op = binding == Expression::kAnd ? "AND" : "OR";
    const auto side = [binding](const Expression& part) {
        return part.binding < binding ? inBrackets(part.written) : part.written;
    };
    return {joined(joined(side(left), {op}), side(right)),
            joined(joined(left.evaluated, right.evaluated), {op}), binding};
}

// Whether a comparison came out as false, or met NULL: the engine keeps its result as the text "0" or "1".
Expression isFalse(const Expression& single) {
    return {joined(single.written, {"=", "'0'"}), joined(single.evaluated, {"'0'", "="})};
}

Expression hasValue(const Column& column) {
    return comparison(column.name, "LIKE", "'%'");
}

// ---- INTEGER: the engine keeps and compares unsigned numbers, in which all negative ones come last.

Expression isNegative(const Column& column) {
    return comparison(column.name, ">", "'" + largestSigned() + "'");
}

Expression isNotNegative(const Column& column) {
    return comparison(column.name, "<=", "'" + largestSigned() + "'");
}

bool isSmaller(const std::string& op) {
    return op.front() == '<';
}

Expression comparedSigned(const Column& column, const std::string& op, const std::string& stored) {
    Expression unsignedResult = comparison(column.name, op, "'" + stored + "'");
    if (op == "=" || op == "!=" || column.isRowId) {
        return unsignedResult;
    }
    const std::string largest = largestSigned();
    const bool isLiteralNegative =
        stored.size() > largest.size() || (stored.size() == largest.size() && stored > largest);
    // Numbers of the literal's own sign are in the right order. The others are all below it or all above it.
    if (isSmaller(op) == isLiteralNegative) {
        return combined(unsignedResult, Expression::kAnd,
                        isLiteralNegative ? isNegative(column) : isNotNegative(column));
    }
    return combined(unsignedResult, Expression::kOr,
                    isLiteralNegative ? isNotNegative(column) : isNegative(column));
}

Expression comparedSigned(const Column& left, const std::string& op, const Column& right) {
    Expression unsignedResult = comparison(left.name, op, right.name);
    if (op == "=" || op == "!=" || (left.isRowId && right.isRowId)) {
        return unsignedResult;
    }
    const Column& below = isSmaller(op) ? left : right;
    const Column& above = isSmaller(op) ? right : left;
    const Expression bothNegative = combined(isNegative(left), Expression::kAnd, isNegative(right));
    const Expression noneNegative = combined(isNotNegative(left), Expression::kAnd, isNotNegative(right));
    const Expression sameSign =
        combined(unsignedResult, Expression::kAnd, combined(bothNegative, Expression::kOr, noneNegative));
    const Expression differentSign = combined(isNegative(below), Expression::kAnd, isNotNegative(above));
    return combined(sameSign, Expression::kOr, differentSign);
}

// ---- The parser. NOT is carried down to the comparisons, where it turns each into its opposite, so that
// NULL
// ---- stays what no comparison holds for.

class Parser {
public:
    Parser(TokenCursor& cursor, const TableSchema& schema) : cursor_(cursor), schema_(schema) {}

    Expression parseOr(bool negated) {
        Expression result = parseAnd(negated);
        while (cursor_.accept("OR")) {
            result = combined(result, negated ? Expression::kAnd : Expression::kOr, parseAnd(negated));
        }
        return result;
    }

private:
    // Deeper nesting than any person writes would only exhaust the stack.
    static constexpr int kMaxDepth = 200;

    using Operand = std::variant<Column, Literal>;

    Expression parseAnd(bool negated) {
        Expression result = parseNot(negated);
        while (cursor_.accept("AND")) {
            result = combined(result, negated ? Expression::kOr : Expression::kAnd, parseNot(negated));
        }
        return result;
    }

    Expression parseNot(bool negated) {
        while (cursor_.accept("NOT")) {
            negated = !negated;
        }
        if (!cursor_.acceptSymbol("(")) {
            return parseComparison(negated);
        }
        if (++depth_ > kMaxDepth) {
            throw Failure("the condition has more than " + std::to_string(kMaxDepth) +
                          " brackets in brackets");
        }
        Expression result = parseOr(negated);
        cursor_.expectSymbol(")");
        --depth_;
        return result;
    }

    Expression parseComparison(bool negated) {
        const Operand left = parseOperand();
        if (cursor_.accept("IS")) {
            const bool isNot = cursor_.accept("NOT");
            cursor_.expect("NULL");
            const Expression present = hasValue(requireColumn(left));
            return isNot != negated ? present : isFalse(present);
        }
        const bool isOpposite = cursor_.accept("NOT") != negated;
        if (cursor_.accept("LIKE")) {
            return parseLike(requireColumn(left), isOpposite);
        }
        if (cursor_.accept("BETWEEN")) {
            return parseBetween(requireColumn(left), isOpposite);
        }
        if (cursor_.accept("IN")) {
            return parseIn(requireColumn(left), isOpposite);
        }
        const std::string op = parseOperator();
        return compared(left, isOpposite ? oppositeOf(op) : op, parseOperand());
    }

    Operand parseOperand() {
        const SqlToken& token = cursor_.peek();
        const bool isName =
            token.kind == SqlToken::Kind::kName || (token.kind == SqlToken::Kind::kWord && !token.is("NULL"));
        if (!isName) {
            return cursor_.expectLiteral();
        }
        const std::string name = cursor_.take().text;
        const std::optional<Column> column = schema_.find(name);
        if (!column) {
            throw Failure("table " + schema_.name + " has no column " + name +
                          "; a text belongs in single quotes");
        }
        requireNoOperator(column->name);
        return *column;
    }

    // The engine would take such a name for an operator, or refuse it, wherever it stands.
    static void requireNoOperator(const std::string& name) {
        bool isOperand = false;
        try {
            isOperand = operatorOrOperand(name) == nullptr;
        } catch (const DatabaseException&) {
            isOperand = false;
        }
        if (!isOperand) {
            throw Failure("the engine takes the column name " + name +
                          " for an operator; no condition can use it");
        }
    }

    std::string parseOperator() {
        static constexpr std::array<std::pair<const char*, const char*>, 8> kOperators{{{"=", "="},
                                                                                        {"==", "="},
                                                                                        {"!=", "!="},
                                                                                        {"<>", "!="},
                                                                                        {"<", "<"},
                                                                                        {"<=", "<="},
                                                                                        {">", ">"},
                                                                                        {">=", ">="}}};
        for (const auto& [written, op] : kOperators) {
            if (cursor_.acceptSymbol(written)) {
                return op;
            }
        }
        cursor_.refuse("a comparison (=, !=, <, <=, >, >=, LIKE, BETWEEN, IN, IS NULL)");
    }

    static std::string oppositeOf(const std::string& op) {
        return op == "="    ? "!="
               : op == "!=" ? "="
               : op == "<"  ? ">="
               : op == ">=" ? "<"
               : op == ">"  ? "<="
                            : ">";
    }

    static std::string mirrored(const std::string& op) {
        return op.front() == '<' ? ">" + op.substr(1) : op.front() == '>' ? "<" + op.substr(1) : op;
    }

    static const Column& requireColumn(const Operand& operand) {
        if (const Column* column = std::get_if<Column>(&operand)) {
            return *column;
        }
        throw Failure("expected the name of a column, found " +
                      Tool::quoted(std::get<Literal>(operand).text));
    }

    Expression compared(const Operand& left, const std::string& op, const Operand& right) {
        const Column* leftColumn = std::get_if<Column>(&left);
        const Column* rightColumn = std::get_if<Column>(&right);
        if (leftColumn != nullptr && rightColumn != nullptr) {
            return compareColumns(*leftColumn, op, *rightColumn);
        }
        if (leftColumn != nullptr) {
            return compareWithLiteral(*leftColumn, op, std::get<Literal>(right));
        }
        if (rightColumn != nullptr) {
            return compareWithLiteral(*rightColumn, mirrored(op), std::get<Literal>(left));
        }
        throw Failure("a comparison needs a column on one side");
    }

    static Expression compareColumns(const Column& left, const std::string& op, const Column& right) {
        if (left.type != right.type || left.type == Column::Type::kUnknown) {
            throw Failure("columns " + left.name + " (" + left.typeName() + ") and " + right.name + " (" +
                          right.typeName() + ") cannot be compared: their types differ");
        }
        return left.type == Column::Type::kInteger ? comparedSigned(left, op, right)
                                                   : comparison(left.name, op, right.name);
    }

    static Expression compareWithLiteral(const Column& column, const std::string& op,
                                         const Literal& literal) {
        if (literal.kind == Literal::Kind::kNull) {
            throw Failure("a comparison with NULL holds for no row; write " + column.name + " IS NULL");
        }
        const std::string stored = comparedLiteral(column, literal);
        if (column.type == Column::Type::kText) {
            requireNoQuote(literal.text);
            return comparison(column.name, op, stored);
        }
        return column.type == Column::Type::kInteger ? comparedSigned(column, op, stored)
                                                     : comparison(column.name, op, "'" + stored + "'");
    }

    // Of a text with a quote inside the engine compares all but the character behind the quote.
    static void requireNoQuote(const std::string& text) {
        if (text.find('\'') != std::string::npos) {
            throw Failure("the engine cannot compare texts with a quote inside exactly: " +
                          Tool::quoted(text) + "; name the row by another column or its ROWID");
        }
    }

    Expression parseLike(const Column& column, bool isOpposite) {
        if (column.type != Column::Type::kText) {
            throw Failure("LIKE needs a TEXT column; " + column.name + " is " + column.typeName());
        }
        const Literal pattern = cursor_.expectLiteral();
        if (pattern.kind != Literal::Kind::kText) {
            throw Failure("LIKE needs a pattern in single quotes");
        }
        const Literal escape = cursor_.accept("ESCAPE") ? cursor_.expectLiteral() : Literal();
        requireNoQuote(pattern.text);
        const Expression like =
            comparison(column.name, "LIKE", "'" + enginePattern(pattern.text, escape.text) + "'");
        // NULL is neither like a pattern nor unlike it.
        return isOpposite ? combined(isFalse(like), Expression::kAnd, hasValue(column)) : like;
    }

    // The engine knows "%" at either end of a pattern, and no other wildcard.
    static std::string enginePattern(const std::string& pattern, const std::string& escape) {
        std::string result;
        for (std::size_t i = 0; i < pattern.size(); ++i) {
            const bool isEscaped = !escape.empty() && pattern.compare(i, escape.size(), escape) == 0;
            if (isEscaped) {
                i += escape.size();
            }
            const bool isAtEnd = result.empty() || i + 1 >= pattern.size();
            const char c = i < pattern.size() ? pattern[i] : '\0';
            if (c == '\0' || (c == '_' && !isEscaped) || (c == '%' && isEscaped == isAtEnd)) {
                throw Failure("the engine cannot match the pattern " + Tool::quoted(pattern) +
                              ": its only wildcard is \"%\" at the start and at the end"
                              "; a literal \"_\" is written LIKE '...\\_...' ESCAPE '\\'");
            }
            result += c;
        }
        return result;
    }

    Expression parseBetween(const Column& column, bool isOpposite) {
        const Operand low = parseOperand();
        cursor_.expect("AND");
        const Operand high = parseOperand();
        return combined(compared(column, isOpposite ? "<" : ">=", low),
                        isOpposite ? Expression::kOr : Expression::kAnd,
                        compared(column, isOpposite ? ">" : "<=", high));
    }

    Expression parseIn(const Column& column, bool isOpposite) {
        const std::string op = isOpposite ? "!=" : "=";
        cursor_.expectSymbol("(");
        Expression result = compared(column, op, cursor_.expectLiteral());
        while (cursor_.acceptSymbol(",")) {
            result = combined(result, isOpposite ? Expression::kAnd : Expression::kOr,
                              compared(column, op, cursor_.expectLiteral()));
        }
        cursor_.expectSymbol(")");
        return result;
    }

    TokenCursor& cursor_;
    const TableSchema& schema_;
    int depth_ = 0;
};

// ---- What is sent

bool isOperator(const std::string& word) {
    return operatorOrOperand(word) != nullptr;
}

/// The order in which the engine would evaluate these words, nothing when it refuses them.
std::optional<Words> engineOrder(Words words) {
    Words ordered;
    try {
        Postfix::append(std::move(words), ordered);
    } catch (const DatabaseException&) {
        return std::nullopt;
    }
    return ordered;
}

/// The words in the order of evaluation, in a form that the engine's conversion leaves as it is: the ")"
/// behind an operator moves it out of the conversion's stack at once.
Words spelledOut(const Words& evaluated) {
    Words result;
    for (const std::string& word : evaluated) {
        result.push_back(word);
        if (isOperator(word)) {
            result.emplace_back(")");
        }
    }
    return result;
}

}  // namespace

Condition::Condition(TokenCursor& cursor, const TableSchema& schema) {
    const Expression expression = Parser(cursor, schema).parseOr(false);
    const Words words = engineOrder(expression.written) == expression.evaluated
                            ? expression.written
                            : spelledOut(expression.evaluated);
    if (words.size() > kMaxWords) {
        throw Failure("the condition is too long for the engine: " + std::to_string(words.size()) +
                      " words of at most " + std::to_string(kMaxWords));
    }
    text_ = " WHERE";
    for (const std::string& word : words) {
        const bool isValue = word.front() == '\'';
        text_ += isValue ? " ?" : " " + word;
        if (isValue) {
            values_.emplace_back(word);
        }
    }
}

}  // namespace Kalt::Vemo::Tool
