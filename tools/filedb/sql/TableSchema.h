#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Kalt::Vemo::Tool {

/// One column of a table.
struct Column {
    enum class Type { kInteger, kReal, kText, kUnknown };

    std::string name;
    Type type = Type::kUnknown;
    bool notNull = false;  // as it was declared, or as a part of the key
    bool isRowId = false;  // the hidden column that numbers the rows

    /// "INTEGER", "REAL", "TEXT", or "?" for a flag number that no statement makes.
    std::string typeName() const;
};

/// A table's definition, as its file tells it.
struct TableSchema {
    std::string name;
    std::vector<Column> columns;  // those that a client sees
    std::vector<std::string> key;
    bool hasHiddenRowId = false;

    /// The column of this name. "ROWID", in any case, is the hidden column, or the key that stands in for it.
    std::optional<Column> find(const std::string& columnName) const;

    bool isKey(const Column& column) const;

    /// "a INTEGER PRIMARY KEY, b TEXT NOT NULL", with a key of several columns behind all others.
    std::string definition() const;

    /// The statement that makes such a table. Throws: Failure when a column's type is not known.
    std::string createStatement() const;
};

/// Reads the definition from a table file or a working copy, or from the text of one.
/// Throws: Failure when there is none that can be read.
TableSchema readSchema(const std::string& table, const std::string& fileName);
TableSchema schemaOfText(const std::string& table, const std::string& text);

/// Names of the tables that have a file with this suffix in the directory, sorted.
/// Throws: Trouble when the directory cannot be read.
std::vector<std::string> tableNames(const std::string& directory, std::string_view suffix);

}  // namespace Kalt::Vemo::Tool
