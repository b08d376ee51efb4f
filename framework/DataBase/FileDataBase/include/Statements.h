#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "BoundValues.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class TableStore;
struct OpenTable;
struct TablePlace;

/// The statements that define and change tables. Each takes what stands behind the table's name in the
/// statement's text, and the values of the placeholders.
///
/// No call throws: a failure is logged under the statement's own name, and noted as a Refusal. The table is
/// then what it was before.
///
/// Lifetime: the store must outlive the object. Threads: calls come under the database's lock.
class Statements {
public:
    /// Says whether a line of so many bytes, line feed included, may be stored.
    using LineCheck = bool (*)(std::size_t bytes);

    /// @param mayStore asked about each line that INSERT and UPDATE make; null: each may be stored
    Statements(TableStore& store, LineCheck mayStore) : store_(store), mayStore_(mayStore) {}

    bool createTable(const std::string& tableName, const std::string& remainder);
    bool dropTable(const std::string& tableName, const std::string& remainder);

    /// A check only: neither metadata nor rows of the table are rewritten. Clients that need the column
    /// create the table with it.
    bool alterTable(const std::string& tableName, const std::string& columnName, const std::string& type);

    /// @return the new row's id; nothing on failure
    std::optional<std::int64_t> insertTable(const std::string& tableName, const std::string& sql,
                                            const Values& values);
    bool updateTable(const std::string& tableName, const std::string& sql, const Values& values);
    bool deleteTable(const std::string& tableName, const std::string& sql, const Values& values);

private:
    TablePlace existingTable(const char* handler, const std::string& tableName);
    OpenTable openExistingTable(const char* handler, const TablePlace& place);
    std::string storableLine(const char* handler, const std::vector<std::string>& record) const;

    TableStore& store_;
    LineCheck mayStore_;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
