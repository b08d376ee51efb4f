#include "TableStore.h"

#include <utility>

#include "Directory.h"
#include "EngineErrors.h"
#include "EngineLog.h"
#include "Replacement.h"

// A change to a table, from the statement to the disk. Beside each step stands what the next opening does
// when the process dies there.
//
//   1. The journal gets a line for the table.                Discards: there is no working copy yet.
//   2. The table's whole new text goes into its working      Discards it.
//      copy. (In a transaction, 1 and 2 repeat for each
//      statement; then its commit goes on with 3.)
//      Working copies that are to take their tables'
//      places are brought to the disk.
//   3. The journal's state line becomes "1".                 Resets the journal. The first table's working
//                                                            copy stays where it is, the others are removed.
//   4. Each working copy is copied over its table, or       As 3: a table that was half copied can be
//      takes its place; a dropped table's file is removed.   finished from its working copy as long as that
//                                                            is there. A place is taken at once.
//   5. The state line becomes "0".                           Removes the working copies.
//   6. The working copies are removed, the journal is        Nothing is left to do.
//      truncated to the one line "0".
//
// Where tables are replaced, an opening that carries out lines of an earlier process leaves their working
// copies alone: copies of them take the tables' places, and they are removed when the journal no longer asks
// for them. So it can be done again at any step.
//
// When the system refuses one of the steps and the process goes on: 1 and 2 are undone; from 3 on the work is
// finished later, before anything else is changed.
namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

constexpr const char* kLogTag = "FileDatabase";

}  // namespace

// ---- Opening and closing ----

bool TableStore::open(const std::string& path) {
    std::string directory = path + kDirectorySuffix;
    std::string journalPath = directory + "/" + kJournalName;
    settleDecidedWork();
    // From here on nothing is left of an earlier directory but its journal, which stays open until the new
    // one is opened.
    copies_.open(std::move(directory));
    kept_.clear();
    isLockedOut_ = false;
    journalPath_ = std::move(journalPath);
    autoCommit_ = true;
    unfinished_ = Unfinished::nothing;
    if (!Platform::Filesystem::Directory::createDirectory(copies_.directory())) {
        journal_.close();
        return false;
    }
    unfinished_ = Unfinished::recovery;
    recover();
    return true;
}

void TableStore::close() {
    settleDecidedWork();
    journal_.close();
    copies_.closeFiles();
    kept_.clear();
    unfinished_ = Unfinished::nothing;
}

// Finishes or discards what the journal tells of.
void TableStore::recover() {
    openJournal();
    copies_.forgetTables();
    const bool hasLines = journal_.read(
        [this](Operation operation, const std::string& table) { copies_.addFound(operation, table); });
    // A process that was killed may have changed names without bringing them to the disk: those of tables,
    // or, before the first line, the directory's own.
    if (!journal_.wasAtRest()) {
        copies_.nameChanged(journalPath_);
    }
    if (!hasLines) {
        copies_.nameChanged(copies_.directory());
    }
    copies_.syncDirectories();
    if (hasLines) {
        commit();
    } else {
        cleanUp(Unfinished::cleanUpAfterCommit);
    }
}

void TableStore::openJournal() {
    try {
        journal_.open(journalPath_);
        copies_.files().begin(journal_.file());
    } catch (const DirectoryInUse& error) {
        // The recovery is the other process's now.
        unfinished_ = Unfinished::nothing;
        copies_.forget();
        lockOut_ = error;
        isLockedOut_ = true;
        throw;
    }
}

// ---- Work that an earlier call could not finish ----

void TableStore::finishEarlierWork() {
    if (!hasEarlierWork()) {
        return;
    }
    try {
        finish();
    } catch (const std::exception& error) {
        if (isLockedOut_) {
            throw;
        }
        cause_ = error.what();
        cause_.erase(cause_.find_last_not_of('\n') + 1);
        FILEDB_LOG(kLogError, "finishEarlierWork Exception: %s", error.what());
    }
}

void TableStore::requireEarlierWorkDone() const {
    if (hasEarlierWork()) {
        throw SystemRefusal("executeUpdate", __LINE__,
                            "DB Error: An earlier change in " + copies_.directory() +
                                " cannot be finished, nothing is changed before: " + cause_ +
                                "; remove the cause and repeat the statement");
    }
}

// The work is no part of a transaction that has begun since, so the transaction stays open.
void TableStore::finish() {
    struct KeepFlag {
        explicit KeepFlag(bool& flag) : flag_(flag), value_(std::exchange(flag, true)) {}
        ~KeepFlag() { flag_ = value_; }
        KeepFlag(const KeepFlag&) = delete;
        KeepFlag& operator=(const KeepFlag&) = delete;

    private:
        bool& flag_;
        bool value_;
    };
    const KeepFlag autoCommit(autoCommit_);
    switch (unfinished_) {
        case Unfinished::nothing:
            break;
        case Unfinished::recovery:
            recover();
            break;
        case Unfinished::commit:
            commit();
            break;
        case Unfinished::cleanUpAfterCommit:
        case Unfinished::cleanUpAfterRollback:
            cleanUp(unfinished_);
            break;
    }
}

