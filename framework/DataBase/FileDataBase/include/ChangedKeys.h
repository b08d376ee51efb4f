#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Comparison.h"
#include "PrimaryKey.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class RecordScan;
class RowIndex;
class TableText;

/// The check of the records that one UPDATE changes: none may get the primary key that another one has at
/// that moment, be it stored or changed before.
///
/// A single changed record is compared with the index of the rows, or with the stored lines. From the second
/// one on all keys are held in memory.
///
/// Lifetime: table and scan must outlive the object, and the table's text stay as it is.
class ChangedKeys {
public:
    ChangedKeys(TableText& table, const RecordScan& scan);
    ChangedKeys(const ChangedKeys&) = delete;
    ChangedKeys& operator=(const ChangedKeys&) = delete;

    /// The record at `row` becomes this one. To be called in the order of the rows.
    /// Throws: as PrimaryKey::requireDifferent.
    void change(std::size_t row, std::vector<std::string> record);

private:
    /// What stands in a key's column of one record. The value's text is a view into the record.
    struct Key {
        ComparedValue value;
        bool isMissing = false;
    };
    using Records = std::vector<std::vector<std::string>>;

    void compareWithLines(std::size_t row, const std::vector<std::string>& record);
    void readRecords();
    void compareWithRecords(std::size_t row);
    bool isRestEqual(std::size_t other, std::size_t row);
    static bool areEqual(const Key& left, const Key& right);
    const std::vector<Key>& keys(std::size_t position);
    static void setKey(Key& key, const std::vector<std::string>& record, std::size_t column);

    TableText& table_;
    PrimaryKey key_;
    std::size_t columnCount_;
    const RowIndex* rows_ = nullptr;
    std::optional<std::pair<std::size_t, std::vector<std::string>>> first_;  // the first changed record
    Records records_;                     // all, once a second one is changed
    std::vector<std::vector<Key>> keys_;  // of the key's columns that were needed so far, for each record
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
