#include "TableStore.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>
#include <vector>

#include "Directory.h"
#include "EngineErrors.h"
#include "EngineLog.h"
#include "FileUtils.h"
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

// Number of tables of a transaction that stay open: it may change more tables than a process may have open.
constexpr std::size_t kMostOpenTables = 16;

bool removeFile(const std::string& fileName) {
    const bool isRemoved = std::remove(fileName.c_str()) == 0;
    if (!isRemoved) {
        FILEDB_LOG(kLogInfo, "%s", "Failed to remove the file");
    }
    return isRemoved;
}

}  // namespace

// ---- Opening and closing ----

bool TableStore::open(const std::string& path) {
    std::string directory = path + kDirectorySuffix;
    std::string journalPath = directory + "/" + kJournalName;
    settleDecidedWork();
    // From here on nothing is left of an earlier directory but its journal, which stays open until the new
    // one is opened.
    pendingTables_.clear();
    leftOver_.clear();
    isLockedOut_ = false;
    unsyncedDirectories_.clear();
    directory_ = std::move(directory);
    journalPath_ = std::move(journalPath);
    autoCommit_ = true;
    unfinished_ = Unfinished::nothing;
    if (!Platform::Filesystem::Directory::createDirectory(directory_)) {
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
    for (const auto& [tableName, pending] : pendingTables_) {
        pending->closeFile();
    }
    unfinished_ = Unfinished::nothing;
}

// Finishes or discards what the journal tells of.
void TableStore::recover() {
    openJournal();
    pendingTables_.clear();
    const bool hasLines = journal_.read([this](Operation operation, const std::string& table) {
        pendingTables_.try_emplace(table, PendingTable::found(files_, operation));
    });
    // A process that was killed may have changed names without bringing them to the disk: those of tables,
    // or, before the first line, the directory's own.
    if (!journal_.wasAtRest()) {
        nameChanged(journalPath_);
    }
    if (!hasLines) {
        nameChanged(directory_);
    }
    syncDirectories();
    if (hasLines) {
        commit();
    } else {
        cleanUp(Unfinished::cleanUpAfterCommit);
    }
}

void TableStore::openJournal() {
    try {
        journal_.open(journalPath_);
        files_.begin(journal_.file());
    } catch (const DirectoryInUse& error) {
        // The recovery is the other process's now.
        unfinished_ = Unfinished::nothing;
        pendingTables_.clear();
        leftOver_.clear();
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
                            "DB Error: An earlier change in " + directory_ +
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
        std::set<std::string> decided;
        for (const auto& [tableName, pending] : pendingTables_) {
            const bool isDecided =
                (unfinished_ == Unfinished::commit && !pending->isDone()) || pending->isTorn();
            const bool hasCopy = FileIdentity::of(fileNameOf(tableName, kBackupSuffix)).isFile();
            if (isDecided && (hasCopy || pending->operation() == Operation::dropTable)) {
                decided.insert(tableName);
            }
        }
        // On a disk that has such a line, but no working copy, the next opening would fail.
        if (finish_.replaces) {
            for (const std::string& tableName : decided) {
                Replacement::syncDirectory(Replacement::directoryOf(fileNameOf(tableName, kBackupSuffix)));
            }
        }
        journal_.leaveToRecovery(decided);
    } catch (const std::exception& error) {
        FILEDB_LOG(kLogError, "leaveToRecovery Exception: %s", error.what());
    }
    pendingTables_.clear();
}

// ---- Tables ----

std::string TableStore::fileNameOf(const std::string& tableName, std::string_view suffix) const {
    std::string name;
    name.reserve(directory_.size() + 1 + tableName.size() + suffix.size());
    name.append(directory_).append("/").append(tableName).append(suffix);
    return name;
}

TablePlace TableStore::locate(const std::string& tableName) {
    TablePlace place{tableName, {}, nullptr};
    const auto entry = pendingTables_.find(tableName);
    if (entry != pendingTables_.end()) {
        if (entry->second->operation() == Operation::dropTable) {
            throw DatabaseException("getTableCurrentFile", __LINE__,
                                    "DataBase Error: No such Table exist.(%s)", tableName.c_str());
        }
        place.pending = entry->second.get();
    }
    const bool isInCopy = place.pending != nullptr && !place.pending->isDone();
    place.fileName = fileNameOf(tableName, isInCopy ? kBackupSuffix : kTableSuffix);
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
        restore(place.tableName, *place.pending);
    }
    File file = File::openExisting(place.fileName, File::Access::readAndWrite);
    if (!file && !File::exists(place.fileName)) {
        return std::nullopt;
    }
    return file;
}

