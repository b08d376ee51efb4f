#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "IDatabase.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class Engine;

/// What a database does so that changes outlive a power cut. Whatever the value, each table is as before or
/// as after a change when the process is killed, but for one window of `off` that `filedb repair` closes.
enum class Synchronous {
    /// Nothing: a power cut may lose or tear what was not yet on the disk. Changes are written over the
    /// tables' files.
    off,
    /// After a power cut each table is whole, as some statement has left it; how far back, the file system
    /// decides. A changed table's file is replaced by a new one: its inode changes, a symbolic link to it is
    /// followed, and a further name keeps the old content.
    normal,
    /// As `normal`, and what was reported done is there.
    full
};

/// A database kept in plain text files: one directory, one file for each table, one journal.
///
/// `IDatabase` tells what each call does, what it returns on failure, and which thread may call it when.
/// Ownership: the object owns its files and may go at any time that no call is under way; its destructor
/// calls `deinit`. An open transaction is then left as a crash would leave it, and the next `init` drops it.
///
/// What an application should know beyond `IDatabase`:
/// - Keywords are upper case, and a condition's words are set apart by blanks: `WHERE a = 1`.
/// - `executeUpdate` gives 0 also for statements that failed while they ran. Read the log.
/// - A value must not hold "~" or a line feed, and a stored line must fit in 1023 bytes; the engine
///   stores what it is given, and such a record does not read back as written. A LineCheck keeps long
///   lines out.
/// - Between statements the texts of the tables that were used last stay in memory, up to a bound for each
///   object (1 MiB, unless the library is built with another), as long as nobody else changes their files.
///
/// docs/sql.md describes the statements, docs/file-format.md the files, docs/durability.md what a power cut
/// leaves and what each level costs.
///
///     FileDatabase database;
///     if (!database.init("/var/lib/app/store")) { ... }    // files in /var/lib/app/store_filedb
///     DatabaseClient client(database);                     // DatabaseClient.h
class VEMO_DATABASE_EXPORT FileDatabase : public IDatabase {
public:
    /// Says whether a line of so many bytes, line feed included, may be stored. Called in the thread of the
    /// statement, under the database's lock; it must not use the database. An exception of the check is a no
    /// as well, and its text is what the line in the log says.
    using LineCheck = bool (*)(std::size_t bytes);

    /// Makes a database, not yet open, that asks about each line that INSERT and UPDATE are about to store:
    /// when the answer is no the statement fails as a whole, with a line in the log.
    /// @param mayStore what is asked; null stores every line
    explicit FileDatabase(LineCheck mayStore);

    /// The same with a level of its own.
    /// @param mayStore    what is asked; null stores every line
    /// @param synchronous what is done for power cuts
    FileDatabase(LineCheck mayStore, Synchronous synchronous);

    /// @name For programs other than the store
    /// @{

    /// Makes a database, not yet open, that stores every line that INSERT and UPDATE make.
    FileDatabase();

    /// The same with a level of its own. Without one it is the level that the library was built with, `full`
    /// unless the build says otherwise.
    /// @param synchronous what is done for power cuts
    explicit FileDatabase(Synchronous synchronous);

    /// @}

    ~FileDatabase() override;
    FileDatabase(const FileDatabase&) = delete;
    FileDatabase& operator=(const FileDatabase&) = delete;

    bool init(const std::string& path) override;
    bool deinit() override;
    bool beginTransaction() override;
    bool commitTransaction() override;
    bool rollbackTransaction() override;
    std::int64_t getLastInsertRowid() override;
    IResultTable* executeQuery(const char* sql, ...) override;
    int executeUpdate(const char* sql, ...) override;

private:
    friend class EngineAccess;

    std::unique_ptr<Engine> engine_;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
