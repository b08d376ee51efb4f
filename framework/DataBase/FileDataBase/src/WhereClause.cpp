#include "WhereClause.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
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

// Views, whose lengths are compared before their bytes.
constexpr std::string_view kOpeningBracket = "(";
constexpr std::string_view kClosingBracket = ")";
constexpr std::string_view kPlaceholder = "?";
constexpr std::string_view kQuotedPlaceholder = "'?'";

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

// Plain digits, as long as they cannot overflow, are converted here; signs, blanks and the rest by the
// platform.
inline std::uint64_t toUnsigned(std::string_view value) {
    constexpr std::size_t kSafeDigits = 19;
    std::uint64_t number = 0;
    for (const char c : value) {
        if (c < '0' || c > '9' || value.size() > kSafeDigits) {
            return StringConversion::stringTouint64(std::string(value));
        }
        number = 10 * number + static_cast<std::uint64_t>(c - '0');
    }
    return number;
}

// The value without the quotes of a text in quotes. `scratch` holds it when a quote inside had to be
// rewritten.
inline std::string_view withoutQuotes(std::string_view value, std::string& scratch) {
    if (value.empty() || value.front() != '\'') {
        return value;
    }
    value.remove_prefix(1);
    if (!value.empty()) {
        value.remove_suffix(1);
    }
    if (value.find('\'') == std::string_view::npos) {
        return value;
    }
    scratch = value;
    for (std::size_t quote = scratch.find('\''); quote != std::string::npos;
         quote = scratch.find('\'', quote + 1)) {
        // A doubled quote becomes one; a lone quote swallows the character behind it.
        scratch.replace(quote, 2, "'");
    }
    return scratch;
}

// Most texts that differ do so at one of their ends.
inline bool isEqual(const char* text, std::string_view other) {
    return other.empty() || (text[0] == other.front() && text[other.size() - 1] == other.back() &&
                             std::memcmp(text, other.data(), other.size()) == 0);
}

inline bool isEqual(std::string_view text, std::string_view other) {
    return text.size() == other.size() && isEqual(text.data(), other);
}

inline bool startsWith(std::string_view value, std::string_view start) {
    return value.size() >= start.size() && isEqual(value.data(), start);
}

inline bool endsWith(std::string_view value, std::string_view end) {
    return value.size() >= end.size() && isEqual(value.data() + (value.size() - end.size()), end);
}

inline bool contains(std::string_view value, std::string_view part) {
    if (part.empty() || part.size() > value.size()) {
        return part.empty();
    }
    const char* position = value.data();
    const char* const stop = position + (value.size() - part.size()) + 1;  // no match begins here or later
    while (position != stop) {
        const void* const found =
            std::memchr(position, part.front(), static_cast<std::size_t>(stop - position));
        if (found == nullptr) {
            return false;
        }
        position = static_cast<const char*>(found);
        if (isEqual(position, part)) {
            return true;
        }
        ++position;
    }
    return false;
}

inline bool like(std::string_view value, std::string_view pattern) {
    if (pattern.empty()) {
        return value.empty();
    }
    const bool anyStart = pattern.front() == '%';
    const bool anyEnd = pattern.back() == '%';
    if (anyStart && anyEnd && pattern.size() >= 2) {
        return contains(value, pattern.substr(1, pattern.size() - 2));
    }
    if (anyStart) {
        return endsWith(value, pattern.substr(1));
    }
    if (anyEnd) {
        return startsWith(value, pattern.substr(0, pattern.size() - 1));
    }
    return isEqual(value, pattern);
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
        const bool isQuoted = token == kQuotedPlaceholder;
        if (!isQuoted && token != kPlaceholder) {
            continue;
        }
        if (next >= values.size()) {
            throw DatabaseException("parseWhereClause", __LINE__,
                                    "Syntax Error: passed values less than required values in where clause");
        }
        const std::string& value = values[next];
        ++next;
        token = isQuoted && value != kNullWord ? Utils::inSingleQuotes(value) : value;
    }
    FILEDB_LOG(kLogTrace, "WHERE Vec=[%s]", joined(tokens).c_str());
    appendPostfix(std::move(tokens));
}

void WhereClause::InfixToPostFix(std::vector<std::string>& tokens) {
    appendPostfix(tokens);
}

