#pragma once

#include <string>
#include <vector>

#include "files/PathArgument.h"

namespace Kalt::Vemo::Tool {

/// A copy of a database in a temporary directory, removed at the end, also when a signal ends the program.
/// Opening a database tidies it up; whoever only wants to look opens a copy.
///
/// Neither content nor time stamps of the original change, as far as the system allows that. Files that a
/// live process changes while they are copied are copied again. Only one object may live at a time.
class ReadOnlyCopy {
public:
    /// Throws: Trouble when the directory cannot be read or copied, or does not come to rest.
    explicit ReadOnlyCopy(const PathArgument& original);
    ~ReadOnlyCopy();
    ReadOnlyCopy(const ReadOnlyCopy&) = delete;
    ReadOnlyCopy& operator=(const ReadOnlyCopy&) = delete;

    /// For a library, whose program has its own way with signals: one that ends it leaves the copy behind.
    static void leaveSignalsAlone();

    const PathArgument& path() const { return path_; }

private:
    static std::string makeTemporaryDirectory();
    void remove();

    std::string temporary_;
    PathArgument path_;
    std::vector<std::string> entries_;  // files first, then directories from the inside out
};

}  // namespace Kalt::Vemo::Tool
