#pragma once

#include <string>

#include "DirectoryLock.h"

namespace Kalt::Vemo::Tool {

/// While it lives no other process can open the database, as far as the file system has locks. What opens it
/// in this program shares the lock.
class DirectoryUse {
public:
    /// Locks the database, unless it has no journal yet.
    ///
    /// Throws: Trouble when another process has it open.
    explicit DirectoryUse(std::string directory);

    /// Locks a database that had no journal before, if it has one now. Throws: Trouble, as the constructor.
    void lock();

    /// As lock, but makes an empty journal where there is none. Throws: also std::system_error.
    void lockNew();

    /// Locks a file, too, that is about to become the journal. Throws: Trouble, as the constructor.
    void lockNext(const std::string& file);

    /// To be called after the journal was read: others then learn again which process keeps them out.
    void announce() const { lock_.announce(); }

private:
    void lockFile(Core::Database::Filedb::DirectoryLock& lock, const std::string& file) const;

    std::string directory_;
    std::string journal_;
    Core::Database::Filedb::DirectoryLock lock_;
    Core::Database::Filedb::DirectoryLock next_;
};

}  // namespace Kalt::Vemo::Tool
