#pragma once

#include <functional>
#include <optional>
#include <ostream>
#include <string>

#include "check/AsideDirectory.h"
#include "check/DirectoryExamination.h"
#include "check/TableExamination.h"
#include "files/DirectoryUse.h"

namespace Kalt::Vemo::Tool {

/// Mends a database directory, and keeps other processes out meanwhile. Every decision comes from one
/// examination, before anything is changed, so a dry run prints the very same actions.
///
/// An action is printed when it is done. One that fails is taken back. The steps, in this order, and what a
/// stop in the middle leaves:
///
/// 1. What is none of the database's files is set aside, the half-written file of a stopped repair among it.
/// 2. Tables, one after the other by name. A table that an interrupted copy-over left behind takes the
///    content of its working copy, as long as that is whole; a table that the same transaction dropped is set
///    aside. Any other table keeps its own content. What cannot be read goes to a file of rejected lines. The
///    original is kept first, then the new content takes its place in one step.
/// 3. The table's working copy is set aside. A run that stops before this one takes the same content once
///    more; a run that stops after it finds the table done. When no journal line names the working copy and
///    it may be the table's content or not, or when it was to be copied over the table but is damaged, both
///    stay as they are, for a person to decide.
/// 4. The journal becomes the one line "0", last of all: until then it tells which transaction is to be
///    finished.
class DirectoryRepair {
public:
    /// @param asideParent where to make the directory for what is set aside; empty for beside the database
    /// Throws: Trouble when another process has the database open, unless it is a dry run.
    DirectoryRepair(std::string directory, bool dryRun, std::ostream& out,
                    const std::string& asideParent = "");

    /// Throws: Trouble when a file cannot be read or written. What was printed is done then, and nothing
    /// else.
    void run();

    /// Whether a working copy stays that a person has to decide about.
    bool leavesDecision() const { return decisionCount_ > 0; }

    /// Whether a table or a row is no longer in the database.
    bool hasRemoved() const { return tableCount_ + rejectCount_ > 0; }

    /// Prints how many tables and rows are no longer in the database, and how they come back, in one line;
    /// nothing when there are none. `path` is what the user calls the database.
    void countRemoved(const std::string& path) const;

private:
    using Table = DirectoryExamination::Table;
    using CopyUse = DirectoryExamination::CopyUse;

    void mendTable(const std::string& table, const Table& files);
    void settleContent(const std::string& table, const Table& files);
    void useContent(const std::string& table, const Table& files, const TableExamination& content,
                    bool isFromCopy);
    void settleCopy(const std::string& table, const Table& files);
    void leaveDecision(const std::string& table, const Table& files);
    void setForeignAside();
    void resetJournal();
    void work();
    void conclude();

    const JournalExamination::Entry* journalEntry(const std::string& table) const;
    bool isDropFinished(const std::string& table) const;
    void setAside(const std::string& name, const std::string& reason);
    void say(const std::string& place, const std::string& text);
    void act(const std::function<void()>& action);
    void print();

    const std::string directory_;
    std::optional<DirectoryUse> use_;  // none in a dry run
    std::ostream& out_;
    const DirectoryExamination examination_;
    AsideDirectory aside_;
    std::string said_;  // of the action at hand, printed when it is done
    std::size_t actionCount_ = 0;
    std::size_t tableCount_ = 0;   // set aside whole, though its data was in use
    std::size_t rejectCount_ = 0;  // rows
    std::size_t decisionCount_ = 0;
    bool leavesCommit_ = false;  // whether one of the decisions is about a commit that the journal tells of
};

}  // namespace Kalt::Vemo::Tool
