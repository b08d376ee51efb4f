#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "rows/ImportedRow.h"
#include "transfer/GrowingTable.h"

namespace Kalt::Vemo::Tool {

/// Adds the rows of a file to a table. What is wrong with one is told at its line.
class RowImport {
public:
    /// @param takesRowIds whether a column ROWID of the file sets the hidden ROWID
    RowImport(GrowingTable& table, const StoredTable& stored, bool takesRowIds);

    /// Throws: ImportError for a name that is no column's, and for one that is there twice.
    void takeHeading(std::size_t line, const std::vector<std::string>& names) const;

    /// Throws: ImportError.
    void take(const ImportedRow& row);

private:
    std::size_t requireColumn(std::size_t line, const std::string& name, std::vector<bool>& named) const;

    GrowingTable& table_;
    const std::string tableName_;
    const std::vector<Column> columns_;  // those that may be named; the hidden ROWID is the last
    const std::size_t valueCount_;
    const bool leavesRowIds_;  // there is a hidden ROWID, and the file does not set it
};

}  // namespace Kalt::Vemo::Tool
