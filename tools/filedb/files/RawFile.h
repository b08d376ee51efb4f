#pragma once

#include <ctime>
#include <string>
#include <vector>

namespace Kalt::Vemo::Tool {

/// A directory entry as it is on the disk, read without leaving a trace and without ever waiting for a pipe.
struct RawFile {
    enum class Kind {
        kMissing,
        kRegular,    // also behind a symbolic link
        kUnusable,   // a directory, a pipe, a device, a link that leads nowhere: `problem` says which
        kUnreadable  // the system refused to read it: `problem` gives the cause
    };

    Kind kind = Kind::kMissing;
    std::string text;
    std::string problem;
    std::timespec changed{};

    bool exists() const { return kind != Kind::kMissing; }
    bool isRegular() const { return kind == Kind::kRegular; }

    static RawFile read(const std::string& path);
};

/// The path of an entry.
std::string pathIn(const std::string& directory, const std::string& name);

/// Names of a directory's entries, sorted by their bytes. Throws: std::system_error.
std::vector<std::string> entriesOf(const std::string& directory);

}  // namespace Kalt::Vemo::Tool
