#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "virtual/Sqlite.h"
#include "virtual/TableSpace.h"

namespace Kalt::Vemo::Tool {

/// A table of a database as SQLite sees it.
class VirtualTable {
public:
    VirtualTable(std::shared_ptr<TableSpace> space, TableSchema schema);

    TableSpace& space() const { return *space_; }
    const TableSpace::Schema& schema() const { return schema_; }

    /// The CREATE TABLE that tells SQLite of the columns.
    std::string declaration() const;

    /// Position in the table of a column that is declared, counted as it is declared.
    std::size_t columnAt(int declared) const { return shown_[static_cast<std::size_t>(declared)]; }

    /// Whether equality on this declared column is equality on the ROWID.
    bool isRowId(int declared) const;

    /// Columns that are not declared, because one before it differs from it in case only.
    std::vector<std::string> hiddenColumns() const;

    /// The change that SQLite asks of xUpdate, with its arguments. Throws: Failure.
    void change(sqlite3* database, int count, sqlite3_value** arguments, sqlite3_int64& newRowId);

private:
    void insert(sqlite3_value** arguments, sqlite3_int64& newRowId);
    void update(sqlite3_value** arguments);
    std::string stored(const Column& column, const Literal& literal);

    std::shared_ptr<TableSpace> space_;
    TableSpace::Schema schema_;
    std::vector<std::size_t> shown_;
};

/// Walks the rows that a filter left.
class Cursor {
public:
    explicit Cursor(VirtualTable& table);
    ~Cursor();
    Cursor(const Cursor&) = delete;
    Cursor& operator=(const Cursor&) = delete;

    void readAll();
    void readRow(std::uint64_t rowId);

    bool isAtEnd() const { return position_ == end_; }
    void next() { ++position_; }
    std::uint64_t rowId() const { return row().rowId; }
    const SqlValue& value(int declared) const { return row().values[table_.columnAt(declared)]; }

private:
    const TableRow& row() const { return rows_->rows()[position_]; }

    VirtualTable& table_;
    TableSpace::Rows rows_;
    std::size_t position_ = 0;
    std::size_t end_ = 0;
};

}  // namespace Kalt::Vemo::Tool
