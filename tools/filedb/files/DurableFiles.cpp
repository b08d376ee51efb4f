#include "files/DurableFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "files/EntryCopy.h"
#include "files/EntryName.h"
#include "files/NewFile.h"

namespace Kalt::Vemo::Tool {

namespace {

void require(bool succeeded, const std::string& path) {
    if (!succeeded) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

constexpr mode_t kDirectoryPermissions = 0777;  // less the process's umask

void requireMissing(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0) {
        throw std::system_error(EEXIST, std::generic_category(), path);
    }
}

}  // namespace

void DurableFiles::syncDirectory(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(descriptor >= 0, path);
    const int result = fsync(descriptor);
    const int cause = errno;
    close(descriptor);
    errno = cause;
    require(result == 0 || cause == EINVAL, path);  // some file systems know no syncing of a directory
}

void DurableFiles::replace(const std::string& directory, const std::string& name, std::string_view text,
                           const std::function<void(const std::string& file)>& prepare) {
    const std::string path = directory + "/" + name;
    const std::string temporary = directory + "/" + kTemporaryName;
    static_cast<void>(unlink(temporary.c_str()));  // what a stopped run left
    struct stat status {};
    const bool isRegular = lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    {
        NewFile output(temporary);
        if (isRegular) {
            output.takeOwnerAndPermissions(status);
        }
        output.write(text);
        output.finish();
    }
    try {
        if (prepare) {
            prepare(temporary);
        }
        require(std::rename(temporary.c_str(), path.c_str()) == 0, path);
    } catch (const std::exception&) {
        static_cast<void>(unlink(temporary.c_str()));
        throw;
    }
    syncDirectory(directory);
}

void DurableFiles::writeNew(const std::string& directory, const std::string& name, std::string_view text) {
    NewFile output(directory + "/" + name);
    output.write(text);
    output.finish();
    syncDirectory(directory);
}

void DurableFiles::link(const std::string& from, const std::string& to, const std::string& name) {
    const std::string source = from + "/" + name;
    const std::string destination = to + "/" + name;
    // A link to a symbolic link is what some file systems refuse and others follow.
    const bool isLinked =
        !std::filesystem::is_symlink(source) && ::link(source.c_str(), destination.c_str()) == 0;
    if (!isLinked) {
        copyEntry(source, destination);
    }
    syncDirectory(to);
}

void DurableFiles::move(const std::string& from, const std::string& name, const std::string& to,
                        const std::string& newName) {
    const std::string source = from + "/" + name;
    const std::string destination = to + "/" + newName;
    requireMissing(destination);
    if (std::rename(source.c_str(), destination.c_str()) != 0) {
        require(errno == EXDEV, source);
        copyEntry(source, destination);
        syncDirectory(to);
        std::filesystem::remove_all(source);
    }
    syncDirectory(to);
    syncDirectory(from);
}

void DurableFiles::remove(const std::string& directory, const std::string& name) {
    std::filesystem::remove(directory + "/" + name);
    syncDirectory(directory);
}

bool DurableFiles::makeDirectory(const std::string& path) {
    if (mkdir(path.c_str(), kDirectoryPermissions) == 0) {
        const std::filesystem::path parent = std::filesystem::path(path).parent_path();
        syncDirectory(parent.empty() ? "." : parent.string());
        return true;
    }
    require(errno == EEXIST, path);
    return false;
}

}  // namespace Kalt::Vemo::Tool
