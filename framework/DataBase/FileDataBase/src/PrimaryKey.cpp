#include "PrimaryKey.h"

#include "ConditionLog.h"
#include "DatabaseException.h"
#include "EngineErrors.h"
#include "RecordReader.h"
#include "RowIndex.h"
#include "TableMetaData.h"
#include "Utils.h"

namespace Kalt::Vemo::Core::Database::Filedb {

const PrimaryKey::Column& PrimaryKey::column(std::size_t position) {
    if (position == columns_.size()) {
        const std::string& name = metaData_.primaryKeyColumns()[position];
        const std::size_t index = Utils::getColumnNameIndex(name, metaData_.columnNames());
        columns_.push_back({index, metaData_.typeOf(index)});
    }
    return columns_[position];
}

void PrimaryKey::refuse() {
    throw DatabaseException("checkPrimaryKeyValidation", __LINE__, "DB Error: PRIMARY KEY must be unique");
}

void PrimaryKey::requireDifferent(Record& a, Record& b) {
    const std::size_t count = metaData_.primaryKeyColumns().size();
    if (count == 0) {
        return;
    }
    static const OperatorEntry& equal = *findOperator("=");
    for (std::size_t position = 0; position < count; ++position) {
        const Column& key = column(position);
        if (!a.has(key.index) || !b.has(key.index)) {
            throw shortRecordError("checkPrimaryKeyValidation");
        }
        left_.setField(a[key.index]);
        right_.setField(b[key.index]);
        if (!apply(equal, key.type, left_, right_)) {
            return;
        }
    }
    refuse();
}

void PrimaryKey::requireUnique(const std::vector<std::vector<std::string>>& records, std::size_t count,
                               std::size_t index) {
    for (std::size_t other = 0; other < count; ++other) {
        if (other != index) {
            Record a(records[other]);
            Record b(records[index]);
            requireDifferent(a, b);
        }
    }
}

void PrimaryKey::requireUnique(const std::vector<std::string>& record, const RowIndex& rows,
                               std::string_view text, std::optional<std::size_t> except) {
    if (rows.size() == (except ? 1 : 0)) {
        return;
    }
    right_.setField(record[column(0).index]);
    // Keys are compared as texts, and a text equal to one of the index is a number as well. The word NULL is
    // not.
    const std::optional<std::uint64_t> number = plainNumber(right_.text);
    std::optional<std::size_t> same = number ? rows.find(text, *number) : std::nullopt;
    if (same && (same == except || rows.id(text, *same) != right_.text)) {
        same.reset();
    }
    const std::size_t end = same ? *same + 1 : rows.size();
    for (std::size_t row = 0; row < end; ++row) {
        if (row != except) {
            ConditionLog::operands(rows.id(text, row), right_.text, "=");
        }
    }
    if (same) {
        refuse();
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
