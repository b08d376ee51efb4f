#pragma once

#include <cstddef>
#include <optional>

#include "CompiledCondition.h"
#include "RecordReader.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class RowIndex;
class WhereClause;
struct TableVersion;

/// The records of a table in their order, each with the answer of a statement's condition.
///
/// Where the condition asks for one row by its id and the table's text has an index, next() goes to that row
/// at once. The records in between are logged as if they had been evaluated.
///
/// Lifetime: what the constructor is given must outlive the object. Throws: as RecordReader::next and
/// WhereClause::evaluate.
///
///     RecordScan scan(reader, where, nullptr);
///     while (scan.next()) {
///         if (scan.isMatch()) { use(reader.fields()); }
///     }
class RecordScan {
public:
    /// @param reader stands before the first record; it is moved to each record
    /// @param table  whose records these are; null when its text is not in memory
    RecordScan(RecordReader& reader, WhereClause& where, TableVersion* table);
    RecordScan(const RecordScan&) = delete;
    RecordScan& operator=(const RecordScan&) = delete;

    /// Moves to the next record that is read; false when there is none. Records that are left out do not
    /// satisfy the condition, and are as a writer stores them.
    [[nodiscard]] bool next();

    /// Whether the record satisfies the condition.
    bool isMatch() const { return isMatch_; }

    /// The index that leads to the one record that can satisfy the condition; null when all are read.
    const RowIndex* rowIndex() const { return rows_; }

    /// Number of the records before this one.
    std::size_t row() const { return row_; }

private:
    bool nextByIndex();
    void logAsEvaluated(std::size_t begin, std::size_t end) const;

    RecordReader& reader_;
    WhereClause& where_;
    TableVersion* table_;
    const RowIndex* rows_ = nullptr;
    std::optional<RowIdCondition> lookup_;
    std::size_t next_ = 0;  // the row to go on with
    std::size_t row_ = 0;
    bool isMatch_ = false;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
