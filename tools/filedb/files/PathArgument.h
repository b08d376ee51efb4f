#pragma once

#include <string>

namespace Kalt::Vemo::Tool {

/// The PATH of a command line: a database as `init` takes it, or its directory, whose name ends in "_filedb".
///
///     PathArgument("/var/lib/store").directory();          // /var/lib/store_filedb
///     PathArgument("/var/lib/store_filedb").directory();   // the same
class PathArgument {
public:
    /// Throws: Trouble for an empty text.
    explicit PathArgument(const std::string& text);

    /// The path for `init`, and the directory that belongs to it.
    const std::string& base() const { return base_; }
    const std::string& directory() const { return directory_; }

    /// Throws: Trouble when the directory is not there.
    void requireDirectory() const;

private:
    std::string text_;
    std::string base_;
    std::string directory_;
};

}  // namespace Kalt::Vemo::Tool
