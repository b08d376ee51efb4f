#pragma once

#include <map>
#include <string>

namespace Kalt::Vemo::Fuzz {

/// Name and bytes of files.
using Files = std::map<std::string, std::string>;

/// The directory in memory where a target keeps its files: one for each process, removed at its end. Below
/// TMPDIR, or /dev/shm where that is not set.
class FuzzDirectory {
public:
    /// The process's directory, emptied.
    static FuzzDirectory& emptied();

    ~FuzzDirectory();
    FuzzDirectory(const FuzzDirectory&) = delete;
    FuzzDirectory& operator=(const FuzzDirectory&) = delete;

    const std::string& path() const { return path_; }

private:
    FuzzDirectory();

    std::string path_;
};

/// Makes `content` the whole content of a file.
void putFile(const std::string& path, const std::string& content);

/// Makes `directory` hold these files and nothing else. Files that are there are made anew.
void putFiles(const std::string& directory, const Files& files);

/// The regular files of a directory.
Files filesOf(const std::string& directory);

std::string contentOf(const std::string& file);

}  // namespace Kalt::Vemo::Fuzz