ReadTable TableStore::read(const TablePlace& place, File file) const {
    if (!file) {
        throw openError();
    }
    const KnownFile known = files_.read(file);
    OpenTable origin{std::move(file), known};
    const bool isInCopy = place.pending != nullptr && !place.pending->isDone();
    TableVersion version =
        !isInCopy ? TableVersion(origin.file.readWhole(known.identity())) : place.pending->take(origin);
    return {std::move(origin), std::move(version)};
}

std::optional<TableSource> TableStore::openForQuery(const TablePlace& place) {
    if (place.pending != nullptr && !place.pending->isOnDisk()) {
        return TableSource{{}, place.pending->text()};
    }
    TableSource source{File::openExisting(place.fileName, File::Access::read), {}};
    if (source.file) {
        return source;
    }
    if (!File::exists(place.fileName)) {
        return std::nullopt;
    }
    throw openError();
}

TableSource TableStore::openWithMode(const TablePlace& place, const std::string& mode) {
    if (place.pending != nullptr && !place.pending->isOnDisk()) {
        return {{}, place.pending->text()};
    }
    return {File::open(place.fileName, mode), {}};
}

// ---- Changes ----

void TableStore::change(Operation operation, const TablePlace& place, OpenTable origin,
                        TableVersion version) {
    const std::string copyName = workingCopyFor(operation, place.tableName);
    if (place.pending == nullptr) {
        writeFirstVersion(operation, place.tableName, copyName, std::move(origin), std::move(version));
    } else {
        writeNextVersion(*place.pending, copyName, std::move(origin), std::move(version));
    }
    if (autoCommit_) {
        commitAtOnce();
    }
}

void TableStore::drop(const TablePlace& place) {
    const std::string copyName = workingCopyFor(Operation::dropTable, place.tableName);
    if (place.pending == nullptr) {
        journal_.appendTable(Operation::dropTable, place.tableName);
        pendingTables_[place.tableName] = std::make_unique<PendingTable>(files_, Operation::dropTable);
    } else {
        // The transaction has changed the table before: the journal has its line, and it has a working copy.
        journal_.markDropped(place.tableName);
        if (!place.pending->isDone()) {
            removeFile(copyName);
        }
        place.pending->drop();
    }
    if (autoCommit_) {
        commitAtOnce();
    }
}

// The name of the working copy that is about to be written or removed. No torn table depends on it any more.
std::string TableStore::workingCopyFor(Operation operation, const std::string& tableName) {
    std::string copyName = fileNameOf(tableName, kBackupSuffix);
    FILEDB_LOG(kLogTrace, "backupFileName:'%s' operation:%d", copyName.c_str(), static_cast<int>(operation));
    journal_.requireOpen();
    finishTornTables();
    return copyName;
}

void TableStore::writeFirstVersion(Operation operation, const std::string& tableName,
                                   const std::string& copyName, OpenTable origin, TableVersion version) {
    journal_.appendTable(operation, tableName);
    bool isOurs = false;  // a working copy that a crash has left may be the only whole one of a torn table
    try {
        if (finish_.replaces || pendingTables_.size() >= kMostOpenTables) {
            origin = {};
        }
        auto pending = std::make_unique<PendingTable>(files_, operation, std::move(origin));
        File copy = makeCopy(copyName, *pending);
        isOurs = true;
        // Written whole: a crash may have left a file of this name.
        pending->write(std::move(copy), {}, std::move(version));
        otherCopyWasWritten(*pending);
        pendingTables_[tableName] = std::move(pending);
        leftOver_.erase(copyName);
    } catch (...) {
        if (isOurs && !distrustSharedCopy(copyName) && !removeFile(copyName)) {
            leftOver_.insert(copyName);
        }
        takeBackJournalLine();
        throw;
    }
}

