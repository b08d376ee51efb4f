#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "IDatabase.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class Engine;

/// A database kept in plain text files: one directory, one file for each table, one journal.
///
/// `IDatabase` tells what each call does and who may call it when. Lifetime: the object may go at any time
/// that no call is under way; its destructor calls `deinit`. An open transaction is then left as a crash
/// would leave it, and the next `init` drops it.
///
/// What an application should know beyond `IDatabase`:
/// - Keywords are upper case, and a condition's words are set apart by blanks: `WHERE a = 1`.
/// - `executeUpdate` gives 0 also for statements that failed while they ran. Read the log.
/// - A value must not hold "~" or a line feed, and a stored line must fit in 1023 bytes; the engine
///   stores what it is given, and such a record does not read back as written. A LineCheck keeps long
///   lines out.
///
/// docs/sql.md describes the statements, docs/file-format.md the files.
class VEMO_DATABASE_EXPORT FileDatabase : public IDatabase {
public:
    /// Says whether a line of so many bytes, line feed included, may be stored. Called in the thread of the
    /// statement, under the database's lock; it must not use the database.
    using LineCheck = bool (*)(std::size_t bytes);

    /// Stores every line that INSERT and UPDATE make.
    FileDatabase();

    /// Asks `mayStore`, unless it is null, about each line that INSERT and UPDATE are about to store: when
    /// the answer is no the statement fails as a whole, with a line in the log. An exception of the check is
    /// a no as well, and its text is what the line says.
    explicit FileDatabase(LineCheck mayStore);

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
