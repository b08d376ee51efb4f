#include "files/NewFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace Kalt::Vemo::Tool {

namespace {

constexpr mode_t kFilePermissions = 0666;  // less the process's umask

}  // namespace

NewFile::NewFile(std::string path)
    : path_(std::move(path)),
      descriptor_(
          open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, kFilePermissions)) {
    require(descriptor_ >= 0);
}

NewFile::~NewFile() {
    if (descriptor_ >= 0) {
        close(descriptor_);
        static_cast<void>(unlink(path_.c_str()));
    }
}

void NewFile::require(bool succeeded) const {
    if (!succeeded) {
        throw std::system_error(errno, std::generic_category(), path_);
    }
}

void NewFile::takeOwnerAndPermissions(const struct stat& status) {
    require(fchown(descriptor_, status.st_uid, status.st_gid) == 0);
    require(fchmod(descriptor_, status.st_mode & 07777) == 0);
}

void NewFile::takeWhatMayBeTaken(const struct stat& status) {
    require(fchown(descriptor_, status.st_uid, status.st_gid) == 0 || errno == EPERM);
    require(fchmod(descriptor_, status.st_mode & 07777) == 0);
    takeTimes(status);
}

void NewFile::takeTimes(const struct stat& status) {
    const std::array<timespec, 2> times{status.st_atim, status.st_mtim};
    require(futimens(descriptor_, times.data()) == 0);
}

void NewFile::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor_, text.data(), text.size());
        require(written >= 0);
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

void NewFile::finish() {
    require(fsync(descriptor_) == 0);
    const int closing = descriptor_;
    descriptor_ = -1;
    if (close(closing) != 0) {
        const int cause = errno;
        static_cast<void>(unlink(path_.c_str()));
        errno = cause;
        require(false);
    }
}

}  // namespace Kalt::Vemo::Tool
