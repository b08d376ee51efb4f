#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "DatabaseClient.h"
#include "FileDatabase.h"
#include "console/LogListener.h"
#include "files/DirectoryUse.h"
#include "files/PathArgument.h"
#include "files/ReadOnlyCopy.h"
#include "sql/ResultSet.h"
#include "sql/StatementRewriter.h"
#include "sql/TableSchema.h"

namespace Kalt::Vemo::Tool {

/// An open database, and what the engine's log says about each statement.
class Session {
public:
    enum class Access {
        kLook,           ///< works on a copy; changes are refused
        kChange,         ///< the database must be there
        kChangeOrCreate  ///< makes the database when it is missing
    };

    /// What becomes of a row whose line is too long for the table's file.
    enum class LongLines {
        kRefused,  ///< its statement fails
        kStored    ///< the engine stores it, and reads it as two records
    };

    /// Throws: Trouble when there is no database, or it cannot be opened.
    Session(const PathArgument& path, Access access, LongLines longLines = LongLines::kRefused);

    /// The directory that was named, and the one that is open: with kLook that is the copy's.
    const std::string& namedDirectory() const { return namedDirectory_; }
    const std::string& directory() const { return directory_; }
    LogListener& log() { return log_; }
    bool inTransaction() const { return transaction_.has_value(); }

    // What the open transaction made, changed or dropped counts.
    std::vector<std::string> tables() const;
    /// Throws: Failure when there is no such table, or its definition cannot be read.
    TableSchema schemaOf(const std::string& table) const;
    bool exists(const std::string& table) const;
    /// The CREATE TABLE statements of all tables, or of the named one, a line each. Throws: as schemaOf.
    std::string createStatements(const std::string& table) const;

    /// Runs a statement. Throws: Failure with what the engine has against it; nothing is changed then.
    ResultSet run(const EngineStatement& statement);

    /// Sends the text as it stands, a query if it begins with SELECT. Throws: as run.
    ResultSet runRaw(const std::string& statement);

    void begin();
    void commit();
    void rollback();

private:
    void open(const std::string& base);
    template <typename Action>
    auto reporting(Action action);
    ResultSet query(const EngineStatement& statement);
    void change(const EngineStatement& statement);
    void requireChangesAllowed() const;
    std::string workingCopyOf(const std::string& table) const;
    void endTransaction(bool (Core::Database::Transaction::*end)(), const char* failure);

    LogListener log_;
    Access access_;
    std::optional<ReadOnlyCopy> copy_;
    std::optional<DirectoryUse> use_;  // of a database that may be changed
    std::string namedDirectory_;
    std::string directory_;
    Core::Database::Filedb::FileDatabase database_;
    Core::Database::DatabaseClient client_{database_};
    std::optional<Core::Database::Transaction> transaction_;
    // Of the open transaction: the tables that it may keep in working copies, and those that it dropped.
    std::set<std::string> touched_;
    std::set<std::string> dropped_;
};

}  // namespace Kalt::Vemo::Tool
