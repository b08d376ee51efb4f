#include "File.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>

#include "EngineErrors.h"
#include "EngineLog.h"
#include "TableFormat.h"
#include "Uninterrupted.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

constexpr const char* kLogTag = "FileResultTable";

constexpr std::size_t kRoomForALine = 1024;

FileIdentity identityFrom(const struct stat& status) {
    return {status.st_dev, status.st_ino, status.st_size, status.st_ctim, status.st_mtim};
}

bool same(const timespec& left, const timespec& right) {
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

// By the numbers that statfs(2) gives.
bool isRemote(unsigned long type) {
    constexpr unsigned long kRemoteTypes[] = {
        0x6969,      // NFS
        0x517B,      // SMB
        0xFE534D42,  // SMB2
        0xFF534D42,  // CIFS
        0x65735546,  // FUSE, virtiofs
        0x01021997,  // 9P
        0x73757245,  // Coda
        0x5346414F,  // AFS
        0x6B414653,  // AFS of the kernel
        0x00C36400,  // Ceph
        0x0BD00BD0,  // Lustre
        0x01161970,  // GFS2
        0x7461636F,  // OCFS2
        0x47504653,  // GPFS
        0x20030528,  // OrangeFS
        0x786F4256,  // folders of a virtual machine's host
        0xBACBACBC,  // the same, another host
        0x564C,      // NCP
    };
    return std::find(std::begin(kRemoteTypes), std::end(kRemoteTypes), type) != std::end(kRemoteTypes);
}

// The open(2) flags of an fopen mode; nothing for any other text.
std::optional<int> flagsOf(const std::string& mode) {
    const bool update = mode.find('+') != std::string::npos;
    const int exclusive = mode.find('x') != std::string::npos ? O_EXCL : 0;
    switch (mode.empty() ? '\0' : mode.front()) {
        case 'r':
            return update ? O_RDWR : O_RDONLY;
        case 'w':
            return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC | exclusive;
        case 'a':
            return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND | exclusive;
        default:
            return std::nullopt;
    }
}

// Does not block: a named pipe under a table's name must not hang a statement. Regular files never block.
int openSilently(const std::string& fileName, int flags) {
    constexpr mode_t kPermissions = 0666;  // less the process's umask, as for fopen
    return uninterrupted(
        [&] { return ::open(fileName.c_str(), flags | O_CLOEXEC | O_NONBLOCK, kPermissions); });
}

int openDescriptor(const std::string& fileName, int flags, const char* mode) {
    File::logUse(fileName, mode);
    return openSilently(fileName, flags);
}

void logCause(const std::string& fileName, const char* mode) {
    FILEDB_LOG(kLogInfo, "Cannot open '%s' with mode '%s': %s", fileName.c_str(), mode,
               std::generic_category().message(errno).c_str());
}

}  // namespace

FileIdentity FileIdentity::ofName(const std::string& fileName) {
    struct stat status {};
    return lstat(fileName.c_str(), &status) == 0 ? identityFrom(status) : FileIdentity{};
}

FileIdentity FileIdentity::of(const std::string& fileName) {
    struct stat status {};
    return stat(fileName.c_str(), &status) == 0 ? identityFrom(status) : FileIdentity{};
}

bool FileIdentity::operator==(const FileIdentity& other) const {
    return sameFile(other) && size == other.size && same(changed, other.changed) &&
           same(modified, other.modified);
}

Difference Difference::with(const Difference& later) const {
    return {std::min(begin, later.begin), std::max(end, later.end)};
}

File::~File() {
    if (descriptor_ >= 0) {
        // A writer has called close() before and seen the result.
        static_cast<void>(::close(descriptor_));
    }
}

File& File::operator=(File&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
}

int File::release() noexcept {
    return std::exchange(descriptor_, -1);
}

File File::open(const std::string& fileName, const std::string& mode) {
    const std::optional<int> flags = flagsOf(mode);
    if (!flags) {
        FILEDB_LOG(kLogInfo, "Cannot open '%s': '%s' is no mode, it must begin with r, w or a",
                   fileName.c_str(), mode.c_str());
        throw openError();
    }
    return openOrThrow(fileName, *flags, mode.c_str());
}

bool File::exists(const std::string& fileName) {
    constexpr const char* kProbe = "r";
    if (const File file(openDescriptor(fileName, O_RDONLY, kProbe)); file) {
        return true;
    }
    if (errno == ENOENT || errno == ENOTDIR) {
        return false;
    }
    logCause(fileName, kProbe);
    throw openError();
}

File File::openExisting(const std::string& fileName, Access access) {
    const bool writes = access == Access::readAndWrite;
    return File(openDescriptor(fileName, writes ? O_RDWR : O_RDONLY, writes ? "r+" : "r"));
}

File File::openForOverwrite(const std::string& fileName) {
    return openOrThrow(fileName, O_RDWR | O_CREAT, "r+");
}

