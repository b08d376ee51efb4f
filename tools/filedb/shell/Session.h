#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "DatabaseClient.h"
#include "FileDatabase.h"
#include "console/ExitStatus.h"
#include "console/LogListener.h"
#include "files/DirectoryUse.h"
#include "files/PathArgument.h"
#include "files/ReadOnlyCopy.h"
#include "sql/EngineStatement.h"
#include "sql/ResultSet.h"
#include "sql/TableSchema.h"
#include "virtual/TableSource.h"

namespace Kalt::Vemo::Tool {

/// There is no database, and nothing has asked for one to be made.
class NoDatabase : public Trouble {
public:
    using Trouble::Trouble;
};

/// An open database, and what the engine's log says about each statement.
class Session : public TableSource {
public:
    enum class Access {
        kLook,           ///< works on a copy; changes are refused
        kChange,         ///< the database must be there
        kChangeOrCreate  ///< a CREATE TABLE makes the database when it is missing
    };

    /// What becomes of a change of a table whose file is damaged, and of a database that lacks the end of an
    /// interrupted commit: to open that for changes is a change.
    enum class Damage {
        kRefused,              ///< it fails: afterwards nobody could tell what had been there
        kRefusedUnlessForced,  ///< the same, and the error names the option that accepts it
        kAccepted              ///< it is made
    };

    /// What becomes of a row whose line is too long for the table's file.
    enum class LongLines {
        kRefused,  ///< its statement fails
        kStored    ///< the engine stores it, and reads it as two records
    };

    /// Throws: Trouble when there is no database, or it cannot be opened.
    Session(const PathArgument& path, Access access, Damage damage = Damage::kAccepted,
            LongLines longLines = LongLines::kRefused);

    /// Opens the database that was missing before; `mayMake` says whether it is made. Throws: NoDatabase,
    /// Trouble.
    void requireOpen(bool mayMake = false);
    bool isOpen() const { return !directory_.empty(); }

    /// The directory that was named, and the one that is open: with kLook that is the copy's.
    const std::string& namedDirectory() const { return namedDirectory_; }
    const std::string& directory() const { return directory_; }
    LogListener& log() { return log_; }
    bool inTransaction() const override { return beginsLater_ || transaction_.has_value(); }

    /// What is wrong with the table's file, as `check` tells it: the first finding, and how many more there
    /// are. Empty when it is sound. Looked at once for each table, before the session's first change of it.
    const std::string& damageOf(const std::string& table);
    /// The same for a person who only looks; empty when it is sound.
    std::string damageWarning(const std::string& table);

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

    std::vector<std::vector<Cell>> cells(const EngineStatement& query) override;
    void requireChangeable(const std::string& table) override;
    void change(const EngineStatement& statement) override;
    std::int64_t lastInsertedRowId() override { return database_.getLastInsertRowid(); }

    void begin() override;
    void commit() override;
    void rollback() override;

private:
    void openForChanges();
    void open(const std::string& base);
    template <typename Action>
    auto reporting(Action action);
    ResultSet query(const EngineStatement& statement);
    void requireChangesAllowed() const;
    const char* optionToForce() const {
        return damage_ == Damage::kRefusedUnlessForced ? ", or give --force" : "";
    }
    std::string workingCopyOf(const std::string& table) const;
    void endTransaction(bool (Core::Database::Transaction::*end)(), const char* failure);

    LogListener log_;
    Access access_;
    Damage damage_;
    PathArgument path_;
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
    bool beginsLater_ = false;  // a transaction was begun before there was a database
    std::map<std::string, std::string> damages_;
};

}  // namespace Kalt::Vemo::Tool
