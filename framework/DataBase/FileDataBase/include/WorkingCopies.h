#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "KnownFile.h"
#include "PendingTable.h"
#include "TableText.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class KeptTables;

/// How a commit brings working copies into their tables.
struct Finish {
    bool replaces;          ///< puts them in the tables' places, synced; otherwise they are copied over them
    bool syncsDirectories;  ///< and syncs the directories in which names have changed
};

/// The tables that the open transaction, or the running statement, has changed, each with its working copy,
/// and the way from there into the tables. Several names may lead to one file: all of them are told what
/// becomes of it. When each step may be taken, which the journal decides, is the TableStore's to know.
///
/// Threads: calls come under the database's lock. Throws: DatabaseException, where a function says so.
class WorkingCopies {
public:
    explicit WorkingCopies(Finish finish) : finish_(finish) {}
    WorkingCopies(const WorkingCopies&) = delete;
    WorkingCopies& operator=(const WorkingCopies&) = delete;

    /// From now on tables are those of this directory; nothing is left of an earlier one.
    void open(std::string directory);

    const std::string& directory() const { return directory_; }

    [[nodiscard]] std::string fileNameOf(const std::string& tableName, std::string_view suffix) const;

    // The tables

    /// The table, when it was changed; null when not.
    [[nodiscard]] PendingTable* find(const std::string& tableName) const;

    /// A table that the journal of an earlier process names. The first one of a name counts.
    void addFound(Operation operation, const std::string& tableName);

    /// Forgets the tables. Their working copies stay on the disk.
    void forgetTables() { tables_.clear(); }

    /// The same, and what could not be removed before.
    void forget();

    /// Forgets the dropped tables.
    void forgetDropped();

    /// What is known of the files of tables and working copies.
    KnownFile::Memory& files() { return files_; }

    // Changes

    /// Writes the first version of a table that was not changed before. On failure nothing is left of it.
    /// Throws: open errors, write errors.
    void writeFirst(Operation operation, const std::string& tableName, OpenTable origin,
                    TableVersion version);

    /// Writes a further version.
    ///
    /// @param origin what the version was made of; no file when the working copy is gone
    /// Throws: as writeFirst. The table's content is then what it was, perhaps in memory alone.
    void writeNext(PendingTable& pending, const std::string& tableName, OpenTable origin,
                   TableVersion version);

    /// Drops a table, whether it was changed before or not: the commit removes its file.
    void drop(const std::string& tableName);

    /// Writes the content that only memory holds into the table's working copy. Throws: as writeFirst.
    void restore(const std::string& tableName, PendingTable& pending);

    // The way into the tables

    /// Makes every working copy ready: written and, where it takes its table's place, on the disk.
    ///
    /// @param isRetry whether an earlier bringIntoTables() has failed
    /// Throws: as writeFirst, NotReplaceable.
    void makeReady(bool isRetry);

    /// Brings every working copy into its table and removes the files of dropped tables. What is done stays
    /// done when the call fails. Throws: open errors, read errors, write errors, NotReplaceable.
    void bringIntoTables(bool isRetry);

    /// Removes what makeReady() has made of working copies that an earlier process has left.
    void removeReadyCopies() const;

    bool hasTorn() const;

    /// Finishes tables that a failed bringIntoTables() has left half written. Throws: as that.
    void finishTorn();

    /// Tables that are to be brought into their files by whoever opens the database next.
    ///
    /// @param isCommitted whether the commit of all was decided; otherwise only torn tables count
    /// Throws: write errors, from bringing the names of the working copies to the disk.
    [[nodiscard]] std::set<std::string> unfinishedTables(bool isCommitted) const;

    // The end

    /// After a commit: what was brought into the tables goes to `kept`, as far as the tables' files can be
    /// known again.
    void giveTextsTo(KeptTables& kept) const;

    /// Whether the next opening would ask for a working copy as long as the journal is as it was found.
    bool areAskedFor() const;

    /// Removes all working copies and forgets the tables. What cannot be removed is logged and left.
    void remove();

    /// Closes the tables' own files.
    void closeFiles();

    /// To be called when a name in the file's directory has changed.
    void nameChanged(const std::string& fileName);

    /// Brings changed names to the disk, if the level asks for it. Throws: write errors; it may be tried
    /// again.
    void syncDirectories();

private:
    File makeCopy(const std::string& copyName, PendingTable& pending);
    void otherCopyWasWritten(const PendingTable& writer);
    bool distrustSharedCopy(const std::string& copyName);
    void prepareReplacements(bool isRetry);
    void replace(const std::string& tableName, PendingTable& pending);
    void copyOver(const std::string& tableName, PendingTable& pending, bool isRetry);

    const Finish finish_;
    std::string directory_;
    KnownFile::Memory files_;
    std::map<std::string, std::unique_ptr<PendingTable>> tables_;  // by name
    std::set<std::string> leftOver_;  // working copies of refused statements that could not be removed
    std::set<std::string> unsyncedDirectories_;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
