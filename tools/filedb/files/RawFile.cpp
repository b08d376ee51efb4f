#include "files/RawFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <system_error>

namespace Kalt::Vemo::Tool {

namespace {

// A table is meant to be small and is read whole, by the engine as well.
constexpr off_t kLargestFile = off_t{1} << 30;

struct Descriptor {
    int number = -1;
    explicit Descriptor(int opened) : number(opened) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (number >= 0) {
            close(number);
        }
    }
};

// Only the owner may ask for an untouched access time.
int openForReading(const std::string& path, int flags) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOATIME | flags);
    return descriptor < 0 && errno == EPERM ? open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | flags)
                                            : descriptor;
}

RawFile failure(RawFile::Kind kind, std::string problem) {
    RawFile file;
    file.kind = kind;
    file.problem = std::move(problem);
    return file;
}

RawFile unreadable() {
    return failure(RawFile::Kind::kUnreadable, "cannot be read: " + std::generic_category().message(errno));
}

std::string nameOfKind(mode_t mode) {
    if (S_ISDIR(mode)) {
        return "is a directory";
    }
    return S_ISFIFO(mode) ? "is a named pipe" : S_ISSOCK(mode) ? "is a socket" : "is a device";
}

}  // namespace

RawFile RawFile::read(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        return errno == ENOENT ? RawFile{} : unreadable();
    }
    if (stat(path.c_str(), &status) != 0) {
        return errno == ENOENT || errno == ELOOP || errno == ENOTDIR
                   ? failure(Kind::kUnusable, "is a symbolic link that leads nowhere")
                   : unreadable();
    }
    if (!S_ISREG(status.st_mode)) {
        return failure(Kind::kUnusable, nameOfKind(status.st_mode));
    }
    const Descriptor descriptor(openForReading(path, 0));
    if (descriptor.number < 0 || fstat(descriptor.number, &status) != 0) {
        return unreadable();
    }
    if (!S_ISREG(status.st_mode)) {
        return failure(Kind::kUnusable, nameOfKind(status.st_mode));
    }
    if (status.st_size > kLargestFile) {
        return failure(Kind::kUnreadable,
                       "cannot be read: larger than " + std::to_string(kLargestFile) + " bytes");
    }

    RawFile file;
    file.kind = Kind::kRegular;
    file.changed = status.st_mtim;
    file.text.reserve(static_cast<std::size_t>(status.st_size));
    std::array<char, 65536> block{};
    for (;;) {
        const ssize_t got = ::read(descriptor.number, block.data(), block.size());
        if (got < 0) {
            return unreadable();
        }
        if (got == 0) {
            return file;
        }
        file.text.append(block.data(), static_cast<std::size_t>(got));
    }
}

std::string pathIn(const std::string& directory, const std::string& name) {
    return directory + "/" + name;
}

std::vector<std::string> entriesOf(const std::string& directory) {
    const int descriptor = openForReading(directory, O_DIRECTORY);
    DIR* const opened = descriptor < 0 ? nullptr : fdopendir(descriptor);
    if (opened == nullptr) {
        const int cause = errno;
        const Descriptor closing(descriptor);
        throw std::system_error(cause, std::generic_category(), directory);
    }
    const std::unique_ptr<DIR, void (*)(DIR*)> stream(opened, [](DIR* open) { closedir(open); });

    std::vector<std::string> names;
    errno = 0;
    while (const dirent* const entry = readdir(stream.get())) {
        names.emplace_back(entry->d_name);
    }
    if (errno != 0) {
        throw std::system_error(errno, std::generic_category(), directory);
    }
    names.erase(std::remove_if(names.begin(), names.end(),
                               [](const std::string& name) { return name == "." || name == ".."; }),
                names.end());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace Kalt::Vemo::Tool
