#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "changes/Changes.h"
#include "changes/DirectoryEvents.h"
#include "changes/TableState.h"

namespace Kalt::Vemo::Tool {

/// Follows the committed states of a database that others change, by reading its files.
///
/// A state counts when two readings agree and the journal tells of no commit under way: then every table is
/// as one commit left it. A table whose file is unsound keeps its last sound state, until its file is sound
/// again. What keeps a state from being read is told on standard error, and so is what becomes of the
/// directory.
class Watch {
public:
    /// @param table the only one that counts; empty for all
    /// Throws: Trouble when the system refuses to watch.
    Watch(const std::string& directory, std::string table);

    /// Makes the first state differ from an empty database, not from itself.
    void beginWithNothing() { last_.emplace(); }

    /// Waits for the next state that differs from the last one.
    ///
    /// @return false when it is not to be waited for any more: after Control-C, and when standard output has
    ///         lost its reader
    /// Throws: Trouble when the directory cannot be read.
    bool waitForCommit();

    /// How the last two states differ. Requires: waitForCommit() was true.
    const std::vector<Change>& changes() const { return changes_; }

private:
    std::optional<DatabaseState> read();
    void keepUnsoundTables(DatabaseState& state);
    bool isNextState(DatabaseState state);
    bool waitForEvent();
    bool hasUntoldProblem() const;
    void note(const std::string& text) const;

    std::string directory_;
    std::string table_;
    DirectoryEvents events_;
    std::optional<DatabaseState> last_;
    DatabaseState previous_;  // changes_ point into both
    std::vector<Change> changes_;
    // What keeps the files from being read. It is told when nothing has happened for a while: most of it is
    // over in a moment.
    std::set<std::string> problems_;
    std::set<std::string> told_;
    bool isAbsenceTold_ = false;
    bool isStarted_ = false;
};

}  // namespace Kalt::Vemo::Tool
