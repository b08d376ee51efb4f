#include "PrimaryKey.h"

#include "DatabaseException.h"
#include "EngineErrors.h"
#include "RecordReader.h"
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
    throw DatabaseException("checkPrimaryKeyValidation", __LINE__, "DB Error: PRIMARY KEY must be unique");
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

}  // namespace Kalt::Vemo::Core::Database::Filedb
