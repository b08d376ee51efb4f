#pragma once

#include <set>
#include <string>

namespace Kalt::Vemo::Tool {

/// What an interrupted commit has left in a directory, and what a start of the engine would forget: its
/// journal and the working copies that were to be copied over their tables.
class UnfinishedCommit {
public:
    /// Looks at the directory; at its journal and its names alone where those tell that there is nothing.
    /// There is nothing in a directory that does not exist. Reads the journal, so DirectoryUse::announce() is
    /// to be called after it. Throws: Trouble when the directory cannot be read.
    explicit UnfinishedCommit(const std::string& directory);

    /// The tables whose working copy may hold newer rows.
    const std::set<std::string>& tables() const { return tables_; }

    /// @param directory as the message is to name it
    /// @param otherRemedy ", or ..." for what else there is to do than a repair
    /// Throws: Trouble when there is something that opening the database would lose.
    void requireNone(const std::string& directory, const std::string& otherRemedy = "") const;

private:
    std::set<std::string> tables_;
    bool isCopying_ = false;
};

}  // namespace Kalt::Vemo::Tool
