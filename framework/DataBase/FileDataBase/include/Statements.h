#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "BoundValues.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class File;
class TableStore;
struct TablePlace;

namespace SqlText {
class Change;
}

/// The statements that define and change tables. Each gets the statement, or its text after the table's name,
/// and the values of the placeholders.
///
/// No call throws: a failure is logged under the statement's own name and noted as a Refusal. It leaves the
/// table as it was, unless the copy-over has begun: then the table store finishes the change before the next
/// one.
///
/// Lifetime: the table store must outlive the object. Threads: calls come under the database's lock.
class Statements {
public:
    /// Says whether a line of so many bytes, line feed included, may be stored.
    using LineCheck = bool (*)(std::size_t bytes);

    /// @param mayStore asked about each line that INSERT and UPDATE make; null: each may be stored
    Statements(TableStore& store, LineCheck mayStore) : store_(store), mayStore_(mayStore) {}

    void createTable(const std::string& tableName, const std::string& remainder);
    void dropTable(const std::string& tableName, const std::string& remainder);

    /// Whether the column can be added. A check only: neither metadata nor rows of the table are rewritten.
    /// Clients that need the column create the table with it.
    [[nodiscard]] bool alterTable(const std::string& tableName, const std::string& columnName,
                                  const std::string& type);

    /// @return the new row's id; nothing on failure
    [[nodiscard]] std::optional<std::int64_t> insertTable(const SqlText::Change& statement,
                                                          const Values& values);
    void updateTable(const SqlText::Change& statement, const Values& values);
    void deleteTable(const SqlText::Change& statement, const Values& values);

private:
    TablePlace existingTable(const char* handler, const std::string& tableName);
    File openExistingTable(const char* handler, const TablePlace& place);
    std::string storableLine(const char* handler, const std::vector<std::string>& record) const;

    TableStore& store_;
    LineCheck mayStore_;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
