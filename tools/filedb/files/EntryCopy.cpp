#include "files/EntryCopy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <vector>

#include "files/DurableFiles.h"
#include "files/NewFile.h"
#include "files/RawFile.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr mode_t kPermissions = 07777;

void require(bool succeeded, const std::string& path) {
    if (!succeeded) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

void copyFile(const std::string& source, const std::string& destination, const struct stat& status) {
    const int descriptor = open(source.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    require(descriptor >= 0, source);
    NewFile copy(destination);
    std::vector<char> block(std::size_t{1} << 16U);
    ssize_t got = 0;
    while ((got = read(descriptor, block.data(), block.size())) > 0) {
        try {
            copy.write({block.data(), static_cast<std::size_t>(got)});
        } catch (const std::system_error&) {
            close(descriptor);
            throw;
        }
    }
    const int cause = errno;
    close(descriptor);
    errno = cause;
    require(got == 0, source);
    copy.takeWhatMayBeTaken(status);
    copy.finish();
}

// Who may not give an entry away stays its owner.
void takeWhatMayBeTaken(const std::string& destination, const struct stat& status) {
    require(chown(destination.c_str(), status.st_uid, status.st_gid) == 0 || errno == EPERM, destination);
    require(chmod(destination.c_str(), status.st_mode & kPermissions) == 0, destination);
}

// A pipe, a socket or a device.
void makeNode(const std::string& destination, const struct stat& status) {
    require(mknod(destination.c_str(), status.st_mode, status.st_rdev) == 0, destination);
    takeWhatMayBeTaken(destination, status);
}

void copyLink(const std::string& source, const std::string& destination, const struct stat& status) {
    const std::string target = std::filesystem::read_symlink(source).string();
    require(symlink(target.c_str(), destination.c_str()) == 0, destination);
    require(lchown(destination.c_str(), status.st_uid, status.st_gid) == 0 || errno == EPERM, destination);
}

void copyAny(const std::string& source, const std::string& destination) {
    struct stat status {};
    require(lstat(source.c_str(), &status) == 0, source);
    if (S_ISREG(status.st_mode)) {
        copyFile(source, destination, status);
    } else if (S_ISLNK(status.st_mode)) {
        copyLink(source, destination, status);
    } else if (S_ISDIR(status.st_mode)) {
        require(mkdir(destination.c_str(), S_IRWXU) == 0, destination);
        for (const std::string& name : entriesOf(source)) {
            copyAny(pathIn(source, name), pathIn(destination, name));
        }
        takeWhatMayBeTaken(destination, status);
        DurableFiles::syncDirectory(destination);
    } else {
        makeNode(destination, status);
    }
}

}  // namespace

void copyEntry(const std::string& source, const std::string& destination) {
    struct stat status {};
    if (lstat(destination.c_str(), &status) == 0) {
        throw std::system_error(EEXIST, std::generic_category(), destination);
    }
    try {
        copyAny(source, destination);
    } catch (const std::exception&) {
        std::error_code ignored;
        std::filesystem::remove_all(destination, ignored);
        throw;
    }
}

}  // namespace Kalt::Vemo::Tool
