#pragma once

#include <string>

#include "EngineErrors.h"
#include "File.h"

namespace Kalt::Vemo::Core::Database::Filedb {

/// A table cannot be replaced by its working copy for a reason that does not go away by itself. Nothing has
/// changed.
class NotReplaceable : public SystemRefusal {
public:
    using SystemRefusal::SystemRefusal;
};

/// The steps of a commit that puts a working copy in the place of a table's file, instead of writing over it.
///
/// Throws: DatabaseException, where a function says so.
class Replacement {
public:
    Replacement() = delete;

    /// The file that a table's name leads to, through symbolic links; it need not be there.
    [[nodiscard]] static std::string target(const std::string& tableName);

    /// The directory that a file's name stands in.
    [[nodiscard]] static std::string directoryOf(const std::string& fileName);

    /// Gives the working copy mode, owner, access list and other attributes of the table's file, if there is
    /// one. What the system refuses is logged and left.
    ///
    /// Throws: NotReplaceable when the table is on another file system than its working copy.
    static void giveAttributes(const File& copy, const std::string& target);

    /// A table that is there must be a regular file that can be opened for writing. Throws: the open error.
    static void requireWritable(const std::string& target);

    /// Puts the working copy in the table's place, whatever is there.
    ///
    /// Throws: the write error, which names the cause and the remedy, as NotReplaceable unless the disk or
    /// the memory fails.
    static void replace(const std::string& copyName, const std::string& target);

    /// Brings the names of a directory to the disk. A directory that cannot be opened or synced for another
    /// reason than a failing or full disk counts as synced.
    ///
    /// Throws: the write error.
    static void syncDirectory(const std::string& directory);
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
