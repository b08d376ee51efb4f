#include "WorkingCopies.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>
#include <vector>

#include "EngineLog.h"
#include "KeptTables.h"
#include "Replacement.h"
#include "TableFormat.h"

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

void WorkingCopies::open(std::string directory) {
    forget();
    unsyncedDirectories_.clear();
    directory_ = std::move(directory);
}

std::string WorkingCopies::fileNameOf(const std::string& tableName, std::string_view suffix) const {
    std::string name;
    name.reserve(directory_.size() + 1 + tableName.size() + suffix.size());
    name.append(directory_).append("/").append(tableName).append(suffix);
    return name;
}

// ---- The tables ----

PendingTable* WorkingCopies::find(const std::string& tableName) const {
    const auto entry = tables_.find(tableName);
    return entry == tables_.end() ? nullptr : entry->second.get();
}

void WorkingCopies::addFound(Operation operation, const std::string& tableName) {
    tables_.try_emplace(tableName, PendingTable::found(files_, operation));
}

void WorkingCopies::forget() {
    tables_.clear();
    leftOver_.clear();
}

void WorkingCopies::forgetDropped() {
    for (auto entry = tables_.begin(); entry != tables_.end();) {
        entry = entry->second->operation() == Operation::dropTable ? tables_.erase(entry) : std::next(entry);
    }
}

// ---- Changes ----

void WorkingCopies::writeFirst(Operation operation, const std::string& tableName, OpenTable origin,
                               TableVersion version) {
    const std::string copyName = fileNameOf(tableName, kBackupSuffix);
    bool isOurs = false;  // a working copy that a crash has left may be the only whole one of a torn table
    try {
        if (finish_.replaces || tables_.size() >= kMostOpenTables) {
            origin = {};
        }
        auto pending = std::make_unique<PendingTable>(files_, operation, std::move(origin));
        File copy = makeCopy(copyName, *pending);
        isOurs = true;
        // Written whole: a crash may have left a file of this name.
        pending->write(std::move(copy), {}, std::move(version));
        otherCopyWasWritten(*pending);
        tables_[tableName] = std::move(pending);
        leftOver_.erase(copyName);
    } catch (...) {
        if (isOurs && !distrustSharedCopy(copyName) && !removeFile(copyName)) {
            leftOver_.insert(copyName);
        }
        throw;
    }
}

// A working copy to be written whole. One that replaces its table must be a file of the engine's own: what a
// crash or another program has left under the name is not written into, except for the working copy that this
// transaction has of the table by another name.
File WorkingCopies::makeCopy(const std::string& copyName, PendingTable& pending) {
    if (!finish_.replaces) {
        return File::openForOverwrite(copyName);
    }
    const FileIdentity present = tables_.empty() ? FileIdentity{} : FileIdentity::ofName(copyName);
    for (const auto& [tableName, other] : tables_) {
        if (other->prepared().sameFile(present)) {
            return File::openForOverwrite(copyName);
        }
    }
    File copy = File::makeAnew(copyName);
    pending.adopt(copy);
    return copy;
}

// Two names may lead to one working copy: what is remembered of it is what was written last.
void WorkingCopies::otherCopyWasWritten(const PendingTable& writer) {
    for (const auto& [tableName, pending] : tables_) {
        if (pending.get() != &writer) {
            pending->copyWasWritten(writer.copy().identity());
        }
    }
}

// For a working copy whose content is lost. Whether another table has the same file as its working copy; that
// table is then read from memory.
bool WorkingCopies::distrustSharedCopy(const std::string& copyName) {
    const FileIdentity copy = FileIdentity::of(copyName);
    bool isShared = false;
    for (const auto& [tableName, pending] : tables_) {
        if (FileIdentity::of(fileNameOf(tableName, kBackupSuffix)).sameFile(copy)) {
            pending->distrustCopy();
            isShared = true;
        }
    }
    return isShared;
}

void WorkingCopies::writeNext(PendingTable& pending, const std::string& tableName, OpenTable origin,
                              TableVersion version) {
    if (origin.file && !pending.isDone()) {
        const Difference difference = version.difference;
        pending.write(std::move(origin.file), difference, std::move(version));
        otherCopyWasWritten(pending);
        return;
    }
    // The working copy has taken the table's place, or another program has removed it and CREATE TABLE found
    // none.
    const std::string copyName = fileNameOf(tableName, kBackupSuffix);
    File copy = makeCopy(copyName, pending);
    try {
        pending.write(std::move(copy), {}, std::move(version));
        otherCopyWasWritten(pending);
    } catch (...) {
        removeFile(copyName);
        throw;
    }
}

void WorkingCopies::drop(const std::string& tableName) {
    std::unique_ptr<PendingTable>& pending = tables_[tableName];
    if (pending == nullptr) {
        pending = std::make_unique<PendingTable>(files_, Operation::dropTable);
        return;
    }
    if (!pending->isDone()) {
        removeFile(fileNameOf(tableName, kBackupSuffix));
    }
    pending->drop();
}

