#pragma once

#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "check/AsideDirectory.h"
#include "check/DirectoryExamination.h"
#include "check/JournalExamination.h"
#include "check/TableExamination.h"
#include "files/DirectoryUse.h"

namespace Kalt::Vemo::Tool {

/// Takes tables and rejected lines that a repair has set aside back into the database, once a person has
/// corrected them, and keeps other processes out meanwhile.
///
/// A table comes back when it is sound, and when the database has none of that name, or one that loses
/// nothing by it. A line comes back when the table is sound with it. What is there already is left alone, so
/// a run that was stopped is simply repeated. Each table is replaced in one step; what it held before is kept
/// first. Nothing is changed in the directory that is taken from.
class DirectoryRestore {
public:
    /// @param source what a repair has set aside
    /// @param asideParent where to make the directory for what is replaced; empty for beside the database
    /// Throws: Trouble when another process has the database open, unless it is a dry run, or when a
    /// directory cannot be read.
    DirectoryRestore(std::string directory, std::string source, bool dryRun, std::ostream& out,
                     const std::string& asideParent);

    /// Throws: Failure when the database needs a repair first, Trouble when a file cannot be read or written.
    void run();

    /// Whether something stays that was to come back.
    bool leavesAnything() const { return refusedCount_ > 0; }

private:
    /// A line of a file with rejected lines.
    struct Candidate {
        std::size_t number;  // in that file
        std::string text;    // of the record
    };

    void work();
    void requireSettled() const;
    void restoreTable(const std::string& table, const std::string& name);
    void restoreLines(const std::string& table, const std::string& name);
    std::vector<Candidate> candidatesIn(const std::string& name, const std::string& text);
    void addLines(const std::string& table, const std::string& name, const std::vector<Candidate>& candidates,
                  const TableExamination& live);
    std::string whyNotReplaced(const std::string& table, const TableExamination& content) const;
    std::optional<std::string> liveText(const std::string& table) const;
    bool isWhatACommitReplaced(const std::string& table, const std::string& text) const;
    std::optional<std::string> read(const std::string& name);
    void replace(const std::string& table, const std::string& text);
    void refuse(const std::string& place, const std::string& reason);
    void say(const std::string& place, const std::string& text);
    void print();
    void conclude();

    const std::string directory_;
    const std::string source_;
    std::optional<DirectoryUse> use_;  // none in a dry run
    std::ostream& out_;
    const DirectoryExamination examination_;
    AsideDirectory aside_;
    const JournalExamination journal_;          // that was set aside
    std::map<std::string, std::string> texts_;  // of the tables that were replaced
    std::string said_;                          // of the action at hand, printed when it is done
    bool hasReplaced_ = false;
    std::size_t tableCount_ = 0;
    std::size_t rowCount_ = 0;
    std::size_t refusedCount_ = 0;
};

}  // namespace Kalt::Vemo::Tool
