#include "files/DirectoryUse.h"

#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "File.h"
#include "TableFormat.h"
#include "console/ExitStatus.h"
#include "files/DurableFiles.h"
#include "files/JournalUsers.h"

namespace Kalt::Vemo::Tool {

namespace {

using Core::Database::DatabaseException;
using Core::Database::Filedb::DirectoryInUse;
using Core::Database::Filedb::DirectoryLock;
using Core::Database::Filedb::FileIdentity;
using Core::Database::Filedb::kJournalName;

bool isRegularFile(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored);
}

}  // namespace

DirectoryUse::DirectoryUse(std::string directory)
    : directory_(std::move(directory)), journal_(directory_ + "/" + kJournalName) {
    lock();
}

void DirectoryUse::lock() {
    if (isRegularFile(journal_)) {
        lockFile(lock_, journal_);
    }
}

void DirectoryUse::lockNew() {
    std::error_code ignored;
    if (!std::filesystem::exists(std::filesystem::symlink_status(journal_, ignored))) {
        DurableFiles::writeNew(directory_, kJournalName, "");
    }
    lock();
}

void DirectoryUse::lockNext(const std::string& file) {
    lockFile(next_, file);
}

void DirectoryUse::lockFile(DirectoryLock& lock, const std::string& file) const {
    std::optional<int> user;
    bool isUsed = false;
    try {
        while (isRegularFile(file) && !lock.moveTo(file, FileIdentity::of(file))) {
        }
    } catch (const DirectoryInUse& error) {
        user = error.holder();
        isUsed = true;
    } catch (const DatabaseException&) {
        // Who may not even read the journal is told so by what comes next.
    }
    // A process without the lock is one with an earlier library, or the file system has no locks.
    const std::vector<int> seen = processesWithOpenFile(file);
    if (!user && !seen.empty()) {
        user = seen.front();
    }
    if (isUsed || user) {
        throw Trouble(directory_ + ": " + (user ? "process " + std::to_string(*user) : "another process") +
                      " has it open; stop that process first, or only look at the database");
    }
}

}  // namespace Kalt::Vemo::Tool
