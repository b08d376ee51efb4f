#pragma once

#include <cstdint>
#include <string>

#include "DatabaseExport.h"

namespace Kalt::Vemo::Core::Database {

class IResultTable;

/// A small relational database that is driven with SQL text. `Filedb::FileDatabase` implements it.
///
/// Errors: no call throws. A failure is written to the platform log, and the result says no more than each
/// call tells below.
///
/// Threads: `init` and `deinit` belong to the owner, before and after all other traffic. Every other call may
/// come from any thread; statements run one at a time, and a transaction keeps all other threads waiting from
/// `beginTransaction` until it ends. The thread that began a transaction must also end it.
///
///     FileDatabase database;
///     database.init("/var/lib/app/store");    // files in /var/lib/app/store_filedb
///     database.executeUpdate("CREATE TABLE IF NOT EXISTS files (name TEXT, size INTEGER);");
///     database.executeUpdate("INSERT INTO files (name, size) VALUES ('?', ?);", "a.txt", "42");
///     std::unique_ptr<IResultTable> rows(
///         database.executeQuery("SELECT size FROM files WHERE name = '?';", "a.txt"));
class VEMO_DATABASE_EXPORT IDatabase {
public:
    virtual ~IDatabase();

    /// Opens the database whose files live in the directory `path` followed by "_filedb". The directory is
    /// made when missing (its parent is not), and what an interrupted commit left behind is tidied up.
    ///
    /// @return true when the database is ready; false when the directory or its journal cannot be used. What
    ///         an interrupted commit left behind is then tidied up by the next `init`, or before the next
    ///         statement.
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
    /// On failure (no transaction, or a file that cannot be written): false; the lock counts that the call
    /// found and took stay with the thread, and an open transaction stays open with its working copies.
    virtual bool commitTransaction() = 0;

    /// Drops the changes of the transaction and releases the lock. Failures are those of commitTransaction.
    virtual bool rollbackTransaction() = 0;

    /// ROWID of the row that was inserted last; 0 before the first INSERT.
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
    IDatabase() = default;
    IDatabase(const IDatabase&) = default;
    IDatabase& operator=(const IDatabase&) = default;
};

}  // namespace Kalt::Vemo::Core::Database
