#pragma once

#include <string>

#include "console/LogListener.h"
#include "files/DirectoryUse.h"
#include "files/PathArgument.h"

namespace Kalt::Vemo::Tool {

/// Opens a database and closes it again: the engine then finishes or takes back what an earlier process left
/// undone, and the tables' files hold what is committed.
///
/// @param base as `init` takes it
/// @param named the directory, for the message
/// @param log listens meanwhile
/// Throws: Trouble when it cannot be opened.
void recoverDatabase(const std::string& base, const std::string& named, LogListener& log);

/// A database whose files this program changes itself: recovered, and closed to every other process.
class DatabaseUse {
public:
    enum class Missing { kRefused, kMade };
    /// What an interrupted commit has left and the opening would lose.
    enum class Unfinished {
        kRefused,
        kRefusedUnlessForced,  ///< the same, and the error names the option that accepts the loss
        kLost
    };

    /// Throws: Trouble when there is no database, another process has it open, or it cannot be opened.
    DatabaseUse(const PathArgument& path, Missing missing, Unfinished unfinished = Unfinished::kRefused);

    const std::string& directory() const { return directory_; }

private:
    const std::string directory_;
    LogListener log_;
    DirectoryUse use_;
};

}  // namespace Kalt::Vemo::Tool
