#include "CompiledCondition.h"

#include <algorithm>

#include "ConditionLog.h"
#include "DatabaseException.h"
#include "EngineErrors.h"
#include "RecordReader.h"
#include "TableMetaData.h"
#include "Utils.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

// A column decides over a literal; otherwise text beats real and real beats integer.
ValueType typeOf(const Operand& left, const Operand& right) {
    const bool leftIsColumn = left.kind == Operand::Kind::column;
    const bool rightIsColumn = right.kind == Operand::Kind::column;
    if (leftIsColumn == rightIsColumn) {
        return std::max(left.type, right.type);
    }
    return rightIsColumn ? right.type : left.type;
}

// The fast path of Operand::fetch.
inline void fetchColumn(Operand& operand, Record& record, const TableMetaData& metaData) {
    if (operand.kind == Operand::Kind::column && record.has(operand.column)) {
        operand.value.setField(record[operand.column]);
    } else {
        operand.fetch(record, metaData);
    }
}

}  // namespace

void Operand::resolve(const std::string& word, const TableMetaData& metaData) {
    if (!word.empty() && word.front() == '\'') {
        value.text = withoutQuotes(word, value.scratch);
        type = ValueType::text;
        return;
    }
    value.text = word;
    if (const int number = Utils::isNumber(word)) {
        type = number == 1 ? ValueType::integer : ValueType::real;
        return;
    }
    name =
        metaData.hasAliasPrimaryKey() && word == kRowIdColumn ? &metaData.primaryKeyColumns().front() : &word;
    const std::vector<std::string>& names = metaData.columnNames();
    const auto found = std::find(names.begin(), names.end(), *name);
    if (found == names.end()) {
        kind = Kind::unknownColumn;
        return;
    }
    column = static_cast<std::size_t>(found - names.begin());
    if (column >= metaData.columnFlags().size()) {
        kind = Kind::columnWithoutFlag;
        return;
    }
    kind = Kind::column;
    type = metaData.typeOf(column);
}

void Operand::fetch(Record& record, const TableMetaData& metaData) {
    if (kind == Kind::unknownColumn) {
        static_cast<void>(Utils::getColumnNameIndex(*name, metaData.columnNames()));
    }
    if (kind == Kind::columnWithoutFlag || !record.has(column)) {
        throw shortRecordError("getOperandValueType");
    }
    value.setField(record[column]);
}

CompiledCondition::CompiledCondition(const std::vector<std::string>& postfix, const TableMetaData& metaData)
    : metaData_(metaData) {
    operands_.reserve(postfix.size());  // steps and stack point to them
    steps_.reserve(postfix.size() / 2 + 1);
    std::vector<Operand*> stack;
    stack.reserve(postfix.size());
    for (const std::string& word : postfix) {
        const OperatorEntry* const entry = findOperator(word);
        Operand& operand = operands_.emplace_back();
        if (entry == nullptr) {
            operand.resolve(word, metaData);
            stack.push_back(knownColumn(operand));
            continue;
        }
        Step& step = steps_.emplace_back();
        step.op = entry;
        step.hasTooFewOperands = stack.size() < 2;
        if (step.hasTooFewOperands) {
            break;  // every evaluation ends here
        }
        step.right = stack.back();
        stack.pop_back();
        step.left = stack.back();
        step.type = typeOf(*step.left, *step.right);
        step.fetchesRight = isFirstUse(*step.right);
        step.fetchesLeft = isFirstUse(*step.left);
        operand.kind = Operand::Kind::result;
        operand.type = ValueType::integer;
        step.result = &operand;
        stack.back() = &operand;
    }
    leavesOneValue_ = stack.size() == 1;
    loneOperandHolds_ = postfix.front() != "0";
}

std::optional<RowIdCondition> CompiledCondition::lookup() const {
    if (steps_.size() != 1 || steps_.front().hasTooFewOperands || steps_.front().op->op != Operator::equal) {
        return std::nullopt;
    }
    const Operand& left = *steps_.front().left;
    const Operand& right = *steps_.front().right;
    if (left.kind != Operand::Kind::column || right.kind != Operand::Kind::literal) {
        return std::nullopt;
    }
    const std::string_view text = right.value.text;
    const std::optional<std::uint64_t> id = plainNumber(text);
    if (*left.name != metaData_.idColumn() || !id || (text.front() == '0' && text.size() > 1)) {
        return std::nullopt;
    }
    return RowIdCondition{*id, text, steps_.front().op->text};
}

// The operand that already stands for the same column, otherwise `operand` itself.
Operand* CompiledCondition::knownColumn(Operand& operand) {
    if (operand.kind != Operand::Kind::column) {
        return &operand;
    }
    return &*std::find_if(operands_.begin(), operands_.end(), [&](const Operand& other) {
        return other.kind == Operand::Kind::column && other.column == operand.column;
    });
}

bool CompiledCondition::isFirstUse(Operand& operand) {
    const bool isFirst = operand.isColumn() && !operand.isFetched;
    operand.isFetched = true;
    return isFirst;
}

bool CompiledCondition::evaluate(Record& record) {
    bool result = false;
    for (const Step& step : steps_) {
        if (step.hasTooFewOperands) {
            throw DatabaseException("evaluate", __LINE__,
                                    "Syntax Error: evaluate stack contains less 2 operands.");
        }
        if (step.fetchesRight) {
            fetchColumn(*step.right, record, metaData_);
        }
        if (step.fetchesLeft) {
            fetchColumn(*step.left, record, metaData_);
        }
        result = apply(*step.op, step.type, step.left->value, step.right->value);
        step.result->value.setResult(result);
        ConditionLog::result(result);
    }
    if (!leavesOneValue_) {
        throw DatabaseException("evaluate", __LINE__, "Syntax Error: Where clause is wrong");
    }
    const bool isSatisfied = steps_.empty() ? loneOperandHolds_ : result;
    ConditionLog::answer(isSatisfied);
    return isSatisfied;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