// A working copy to be written whole. One that replaces its table must be a file of the engine's own: what a
// crash or another program has left under the name is not written into, except for the working copy that this
// transaction has of the table by another name.
File TableStore::makeCopy(const std::string& copyName, PendingTable& pending) {
    if (!finish_.replaces) {
        return File::openForOverwrite(copyName);
    }
    const FileIdentity present = pendingTables_.empty() ? FileIdentity{} : FileIdentity::ofName(copyName);
    for (const auto& [tableName, other] : pendingTables_) {
        if (other->prepared().sameFile(present)) {
            return File::openForOverwrite(copyName);
        }
    }
    File copy = File::makeAnew(copyName);
    pending.adopt(copy);
    return copy;
}

void TableStore::restore(const std::string& tableName, PendingTable& pending) {
    pending.restore(fileNameOf(tableName, kBackupSuffix), finish_.replaces);
    otherCopyWasWritten(pending);
}

// Two names may lead to one working copy: what is remembered of it is what was written last.
void TableStore::otherCopyWasWritten(const PendingTable& writer) {
    for (const auto& [tableName, pending] : pendingTables_) {
        if (pending.get() != &writer) {
            pending->copyWasWritten(writer.copy().identity());
        }
    }
}

// For a working copy whose content is lost. Whether another table has the same file as its working copy; that
// table is then read from memory.
bool TableStore::distrustSharedCopy(const std::string& copyName) {
    const FileIdentity copy = FileIdentity::of(copyName);
    bool isShared = false;
    for (const auto& [tableName, pending] : pendingTables_) {
        if (FileIdentity::of(fileNameOf(tableName, kBackupSuffix)).sameFile(copy)) {
            pending->distrustCopy();
            isShared = true;
        }
    }
    return isShared;
}

void TableStore::writeNextVersion(PendingTable& pending, const std::string& copyName, OpenTable origin,
                                  TableVersion version) {
    if (origin.file && !pending.isDone()) {
        const Difference difference = version.difference;
        pending.write(std::move(origin.file), difference, std::move(version));
        otherCopyWasWritten(pending);
        return;
    }
    // The working copy has taken the table's place, or another program has removed it and CREATE TABLE found
    // none.
    File copy = makeCopy(copyName, pending);
    try {
        pending.write(std::move(copy), {}, std::move(version));
        otherCopyWasWritten(pending);
    } catch (...) {
        removeFile(copyName);
        throw;
    }
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
    for (auto entry = pendingTables_.begin(); entry != pendingTables_.end();) {
        entry = entry->second->operation() == Operation::dropTable ? pendingTables_.erase(entry)
                                                                   : std::next(entry);
    }
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
        // A working copy that was found is still there itself.
        for (const auto& [tableName, pending] : pendingTables_) {
            if (pending->isFound() && !pending->isDone()) {
                static_cast<void>(unlink((fileNameOf(tableName, kBackupSuffix) + kNewSuffix).c_str()));
            }
        }
        throw;
    }
    cleanUp(Unfinished::cleanUpAfterCommit);
}

void TableStore::bringIntoTables() {
    for (const auto& [tableName, pending] : pendingTables_) {
        if (!pending->isOnDisk()) {
            restore(tableName, *pending);
        }
    }
    const bool isRetry = unfinished_ == Unfinished::commit;
    if (finish_.replaces) {
        prepareReplacements(isRetry);
    }
    journal_.writeState(true);
    if (autoCommit_) {
        unfinished_ = Unfinished::commit;
    }
    for (const auto& [tableName, pending] : pendingTables_) {
        if (pending->operation() == Operation::dropTable) {
            const std::string tableFile = fileNameOf(tableName, kTableSuffix);
            removeFile(tableFile);
            nameChanged(tableFile);
        } else if (!writesWorkingCopy(pending->operation())) {
            continue;
        } else if (!finish_.replaces) {
            copyOver(tableName, *pending, isRetry);
        } else if (!pending->isDone()) {
            replace(tableName, *pending);
        }
    }
    syncDirectories();
    journal_.writeState(false);
}

