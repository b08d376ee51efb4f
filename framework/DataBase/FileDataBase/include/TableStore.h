#pragma once

#include <atomic>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "DirectoryLock.h"
#include "File.h"
#include "Journal.h"
#include "KeptTables.h"
#include "KnownFile.h"
#include "PendingTable.h"
#include "RecordReader.h"
#include "TableMetaData.h"
#include "TableVersion.h"
#include "WorkingCopies.h"

namespace Kalt::Vemo::Core::Database::Filedb {

/// Where a table's content is at the moment: in its own file, or in the working copy that the open
/// transaction has of it. Valid until the table is changed, or the transaction ends.
struct TablePlace {
    std::string tableName;
    std::string fileName;
    PendingTable* pending = nullptr;  ///< of a table that has a working copy

    bool isInCopy() const { return pending != nullptr && !pending->isDone(); }
};

/// A table that a statement has read to change it.
struct ReadTable {
    OpenTable origin;  ///< what was read
    TableVersion version;
};

/// What a query reads a table from: an open file, or a text in memory. May be moved until it is read.
class TableSource {
public:
    /// A file whose size is known.
    TableSource(File file, long long size) : file_(std::move(file)), size_(static_cast<std::size_t>(size)) {}

    /// A text in memory, which must outlive the object.
    explicit TableSource(TableVersion& version) : version_(&version) {}

    /// Reads the table's definition. To be called once, before records(). Throws: as
    /// TableMetaData::readTableMetaData.
    TableMetaData& readMetaData();

    /// Stands before the first record.
    RecordReader& records() { return *reader_; }

    /// The text; null when the table is read from the file.
    TableVersion* version() const { return version_; }

private:
    File file_;
    std::size_t size_ = 0;
    TableVersion* version_ = nullptr;
    TableMetaData metaData_{nullptr};
    std::optional<RecordReader> reader_;
};

/// The files of one database: its directory, its journal, the tables' files and their working copies. Changes
/// go to working copies; a commit copies them over the tables, a rollback discards them. It knows the bytes
/// of tables, and no statements.
///
/// Work that the system keeps from being finished (a copy-over, a clean-up, the recovery at the opening) is
/// tried again by finishEarlierWork(). Until it is done nothing may be changed.
///
/// Threads: calls come under the database's lock. Throws: DatabaseException, where a function says so;
/// SystemRefusal when the operating system is the cause.
class TableStore {
public:
    /// @param keptBytes how much memory the texts of tables may take between statements; 0: none is kept
    TableStore(Finish finish, std::size_t keptBytes)
        : copies_(finish), kept_(keptBytes), journal_(finish.replaces) {}
    TableStore(const TableStore&) = delete;
    TableStore& operator=(const TableStore&) = delete;

    /// To be called before open(): see the constructor.
    void setKeptBytes(std::size_t bytes) { kept_.setBound(bytes); }

    // Opening and closing

    /// Opens the database whose directory is `path` followed by "_filedb" and finishes or discards what an
    /// interrupted commit has left there.
    ///
    /// @return false when the directory cannot be made
    /// Throws: DirectoryInUse when another process has the database open; nothing is touched then, and every
    /// later call is to be refused. The errors of journal and commit; what is not done is then earlier work.
    [[nodiscard]] bool open(const std::string& path);

    /// Closes every file. An open transaction is left as a crash would leave it; a copy-over that the system
    /// has interrupted is tried once more, and otherwise left to the next opening.
    void close();

    /// Whether open() was ever called.
    bool hasDirectory() const { return !copies_.directory().empty(); }

    /// Why nothing may be done until the next open(): another process has the database open. Null when it
    /// may. May be called without the database's lock.
    [[nodiscard]] const DirectoryInUse* lockOut() const { return isLockedOut_ ? &*lockOut_ : nullptr; }

    // Work that an earlier call could not finish

    /// Tries it again, if there is any, and logs a failure. Throws: DirectoryInUse, as open.
    void finishEarlierWork();

    bool hasEarlierWork() const { return unfinished_ != Unfinished::nothing; }

    /// Throws: "DB Error: An earlier change cannot be finished ..." while hasEarlierWork().
    void requireEarlierWorkDone() const;

    // Tables

    /// Throws: "DataBase Error: No such Table exist.(%s)" for a table that the transaction has dropped.
    [[nodiscard]] TablePlace locate(const std::string& tableName);

    /// Throws: the open error when it cannot be told whether the table is there.
    [[nodiscard]] static bool exists(const TablePlace& place);

    /// Opens the table for a change; nothing when it is missing. A table that exists but cannot be opened for
    /// writing is an error of read(). Content that only memory holds is written to the working copy first.
    ///
    /// Throws: as exists, and write errors.
    [[nodiscard]] std::optional<File> openForChange(const TablePlace& place);

    /// Reads the file of openForChange, or gives what the running transaction wrote last when that is still
    /// the file's content. Throws: the open error, read errors.
    [[nodiscard]] ReadTable read(const TablePlace& place, File file);

    /// Opens the table for a query; nothing when it is missing. Valid until the next statement. Throws: as
    /// exists, and read errors for what is no regular file.
    [[nodiscard]] std::optional<TableSource> openForQuery(const TablePlace& place);

    /// The same with the mode of an `fopen`, for a table that exists. Throws: the open error.
    [[nodiscard]] static TableSource openWithMode(const TablePlace& place, const std::string& mode);

    /// Makes `version` the table's new content: in its working copy, and outside of a transaction in the
    /// table as well.
    ///
    /// @param origin what the version was made of; no file for a new table
    /// On failure: the database is as it was before, except that a copy-over that has begun is earlier work.
    void change(Operation operation, const TablePlace& place, OpenTable origin, TableVersion version);

    /// Drops the table, outside of a transaction at once. On failure: as change.
    void drop(const TablePlace& place);

    // Transactions

    /// From now on changes wait for a commit.
    void beginTransaction() { autoCommit_ = false; }

    /// Whether changes are committed at once.
    bool autoCommit() const { return autoCommit_; }

    /// Makes the changes of the transaction permanent. May be tried again after a failure.
    void commitTransaction();

    /// Discards the changes of the transaction. May be tried again after a failure.
    void rollBackTransaction();

    /// As rollBackTransaction, but the transaction ends in any case: what the system refuses is logged and
    /// becomes earlier work.
    void abandonTransaction();

    /// Copies every working copy over its table, then cleans up.
    void commit();

private:
    enum class Unfinished { nothing, recovery, commit, cleanUpAfterCommit, cleanUpAfterRollback };

    TableVersion* knownText(const TablePlace& place, const KnownFile& known, const File& file);
    void beginChange(Operation operation, const std::string& tableName);
    void recover();
    void openJournal();
    void finish();
    void settleDecidedWork() noexcept;
    void takeBackJournalLine();
    void commitAtOnce();
    void discard();
    void bringIntoTables();
    void finishTornTables();
    void cleanUp(Unfinished kind);

    std::string journalPath_;
    WorkingCopies copies_;  // of the tables that the journal's lines name
    KeptTables kept_;
    Journal journal_;
    bool autoCommit_ = true;
    Unfinished unfinished_ = Unfinished::nothing;
    std::optional<DirectoryInUse> lockOut_;  // not changed while isLockedOut_
    std::atomic<bool> isLockedOut_{false};
    std::string cause_;  // why the earlier work could not be finished
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