void WhereClause::appendPostfix(std::vector<std::string> tokens) {
    FILEDB_LOG(kLogInfo, "%s", "InfixToPostFix");
    compiled_ = false;  // the steps point into the list, which may move even when the tokens are refused
    postfix_.reserve(postfix_.size() + tokens.size());
    std::vector<std::string> stack;
    stack.reserve(tokens.size());
    const auto popToPostfix = [&] {
        postfix_.push_back(std::move(stack.back()));
        stack.pop_back();
    };

    for (std::string& token : tokens) {
        int precedence = 0;
        if (token == kOpeningBracket) {
            stack.push_back(std::move(token));
        } else if (token == kClosingBracket) {
            closeBracket(stack);
        } else if (isOperatorAndprecedence(token, precedence)) {
            // The counter rises while the stack shrinks: at most half of the entries, rounded up, are popped.
            // That is why a = 1 AND b = 2 OR c = 3 groups as a = 1 AND ( b = 2 OR c = 3 ).
            for (std::size_t popped = 0; popped < stack.size(); ++popped) {
                int top = 0;
                if (stack.back() == kOpeningBracket || !isOperatorAndprecedence(stack.back(), top) ||
                    top < precedence) {
                    break;
                }
                popToPostfix();
            }
            stack.push_back(std::move(token));
        } else {
            postfix_.push_back(std::move(token));
        }
    }

    while (!stack.empty()) {
        if (stack.back() == kOpeningBracket) {
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
        opened = stack.back() == kOpeningBracket;
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
    steps_.reserve(postfix_.size() / 2 + 1);
    operands_.clear();
    operands_.reserve(postfix_.size());  // steps and stack point to them
    std::vector<Operand*> stack;
    stack.reserve(postfix_.size());
    for (const std::string& token : postfix_) {
        const OperatorEntry* entry = findOperator(token);
        Operand& operand = operands_.emplace_back();
        if (entry == nullptr) {
            resolve(token, operand);
            stack.push_back(knownColumn(operand));
            continue;
        }
        Step& step = steps_.emplace_back();
        step.op = entry;
        step.tooFewOperands = stack.size() < 2;
        if (step.tooFewOperands) {
            break;  // an evaluation ends here
        }
        step.right = stack.back();
        stack.pop_back();
        step.left = stack.back();
        // A column decides over a literal; otherwise text beats real and real beats integer.
        const bool rightIsColumn = step.right->kind == Operand::Kind::column;
        const bool leftIsColumn = step.left->kind == Operand::Kind::column;
        step.type = rightIsColumn == leftIsColumn ? std::max(step.left->type, step.right->type)
                    : rightIsColumn               ? step.right->type
                                                  : step.left->type;
        step.fetchRight = firstUse(*step.right);
        step.fetchLeft = firstUse(*step.left);
        operand.kind = Operand::Kind::result;
        operand.type = kInteger;
        step.result = &operand;
        stack.back() = &operand;
    }
    wellFormed_ = stack.size() == 1;
    compiled_ = true;
}

void WhereClause::resolve(const std::string& token, Operand& operand) const {
    if (!token.empty() && token.front() == '\'') {
        operand.value = withoutQuotes(token, operand.scratch);
        operand.type = kText;
        return;
    }
    operand.value = token;
    if (const int number = Utils::isNumber(token)) {
        operand.type = number == 1 ? kInteger : kReal;
        return;
    }
    operand.name = metaData_.hasAliasPrimaryKey() && token == kRowIdColumn
                       ? &metaData_.primaryKeyColumns().front()
                       : &token;
    const std::vector<std::string>& names = metaData_.columnNames();
    const auto name = std::find(names.begin(), names.end(), *operand.name);
    if (name == names.end()) {
        operand.kind = Operand::Kind::unknownColumn;
        return;
    }
    operand.kind = Operand::Kind::column;
    operand.column = static_cast<std::size_t>(name - names.begin());
    operand.type = operand.column < metaData_.columnFlags().size()
                       ? static_cast<unsigned char>(metaData_.flagOf(operand.column) & kTypeMask)
                       : kNoType;
}

// The operand that already stands for the same column, otherwise `operand` itself.
WhereClause::Operand* WhereClause::knownColumn(Operand& operand) {
    if (operand.kind != Operand::Kind::column) {
        return &operand;
    }
    return &*std::find_if(operands_.begin(), operands_.end(), [&](const Operand& other) {
        return other.kind == Operand::Kind::column && other.column == operand.column;
    });
}

bool WhereClause::firstUse(Operand& operand) {
    const bool isColumn =
        operand.kind == Operand::Kind::column || operand.kind == Operand::Kind::unknownColumn;
    const bool first = isColumn && !operand.used;
    operand.used = true;
    return first;
}

inline void WhereClause::Operand::take(std::string_view field) {
    null = isEqual(field, kNullWord);
    value = withoutQuotes(field, scratch);
}

inline void WhereClause::fetch(Operand& operand, Record& record) const {
    if (operand.kind == Operand::Kind::unknownColumn) {
        static_cast<void>(Utils::getColumnNameIndex(*operand.name, metaData_.columnNames()));
    }
    if (!record.has(operand.column) || operand.type == kNoType) {
        throw DatabaseException("getOperandValueType", __LINE__,
                                "DB Error: Record has fewer fields than Table Definition");
    }
    operand.take(record[operand.column]);
}

inline void WhereClause::Operand::setResult(bool result) {
    holds = result;
    value = std::string_view(result ? "1" : "0", 1);
}

inline bool WhereClause::Operand::isTrue() const {
    return kind == Kind::result ? holds : toUnsigned(value) != 0;
}

inline int WhereClause::apply(const OperatorEntry& entry, unsigned char type, const Operand& left,
                              const Operand& right) {
    FILEDB_LOG(kLogTrace, "left:[%.*s] right:[%.*s] operator:[%.*s]", static_cast<int>(left.value.size()),
               left.value.data(), static_cast<int>(right.value.size()), right.value.data(),
               static_cast<int>(entry.text.size()), entry.text.data());
    const bool null = left.null || right.null;
    switch (entry.op) {
        case Operator::logicalAnd:
            return left.isTrue() && right.isTrue() ? 1 : 0;
        case Operator::logicalOr:
            return left.isTrue() || right.isTrue() ? 1 : 0;
        case Operator::meaningless:
            return 0;
        case Operator::equal:
            return !null && isEqual(left.value, right.value) ? 1 : 0;
        case Operator::like:
            return !null && like(left.value, right.value) ? 1 : 0;
        default:
            return null ? 0 : compare(entry.op, type, left.value, right.value);
    }
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
    if (!compiled_) {
        compile();
    }
    int result = 0;
    for (const Step& step : steps_) {
        if (step.tooFewOperands) {
            throw DatabaseException("evaluate", __LINE__,
                                    "Syntax Error: evaluate stack contains less 2 operands.");
        }
        if (step.fetchRight) {
            fetch(*step.right, record);
        }
        if (step.fetchLeft) {
            fetch(*step.left, record);
        }
        result = apply(*step.op, step.type, *step.left, *step.right);
        step.result->setResult(result != 0);
        FILEDB_LOG(kLogTrace, "Result of operation = %d. [0=fail, 1=success]", result);
    }
    if (!wellFormed_) {
        throw DatabaseException("evaluate", __LINE__, "Syntax Error: Where clause is wrong");
    }
    const bool holds = steps_.empty() ? postfix_.front() != "0" : result != 0;
    FILEDB_LOG(kLogTrace, "%s", holds ? "WHERE evaluation is true." : "WHERE evaluation is fail.");
    return holds;
}

int WhereClause::operation(const std::string& op, unsigned char type, const std::string& left,
                           const std::string& right, bool null) {
    const OperatorEntry* entry = findOperator(op);
    Operand leftOperand;
    Operand rightOperand;
    leftOperand.value = left;
    rightOperand.value = right;
    rightOperand.null = null;
    return apply(entry != nullptr ? *entry : OperatorEntry{op, Operator::meaningless, 0}, type, leftOperand,
                 rightOperand);
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
    Operand operand;
    resolve(token, operand);
    if (firstUse(operand)) {
        Record fields(record);
        fetch(operand, fields);
    }
    null = null || operand.null;
    value = operand.value;
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
    Operand fieldOfA;
    Operand fieldOfB;
    for (const std::string& name : metaData_.primaryKeyColumns()) {
        const std::size_t column = Utils::getColumnNameIndex(name, metaData_.columnNames());
        const auto type = static_cast<unsigned char>(metaData_.flagOf(column) & kTypeMask);
        if (!a.has(column) || !b.has(column)) {
            throw DatabaseException("checkPrimaryKeyValidation", __LINE__,
                                    "DB Error: Record has fewer fields than Table Definition");
        }
        fieldOfA.take(a[column]);
        fieldOfB.take(b[column]);
        if (apply(*findOperator("="), type, fieldOfA, fieldOfB) == 0) {
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
