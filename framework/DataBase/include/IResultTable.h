#pragma once

#include <cstdint>
#include <string>

#include "DatabaseExport.h"

namespace Kalt::Vemo::Core::Database {

/// The rows that a query selected, with a cursor and typed getters.
///
/// Lifetime: `IDatabase::executeQuery` allocates it and the caller deletes it, also after a getter has
/// thrown. It holds copies of the cells, so it stays valid when the table changes or the database goes.
///
/// Threads: none of its calls lock; one thread at a time may use an object.
///
/// Cells are addressed by column index, counted from 1, or by column label, compared byte by byte; of
/// several columns with the same label the first is meant. The cursor starts before the first row.
///
/// Every getter
/// - Throws: `DatabaseException` when the cursor is not on a row ("ResultSet Error: Wrong column Index or
///   rowset is not set", or "... column Label ..." for the label form), when the index is out of range, or
///   when no column has the label ("ResultSet Error: Column Label is not found in Result column List...").
/// - On failure: cursor and rows are unchanged; `wasNull` still tells about the last cell that was read.
/// - For a NULL cell: gives the empty string, false or 0, and `wasNull` is true.
///
///     std::unique_ptr<IResultTable> rows(database.executeQuery("SELECT name, size FROM files;"));
///     while (rows && rows->next()) {
///         print(rows->getString("name"), rows->getLong(2));
///     }
class VEMO_DATABASE_EXPORT IResultTable {
public:
    virtual ~IResultTable();

    /// Number of rows.
    virtual int getCount() = 0;

    /// Moves the cursor to the next row; false, and no move, when there is none.
    virtual bool next() = 0;

    /// Whether the cell last read was NULL.
    virtual bool wasNull() = 0;

    /// The cell as text, without the single quotes that enclose a stored text.
    virtual std::string getString(int columnIndex) = 0;
    virtual std::string getString(const std::string& columnLabel) = 0;

    /// "1" is true and "0" is false.
    /// Throws: also "ResultSet Error: Can't convert to Boolean Value" for any other cell.
    virtual bool getBoolean(int columnIndex) = 0;
    virtual bool getBoolean(const std::string& columnLabel) = 0;

    /// The integer getters read the cell as an unsigned 64-bit number and keep the low bits that the result
    /// has room for: 300 gives 44 as a byte. Text that is not a number gives what the platform's conversion
    /// makes of it.
    virtual signed char getByte(int columnIndex) = 0;
    virtual signed char getByte(const std::string& columnLabel) = 0;
    virtual short getShort(int columnIndex) = 0;
    virtual short getShort(const std::string& columnLabel) = 0;
    virtual int getInt(int columnIndex) = 0;
    virtual int getInt(const std::string& columnLabel) = 0;
    virtual std::int64_t getLong(int columnIndex) = 0;
    virtual std::int64_t getLong(const std::string& columnLabel) = 0;

    /// The cell as a single-precision number, which is the precision that REAL columns store.
    virtual float getDouble(int columnIndex) = 0;
    virtual float getDouble(const std::string& columnLabel) = 0;

protected:
    IResultTable() = default;
    IResultTable(const IResultTable&) = default;
    IResultTable& operator=(const IResultTable&) = default;
};

}  // namespace Kalt::Vemo::Core::Database