// Finishes tables that are half overwritten while memory still holds their texts. What the system refuses is
// written to the journal, for the next opening.
void TableStore::settleDecidedWork() noexcept {
    try {
        if (unfinished_ == Unfinished::commit) {
            finish();
        } else {
            finishTornTables();
        }
        return;
    } catch (const std::exception& error) {
        FILEDB_LOG(kLogError, "settleDecidedWork Exception: %s", error.what());
    }
    try {
        journal_.leaveToRecovery(copies_.unfinishedTables(unfinished_ == Unfinished::commit));
    } catch (const std::exception& error) {
        FILEDB_LOG(kLogError, "leaveToRecovery Exception: %s", error.what());
    }
    copies_.forgetTables();
}

// ---- Tables ----

TablePlace TableStore::locate(const std::string& tableName) {
    TablePlace place{tableName, {}, copies_.find(tableName)};
    if (place.pending != nullptr && place.pending->operation() == Operation::dropTable) {
        throw DatabaseException("getTableCurrentFile", __LINE__, "DataBase Error: No such Table exist.(%s)",
                                tableName.c_str());
    }
    place.fileName = copies_.fileNameOf(tableName, place.isInCopy() ? kBackupSuffix : kTableSuffix);
    FILEDB_LOG(kLogTrace, "Table Name=%s, FileName=%s", tableName.c_str(), place.fileName.c_str());
    return place;
}

bool TableStore::exists(const TablePlace& place) {
    const bool isInMemory = place.pending != nullptr && !place.pending->isOnDisk();
    return isInMemory || File::exists(place.fileName);
}

std::optional<File> TableStore::openForChange(const TablePlace& place) {
    finishTornTables();  // another name may lead to the same table
    if (place.pending != nullptr && !place.pending->isOnDisk()) {
        journal_.requireOpen();
        copies_.restore(place.tableName, *place.pending);
    }
    File file = File::openExisting(place.fileName, File::Access::readAndWrite);
    if (!file && !File::exists(place.fileName)) {
        return std::nullopt;
    }
    return file;
}

ReadTable TableStore::read(const TablePlace& place, File file) {
    if (!file) {
        throw openError();
    }
    const KnownFile known = copies_.files().read(file);
    OpenTable origin{std::move(file), known};
    std::optional<TableVersion> version = place.isInCopy() ? place.pending->take(origin) : kept_.take(known);
    if (!version) {
        version.emplace(origin.file.readWhole(known.identity()));
    }
    kept_.allowIndex(*version);
    return {std::move(origin), std::move(*version)};
}

std::optional<TableSource> TableStore::openForQuery(const TablePlace& place) {
    if (place.pending != nullptr && !place.pending->isOnDisk()) {
        return TableSource(place.pending->version());
    }
    File file = File::openExisting(place.fileName, File::Access::read);
    if (!file) {
        if (!File::exists(place.fileName)) {
            return std::nullopt;
        }
        throw openError();
    }
    const KnownFile known = copies_.files().read(file);
    if (TableVersion* const version = knownText(place, known, file)) {
        return TableSource(*version);
    }
    return TableSource(std::move(file), known.identity().size);
}

// The table's text, if it is in memory or can stay there.
TableVersion* TableStore::knownText(const TablePlace& place, const KnownFile& known, const File& file) {
    if (place.isInCopy()) {
        return place.pending->known(known);
    }
    TableVersion* const version = kept_.find(known);
    if (version != nullptr || !known.isProof() ||
        !kept_.takes(static_cast<std::size_t>(known.identity().size))) {
        return version;
    }
    try {
        return kept_.keep(known, TableVersion(file.readWhole(known.identity())));
    } catch (const std::exception&) {
        // The query reads the file piece by piece, and comes upon the cause itself.
        return nullptr;
    }
}

TableSource TableStore::openWithMode(const TablePlace& place, const std::string& mode) {
    if (place.pending != nullptr && !place.pending->isOnDisk()) {
        return TableSource(place.pending->version());
    }
    File file = File::open(place.fileName, mode);
    const long long size = file.identity().size;
    return {std::move(file), size};
}

TableMetaData& TableSource::readMetaData() {
    if (version_ != nullptr) {
        TableMetaData& metaData = version_->readMetaData();
        reader_.emplace(version_->recordText());
        return metaData;
    }
    reader_.emplace(file_, size_);
    metaData_.readTableMetaData(*reader_);
    return metaData_;
}

// ---- Changes ----

void TableStore::change(Operation operation, const TablePlace& place, OpenTable origin,
                        TableVersion version) {
    beginChange(operation, place.tableName);
    if (place.pending != nullptr) {
        copies_.writeNext(*place.pending, place.tableName, std::move(origin), std::move(version));
    } else {
        journal_.appendTable(operation, place.tableName);
        try {
            copies_.writeFirst(operation, place.tableName, std::move(origin), std::move(version));
        } catch (...) {
            takeBackJournalLine();
            throw;
        }
    }
    if (autoCommit_) {
        commitAtOnce();
    }
}

