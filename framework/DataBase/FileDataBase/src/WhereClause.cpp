#include "WhereClause.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "DatabaseException.h"
#include "EngineLog.h"
#include "RecordReader.h"
#include "StringConversion.h"
#include "TableMetaData.h"
#include "Tokenizer.h"
#include "Utils.h"

namespace Kalt::Vemo::Core::Database::Filedb {

using Platform::StringConversion;

struct WhereClause::OperatorEntry {
    std::string_view text;
    Operator op;
    int precedence;
};

namespace {

constexpr const char* kLogTag = "WhereClause";
constexpr int kAllTokens = 65000;

constexpr unsigned char kInteger = kIntegerFlag;
constexpr unsigned char kReal = kRealFlag;
constexpr unsigned char kText = kTextFlag;
constexpr unsigned char kNoType = 0xFF;  // the table file gives the column no flag number

// Longer words are operands, and need no look into the tables.
constexpr std::size_t kLongestOperator = 4;
constexpr std::size_t kLongestRefusedOperator = 9;

constexpr std::array<std::string_view, 20> kRefusedOperators = {
    "!<",  "!>",  "+=",      "-=",     "*=", "/=",  "%=",   "&=",     "^=",        "|=",
    "ALL", "ANY", "BETWEEN", "EXISTS", "IN", "NOT", "SOME", "EXCEPT", "INTERSECT", "UNION"};

std::string joined(const std::vector<std::string>& tokens) {
    std::size_t size = 0;
    for (const std::string& token : tokens) {
        size += 1 + token.size();
    }
    std::string text;
    text.reserve(size);
    for (const std::string& token : tokens) {
        text += ' ';
        text += token;
    }
    return text;
}

// A single digit, as the result of every operator is, needs no conversion.
inline std::uint64_t toUnsigned(std::string_view value) {
    if (value.size() == 1 && value[0] >= '0' && value[0] <= '9') {
        return static_cast<std::uint64_t>(value[0] - '0');
    }
    return StringConversion::stringTouint64(std::string(value));
}

// The value without the quotes of a text in quotes. `scratch` holds it when a quote inside had to be
// rewritten.
std::string_view withoutQuotes(std::string_view value, std::string& scratch) {
    if (value.empty() || value.front() != '\'') {
        return value;
    }
    value.remove_prefix(1);
    if (!value.empty()) {
        value.remove_suffix(1);
    }
    std::size_t quote = value.find('\'');
    if (quote == std::string_view::npos) {
        return value;
    }
    scratch = value;
    for (; quote != std::string::npos; quote = scratch.find('\'', quote + 1)) {
        // A doubled quote becomes one; a lone quote swallows the character behind it.
        scratch.replace(quote, 2, "'");
    }
    return scratch;
}

bool like(std::string_view value, std::string_view pattern) {
    const std::size_t length = pattern.size();
    if (length == 0) {
        return value.empty();
    }
    const bool anyStart = pattern.front() == '%';
    const bool anyEnd = pattern.back() == '%';
    if (length >= 2 && anyStart && anyEnd) {
        return value.find(pattern.substr(1, length - 2)) != std::string_view::npos;
    }
    if (anyStart) {
        return value.substr(value.size() - std::min(value.size(), length - 1)) == pattern.substr(1);
    }
    if (anyEnd) {
        return value.substr(0, length - 1) == pattern.substr(0, length - 1);
    }
    return value == pattern;
}

}  // namespace

WhereClause::WhereClause(TableMetaData& metaData) : metaData_(metaData) {}

WhereClause::~WhereClause() = default;

// ---- Parsing ----

void WhereClause::parseWhereClause(const std::string& statement, unsigned int first, unsigned int valueIndex,
                                   const std::vector<std::string>& values) {
    FILEDB_LOG(kLogInfo, "%s", "parseWhereClause");
    std::vector<std::string> tokens = Tokenizer(statement.substr(first), WHITESPACE).split(kAllTokens);
    std::size_t next = valueIndex;
    for (std::string& token : tokens) {
        const bool isQuoted = token == "'?'";
        if (!isQuoted && token != "?") {
            continue;
        }
        if (next >= values.size()) {
            throw DatabaseException("parseWhereClause", __LINE__,
                                    "Syntax Error: passed values less than required values in where clause");
        }
        const std::string& value = values[next];
        ++next;
        token = isQuoted && value != kNullWord ? "'" + value + "'" : value;
    }
    FILEDB_LOG(kLogTrace, "WHERE Vec=[%s]", joined(tokens).c_str());
    InfixToPostFix(tokens);
}

void WhereClause::InfixToPostFix(std::vector<std::string>& tokens) {
    FILEDB_LOG(kLogInfo, "%s", "InfixToPostFix");
    std::vector<std::string> stack;
    const auto popToPostfix = [&] {
        postfix_.push_back(std::move(stack.back()));
        stack.pop_back();
    };

    for (std::string& token : tokens) {
        int precedence = 0;
        if (token == "(") {
            stack.push_back(token);
        } else if (token == ")") {
            closeBracket(stack);
        } else if (isOperatorAndprecedence(token, precedence)) {
            // The counter rises while the stack shrinks: at most half of the entries, rounded up, are popped.
            // That is why a = 1 AND b = 2 OR c = 3 groups as a = 1 AND ( b = 2 OR c = 3 ).
            for (std::size_t popped = 0; popped < stack.size(); ++popped) {
                int top = 0;
                if (stack.back() == "(" || !isOperatorAndprecedence(stack.back(), top) || top < precedence) {
                    break;
                }
                popToPostfix();
            }
            stack.push_back(token);
        } else {
            postfix_.push_back(token);
        }
    }

    while (!stack.empty()) {
        if (stack.back() == "(") {
            throw DatabaseException("InfixToPostFix", __LINE__,
                                    "DB Syntax Error: Stack contains the '(' bracket at end..')'");
        }
        popToPostfix();
    }
    FILEDB_LOG(kLogTrace, "POSTFIX FORM=[%s]", joined(postfix_).c_str());
}

// Pops to the matching "(". The test behind it is no check for a match: it compares how many operators were
// popped with how many entries are left. So it lets a ")" without "(" pass while the stack holds anything,
// and refuses a group with one operator behind one other operator. Conditions in the field are written for
// it.
void WhereClause::closeBracket(std::vector<std::string>& stack) {
    std::size_t moved = 0;
    bool opened = false;
    while (!stack.empty() && !opened) {
        opened = stack.back() == "(";
        if (!opened) {
            postfix_.push_back(std::move(stack.back()));
            ++moved;
        }
        stack.pop_back();
    }
    if (moved == stack.size()) {
        throw DatabaseException("InfixToPostFix", __LINE__, "DB Syntax Error: No matching bracket for ')'");
    }
}

const WhereClause::OperatorEntry* WhereClause::findOperator(std::string_view token) {
    static constexpr std::array<OperatorEntry, 18> kOperators = {{
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
    if (token.size() > kLongestOperator) {
        return nullptr;
    }
    const auto* const found = std::find_if(kOperators.begin(), kOperators.end(),
                                           [&](const OperatorEntry& entry) { return entry.text == token; });
    return found == kOperators.end() ? nullptr : found;
}

bool WhereClause::isOperatorAndprecedence(const std::string& token, int& precedence) {
    precedence = 0;
    if (token == "**") {
        throw DatabaseException("isOperatorAndprecedence", __LINE__,
                                "DB Error: ** operator is not supported in File DataBase");
    }
    if (const OperatorEntry* entry = findOperator(token)) {
        precedence = entry->precedence;
        return true;
    }
    isNotSupportedOperator(token);
    return false;
}

void WhereClause::isNotSupportedOperator(const std::string& token) {
    if (token.size() <= kLongestRefusedOperator &&
        std::find(kRefusedOperators.begin(), kRefusedOperators.end(), token) != kRefusedOperators.end()) {
        throw DatabaseException("isNotSupportedOperator", __LINE__,
                                "DB Error: %s operator is not supported in File DataBase.", token.c_str());
    }
}

// ---- Evaluation ----

// Which operands an operator meets does not depend on the record, so the stack is run through once, with
// operands that tell where their value comes from.
void WhereClause::compile() {
    steps_.clear();
    steps_.reserve(postfix_.size() / 2);
    columns_.clear();
    std::vector<Operand> stack;
    for (const std::string& token : postfix_) {
        const OperatorEntry* entry = findOperator(token);
        if (entry == nullptr) {
            stack.push_back(resolve(token));
            continue;
        }
        Step step;
        step.op = entry;
        step.tooFewOperands = stack.size() < 2;
        if (step.tooFewOperands) {
            steps_.push_back(std::move(step));
            break;  // an evaluation ends here
        }
        step.right = std::move(stack.back());
        stack.pop_back();
        step.left = std::move(stack.back());
        // A column decides over a literal; otherwise text beats real and real beats integer.
        const bool rightIsColumn = step.right.kind == Operand::Kind::column;
        const bool leftIsColumn = step.left.kind == Operand::Kind::column;
        step.type = rightIsColumn == leftIsColumn ? std::max(step.left.type, step.right.type)
                    : rightIsColumn               ? step.right.type
                                                  : step.left.type;
        stack.back() = {Operand::Kind::result, kInteger, steps_.size(), {}};
        steps_.push_back(std::move(step));
    }
    wellFormed_ = stack.size() == 1;
    compiledTokens_ = postfix_.size();
}

WhereClause::Operand WhereClause::resolve(const std::string& token) {
    Operand operand;
    operand.text = token;
    if (!token.empty() && token.front() == '\'') {
        std::string scratch;
        operand.text = withoutQuotes(token, scratch);
        operand.type = kText;
        return operand;
    }
    if (const int number = Utils::isNumber(token)) {
        operand.type = number == 1 ? kInteger : kReal;
        return operand;
    }
    if (metaData_.hasAliasPrimaryKey() && token == kRowIdColumn) {
        operand.text = metaData_.primaryKeyColumns().front();
    }
    const std::vector<std::string>& names = metaData_.columnNames();
    const auto name = std::find(names.begin(), names.end(), operand.text);
    if (name == names.end()) {
        operand.kind = Operand::Kind::unknownColumn;
        return operand;
    }
    operand.kind = Operand::Kind::column;
    operand.position = columnPosition(static_cast<std::size_t>(name - names.begin()));
    operand.type = columns_[operand.position].type;
    return operand;
}

std::size_t WhereClause::columnPosition(std::size_t index) {
    const auto known = std::find_if(columns_.begin(), columns_.end(),
                                    [index](const Column& column) { return column.index == index; });
    if (known != columns_.end()) {
        return static_cast<std::size_t>(known - columns_.begin());
    }
    Column column;
    column.index = index;
    column.type = index < metaData_.columnFlags().size()
                      ? static_cast<unsigned char>(metaData_.flagOf(index) & kTypeMask)
                      : kNoType;
    columns_.push_back(std::move(column));
    return columns_.size() - 1;
}

std::string_view WhereClause::valueOf(const Operand& operand, Record& record, bool& null) {
    switch (operand.kind) {
        case Operand::Kind::literal:
            return operand.text;
        case Operand::Kind::result:
            return steps_[operand.position].result == 0 ? "0" : "1";
        case Operand::Kind::unknownColumn:
            static_cast<void>(Utils::getColumnNameIndex(operand.text, metaData_.columnNames()));
            return {};
        case Operand::Kind::column:
            break;
    }
    Column& column = columns_[operand.position];
    if (column.fetchedFor != evaluation_) {
        fetch(column, record);
    }
    null = null || column.null;
    return column.value;
}

void WhereClause::fetch(Column& column, Record& record) const {
    if (!record.has(column.index) || column.type == kNoType) {
        throw DatabaseException("getOperandValueType", __LINE__,
                                "DB Error: Record has fewer fields than Table Definition");
    }
    column.value = record[column.index];
    column.null = column.value == kNullWord;
    column.value = withoutQuotes(column.value, column.scratch);
    column.fetchedFor = evaluation_;
}

bool WhereClause::evaluate(std::vector<std::string>& record) {
    Record fields(record);
    return evaluate(fields);
}

bool WhereClause::evaluate(Record& record) {
    FILEDB_LOG(kLogInfo, "%s", "evaluate");
    if (postfix_.empty()) {
        return true;
    }
    if (compiledTokens_ != postfix_.size()) {
        compile();
    }
    ++evaluation_;
    for (Step& step : steps_) {
        if (step.tooFewOperands) {
            throw DatabaseException("evaluate", __LINE__,
                                    "Syntax Error: evaluate stack contains less 2 operands.");
        }
        bool null = false;
        const std::string_view right = valueOf(step.right, record, null);
        const std::string_view left = valueOf(step.left, record, null);
        step.result = apply(*step.op, step.type, left, right, null);
        FILEDB_LOG(kLogTrace, "Result of operation = %d. [0=fail, 1=success]", step.result);
    }
    if (!wellFormed_) {
        throw DatabaseException("evaluate", __LINE__, "Syntax Error: Where clause is wrong");
    }
    const bool holds = steps_.empty() ? postfix_.front() != "0" : steps_.back().result != 0;
    FILEDB_LOG(kLogTrace, "%s", holds ? "WHERE evaluation is true." : "WHERE evaluation is fail.");
    return holds;
}

int WhereClause::operation(const std::string& op, unsigned char type, const std::string& left,
                           const std::string& right, bool null) {
    const OperatorEntry* entry = findOperator(op);
    return apply(entry != nullptr ? *entry : OperatorEntry{op, Operator::meaningless, 0}, type, left, right,
                 null);
}

int WhereClause::apply(const OperatorEntry& entry, unsigned char type, std::string_view left,
                       std::string_view right, bool null) {
    FILEDB_LOG(kLogTrace, "left:[%.*s] right:[%.*s] operator:[%.*s]", static_cast<int>(left.size()),
               left.data(), static_cast<int>(right.size()), right.data(), static_cast<int>(entry.text.size()),
               entry.text.data());
    switch (entry.op) {
        case Operator::logicalAnd:
            return toUnsigned(left) != 0 && toUnsigned(right) != 0 ? 1 : 0;
        case Operator::logicalOr:
            return toUnsigned(left) != 0 || toUnsigned(right) != 0 ? 1 : 0;
        case Operator::meaningless:
            return 0;
        case Operator::equal:
            return !null && left == right ? 1 : 0;
        case Operator::like:
            return !null && like(left, right) ? 1 : 0;
        default:
            return null ? 0 : compare(entry.op, type, left, right);
    }
}

template <typename Value>
int WhereClause::relation(Operator op, const Value& left, const Value& right) {
    switch (op) {
        case Operator::greater:
            return left > right ? 1 : 0;
        case Operator::less:
            return left < right ? 1 : 0;
        case Operator::greaterOrEqual:
            return left >= right ? 1 : 0;
        case Operator::lessOrEqual:
            return left <= right ? 1 : 0;
        default:
            return left != right ? 1 : 0;
    }
}

int WhereClause::compare(Operator op, unsigned char type, std::string_view left, std::string_view right) {
    switch (type) {
        case kText:
            return relation(op, left, right);
        case kInteger:
            return relation(op, toUnsigned(left), toUnsigned(right));
        case kReal:
            return relation(op, StringConversion::stringToFloat(std::string(left)),
                            StringConversion::stringToFloat(std::string(right)));
        default:
            return 0;
    }
}

int WhereClause::greaterThanOperater(unsigned char type, const std::string& left, const std::string& right) {
    return compare(Operator::greater, type, left, right);
}

int WhereClause::lessThanOperater(unsigned char type, const std::string& left, const std::string& right) {
    return compare(Operator::less, type, left, right);
}

int WhereClause::greaterThanAndEqualOperater(unsigned char type, const std::string& left,
                                             const std::string& right) {
    return compare(Operator::greaterOrEqual, type, left, right);
}

int WhereClause::lessThanAndEqualOperater(unsigned char type, const std::string& left,
                                          const std::string& right) {
    return compare(Operator::lessOrEqual, type, left, right);
}

int WhereClause::notEqualOperater(unsigned char type, const std::string& left, const std::string& right) {
    return compare(Operator::notEqual, type, left, right);
}

int WhereClause::likeOperater(const std::string& value, const std::string& pattern) {
    return like(value, pattern) ? 1 : 0;
}

unsigned char WhereClause::getOperandValueType(const std::string& token, std::string& value, bool& null,
                                               std::vector<std::string>& record, bool& isColumn) {
    isColumn = false;
    const Operand operand = resolve(token);
    Record fields(record);
    ++evaluation_;
    value = valueOf(operand, fields, null);
    isColumn = operand.kind == Operand::Kind::column;
    return operand.type;
}

void WhereClause::removeEscapeCharacter(std::string& value) {
    std::string scratch;
    value = std::string(withoutQuotes(value, scratch));
}

// ---- Primary key ----

void WhereClause::checkPrimaryKeyValidation(std::vector<std::string>& a, std::vector<std::string>& b) {
    Record recordA(a);
    Record recordB(b);
    checkPrimaryKeyValidation(recordA, recordB);
}

void WhereClause::checkPrimaryKeyValidation(Record& a, Record& b) {
    if (metaData_.primaryKeyColumns().empty()) {
        return;
    }
    std::string scratchOfA;
    std::string scratchOfB;
    for (const std::string& name : metaData_.primaryKeyColumns()) {
        const std::size_t column = Utils::getColumnNameIndex(name, metaData_.columnNames());
        const auto type = static_cast<unsigned char>(metaData_.flagOf(column) & kTypeMask);
        if (!a.has(column) || !b.has(column)) {
            throw DatabaseException("checkPrimaryKeyValidation", __LINE__,
                                    "DB Error: Record has fewer fields than Table Definition");
        }
        const bool null = a[column] == kNullWord || b[column] == kNullWord;
        if (apply(*findOperator("="), type, withoutQuotes(a[column], scratchOfA),
                  withoutQuotes(b[column], scratchOfB), null) == 0) {
            return;
        }
    }
    throw DatabaseException("checkPrimaryKeyValidation", __LINE__, "DB Error: PRIMARY KEY must be unique");
}

void WhereClause::updatePrimaryKeyValidation(std::vector<std::vector<std::string>>& rows, int count,
                                             int index) {
    for (int i = 0; i < count; ++i) {
        if (i != index) {
            checkPrimaryKeyValidation(rows[static_cast<std::size_t>(i)],
                                      rows[static_cast<std::size_t>(index)]);
        }
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
