#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "files/RawFile.h"

namespace Kalt::Vemo::Tool {

/// The files of a database's directory as they were at one moment, also while a live process changes them.
///
/// Tables, working copies and the journal are read, and nothing else: of any other entry there is the name
/// alone. Reading leaves no trace.
class Snapshot {
public:
    /// The entries that the engine reads, by their names. None of them is missing.
    using Files = std::map<std::string, RawFile>;

    /// Reads until two readings in a row give the same. While a process that has the database open copies
    /// working copies over their tables, it waits for the end of that, and for half a second for that of a
    /// statement; a commit that was interrupted for good is taken as it stands.
    ///
    /// Throws: Trouble when the directory cannot be read, or does not come to rest.
    static Snapshot ofLive(const std::string& directory);

    /// Reads twice, and gives nothing where the directory is not at rest: the two readings differ, or the
    /// journal tells of a commit that is under way or was interrupted. Throws: Trouble when it cannot be
    /// read.
    static std::optional<Snapshot> ofLiveAtOnce(const std::string& directory);

    /// Reads once. Requires: nobody changes the directory meanwhile. Throws: Trouble, as ofLive.
    static Snapshot ofLocked(const std::string& directory);

    const Files& files() const { return files_; }

    /// The names of all entries, sorted by their bytes.
    const std::vector<std::string>& names() const { return names_; }

    /// The file of that name; one of the kind kMissing where there is none.
    const RawFile& file(const std::string& name) const;

    /// The same entries with the same contents and time stamps.
    bool operator==(const Snapshot& other) const;
    bool operator!=(const Snapshot& other) const { return !(*this == other); }

private:
    explicit Snapshot(const std::string& directory);
    bool isCopyingOver() const;
    bool hasWorkingCopy() const;

    std::vector<std::string> names_;
    Files files_;
};

}  // namespace Kalt::Vemo::Tool
