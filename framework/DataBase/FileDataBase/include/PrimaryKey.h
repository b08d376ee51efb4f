#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Comparison.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class Record;
class RowIndex;
class TableMetaData;

/// The rule that no two records of a table have the same primary key. Each of its columns is looked up once,
/// by the first comparison that needs it.
///
/// Lifetime: the metadata must outlive the object. Throws: DatabaseException, where a function says so.
class PrimaryKey {
public:
    explicit PrimaryKey(const TableMetaData& metaData) : metaData_(metaData) {}
    explicit PrimaryKey(TableMetaData&& metaData) = delete;

    /// Throws: "DB Error: PRIMARY KEY must be unique" when both records have the same key; NULL keys differ.
    /// "Column %s not found in Table Definition", "DB Error: Record has fewer fields than Table Definition".
    void requireDifferent(Record& a, Record& b);

    /// Compares the record at `index` with the first `count` ones but itself. Throws: as requireDifferent.
    void requireUnique(const std::vector<std::vector<std::string>>& records, std::size_t count,
                       std::size_t index);

    /// Compares the record with all rows of a table by their index. Requires: the key is one column, and the
    /// index is by that column.
    ///
    /// @param text   what the index belongs to
    /// @param except the row that is not compared, because the record takes its place
    ///
    /// Throws: as requireDifferent.
    void requireUnique(const std::vector<std::string>& record, const RowIndex& rows, std::string_view text,
                       std::optional<std::size_t> except = std::nullopt);

    struct Column {
        std::size_t index;
        ValueType type;
    };

    /// The key's column at `position`, counted from 0. Requires: those before it were asked for.
    /// Throws: "Column %s not found in Table Definition", "DB Error: Record has fewer fields than Table
    /// Definition".
    const Column& column(std::size_t position);

    /// Throws: "DB Error: PRIMARY KEY must be unique".
    [[noreturn]] static void refuse();

private:
    const TableMetaData& metaData_;
    std::vector<Column> columns_;  // those that were looked up so far
    ComparedValue left_;
    ComparedValue right_;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