void TableStore::prepareReplacements(bool isRetry) {
    std::vector<const PendingTable*> prepared;
    for (const auto& [tableName, pending] : pendingTables_) {
        if (!writesWorkingCopy(pending->operation()) || pending->isDone()) {
            continue;
        }
        const std::string copyName = fileNameOf(tableName, kBackupSuffix);
        const FileIdentity copy = prepared.empty() ? FileIdentity{} : FileIdentity::ofName(copyName);
        const auto shared = std::find_if(prepared.begin(), prepared.end(), [&](const PendingTable* other) {
            return other->wasPreparedFrom(copy);
        });
        if (shared != prepared.end()) {
            pending->shareCopy(**shared);
            continue;
        }
        const std::string target = Replacement::target(fileNameOf(tableName, kTableSuffix));
        if (!pending->prepare(copyName, target, isRetry)) {
            return;  // where the commit ends
        }
        prepared.push_back(pending.get());
    }
}

// All names that lead to the working copy are done with it.
void TableStore::replace(const std::string& tableName, PendingTable& pending) {
    const std::string copyName = fileNameOf(tableName, kBackupSuffix);
    const std::string target = Replacement::target(fileNameOf(tableName, kTableSuffix));
    const FileIdentity copy = pending.prepared();
    pending.replace(copyName, target);
    nameChanged(copyName);
    nameChanged(target);
    for (const auto& [name, other] : pendingTables_) {
        if (other->prepared().sameFile(copy)) {
            other->becomeDone();
        }
    }
}

void TableStore::nameChanged(const std::string& fileName) {
    if (finish_.syncsDirectories) {
        unsyncedDirectories_.insert(Replacement::directoryOf(fileName));
    }
}

void TableStore::syncDirectories() {
    while (!unsyncedDirectories_.empty()) {
        Replacement::syncDirectory(*unsyncedDirectories_.begin());
        unsyncedDirectories_.erase(unsyncedDirectories_.begin());
    }
}

void TableStore::copyOver(const std::string& tableName, PendingTable& pending, bool isRetry) {
    const KnownFile left =
        pending.copyOver(fileNameOf(tableName, kBackupSuffix), fileNameOf(tableName, kTableSuffix), isRetry);
    files_.remember(left);
    for (const auto& [name, other] : pendingTables_) {
        other->tableWasWritten(left.identity());
    }
}

// A table that a failed copy-over has left half written is finished before its working copy may be changed.
void TableStore::finishTornTables() {
    for (const auto& [tableName, pending] : pendingTables_) {
        if (pending->isTorn()) {
            journal_.requireOpen();
            copyOver(tableName, *pending, true);
        }
    }
}

void TableStore::cleanUp(Unfinished kind) {
    FILEDB_LOG(kLogInfo, "%s", "cleanUpBackupData");
    journal_.ensureOpen(journalPath_);  // a closed one keeps no other process out
    finishTornTables();
    bool isAskedFor = false;  // by lines without whose working copies the next opening would fail
    std::vector<std::string> copies;
    copies.reserve(pendingTables_.size() + leftOver_.size());
    for (const auto& [tableName, pending] : pendingTables_) {
        if (!pending->isDone() || pending->isFound()) {
            copies.push_back(fileNameOf(tableName, kBackupSuffix));
        }
        isAskedFor = isAskedFor || (pending->isFound() && writesWorkingCopy(pending->operation()));
    }
    copies.insert(copies.end(), leftOver_.begin(), leftOver_.end());
    unfinished_ = kind;  // from here on working copies may be missing
    if (finish_.replaces && isAskedFor) {
        journal_.disarm(journalPath_);
    }
    for (const std::string& copyName : copies) {
        removeFile(copyName);
        if (finish_.replaces) {
            static_cast<void>(unlink((copyName + kNewSuffix).c_str()));
        }
    }
    pendingTables_.clear();
    leftOver_.clear();
    journal_.reset(journalPath_);
    autoCommit_ = true;
    unfinished_ = Unfinished::nothing;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
