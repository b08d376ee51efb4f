#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "File.h"
#include "KnownFile.h"
#include "Operation.h"
#include "TableVersion.h"

namespace Kalt::Vemo::Core::Database::Filedb {

/// The file that a statement has read a table from: the table's own, or the working copy that the running
/// transaction has of it.
struct OpenTable {
    File file;
    KnownFile known;  ///< from just before it was read
};

/// A table that the open transaction, or the running statement, has changed: what was done to it, its working
/// copy, and what is known of both files.
///
/// The object keeps the text that was written last. As long as the working copy is provably the file that was
/// left then, it is not read again, neither for the next statement nor to copy it over the table. The table's
/// own file stays open: as long as its name leads to it, provably unchanged since it was read, only the part
/// that differs is copied. Without proof a file is read, or overwritten, as a whole.
///
/// When the system refuses to write a further version, the table's content stays what it was before: the
/// working copy may then be half written, and only memory holds the content until restore() succeeds.
///
/// Threads: calls come under the database's lock. Throws: DatabaseException, where a function says so.
class PendingTable {
public:
    /// @param files     what is known of the database's files; must outlive the object
    /// @param operation decides what the commit does
    /// @param original  the table's own file, as it was read; no file for a table that is new or not known
    PendingTable(const KnownFile::Memory& files, Operation operation, OpenTable original = {});

    /// A table that the journal of an earlier process names. Its working copy stays where it is until the
    /// journal no longer asks for it, so that a recovery that is interrupted can be done again.
    [[nodiscard]] static std::unique_ptr<PendingTable> found(const KnownFile::Memory& files,
                                                             Operation operation);

    bool isFound() const { return isFound_; }

    Operation operation() const { return operation_; }

    /// From now on the commit drops the table.
    void drop();

    /// Whether the commit that is under way has put the working copy in the table's place: there is none any
    /// more, unless isFound(), and the table's own file is its content. A further change ends it.
    bool isDone() const { return done_; }

    /// False while only memory holds the table's content.
    bool isOnDisk() const { return onDisk_; }

    /// The table's content. Requires: !isOnDisk(). Valid until the next change.
    TableVersion& version() { return version_; }

    /// True from the first byte of an overwritten table to its last: until then only the working copy is
    /// whole.
    bool isTorn() const { return torn_; }

    /// Moves the content of the working copy, which is open as `table`, to the caller; a further call reads
    /// the file. Requires: isOnDisk(). Throws: as File::readWhole.
    [[nodiscard]] TableVersion take(const OpenTable& table);

    /// Writes the table's next version into its working copy, and closes the file.
    ///
    /// @param difference how the version differs from what the working copy holds
    /// Throws: as File::write. The content is then the text that the version was made of, in memory.
    void write(File copy, const Difference& difference, TableVersion version);

    /// To be called with a working copy that was made anew, before it is written.
    void adopt(const File& copy) { made_ = copy.status(); }

    /// Writes the content that only memory holds into the working copy `copyName`.
    ///
    /// @param anew whether into a new file
    /// Throws: as File::openForOverwrite and File::write; nothing else has changed then.
    void restore(const std::string& copyName, bool anew);

    /// Makes the working copy ready to take the table's place: a regular file that the engine has made, with
    /// the table's attributes, on the disk. One that another program has changed, or that an earlier process
    /// has left, is copied to a new file first. A missing one is left to replace().
    ///
    /// @param target what the table's name leads to
    /// @param isRetry as for copyOver
    /// @return false when it is missing
    /// Throws: as Replacement::giveAttributes, File::sync, FileUtils::overwriteFrom.
    [[nodiscard]] bool prepare(const std::string& copyName, const std::string& target, bool isRetry);

    /// Whether the working copy that prepare() has found was this file.
    bool wasPreparedFrom(const FileIdentity& copy) const {
        return isFound_ ? source_.sameFile(copy) : made_.sameFile(copy);
    }

    /// The working copy is the one of `other`, which is prepared.
    void shareCopy(const PendingTable& other);

    /// The file that prepare() has made ready.
    const FileIdentity& prepared() const { return made_; }

    /// Puts the working copy in the table's place.
    ///
    /// @return as table()
    /// Throws: as Replacement::requireWritable and Replacement::replace, read errors; the open error when it
    /// is missing or not the one that is prepared.
    [[nodiscard]] KnownFile replace(const std::string& copyName, const std::string& target);

    /// To be called when the working copy was put in the table's place by another name.
    void becomeDone();

    /// Copies the working copy over the table. It is opened before the table: without it the table stays as
    /// it was.
    ///
    /// @param isRetry whether an earlier call failed: then memory may hold the content of a working copy that
    ///                another program has removed meanwhile
    /// @return as table()
    /// Throws: as File::open, File::write and FileUtils::overwriteFrom.
    [[nodiscard]] KnownFile copyOver(const std::string& copyName, const std::string& tableName, bool isRetry);

    /// To be called when another table's working copy was written: what is remembered of this one's is over,
    /// should it be the same file.
    void copyWasWritten(const FileIdentity& copy);

    /// The same for a table's own file.
    void tableWasWritten(const FileIdentity& table);

    /// The working copy as it was left.
    const KnownFile& copy() const { return copy_; }

    /// To be called when the refused change of another table has damaged the working copy, to which both
    /// names lead.
    void distrustCopy();

    /// The table's own file as the commit has left it, with the text of takeText(); no file as long as it has
    /// not, or when it is not known how.
    const KnownFile& table() const { return table_; }

    /// Moves the text that the commit has brought into the table's file to the caller. Requires:
    /// table().isProof().
    [[nodiscard]] TableVersion takeText();

    /// The content of the working copy, which looks like `file`; null when it would have to be read.
    [[nodiscard]] TableVersion* known(const KnownFile& file);

    /// Closes the table's own file.
    void closeFile() { original_ = {}; }

private:
    [[nodiscard]] KnownFile overwrite(File& file, std::string_view text, const Difference& difference,
                                      long long oldSize = 0) const;
    std::string readyName(const std::string& copyName) const;
    File copyAnew(const std::string& copyName);
    KnownFile copyFromMemory(const std::string& tableName);

    const KnownFile::Memory* files_;
    Operation operation_;
    bool onDisk_ = true;
    bool torn_ = false;
    bool done_ = false;
    bool isFound_ = false;
    bool synced_ = false;  // the working copy, since it was written
    TableVersion version_;
    bool holdsText_ = false;  // whether version_ is the table's content, as far as known
    KnownFile copy_;          // the working copy, which holds version_
    FileIdentity made_;       // of the working copy that the engine itself has made
    FileIdentity source_;     // of the one that was found
    KnownFile table_;         // the table's own file, once the commit has brought version_ into it
    OpenTable original_;
    Difference difference_ = Difference::none();  // between version_ and the table's own file
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