File File::makeNew(const std::string& fileName) {
    return File(openSilently(fileName, O_RDWR | O_CREAT | O_EXCL));
}

File File::makeAnew(const std::string& fileName) {
    constexpr const char* kMode = "r+";
    logUse(fileName, kMode);
    File file = makeNew(fileName);
    if (!file && errno == EEXIST) {
        const std::string fresh = fileName + kNewSuffix;
        static_cast<void>(unlink(fresh.c_str()));
        file = makeNew(fresh);
        if (file && std::rename(fresh.c_str(), fileName.c_str()) != 0) {
            const int error = errno;
            file = {};
            static_cast<void>(unlink(fresh.c_str()));
            errno = error;
        }
    }
    if (!file) {
        logCause(fileName, kMode);
        throw openError();
    }
    return file;
}

File File::openQuietly(const std::string& fileName) {
    return File(openSilently(fileName, O_RDWR));
}

File File::openNoLink(const std::string& fileName) {
    return File(openSilently(fileName, O_RDWR | O_NOFOLLOW));
}

File File::openOrThrow(const std::string& fileName, int flags, const char* mode) {
    File file(openDescriptor(fileName, flags, mode));
    if (!file) {
        logCause(fileName, mode);
        throw openError();
    }
    return file;
}

void File::logUse(const std::string& fileName, const char* mode) {
    FILEDB_LOG(kLogTrace, "File Name:'%s' mode='%s'", fileName.c_str(), mode);
}

void File::close() {
    if (descriptor_ >= 0 && ::close(release()) != 0) {
        throw writeError();
    }
}

FILE* File::intoStream(const std::string& mode) && {
    FILE* stream = fdopen(descriptor_, mode.c_str());
    if (stream == nullptr) {
        throw openError();
    }
    release();
    return stream;
}

void File::requireRegular() const {
    static_cast<void>(identity());
}

FileIdentity File::identity() const {
    const FileIdentity identity = status();
    if (!identity.isFile()) {
        throw readError();
    }
    return identity;
}

FileIdentity File::status() const noexcept {
    struct stat status {};
    const bool isFile = fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
    return isFile ? identityFrom(status) : FileIdentity{};
}

void File::sync() {
    if (fdatasync(descriptor_) != 0) {
        throw writeError();
    }
}

bool File::setModificationTime(const timespec& time) {
    timespec times[2]{};
    times[0].tv_nsec = UTIME_OMIT;
    times[1] = time;
    return futimens(descriptor_, times) == 0;
}

bool File::isOnLocalDisk() const {
    struct statfs status {};
    // The type is a number of 32 bits, kept in a signed word.
    return fstatfs(descriptor_, &status) == 0 && !isRemote(static_cast<std::uint32_t>(status.f_type));
}

Buffer File::readWhole(const FileIdentity& identity) const {
    const auto size = static_cast<std::size_t>(identity.size);
    Buffer text;
    // Room for more bytes than the file has: a read that gives no more than those has reached the end, and a
    // record that is added to the text finds room.
    text.reserve(size + 1 + kRoomForALine);
    for (;;) {
        const std::size_t got = readAt(text.size(), text.end(), text.room());
        text.extend(got);
        if (text.size() == size || (got == 0 && text.size() > size)) {
            return text;
        }
        if (got == 0) {
            throw readError();  // rows may be missing
        }
        if (text.room() == 0) {
            text.reserve(2 * text.size());  // the file has grown meanwhile
        }
    }
}

std::size_t File::readAt(std::size_t offset, char* buffer, std::size_t size) const {
    const ssize_t got =
        uninterrupted([&] { return pread(descriptor_, buffer, size, static_cast<off_t>(offset)); });
    if (got < 0) {
        throw readError();
    }
    return static_cast<std::size_t>(got);
}

void File::writeAt(std::size_t offset, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = uninterrupted(
            [&] { return pwrite(descriptor_, text.data(), text.size(), static_cast<off_t>(offset)); });
        if (written <= 0) {
            errno = written == 0 ? ENOSPC : errno;
            throw writeError();
        }
        text.remove_prefix(static_cast<std::size_t>(written));
        offset += static_cast<std::size_t>(written);
    }
}

void File::truncate(std::size_t length) {
    if (uninterrupted([&] { return ftruncate(descriptor_, static_cast<off_t>(length)); }) != 0) {
        throw writeError();
    }
}

void File::logWrite(std::string_view text) {
    FILEDB_LOG(kLogTrace, "Writing Records to File: %.*s", static_cast<int>(text.size()), text.data());
}

void File::write(std::string_view text, const Difference& difference) {
    logWrite(text);
    const std::size_t end = std::min(difference.end, text.size());
    const std::size_t begin = std::min(difference.begin, end);
    writeAt(begin, text.substr(begin, end - begin));
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
