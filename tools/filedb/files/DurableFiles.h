#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace Kalt::Vemo::Tool {

/// File operations that are on the disk when they return. Throws, each of them: std::system_error, with the
/// path in its text; the files are then as they were, except that a file may have been left behind under the
/// temporary name.
class DurableFiles {
public:
    DurableFiles() = delete;

    /// Makes `text` the content of the file `name`, in one step: whoever looks finds the old or the new
    /// content. Owner and permissions stay; a symbolic link is replaced, what it leads to stays as it is.
    ///
    /// @param prepare what is to be done to the new file, by its temporary name, before it takes its place
    static void replace(const std::string& directory, const std::string& name, std::string_view text,
                        const std::function<void(const std::string& file)>& prepare = {});

    /// Writes a file that is not there yet.
    static void writeNew(const std::string& directory, const std::string& name, std::string_view text);

    /// Copies the entry `name`, a regular file or a symbolic link, to another directory that has no such
    /// entry.
    static void copy(const std::string& from, const std::string& to, const std::string& name);

    /// Moves the entry `name`, whatever it is, to another directory of the same file system that has no such
    /// entry.
    static void move(const std::string& from, const std::string& to, const std::string& name);

    /// Makes a directory. On failure: false when something of that name is there.
    static bool makeDirectory(const std::string& path);
};

}  // namespace Kalt::Vemo::Tool
