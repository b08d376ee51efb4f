#pragma once

#include <string>
#include <string_view>

#include "File.h"
#include "TableText.h"

namespace Kalt::Vemo::Core::Database::Filedb {

/// The file that a statement reads a table from: the table's own, or the working copy that the running
/// transaction has of it.
struct OpenTable {
    File file;
    FileIdentity identity;  ///< from just before it was read
};

/// A table that the open transaction, or the running statement, has touched: what was done to it, its working
/// copy, and what is known of both files.
///
/// The text that was written last is kept, with the identity that the working copy had then. As long as the
/// file has that identity it is not read again, neither for the next statement nor to copy it over the table.
/// The table's own file stays open: as long as its name leads to it, and it is as it was when it was read,
/// only the part that differs is copied. A file that another program has changed since is read, or
/// overwritten, as a whole.
///
/// When the system keeps a further version from the disk, the table's content is what it was before: the
/// working copy may then be half written, and the text in memory is all there is until restore() succeeds.
///
/// Threads: calls come under the database's lock. Throws: DatabaseException, where a function says so.
class PendingTable {
public:
    /// @param operation decides what the commit does, see Operation
    /// @param original  the table's own file, as it was read; no file for a table that is new or not known
    explicit PendingTable(signed char operation, OpenTable original = {});

    signed char operation() const { return operation_; }

    /// From now on the commit drops the table.
    void drop();

    /// False while only memory holds the table's content.
    bool isOnDisk() const { return onDisk_; }

    /// The table's content. Requires: !isOnDisk().
    std::string_view text() const { return version_.text.view(); }

    /// True while the table is overwritten: as long as that was not completed, the working copy is all there
    /// is.
    bool isTorn() const { return torn_; }

    /// The content of the working copy, which `table` has open; the caller has it from now on, and a further
    /// call reads the file. Requires: isOnDisk(). Throws: as File::readWhole.
    TableVersion take(const OpenTable& table);

    /// Writes the table's next version into its working copy, and closes that.
    ///
    /// @param difference how the version differs from what the working copy holds
    /// Throws: as File::overwrite. The content is then the one that the version was made of, in memory.
    void write(File copy, const Difference& difference, TableVersion version);

    /// Writes the content that only memory holds into the working copy `copyName`.
    /// Throws: as File::openForOverwrite and File::overwrite; nothing has changed then.
    void restore(const std::string& copyName);

    /// Copies the working copy over the table. It is looked for before the table is touched: without it the
    /// table stays as it was.
    ///
    /// @param isRetry whether this was decided before: then a working copy that another program has removed
    ///                meanwhile is not missed when memory holds its content
    /// Throws: as File::open, File::overwrite and FileUtils::overwriteFrom.
    void copyOver(const std::string& copyName, const std::string& tableName, bool isRetry);

    /// Another table's refused change has spoilt the working copy, to which both names lead.
    void distrustCopy();

    void closeFile() { original_ = {}; }

private:
    void copyFromMemory(const std::string& tableName);

    signed char operation_;
    bool onDisk_ = true;
    bool torn_ = false;
    TableVersion version_;
    bool holdsText_ = false;  // whether version_ is the table's content, as far as is known
    FileIdentity copy_;       // of the working copy, while it holds version_
    OpenTable original_;
    Difference difference_ = Difference::none();  // between version_ and the table's own file
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
