#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "check/Finding.h"
#include "check/JournalExamination.h"
#include "check/TableExamination.h"
#include "files/Snapshot.h"

namespace Kalt::Vemo::Tool {

/// Everything there is to say about the files of one database directory.
class DirectoryExamination {
public:
    /// What a working copy is good for.
    enum class CopyUse {
        kNone,         // there is none, or no regular file
        kFinish,       // its copy-over was interrupted: the table is to hold its content
        kEqual,        // the table holds its content already
        kCutShort,     // its copy-over was interrupted; damaged, with nothing that the table lacks
        kUncommitted,  // it was never to be copied over the table
        kUndecided,    // it may be either of kFinish and kUncommitted, and only a person can tell
        kDamaged       // its copy-over was interrupted; damaged, with records that the table lacks
    };

    /// A table's two files. An examination is there when the file is regular.
    struct Table {
        RawFile::Kind kind = RawFile::Kind::kMissing;
        RawFile::Kind copyKind = RawFile::Kind::kMissing;
        std::unique_ptr<TableExamination> content;
        std::unique_ptr<TableExamination> copy;
        CopyUse copyUse = CopyUse::kNone;
    };

    explicit DirectoryExamination(const Snapshot& snapshot);

    /// Whether table and working copy stay as they are, for a person to decide.
    static bool isLeft(CopyUse use) { return use == CopyUse::kUndecided || use == CopyUse::kDamaged; }

    /// In the order of file names and lines.
    const Findings& findings() const { return findings_; }
    std::size_t errorCount() const;

    /// Name and cause for the first file that the system refused to read, empty when it read them all.
    const std::string& unreadable() const { return unreadable_; }

    std::size_t tableCount() const { return tableCount_; }
    std::size_t recordCount() const { return recordCount_; }

    const RawFile& journalFile() const { return journalFile_; }
    const JournalExamination& journal() const { return *journal_; }

    /// The tables whose working copy may hold newer rows, which a start of the engine would not bring back.
    std::set<std::string> unfinishedTables() const;

    /// The tables and working copies whose names a statement can have made.
    const std::map<std::string, Table>& tables() const { return tables_; }

    /// The entries that no database makes, each with what it is.
    const std::vector<Finding>& foreignEntries() const { return foreignEntries_; }

private:
    void examineEntry(const Snapshot& snapshot, const std::string& name, Findings& found);
    void examineTable(const std::string& name, const RawFile& file, const std::string& table,
                      Findings& found);
    void examineCopy(const std::string& name, const Snapshot& snapshot, const std::string& table,
                     Findings& found);
    CopyUse useOfNamedCopy(const Table& files, const JournalExamination::Entry& entry) const;
    static CopyUse useOfUnnamedCopy(const Table& files);
    void nameRemedies(std::map<std::string, Findings>& found) const;
    Finding describeCopy(const std::string& table, const RawFile& copy, const RawFile& content) const;
    void noteUnreadable(const std::string& name, const RawFile& file);

    RawFile journalFile_;
    std::unique_ptr<JournalExamination> journal_;
    std::map<std::string, Table> tables_;
    Findings foreignEntries_;
    Findings findings_;
    std::string unreadable_;
    std::size_t tableCount_ = 0;
    std::size_t recordCount_ = 0;
};

}  // namespace Kalt::Vemo::Tool
