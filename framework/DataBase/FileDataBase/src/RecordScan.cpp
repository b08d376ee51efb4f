#include "RecordScan.h"

#include "ConditionLog.h"
#include "RowIndex.h"
#include "TableVersion.h"
#include "WhereClause.h"

namespace Kalt::Vemo::Core::Database::Filedb {

RecordScan::RecordScan(RecordReader& reader, WhereClause& where, TableVersion* table)
    : reader_(reader), where_(where), table_(table) {
    if (table != nullptr && table->mayHaveIndex()) {
        lookup_ = where.lookup();
    }
    if (lookup_) {
        rows_ = table->rowIndex();
    }
}

bool RecordScan::next() {
    if (rows_ != nullptr) {
        return nextByIndex();
    }
    if (!reader_.next()) {
        return false;
    }
    row_ = next_++;
    isMatch_ = where_.evaluate(reader_.record());
    return true;
}

bool RecordScan::nextByIndex() {
    const std::string_view text = table_->text.view();
    const std::optional<std::size_t> found = next_ == 0 ? rows_->find(text, lookup_->id) : std::nullopt;
    if (!found) {
        logAsEvaluated(next_, rows_->size());
        next_ = rows_->size();
        return false;
    }
    logAsEvaluated(0, *found);
    reader_ = RecordReader(text.substr(rows_->position(*found)));
    row_ = *found;
    next_ = *found + 1;
    isMatch_ = reader_.next() && where_.evaluate(reader_.record());
    return true;
}

// The values are copied out of the object, which the compiler would otherwise read anew after each call.
void RecordScan::logAsEvaluated(std::size_t begin, std::size_t end) const {
    const std::string_view text = table_->text.view();
    const RowIdCondition condition = *lookup_;
    const RowIndex& rows = *rows_;
    for (std::size_t row = begin; row < end; ++row) {
        ConditionLog::begin();
        ConditionLog::operands(rows.id(text, row), condition.idText, condition.op);
        ConditionLog::result(false);
        ConditionLog::answer(false);
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
