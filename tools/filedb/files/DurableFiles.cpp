#include "files/DurableFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "files/RawFile.h"

namespace Kalt::Vemo::Tool {

namespace {

// Behind the name of the file that is being replaced. Such a file is what a stopped run leaves; the next one
// sets it aside as it does with every file that is none of the database's.
constexpr const char* kTemporarySuffix = ".repair-tmp";

void require(bool succeeded, const std::string& path) {
    if (!succeeded) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

class Output {
public:
    Output(const std::string& path, mode_t mode)
        : path_(path),
          descriptor_(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode)) {
        require(descriptor_ >= 0, path_);
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output() {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
    }

    void takeOwnerAndPermissions(const struct stat& status) {
        require(fchown(descriptor_, status.st_uid, status.st_gid) == 0, path_);
        require(fchmod(descriptor_, status.st_mode & 07777) == 0, path_);
    }

    void write(std::string_view text) {
        while (!text.empty()) {
            const ssize_t written = ::write(descriptor_, text.data(), text.size());
            require(written >= 0, path_);
            text.remove_prefix(static_cast<std::size_t>(written));
        }
    }

    void finish() {
        require(fsync(descriptor_) == 0, path_);
        const int closing = descriptor_;
        descriptor_ = -1;
        require(close(closing) == 0, path_);
    }

private:
    const std::string path_;
    int descriptor_;
};

constexpr mode_t kFilePermissions = 0666;  // less the process's umask
constexpr mode_t kDirectoryPermissions = 0777;

void syncDirectory(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(descriptor >= 0, path);
    const int result = fsync(descriptor);
    const int cause = errno;
    close(descriptor);
    errno = cause;
    require(result == 0 || cause == EINVAL, path);  // some file systems know no syncing of a directory
}

void requireMissing(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0) {
        throw std::system_error(EEXIST, std::generic_category(), path);
    }
}

}  // namespace

void DurableFiles::replace(const std::string& directory, const std::string& name, std::string_view text,
                           const std::function<void(const std::string& file)>& prepare) {
    const std::string path = directory + "/" + name;
    const std::string temporary = path + kTemporarySuffix;
    struct stat status {};
    const bool isRegular = lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    Output output(temporary, kFilePermissions);
    if (isRegular) {
        output.takeOwnerAndPermissions(status);
    }
    output.write(text);
    output.finish();
    if (prepare) {
        prepare(temporary);
    }
    require(std::rename(temporary.c_str(), path.c_str()) == 0, path);
    syncDirectory(directory);
}

void DurableFiles::writeNew(const std::string& directory, const std::string& name, std::string_view text) {
    Output output(directory + "/" + name, kFilePermissions);
    output.write(text);
    output.finish();
    syncDirectory(directory);
}

void DurableFiles::copy(const std::string& from, const std::string& to, const std::string& name) {
    const std::string source = from + "/" + name;
    struct stat status {};
    require(lstat(source.c_str(), &status) == 0, source);
    if (S_ISLNK(status.st_mode)) {
        const std::string target = std::filesystem::read_symlink(source).string();
        require(symlink(target.c_str(), (to + "/" + name).c_str()) == 0, to + "/" + name);
        syncDirectory(to);
        return;
    }
    const RawFile file = RawFile::read(source);
    if (!file.isRegular()) {
        throw std::system_error(EIO, std::generic_category(), source + " " + file.problem);
    }
    Output output(to + "/" + name, kFilePermissions);
    output.takeOwnerAndPermissions(status);
    output.write(file.text);
    output.finish();
    syncDirectory(to);
}

void DurableFiles::move(const std::string& from, const std::string& to, const std::string& name) {
    const std::string source = from + "/" + name;
    const std::string destination = to + "/" + name;
    requireMissing(destination);
    require(std::rename(source.c_str(), destination.c_str()) == 0, source);
    syncDirectory(to);
    syncDirectory(from);
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
