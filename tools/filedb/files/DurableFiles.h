#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace Kalt::Vemo::Tool {

/// File operations that are on the disk when they return. Throws, each of them: std::system_error, with the
/// path in its text; the files are then as they were. Only a process that is killed leaves a file behind,
/// under the name kTemporaryName.
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

    /// Gives the entry `name` the same name in another directory that has no such entry. The two are one
    /// file, where the system can do that, or else the other is a copy: so the one is to be replaced, not
    /// written to.
    static void link(const std::string& from, const std::string& to, const std::string& name);

    /// Moves the entry `name`, whatever it is, to a name that no entry of another directory has, also on
    /// another file system.
    static void move(const std::string& from, const std::string& name, const std::string& to,
                     const std::string& newName);

    /// Removes the entry `name`, no directory.
    static void remove(const std::string& directory, const std::string& name);

    /// Waits until what was made, renamed and removed in the directory is on the disk.
    static void syncDirectory(const std::string& path);

    /// Makes a directory. On failure: false when something of that name is there.
    static bool makeDirectory(const std::string& path);
};

}  // namespace Kalt::Vemo::Tool
