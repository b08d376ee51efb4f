#pragma once

#include <cstdint>
#include <string>

#include "DatabaseExport.h"

namespace Kalt::Vemo::Core::Database {

class IResultTable;

/// A small relational database that is driven with SQL text. `Filedb::FileDatabase` implements it.
///
/// Ownership: the caller owns the database, and every result that `executeQuery` returns. Results hold
/// copies: either may go first. No argument of a call is kept.
///
/// Errors: no call throws. A failure is written to the platform log, and the result says no more than each
/// call tells below.
///
/// Threads: `init` and `deinit` belong to the owner, before and after all other traffic. Every other call may
/// come from any thread; statements run one at a time, and a transaction keeps all other threads waiting from
/// `beginTransaction` until it ends. The thread that began a transaction must also end it.
///
/// One process for each directory: from `init` to `deinit` a process keeps all others out, where the file
/// system has locks. After an `init` that is refused so, every statement, commit and rollback is refused as
/// well, with the same line in the log, until an `init` succeeds; no file is touched.
///
/// One object for each directory: two objects of one process are not kept apart. When a second one is opened
/// while a change or a transaction of the first is under way, or both change something at the same time,
/// changes are lost. Keeping to one is the program's duty.
///
/// Order of the functions: fixed, because programs that were compiled earlier count on it. The store does
/// without `deinit` and `rollbackTransaction`; they are for other programs.
///
///     FileDatabase database;
///     database.init("/var/lib/app/store");    // files in /var/lib/app/store_filedb
///     database.executeUpdate("CREATE TABLE IF NOT EXISTS files (name TEXT, size INTEGER);");
///     database.executeUpdate("INSERT INTO files (name, size) VALUES ('?', ?);", "a.txt", "42");
///     std::unique_ptr<IResultTable> rows(
///         database.executeQuery("SELECT size FROM files WHERE name = '?';", "a.txt"));
class VEMO_DATABASE_EXPORT IDatabase {
public:
    /// Closes the database, as `deinit` does.
    virtual ~IDatabase();

    /// Opens the database whose files live in the directory `path` followed by "_filedb". The directory is
    /// made when missing (its parent is not), and what an interrupted commit left behind is tidied up.
    ///
    /// @param path absolute, or relative to the working directory; without the "_filedb"
    /// @return true when the database is ready; false when another process has it open, or when the directory
    ///         or its journal cannot be used. What an interrupted commit left behind is then tidied up by the
    ///         next `init`, or, when nobody else has the database open, before the next statement.
    virtual bool init(const std::string& path) = 0;

    /// Closes every file and releases the lock. Tables stay on disk; `init` may be called again.
    ///
    /// @return true
    virtual bool deinit() = 0;

    /// Takes the lock and keeps it: changes now wait in working copies until the transaction ends. A second
    /// call in the same thread takes the lock once more and changes nothing else.
    ///
    /// @return true
    virtual bool beginTransaction() = 0;

    /// Makes the changes of the transaction permanent and releases the lock.
    ///
    /// @return true when they are; false when no transaction is open, or when a file cannot be written. On
    ///         failure the lock counts that the call found and took stay with the thread, and an open
    ///         transaction stays open with its working copies.
    virtual bool commitTransaction() = 0;

    /// Drops the changes of the transaction and releases the lock.
    ///
    /// @return as commitTransaction
    virtual bool rollbackTransaction() = 0;

    /// Tells which row was inserted last, by any thread.
    ///
    /// @return its ROWID, which counts from 1; 0 before the first INSERT of this object, and for a table
    ///         whose primary key is one INTEGER column
    virtual std::int64_t getLastInsertRowid() = 0;

    /// Runs one SELECT.
    ///
    /// @param sql the statement, closed by ";". It must be followed by exactly one `const char*` argument for
    ///            each "?" character of the text, wherever that stands; a null pointer means NULL. Write '?'
    ///            where a text belongs and ? where a number belongs.
    /// @return a new result that the caller deletes, or a null pointer on any failure
    virtual IResultTable* executeQuery(const char* sql, ...) = 0;

    /// Runs one INSERT, UPDATE, DELETE, CREATE TABLE, DROP TABLE or ALTER TABLE.
    ///
    /// @param sql as for executeQuery
    /// @return 1 when the statement's form was refused before it ran, or when it was to change something
    ///         while the operating system still keeps an earlier change from being finished. 0 otherwise,
    ///         also when the statement was not recognised or failed while it ran: the log tells. ALTER TABLE
    ///         on an existing table gives 1 on success and -1 on failure.
    virtual int executeUpdate(const char* sql, ...) = 0;

protected:
    /// @cond for implementations alone
    IDatabase() = default;
    IDatabase(const IDatabase&) = default;
    IDatabase& operator=(const IDatabase&) = default;
    /// @endcond
};

}  // namespace Kalt::Vemo::Core::Database
