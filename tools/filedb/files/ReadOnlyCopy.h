#pragma once

#include <string>
#include <vector>

#include "files/PathArgument.h"
#include "files/Snapshot.h"
#include "files/TemporaryPlace.h"

namespace Kalt::Vemo::Tool {

/// A copy of a database in a temporary directory, removed at the end, also when a signal ends the program.
/// Opening a database tidies it up; whoever only wants to look opens a copy.
///
/// Tables, working copies and the journal are copied, as they were at one moment; files that are none of the
/// database's are not even read. Neither content nor time stamps of the original change, as far as the
/// system allows that. Only one object may live at a time, unless
/// TemporaryPlace::leaveSignalsAlone() was called.
class ReadOnlyCopy {
public:
    /// Throws: Trouble when the directory cannot be read or copied, or does not come to rest.
    explicit ReadOnlyCopy(const PathArgument& original);

    const PathArgument& path() const { return path_; }

private:
    ReadOnlyCopy(const PathArgument& original, const Snapshot& snapshot);

    TemporaryPlace place_;
    PathArgument path_;
};

}  // namespace Kalt::Vemo::Tool
