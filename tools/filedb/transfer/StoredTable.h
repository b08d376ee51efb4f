#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "sql/ResultSet.h"

namespace Kalt::Vemo::Tool {

/// The file of a table in memory.
class StoredTable {
public:
    /// Takes the fields of a record in the order of the file, and its line, counted from 1.
    using TakeRecord = std::function<void(const std::vector<std::string_view>& fields, std::size_t line)>;

    /// Throws: Failure when there is no such table, or its definition cannot be read; Trouble when its file
    /// cannot be read.
    StoredTable(const std::string& directory, const std::string& table);

    const TableSchema& schema() const { return schema_; }
    const std::string& text() const { return text_; }

    /// Number of bytes that the definition takes.
    std::size_t definitionLength() const { return definitionLength_; }

    /// The columns as the file has them: the hidden ROWID is the last.
    std::vector<Column> storedColumns() const;

    /// Hands out all records as the engine reads them.
    void forEachRecord(const TakeRecord& take) const;

    /// The rows in the form in which they are shown, with the hidden ROWID as the last column if asked for.
    /// Throws: Failure for a record that lacks fields.
    ResultSet rows(bool withRowIds) const;

private:
    TableSchema schema_;
    std::string text_;
    std::size_t definitionLength_ = 0;
};

}  // namespace Kalt::Vemo::Tool
