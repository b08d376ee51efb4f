#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Disk.h"
#include "DiskRecord.h"

namespace Kalt::Vemo::Test {

/// The power is cut after a number of recorded steps: which states may the disk be found in?
///
/// The model promises less than any file system that POSIX describes. Nothing orders two things but a sync.
///
///     calls so far          make a.new   write a.new   sync a.new   rename to a   write a   | cut
///                                                          |                         |      |
///     content of the file   . . . . . . . . . . . safe . . +  any part of it . . . . . . . .+
///     names                 . . . any number of these, from the first one on . . . . . . . .+
///
/// - A file holds what it held at its last sync, and of the later writes and truncations any selection,
///   in their order. Of a write there may be all; nothing; only the new size, with NULs in place of the
///   bytes; the first half of the bytes; the first of the blocks that it touches; all but that.
/// - A directory has had the changes of its names (make, rename, remove) up to any one of them, in their
///   order, but all before its last sync. A sync of the file itself does not keep its name. Directories do
///   not wait for each other: of a rename from one to another either half may be missing.
/// - What is not on the disk by its name, or is in a directory that is not, is lost.
///
/// Where there are more states than asked for, it gives those where one thing is out of the common order
/// (everything there, nothing, one thing missing, two of a few missing, one alone there, a beginning there)
/// and a selection, the same in every run.
class PowerCut {
public:
    /// @param steps how many steps of the record came before the cut
    PowerCut(const DiskRecord& record, std::size_t steps);

    /// @param most how many states of the files to give for each state of the names, and how many of the
    ///             latter, before the selection begins; it adds those out of the common order to as many
    void forEachState(std::size_t most, const std::function<void(const Disk& state)>& visit) const;

private:
    /// What one call does to the names of one directory.
    struct NameChange {
        std::string goes;     ///< the name that goes; empty when none does
        std::string appears;  ///< the name that appears; empty when none does
        Node node = 0;        ///< what has appeared; 0 for a directory
    };
    struct Directory {
        std::vector<NameChange> changes;
        std::size_t safe = 0;  ///< how many of them a sync has made safe
    };
    struct File {
        std::string safe;
        std::vector<const DiskStep*> later;
    };

    void take(const DiskStep& step);
    void change(const std::string& directory, NameChange change);
    Disk names(const std::vector<std::size_t>& missing) const;
    void forEachContent(Disk state, std::size_t most,
                        const std::function<void(const Disk& state)>& visit) const;

    const Disk& base_;
    std::map<std::string, Directory> directories_;
    std::map<Node, File> files_;
};

}  // namespace Kalt::Vemo::Test
