#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "virtual/Sqlite.h"
#include "virtual/VirtualTable.h"

namespace Kalt::Vemo::Tool {

/// SQLite's module of the virtual tables.
class DatabaseModule {
public:
    /// Makes the table that `CREATE VIRTUAL TABLE ... USING module(arguments)` asks for. Throws: Failure,
    /// Trouble.
    using Connect =
        std::function<std::unique_ptr<VirtualTable>(sqlite3*, const std::vector<std::string>& arguments)>;

    DatabaseModule() = delete;

    /// Makes a module known to a connection, which then owns `connect`.
    /// @return SQLite's result code
    static int add(sqlite3* database, const char* name, Connect connect);

    /// Whether SQLite keeps the name for itself, so that no virtual table can have it.
    static bool isSqlitesOwn(const std::string& table);
};

}  // namespace Kalt::Vemo::Tool
