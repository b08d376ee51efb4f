#include "ChangedKeys.h"

#include "ConditionLog.h"
#include "EngineErrors.h"
#include "RecordReader.h"
#include "RecordScan.h"
#include "TableMetaData.h"
#include "TableText.h"

namespace Kalt::Vemo::Core::Database::Filedb {

ChangedKeys::ChangedKeys(TableText& table, const RecordScan& scan)
    : table_(table),
      key_(table.metaData()),
      columnCount_(table.metaData().primaryKeyColumns().size()),
      // A scan by the index finds one record at most, so all others have the keys that it holds.
      rows_(table.metaData().hasAliasPrimaryKey() ? scan.rowIndex() : nullptr) {
    keys_.reserve(columnCount_);  // what keys() returns stays where it is
}

void ChangedKeys::change(std::size_t row, std::vector<std::string> record) {
    if (columnCount_ == 0) {
        return;
    }
    if (rows_ != nullptr) {
        key_.requireUnique(record, *rows_, table_.version().text.view(), row);
        return;
    }
    if (!first_) {
        compareWithLines(row, record);
        first_.emplace(row, std::move(record));
        return;
    }
    if (records_.empty()) {
        readRecords();
    }
    records_[row] = std::move(record);
    for (std::size_t position = 0; position < keys_.size(); ++position) {
        setKey(keys_[position][row], records_[row], key_.column(position).index);
    }
    compareWithRecords(row);
}

void ChangedKeys::compareWithLines(std::size_t row, const std::vector<std::string>& record) {
    Record changed(record);
    RecordReader reader = table_.records();
    for (std::size_t other = 0; reader.next(); ++other) {
        if (other != row) {
            key_.requireDifferent(reader.record(), changed);
        }
    }
}

void ChangedKeys::readRecords() {
    for (RecordReader reader = table_.records(); reader.next();) {
        records_.emplace_back(reader.fields().begin(), reader.fields().end());
    }
    records_[first_->first] = std::move(first_->second);
}

// As PrimaryKey::requireUnique, but each key is taken out of its record once.
void ChangedKeys::compareWithRecords(std::size_t row) {
    const std::vector<Key>& first = keys(0);
    for (std::size_t other = 0; other < records_.size(); ++other) {
        if (other != row && areEqual(first[other], first[row]) && isRestEqual(other, row)) {
            PrimaryKey::refuse();
        }
    }
}

bool ChangedKeys::isRestEqual(std::size_t other, std::size_t row) {
    for (std::size_t position = 1; position < columnCount_; ++position) {
        if (!areEqual(keys(position)[other], keys(position)[row])) {
            return false;
        }
    }
    return true;
}

bool ChangedKeys::areEqual(const Key& left, const Key& right) {
    if (left.isMissing || right.isMissing) {
        throw shortRecordError("checkPrimaryKeyValidation");
    }
    ConditionLog::operands(left.value.text, right.value.text, "=");
    return Filedb::areEqual(left.value, right.value);
}

const std::vector<ChangedKeys::Key>& ChangedKeys::keys(std::size_t position) {
    if (position == keys_.size()) {
        const std::size_t column = key_.column(position).index;
        keys_.emplace_back(records_.size());
        for (std::size_t row = 0; row < records_.size(); ++row) {
            setKey(keys_[position][row], records_[row], column);
        }
    }
    return keys_[position];
}

void ChangedKeys::setKey(Key& key, const std::vector<std::string>& record, std::size_t column) {
    key.isMissing = column >= record.size();
    if (!key.isMissing) {
        key.value.setField(record[column]);
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
