#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Kalt::Vemo::Tool {

/// Puts new texts in the places of tables' files, each in one step, as the engine does when it commits: the
/// new file gets mode, owner, access list and other attributes of the old one and is on the disk before it
/// takes its place; a symbolic link is followed.
///
/// 1. prepare()   TABLE.table.new is written beside each table. A run that is stopped leaves such files; the
///                next one of the same table writes over them, and `filedb check` names them.
/// 2. finish()    they are renamed, one after the other, and working copies that are out of date now go.
class TableReplacement {
public:
    explicit TableReplacement(std::string directory) : directory_(std::move(directory)) {}
    ~TableReplacement();
    TableReplacement(const TableReplacement&) = delete;
    TableReplacement& operator=(const TableReplacement&) = delete;

    /// Throws: Trouble when the system refuses; nothing has changed then.
    void prepare(const std::string& table, std::string_view text);

    /// Throws: Trouble when the system refuses; it names the table. Those before it have been replaced.
    void finish();

private:
    struct Prepared {
        std::string file;    // the new one
        std::string target;  // whose place it takes
        std::string copy;    // the working copy that an earlier process may have left
    };

    void finish(const Prepared& prepared) const;

    const std::string directory_;
    std::vector<Prepared> prepared_;  // without those that are in place
};

}  // namespace Kalt::Vemo::Tool