void TableStore::drop(const TablePlace& place) {
    beginChange(Operation::dropTable, place.tableName);
    if (place.pending == nullptr) {
        journal_.appendTable(Operation::dropTable, place.tableName);
    } else {
        // The transaction has changed the table before: the journal has its line, and it has a working copy.
        journal_.markDropped(place.tableName);
    }
    kept_.forget(FileIdentity::of(copies_.fileNameOf(place.tableName, kTableSuffix)));
    copies_.drop(place.tableName);
    if (autoCommit_) {
        commitAtOnce();
    }
}

// A working copy is about to be written or removed. No torn table depends on it any more.
void TableStore::beginChange(Operation operation, const std::string& tableName) {
    FILEDB_LOG(kLogTrace, "backupFileName:'%s' operation:%d",
               copies_.fileNameOf(tableName, kBackupSuffix).c_str(), static_cast<int>(operation));
    journal_.requireOpen();
    finishTornTables();
}

// A line that stays is harmless: recovery discards the working copy that it names, and there is none.
void TableStore::takeBackJournalLine() {
    try {
        journal_.removeLastTable();
    } catch (const std::exception& error) {
        FILEDB_LOG(kLogError, "takeBackJournalLine Exception: %s", error.what());
    }
}

// Outside of a transaction. Once the copy-over has begun, the working copy must stay.
void TableStore::commitAtOnce() {
    try {
        commit();
    } catch (const NotReplaceable&) {
        unfinished_ = Unfinished::nothing;  // the statement has changed no table, and never can
        discard();
        throw;
    } catch (...) {
        if (!hasEarlierWork()) {
            discard();
        }
        throw;
    }
}

// A drop has written no working copy: one that exists is not the statement's own.
void TableStore::discard() {
    copies_.forgetDropped();
    try {
        cleanUp(Unfinished::cleanUpAfterRollback);
    } catch (const std::exception& error) {
        FILEDB_LOG(kLogError, "cleanUpBackupData Exception: %s", error.what());
    }
}

// ---- Transactions ----

void TableStore::commitTransaction() {
    switch (unfinished_) {
        case Unfinished::nothing:
            break;
        case Unfinished::cleanUpAfterRollback:
            throw SystemRefusal("commitTransaction", __LINE__,
                                "DB Error: The transaction was rolled back, there is nothing to commit; roll "
                                "back again to end it");
        case Unfinished::recovery:
        case Unfinished::commit:
            finish();
            break;
        case Unfinished::cleanUpAfterCommit:
            cleanUp(unfinished_);
            return;
    }
    commit();
}

void TableStore::rollBackTransaction() {
    if (unfinished_ == Unfinished::recovery || unfinished_ == Unfinished::commit) {
        // While there was earlier work nothing could be changed, so there is nothing to discard.
        finishEarlierWork();
        autoCommit_ = true;
        return;
    }
    cleanUp(Unfinished::cleanUpAfterRollback);
}

void TableStore::abandonTransaction() {
    try {
        rollBackTransaction();
    } catch (const std::exception& error) {
        FILEDB_LOG(kLogError, "abandonTransaction Exception: %s", error.what());
        unfinished_ = Unfinished::cleanUpAfterRollback;
    }
    autoCommit_ = true;
}

void TableStore::commit() {
    FILEDB_LOG(kLogInfo, "%s", "commitBackupData");
    journal_.requireOpen();
    try {
        bringIntoTables();
    } catch (...) {
        copies_.removeReadyCopies();
        throw;
    }
    cleanUp(Unfinished::cleanUpAfterCommit);
}

void TableStore::bringIntoTables() {
    const bool isRetry = unfinished_ == Unfinished::commit;
    copies_.makeReady(isRetry);
    journal_.writeState(true);
    if (autoCommit_) {
        unfinished_ = Unfinished::commit;
    }
    copies_.bringIntoTables(isRetry);
    journal_.writeState(false);
}

// A table that a failed copy-over has left half written is finished before its working copy may be changed.
void TableStore::finishTornTables() {
    if (copies_.hasTorn()) {
        journal_.requireOpen();
        copies_.finishTorn();
    }
}

void TableStore::cleanUp(Unfinished kind) {
    FILEDB_LOG(kLogInfo, "%s", "cleanUpBackupData");
    journal_.ensureOpen(journalPath_);  // a closed one keeps no other process out
    finishTornTables();
    unfinished_ = kind;  // from here on working copies may be missing
    if (copies_.areAskedFor()) {
        journal_.disarm(journalPath_);
    }
    if (kind == Unfinished::cleanUpAfterCommit) {
        copies_.giveTextsTo(kept_);
    }
    copies_.remove();
    journal_.reset(journalPath_);
    autoCommit_ = true;
    unfinished_ = Unfinished::nothing;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
