#include "WhereClause.h"

#include "Comparison.h"
#include "CompiledCondition.h"
#include "ConditionLog.h"
#include "EngineLog.h"
#include "Operators.h"
#include "Postfix.h"
#include "RecordReader.h"
#include "TableMetaData.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

constexpr const char* kLogTag = "WhereClause";

int toInt(bool value) {
    return value ? 1 : 0;
}

}  // namespace

WhereClause::WhereClause(TableMetaData& metaData) : metaData_(metaData), key_(metaData) {}

WhereClause::~WhereClause() = default;

void WhereClause::parseWhereClause(const std::string& statement, unsigned int first, unsigned int valueIndex,
                                   const std::vector<std::string>& values) {
    FILEDB_LOG(kLogInfo, "%s", "parseWhereClause");
    std::vector<std::string> words = Postfix::words(statement, first, valueIndex, values);
    compiled_.reset();  // it points into the list, which may move also when the words are refused
    Postfix::append(std::move(words), postfix_);
}

void WhereClause::InfixToPostFix(std::vector<std::string>& tokens) {
    compiled_.reset();
    Postfix::append(tokens, postfix_);
}

bool WhereClause::isOperatorAndprecedence(const std::string& token, int& precedence) {
    precedence = 0;
    const OperatorEntry* const entry = operatorOrOperand(token);
    if (entry != nullptr) {
        precedence = entry->precedence;
    }
    return entry != nullptr;
}

void WhereClause::isNotSupportedOperator(const std::string& token) {
    refuseUnsupportedOperator(token);
}

bool WhereClause::evaluate(std::vector<std::string>& record) {
    Record fields(record);
    return evaluate(fields);
}

bool WhereClause::evaluate(Record& record) {
    ConditionLog::begin();
    if (postfix_.empty()) {
        return true;
    }
    return compiled().evaluate(record);
}

std::optional<RowIdCondition> WhereClause::lookup() {
    constexpr std::size_t kWords = 3;
    return postfix_.size() == kWords ? compiled().lookup() : std::nullopt;
}

CompiledCondition& WhereClause::compiled() {
    if (!compiled_) {
        compiled_ = std::make_unique<CompiledCondition>(postfix_, metaData_);
    }
    return *compiled_;
}

int WhereClause::operation(const std::string& op, unsigned char type, const std::string& left,
                           const std::string& right, bool null) {
    const OperatorEntry* const entry = findOperator(op);
    ComparedValue leftValue;
    ComparedValue rightValue;
    leftValue.text = left;
    rightValue.text = right;
    rightValue.isNull = null;
    return toInt(apply(entry != nullptr ? *entry : OperatorEntry{op, Operator::meaningless, 0},
                       static_cast<ValueType>(type), leftValue, rightValue));
}

int WhereClause::greaterThanOperater(unsigned char type, const std::string& left, const std::string& right) {
    return toInt(holds(Operator::greater, static_cast<ValueType>(type), left, right));
}

int WhereClause::lessThanOperater(unsigned char type, const std::string& left, const std::string& right) {
    return toInt(holds(Operator::less, static_cast<ValueType>(type), left, right));
}

int WhereClause::greaterThanAndEqualOperater(unsigned char type, const std::string& left,
                                             const std::string& right) {
    return toInt(holds(Operator::greaterOrEqual, static_cast<ValueType>(type), left, right));
}

int WhereClause::lessThanAndEqualOperater(unsigned char type, const std::string& left,
                                          const std::string& right) {
    return toInt(holds(Operator::lessOrEqual, static_cast<ValueType>(type), left, right));
}

int WhereClause::notEqualOperater(unsigned char type, const std::string& left, const std::string& right) {
    return toInt(holds(Operator::notEqual, static_cast<ValueType>(type), left, right));
}

int WhereClause::likeOperater(const std::string& value, const std::string& pattern) {
    return toInt(matchesPattern(value, pattern));
}

unsigned char WhereClause::getOperandValueType(const std::string& token, std::string& value, bool& null,
                                               std::vector<std::string>& record, bool& isColumn) {
    isColumn = false;
    Operand operand;
    operand.resolve(token, metaData_);
    if (operand.isColumn()) {
        Record fields(record);
        operand.fetch(fields, metaData_);
    }
    null = null || operand.value.isNull;
    value = operand.value.text;
    isColumn = operand.isColumn();
    return static_cast<unsigned char>(operand.type);
}

void WhereClause::removeEscapeCharacter(std::string& value) {
    std::string scratch;
    value = std::string(withoutQuotes(value, scratch));
}

void WhereClause::checkPrimaryKeyValidation(std::vector<std::string>& a, std::vector<std::string>& b) {
    Record recordA(a);
    Record recordB(b);
    key_.requireDifferent(recordA, recordB);
}

void WhereClause::updatePrimaryKeyValidation(std::vector<std::vector<std::string>>& rows, int count,
                                             int index) {
    key_.requireUnique(rows, static_cast<std::size_t>(count), static_cast<std::size_t>(index));
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
