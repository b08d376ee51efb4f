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
/// Order of the functions: fixed, because programs that were compiled earlier count on it. The store uses
/// `next`, `getString` and `getLong` by label; the others are for other programs.
///
///     std::unique_ptr<IResultTable> rows(database.executeQuery("SELECT name, size FROM files;"));
///     while (rows && rows->next()) {
///         print(rows->getString("name"), rows->getLong(2));
///     }
class VEMO_DATABASE_EXPORT IResultTable {
public:
    virtual ~IResultTable();

    /// Counts the rows.
    /// @return how many there are, passed ones included
    virtual int getCount() = 0;

    /// Moves the cursor to the next row.
    /// @return false, and no move, when there is none
    virtual bool next() = 0;

    /// Tells about the cell that was read last.
    /// @return whether it was NULL
    virtual bool wasNull() = 0;

    /// Reads a cell as text.
    /// @param columnIndex index of the column, from 1
    /// @return the text, without the single quotes that enclose a stored text
    virtual std::string getString(int columnIndex) = 0;

    /// Reads a cell as text.
    /// @param columnLabel label of the column
    /// @return as the form with an index
    virtual std::string getString(const std::string& columnLabel) = 0;

    /// Reads a cell as a truth value.
    /// Throws: also "ResultSet Error: Can't convert to Boolean Value" for a cell other than "1" and "0".
    /// @param columnIndex index of the column, from 1
    /// @return true for "1", false for "0"
    virtual bool getBoolean(int columnIndex) = 0;

    /// Reads a cell as a truth value. Throws: as the form with an index.
    /// @param columnLabel label of the column
    /// @return as the form with an index
    virtual bool getBoolean(const std::string& columnLabel) = 0;

    /// Reads a cell as an integer: as an unsigned 64-bit number, of which the result keeps the low bits that
    /// it has room for. Text that is not a number gives what the platform's conversion makes of it.
    /// @param columnIndex index of the column, from 1
    /// @return the low 8 bits: 44 for 300
    virtual signed char getByte(int columnIndex) = 0;

    /// Reads a cell as an integer, as getByte(int).
    /// @param columnLabel label of the column
    /// @return the low 8 bits
    virtual signed char getByte(const std::string& columnLabel) = 0;

    /// Reads a cell as an integer, as getByte(int).
    /// @param columnIndex index of the column, from 1
    /// @return the low 16 bits
    virtual short getShort(int columnIndex) = 0;

    /// Reads a cell as an integer, as getByte(int).
    /// @param columnLabel label of the column
    /// @return the low 16 bits
    virtual short getShort(const std::string& columnLabel) = 0;

    /// Reads a cell as an integer, as getByte(int).
    /// @param columnIndex index of the column, from 1
    /// @return the low 32 bits
    virtual int getInt(int columnIndex) = 0;

    /// Reads a cell as an integer, as getByte(int).
    /// @param columnLabel label of the column
    /// @return the low 32 bits
    virtual int getInt(const std::string& columnLabel) = 0;

    /// Reads a cell as an integer, as getByte(int).
    /// @param columnIndex index of the column, from 1
    /// @return all 64 bits: a stored -1 is -1 again
    virtual std::int64_t getLong(int columnIndex) = 0;

    /// Reads a cell as an integer, as getByte(int).
    /// @param columnLabel label of the column
    /// @return all 64 bits
    virtual std::int64_t getLong(const std::string& columnLabel) = 0;

    /// Reads a cell as a number with a fraction.
    /// @param columnIndex index of the column, from 1
    /// @return the number in single precision, which is what REAL columns store
    virtual float getDouble(int columnIndex) = 0;

    /// Reads a cell as a number with a fraction.
    /// @param columnLabel label of the column
    /// @return as the form with an index
    virtual float getDouble(const std::string& columnLabel) = 0;

protected:
    /// @cond for implementations alone
    IResultTable() = default;
    IResultTable(const IResultTable&) = default;
    IResultTable& operator=(const IResultTable&) = default;
    /// @endcond
};

}  // namespace Kalt::Vemo::Core::Database
