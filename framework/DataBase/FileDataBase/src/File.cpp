#include "File.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "DatabaseException.h"
#include "EngineLog.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

constexpr const char* kLogTag = "FileResultTable";

constexpr std::size_t kRoomForALine = 1024;

DatabaseException readError() {
    return {"getNextRecordFromTableFile", __LINE__, "DB Error: Error occurred during file reading"};
}

FileIdentity identityFrom(const struct stat& status) {
    return {status.st_dev, status.st_ino, status.st_size, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
}

// The open(2) flags of an fopen mode.
int flagsOf(const std::string& mode) {
    const bool update = mode.find('+') != std::string::npos;
    const int access = update ? O_RDWR : (mode[0] == 'r' ? O_RDONLY : O_WRONLY);
    const int creation = mode[0] == 'r' ? 0 : (mode[0] == 'w' ? O_CREAT | O_TRUNC : O_CREAT | O_APPEND);
    return access | creation;
}

// Never blocking: a named pipe under a table's name must not hang a statement. For the regular files of a
// database it makes no difference.
int openDescriptor(const std::string& fileName, int flags, const char* mode) {
    File::logUse(fileName, mode);
    constexpr mode_t kPermissions = 0666;  // less the process's umask, as for fopen
    return ::open(fileName.c_str(), flags | O_CLOEXEC | O_NONBLOCK, kPermissions);
}

DatabaseException openError() {
    return {"openFile", __LINE__, "DataBase Error: Couldn't open the corresponding file"};
}

}  // namespace

FileIdentity FileIdentity::of(const std::string& fileName) {
    struct stat status {};
    return stat(fileName.c_str(), &status) == 0 ? identityFrom(status) : FileIdentity{};
}

Difference Difference::with(const Difference& later) const {
    return {std::min(begin, later.begin), std::max(end, later.end)};
}

File::~File() {
    if (descriptor_ >= 0) {
        // Whoever wrote to the file has closed it before, and looked at the result.
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
    return openOrThrow(fileName, flagsOf(mode), mode);
}

File File::openExisting(const std::string& fileName, bool forWriting) {
    return File(openDescriptor(fileName, forWriting ? O_RDWR : O_RDONLY, forWriting ? "r+" : "r"));
}

File File::openForOverwrite(const std::string& fileName) {
    return openOrThrow(fileName, O_RDWR | O_CREAT, "r+");
}

File File::openOrThrow(const std::string& fileName, int flags, const std::string& mode) {
    File file(openDescriptor(fileName, flags, mode.c_str()));
    if (!file) {
        const std::string cause = std::generic_category().message(errno);
        FILEDB_LOG(kLogInfo, "Cannot open '%s' with mode '%s': %s", fileName.c_str(), mode.c_str(),
                   cause.c_str());
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

FileIdentity File::identity() const {
    struct stat status {};
    if (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) {
        throw readError();
    }
    return identityFrom(status);
}

Text File::readWhole(const FileIdentity& identity) const {
    Text text;
    // One byte more than the file has: the read that comes back short has found the end. And a record that is
    // added to the text finds room.
    text.reserve(static_cast<std::size_t>(identity.size) + 1 + kRoomForALine);
    for (;;) {
        const std::size_t room = text.room();
        const std::size_t got = readAt(text.size(), text.end(), room);
        text.extend(got);
        if (got < room) {
            return text;
        }
        text.reserve(2 * text.size());  // the file has grown meanwhile
    }
}

std::size_t File::readAt(std::size_t offset, char* buffer, std::size_t size) const {
    const ssize_t got = pread(descriptor_, buffer, size, static_cast<off_t>(offset));
    if (got < 0) {
        throw readError();
    }
    return static_cast<std::size_t>(got);
}

void File::writeAt(std::size_t offset, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = pwrite(descriptor_, text.data(), text.size(), static_cast<off_t>(offset));
        if (written <= 0) {
            throw writeError();
        }
        text.remove_prefix(static_cast<std::size_t>(written));
        offset += static_cast<std::size_t>(written);
    }
}

void File::cut(std::size_t length) {
    if (ftruncate(descriptor_, static_cast<off_t>(length)) != 0) {
        throw writeError();
    }
}

FileIdentity File::overwrite(std::string_view text, const Difference& difference) {
    writeDifference(text, difference);
    const FileIdentity now = identity();
    if (now.size == static_cast<long long>(text.size())) {
        return now;
    }
    cut(text.size());
    return identity();
}

void File::overwrite(std::string_view text, const Difference& difference, const FileIdentity& old) {
    writeDifference(text, difference);
    if (static_cast<long long>(text.size()) < old.size) {
        cut(text.size());
    }
}

void File::writeDifference(std::string_view text, const Difference& difference) {
    FILEDB_LOG(kLogTrace, "Writing Records to File: %.*s", static_cast<int>(text.size()), text.data());
    const std::size_t end = std::min(difference.end, text.size());
    const std::size_t begin = std::min(difference.begin, end);
    writeAt(begin, text.substr(begin, end - begin));
}

DatabaseException File::writeError() {
    const std::string cause = std::generic_category().message(errno);
    return {"overwrite", __LINE__, "File Error: File write error: %s", cause.c_str()};
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
