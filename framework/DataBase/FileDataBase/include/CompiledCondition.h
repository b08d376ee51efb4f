#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Comparison.h"
#include "Operators.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class Record;
class TableMetaData;

/// One operand of a condition: what its word stands for, and its value for a record.
struct Operand {
    enum class Kind : unsigned char {
        literal,
        result,             ///< of an operator
        column,             ///< of the table
        columnWithoutFlag,  ///< one that the table file gives no flag number: an error when it is fetched
        unknownColumn       ///< a name that no column has: an error when it is fetched
    };

    /// Finds out what the word stands for: a literal in quotes, a number, or else a column. `word` and
    /// `metaData` must outlive the operand.
    void resolve(const std::string& word, const TableMetaData& metaData);
    void resolve(std::string&& word, const TableMetaData& metaData) = delete;

    bool isColumn() const { return kind != Kind::literal && kind != Kind::result; }

    /// Sets `value` to the column's field of the record. Requires: isColumn().
    ///
    /// Throws: "Column %s not found in Table Definition", "DB Error: Record has fewer fields than Table
    /// Definition".
    void fetch(Record& record, const TableMetaData& metaData);

    ComparedValue value;
    Kind kind = Kind::literal;
    ValueType type = ValueType::integer;
    bool isFetched = false;  ///< by an earlier step
    std::size_t column = 0;
    const std::string* name = nullptr;  ///< of a column
};

/// A condition that asks for one row: the column of the ids, "=", and canonical digits, with or without
/// quotes. "=" compares texts.
struct RowIdCondition {
    std::uint64_t id;
    std::string_view idText;
    std::string_view op;
};

/// A condition in postfix form, prepared for many records: which operands an operator gets does not depend on
/// the record, so the evaluation's stack is run through once. A column is fetched once for each record,
/// however many operators name it.
///
/// Lifetime: postfix list and metadata must outlive the object, unchanged.
class CompiledCondition {
public:
    /// Requires: `postfix` is not empty.
    CompiledCondition(const std::vector<std::string>& postfix, const TableMetaData& metaData);
    CompiledCondition(std::vector<std::string>&& postfix, const TableMetaData& metaData) = delete;
    CompiledCondition(const CompiledCondition&) = delete;
    CompiledCondition& operator=(const CompiledCondition&) = delete;

    /// Whether the record satisfies the condition.
    ///
    /// Throws: "Syntax Error: evaluate stack contains less 2 operands.", "Syntax Error: Where clause is
    /// wrong", and Operand::fetch's errors.
    [[nodiscard]] bool evaluate(Record& record);

    /// The condition as one that asks for a row by its id alone; nothing when it is another. Valid as long as
    /// the object.
    [[nodiscard]] std::optional<RowIdCondition> lookup() const;

private:
    /// One operator with its operands, in the order in which they are computed.
    struct Step {
        const OperatorEntry* op = nullptr;
        bool hasTooFewOperands = false;
        bool fetchesRight = false;  // whether the step is the first that needs the column
        bool fetchesLeft = false;
        ValueType type = ValueType::integer;  // how the operator compares
        Operand* right = nullptr;
        Operand* left = nullptr;
        Operand* result = nullptr;
    };

    Operand* knownColumn(Operand& operand);
    static bool isFirstUse(Operand& operand);

    const TableMetaData& metaData_;
    std::vector<Operand> operands_;
    std::vector<Step> steps_;
    bool leavesOneValue_ = false;
    bool loneOperandHolds_ = false;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
