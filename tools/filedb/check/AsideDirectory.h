#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Kalt::Vemo::Tool {

/// Where a repair or a restore keeps what it takes out of a database directory: a new directory beside it,
/// named by the first free number.
///
///     subscriptions_filedb             the database
///     subscriptions_filedb.repair-1    what the first repair kept
///
/// It is made when the first thing goes into it. What goes in belongs to one action until settle() ends that:
/// an action that fails is taken back, and leaves nothing here.
///
/// Throws, every call that writes: std::system_error.
class AsideDirectory {
public:
    /// @param kind   what stands before the number: ".repair-"
    /// @param parent where to make it, made as well when it is missing; empty for beside the database
    /// Throws: Trouble when that is the database itself.
    AsideDirectory(const std::string& database, const std::string& kind, const std::string& parent);

    /// The directory's path; that of the one to be made as long as it is empty.
    const std::string& path() const { return path_; }

    /// Keeps the entry `name`, which is about to be replaced, without needing room for it where the system
    /// can do that.
    void keep(const std::string& name);
    void moveIn(const std::string& name);
    void write(const std::string& name, std::string_view text);

    void settle() { steps_.clear(); }
    void takeBack() noexcept;

private:
    struct Step {
        std::string name;
        std::string newName;
        bool isMove;
    };

    void make();
    std::string nextPath();

    const std::string database_;
    const std::string parent_;
    std::string base_;  // all but the number
    int number_ = 0;
    std::string path_;
    bool isMade_ = false;
    std::vector<Step> steps_;
};

/// The name of the file with the rejected lines of a table: TABLE.rejects, or TABLE.lines where that is
/// longer than a name can be.
std::string rejectsName(const std::string& table);

/// The table that a file with rejected lines belongs to, empty for another file.
std::string tableOfRejects(const std::string& name);

}  // namespace Kalt::Vemo::Tool