void WorkingCopies::restore(const std::string& tableName, PendingTable& pending) {
    pending.restore(fileNameOf(tableName, kBackupSuffix), finish_.replaces);
    otherCopyWasWritten(pending);
}

// ---- The way into the tables ----

void WorkingCopies::makeReady(bool isRetry) {
    for (const auto& [tableName, pending] : tables_) {
        if (!pending->isOnDisk()) {
            restore(tableName, *pending);
        }
    }
    if (finish_.replaces) {
        prepareReplacements(isRetry);
    }
}

void WorkingCopies::prepareReplacements(bool isRetry) {
    std::vector<const PendingTable*> prepared;
    for (const auto& [tableName, pending] : tables_) {
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

void WorkingCopies::bringIntoTables(bool isRetry) {
    for (const auto& [tableName, pending] : tables_) {
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
}

// All names that lead to the working copy are done with it.
void WorkingCopies::replace(const std::string& tableName, PendingTable& pending) {
    const std::string copyName = fileNameOf(tableName, kBackupSuffix);
    const std::string target = Replacement::target(fileNameOf(tableName, kTableSuffix));
    const FileIdentity copy = pending.prepared();
    files_.remember(pending.replace(copyName, target));
    nameChanged(copyName);
    nameChanged(target);
    for (const auto& [name, other] : tables_) {
        if (other->prepared().sameFile(copy)) {
            other->becomeDone();
        }
    }
}

void WorkingCopies::copyOver(const std::string& tableName, PendingTable& pending, bool isRetry) {
    const KnownFile left =
        pending.copyOver(fileNameOf(tableName, kBackupSuffix), fileNameOf(tableName, kTableSuffix), isRetry);
    files_.remember(left);
    for (const auto& [name, other] : tables_) {
        if (other.get() != &pending) {
            other->tableWasWritten(left.identity());
        }
    }
}

// A working copy that was found is still there itself.
void WorkingCopies::removeReadyCopies() const {
    for (const auto& [tableName, pending] : tables_) {
        if (pending->isFound() && !pending->isDone()) {
            static_cast<void>(unlink((fileNameOf(tableName, kBackupSuffix) + kNewSuffix).c_str()));
        }
    }
}

bool WorkingCopies::hasTorn() const {
    return std::any_of(tables_.begin(), tables_.end(),
                       [](const auto& table) { return table.second->isTorn(); });
}

void WorkingCopies::finishTorn() {
    for (const auto& [tableName, pending] : tables_) {
        if (pending->isTorn()) {
            copyOver(tableName, *pending, true);
        }
    }
}

std::set<std::string> WorkingCopies::unfinishedTables(bool isCommitted) const {
    std::set<std::string> unfinished;
    for (const auto& [tableName, pending] : tables_) {
        const bool isUnfinished = (isCommitted && !pending->isDone()) || pending->isTorn();
        const std::string copyName = fileNameOf(tableName, kBackupSuffix);
        const bool hasCopy = FileIdentity::of(copyName).isFile();
        if (!isUnfinished || (!hasCopy && pending->operation() != Operation::dropTable)) {
            continue;
        }
        // On a disk that has the table's line, but no working copy, the next opening would fail.
        if (finish_.replaces) {
            Replacement::syncDirectory(Replacement::directoryOf(copyName));
        }
        unfinished.insert(tableName);
    }
    return unfinished;
}

// ---- The end ----

void WorkingCopies::giveTextsTo(KeptTables& kept) const {
    for (const auto& [tableName, pending] : tables_) {
        const KnownFile table = pending->table();
        if (table.isProof()) {
            static_cast<void>(kept.keep(table, pending->takeText()));
        }
    }
}

bool WorkingCopies::areAskedFor() const {
    return finish_.replaces && std::any_of(tables_.begin(), tables_.end(), [](const auto& table) {
               return table.second->isFound() && writesWorkingCopy(table.second->operation());
           });
}

void WorkingCopies::remove() {
    std::vector<std::string> copies;
    copies.reserve(tables_.size() + leftOver_.size());
    for (const auto& [tableName, pending] : tables_) {
        if (!pending->isDone() || pending->isFound()) {
            copies.push_back(fileNameOf(tableName, kBackupSuffix));
        }
    }
    copies.insert(copies.end(), leftOver_.begin(), leftOver_.end());
    for (const std::string& copyName : copies) {
        removeFile(copyName);
        if (finish_.replaces) {
            static_cast<void>(unlink((copyName + kNewSuffix).c_str()));
        }
    }
    forget();
}

void WorkingCopies::closeFiles() {
    for (const auto& [tableName, pending] : tables_) {
        pending->closeFile();
    }
}

void WorkingCopies::nameChanged(const std::string& fileName) {
    if (finish_.syncsDirectories) {
        unsyncedDirectories_.insert(Replacement::directoryOf(fileName));
    }
}

void WorkingCopies::syncDirectories() {
    while (!unsyncedDirectories_.empty()) {
        Replacement::syncDirectory(*unsyncedDirectories_.begin());
        unsyncedDirectories_.erase(unsyncedDirectories_.begin());
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
