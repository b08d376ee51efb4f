#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "TableFormat.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class FileUtils;
class RecordReader;

/// A table's definition: its columns, their flag numbers and its primary key.
///
/// It is read from the three metadata lines of a table file, or built from the definitions of a CREATE TABLE
/// statement, and checks values against the columns before they are stored.
///
/// It shares FileUtils.cpp, and the log tag "FileResultTable", with FileUtils and FileResultTable.
///
/// Threads: an object belongs to one statement. Throws: DatabaseException, where a function says so; the
/// object may then hold half of a definition and must be discarded.
///
///     TableMetaData metaData(nullptr);
///     metaData.readTableMetaData(stream);
///     metaData.checkColumnNullnessTypeCor(values, 0);
class TableMetaData {
public:
    /// @param fileUtils may be null, because FileUtils keeps no state
    explicit TableMetaData(FileUtils* fileUtils);
    virtual ~TableMetaData();

    /// Reads the three metadata lines from the stream's position.
    ///
    /// @return isAliasPrimaryKey()
    /// Throws: the read error of FileUtils; "Column %s not found in Table Definition" for a key that names no
    /// column.
    bool readTableMetaData(FILE* stream);

    /// The same from the next three records of `reader`.
    bool readTableMetaData(RecordReader& reader);

    /// The three metadata lines.
    [[nodiscard]] std::string text() const;

    /// Whether the lines that a RecordReader gave last are text(), byte for byte.
    bool wasWellFormed() const { return wasWellFormed_; }

    /// Whether the primary key is one INTEGER column, which then stands for the ROWID.
    /// Throws: as readTableMetaData.
    bool isAliasPrimaryKey();

    void appendColumnName(const std::string& name);

    /// Adds a column with this name and flag number, without any check.
    void appendColumn(const std::string& name, long flag);

    /// Adds one column definition: its flag number and, for PRIMARY KEY, its name as the key. The caller adds
    /// the column's name.
    ///
    /// @param words the definition's words: name, type, and nothing more, or PRIMARY KEY, or NOT NULL
    /// Throws: "Un-Supported Data Type for column %s", "More than one Primary Key for column Definition",
    /// "Un-Supported option for column %s".
    void checkColumnConstraint(std::vector<std::string>& words, std::string& columnName);

    /// Adds a table constraint, which may consist of several of the comma-separated pieces.
    ///
    /// @param words the words of the piece at `index`
    /// @param items all pieces of the definition list
    /// @param index moved past the pieces of the constraint; unchanged when the result is false
    /// @return false when the piece is no table constraint
    /// Throws: "More than one Primary Key for Table", "No closing bracket for Primary Key of Table", "Primary
    /// Key Constraint is wrong for Table", "Un-Supported Constraint for Table", and the errors of a column's
    /// name.
    bool checkTableConstraint(std::vector<std::string>& words, std::vector<std::string>& items,
                              unsigned int& index);

    /// Checks `values[column]` against the definition of the column at that position and converts it to its
    /// stored form: quoted text, unsigned decimal digits, or a float with six significant digits.
    ///
    /// Throws: "DB Error: NULL Value is not allowed", "DB Error: data type mismatch for float", "DB Error:
    /// data type mismatch for Integer"; "DB Error: More values than columns in Table Definition" past the
    /// last column; "DB Error: Record has fewer fields than Table Definition" for a column that the file
    /// gives no flag number.
    void checkColumnNullnessTypeCor(std::vector<std::string>& values, unsigned int column);

    /// The flag number of the column at `column`.
    /// Throws: "DB Error: Record has fewer fields than Table Definition" when the file gives it none.
    long flagOf(std::size_t column) const;

    /// How values of the column at `column` compare. Throws: as flagOf.
    ValueType typeOf(std::size_t column) const;

    /// Number of columns that a client sees: all but the hidden ROWID.
    std::size_t visibleColumnCount() const;

    /// Whether the primary key stood for the ROWID when the metadata was read last.
    bool hasAliasPrimaryKey() const { return aliasPrimaryKey_; }

    /// Name of the column that holds the records' ids: ROWID, or the key that stands for it.
    std::string_view idColumn() const {
        return aliasPrimaryKey_ ? std::string_view(primaryKeyColumns_.front()) : kRowIdColumn;
    }

    const std::vector<std::string>& columnNames() const { return columnNames_; }
    const std::vector<std::string>& columnFlags() const { return columnFlags_; }
    const std::vector<std::string>& primaryKeyColumns() const { return primaryKeyColumns_; }

    // For programs that use this class by itself

    /// Appends the three metadata lines to the stream. Throws: the seek error of FileUtils.
    void writeTableMetaData(FILE* stream);

private:
    bool findAliasPrimaryKey();
    void parsePrimaryKeyList(const std::string& constraint);

    FileUtils* fileUtils_;
    bool aliasPrimaryKey_ = false;
    bool wasWellFormed_ = false;
    std::vector<std::string> columnNames_;
    std::vector<std::string> columnFlags_;
    std::vector<std::string> primaryKeyColumns_;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
