#include "FaultLayer.h"

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "FileCallListener.h"

namespace Kalt::Vemo::Test {

const Fault Fault::kNone{};
const Fault Fault::kNoSpace{Kind::kDiskFull, ENOSPC, 0};
const Fault Fault::kIoError{Kind::kRefusal, EIO, 0};
const Fault Fault::kShort{Kind::kShort, 0, 0};
const Fault Fault::kShortWrite{Kind::kShortWrite, 0, 0};
const Fault Fault::kNoProgress{Kind::kNoProgress, 0, 0};
const Fault Fault::kHalfWrite{Kind::kHalfWrite, ENOSPC, 0};
const Fault Fault::kDeath{Kind::kDeath, 0, 0};
const Fault Fault::kTornDeath{Kind::kTornDeath, 0, 0};

bool operator==(const Fault& left, const Fault& right) {
    return left.kind == right.kind && left.error == right.error && left.offset == right.offset;
}

namespace {

// A call that is refused so often in one test is repeated without end.
constexpr int kMostHits = 100000;

// The errors that a call can give, on the file systems and kernels of devices. ENOSPC: a log-structured file
// system needs room to shorten a file as well; an open is asked for it whatever its flags, because a probe
// that cannot tell must not be taken for "there is no such file". close and the calls that flush a stream
// give what a network file system has held back.
struct Errors {
    Call call;
    std::array<int, 5> errors;  // filled up with 0
};
constexpr Errors kErrors[] = {
    {Call::kOpen, {EIO, ENOSPC, EMFILE, EACCES, EINTR}},
    {Call::kFdopen, {EMFILE}},
    {Call::kClose, {EIO, ENOSPC, EINTR}},
    {Call::kFclose, {EIO, ENOSPC, EINTR}},
    {Call::kFflush, {EIO, ENOSPC, EINTR}},
    {Call::kRead, {EIO, EINTR}},
    {Call::kWrite, {EIO, ENOSPC, EINTR}},
    {Call::kStreamRead, {EIO, EINTR}},
    {Call::kStreamWrite, {EIO, ENOSPC, EINTR}},
    {Call::kTruncate, {EIO, ENOSPC, EINTR}},
    {Call::kFileStatus, {EIO}},
    {Call::kPathStatus, {EIO, EACCES}},
    {Call::kLock, {EIO, EACCES, EAGAIN, EINTR, ENOLCK}},
    {Call::kMakeDirectory, {EIO, ENOSPC, EACCES}},
    {Call::kRemove, {EIO, EACCES}},
    {Call::kRename, {EIO, ENOSPC, EACCES, EBUSY, EXDEV}},
    {Call::kSync, {EIO, ENOSPC, EINVAL}},
    {Call::kAttributes, {EIO, ENOSPC, EACCES, EPERM}},
};

bool canGive(Call call, int error) {
    const auto* row = std::find_if(std::begin(kErrors), std::end(kErrors),
                                   [&](const Errors& errors) { return errors.call == call; });
    return row != std::end(kErrors) &&
           std::find(row->errors.begin(), row->errors.end(), error) != row->errors.end();
}

struct State {
    bool armed = false;
    Fault fault;
    int step = 0;
    bool lasting = false;
    CallFilter filter;
    int steps = 0;
    int hits = 0;
};
State state;
std::mutex mutex;
std::atomic<FileCallListener*> listener{nullptr};

enum class Verdict { kWork, kFail, kHalf, kNothing };

// Where the call is, as far as a filter asks for it.
struct Place {
    const char* path = nullptr;
    int descriptor = -1;
};

std::string lastPart(const Place& place) {
    std::array<char, 4096> buffer{};
    std::string path;
    if (place.path != nullptr) {
        path = place.path;
    } else {
        const std::string link = "/proc/self/fd/" + std::to_string(place.descriptor);
        const ssize_t length = readlink(link.c_str(), buffer.data(), buffer.size());
        path.assign(buffer.data(), length < 0 ? 0 : static_cast<std::size_t>(length));
    }
    return path.substr(path.rfind('/') + 1);
}

// What of a call needs room on the disk.
bool needsRoom(Call call, bool makes) {
    return makes || call == Call::kWrite || call == Call::kStreamWrite;
}

// Whether the fault can touch such a call at all. `isFirst` is its first one: a fault that begins in the
// middle of a write needs one.
bool touches(const Fault& fault, Call call, bool makes, bool isFirst) {
    switch (fault.kind) {
        case Fault::Kind::kNone:
            return true;
        case Fault::Kind::kRefusal:
            return canGive(call, fault.error);
        case Fault::Kind::kDiskFull:
            return needsRoom(call, makes);
        case Fault::Kind::kShort:
            return call == Call::kRead || call == Call::kWrite;
        case Fault::Kind::kShortWrite:
        case Fault::Kind::kNoProgress:
            return call == Call::kWrite;
        case Fault::Kind::kHalfWrite:
            return isFirst ? call == Call::kWrite : needsRoom(call, makes);
        case Fault::Kind::kUnreadable:
            return call == Call::kRead;
        case Fault::Kind::kDeath:
        case Fault::Kind::kTornDeath:
            return true;
    }
    return false;
}

void endWhenRepeatedWithoutEnd() {
    if (state.hits < kMostHits) {
        return;
    }
    constexpr char kMessage[] = "FaultLayer: a refused call is repeated without end\n";
    static_cast<void>(!::write(STDERR_FILENO, kMessage, sizeof kMessage - 1));
    std::abort();
}

// Counts the call and decides over it; does not return when the process is to end before it.
Verdict judge(Call call, const Place& place, bool makes = false) {
    const std::lock_guard<std::mutex> guard(mutex);
    const bool begun = state.steps >= state.step;
    if (!state.armed || !touches(state.fault, call, makes, !begun) ||
        (state.filter && !state.filter({call, lastPart(place), makes}))) {
        return Verdict::kWork;
    }
    ++state.steps;
    const bool isFirst = state.steps == state.step;
    const bool isLater =
        state.steps > state.step && (state.lasting || state.fault.kind == Fault::Kind::kHalfWrite);
    if (state.fault.kind == Fault::Kind::kNone || (!isFirst && !isLater)) {
        return Verdict::kWork;
    }
    ++state.hits;
    endWhenRepeatedWithoutEnd();
    switch (state.fault.kind) {
        case Fault::Kind::kNone:
            return Verdict::kWork;
        case Fault::Kind::kRefusal:
        case Fault::Kind::kDiskFull:
            errno = state.fault.error;
            return Verdict::kFail;
        case Fault::Kind::kNoProgress:
            return Verdict::kNothing;
        case Fault::Kind::kHalfWrite:
            errno = ENOSPC;
            return isFirst ? Verdict::kHalf : Verdict::kFail;
        case Fault::Kind::kShort:
        case Fault::Kind::kShortWrite:
        case Fault::Kind::kUnreadable:
            return Verdict::kHalf;
        case Fault::Kind::kDeath:
            _exit(kDeathStatus);
        case Fault::Kind::kTornDeath:
            if (call != Call::kWrite) {
                _exit(kDeathStatus);
            }
            return Verdict::kHalf;
    }
    return Verdict::kWork;
}

Fault currentFault() {
    const std::lock_guard<std::mutex> guard(mutex);
    return state.fault;
}

void arm(Fault fault, int step, bool lasting, CallFilter filter) {
    const std::lock_guard<std::mutex> guard(mutex);
    state = {true, fault, step, lasting, std::move(filter), 0, 0};
}

}  // namespace

void setFileCallListener(FileCallListener* next) {
    listener = next;
}

FaultLayer::FaultLayer(Fault fault, int step, bool lasting, CallFilter filter) {
    arm(fault, step, lasting, std::move(filter));
}

FaultLayer::FaultLayer(Fault fault, CallFilter filter) {
    arm(fault, 1, true, std::move(filter));
}

FaultLayer::~FaultLayer() {
    lift();
}

void FaultLayer::lift() {
    const std::lock_guard<std::mutex> guard(mutex);
    state.armed = false;
    state.filter = {};
}

int FaultLayer::steps() {
    const std::lock_guard<std::mutex> guard(mutex);
    return state.steps;
}

int FaultLayer::hits() {
    const std::lock_guard<std::mutex> guard(mutex);
    return state.hits;
}

}  // namespace Kalt::Vemo::Test

// What the linker calls in place of a call, and what it makes of that call itself.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __real_open(const char* path, int flags, ...);
int __real_open64(const char* path, int flags, ...);
FILE* __real_fdopen(int descriptor, const char* mode);
int __real_close(int descriptor);
int __real_fclose(FILE* stream);
int __real_fflush(FILE* stream);
char* __real_fgets(char* line, int size, FILE* stream);
std::size_t __real_fread(void* bytes, std::size_t size, std::size_t count, FILE* stream);
int __real_fputs(const char* text, FILE* stream);
std::size_t __real_fwrite(const void* bytes, std::size_t size, std::size_t count, FILE* stream);
ssize_t __real_pread(int descriptor, void* bytes, std::size_t size, off_t offset);
ssize_t __real_pread64(int descriptor, void* bytes, std::size_t size, off_t offset);
ssize_t __real_pwrite(int descriptor, const void* bytes, std::size_t size, off_t offset);
ssize_t __real_pwrite64(int descriptor, const void* bytes, std::size_t size, off_t offset);
int __real_ftruncate(int descriptor, off_t length);
int __real_ftruncate64(int descriptor, off_t length);
int __real_fstat(int descriptor, struct stat* status);
int __real_fstat64(int descriptor, struct stat* status);
int __real_stat(const char* path, struct stat* status);
int __real_stat64(const char* path, struct stat* status);
int __real_fcntl(int descriptor, int command, ...);
int __real_fcntl64(int descriptor, int command, ...);
int __real_lstat(const char* path, struct stat* status);
int __real_lstat64(const char* path, struct stat* status);
int __real_mkdir(const char* path, mode_t mode);
int __real_remove(const char* path);
int __real_unlink(const char* path);
int __real_rename(const char* from, const char* to);
int __real_fsync(int descriptor);
int __real_fdatasync(int descriptor);
int __real_futimens(int descriptor, const struct timespec* times);
int __real_fchmod(int descriptor, mode_t mode);
int __real_fchown(int descriptor, uid_t owner, gid_t group);
int __real_fsetxattr(int descriptor, const char* name, const void* value, std::size_t size, int flags);
int __real_fremovexattr(int descriptor, const char* name);
// 32-bit platforms with 64-bit time give these names; elsewhere there are none such.
int __real___fcntl_time64(int descriptor, int command, ...) __attribute__((weak));
int __real___fstat64_time64(int descriptor, struct stat* status) __attribute__((weak));
int __real___stat64_time64(const char* path, struct stat* status) __attribute__((weak));
int __real___lstat64_time64(const char* path, struct stat* status) __attribute__((weak));
int __real___futimens64(int descriptor, const struct timespec* times) __attribute__((weak));

}  // extern "C"

namespace Kalt::Vemo::Test {

namespace {

using Open = int(const char* path, int flags, ...);
using Status = int(int descriptor, struct stat* status);
using PathStatus = int(const char* path, struct stat* status);
using Read = ssize_t(int descriptor, void* bytes, std::size_t size, off_t offset);
using Write = ssize_t(int descriptor, const void* bytes, std::size_t size, off_t offset);
using Truncate = int(int descriptor, off_t length);
using Control = int(int descriptor, int command, ...);
using StreamCall = int(FILE* stream);
using Sync = int(int descriptor);
using PathCall = int(const char* path);

bool works(Call call, const Place& place) {
    return judge(call, place) == Verdict::kWork;
}

// Tells the listener of a call that has worked.
template <typename Tell>
void tell(Tell tellOf) {
    if (FileCallListener* const to = listener; to != nullptr) {
        const int error = errno;
        tellOf(*to);
        errno = error;
    }
}

int open(const char* path, int flags, mode_t mode, Open* real) {
    const bool makes = (flags & O_CREAT) != 0 && access(path, F_OK) != 0;
    if (judge(Call::kOpen, {path, -1}, makes) != Verdict::kWork) {
        return -1;
    }
    const int descriptor = real(path, flags, mode);
    if (descriptor >= 0 && makes) {
        tell([&](FileCallListener& to) { to.fileMade(descriptor); });
    } else if (descriptor >= 0 && (flags & O_TRUNC) != 0) {
        tell([&](FileCallListener& to) { to.truncated(descriptor, 0); });
    }
    return descriptor;
}

ssize_t read(int descriptor, void* bytes, std::size_t size, off_t offset, Read* real) {
    const Verdict verdict = judge(Call::kRead, {nullptr, descriptor});
    if (verdict == Verdict::kFail) {
        return -1;
    }
    if (verdict == Verdict::kWork || size == 0) {
        return real(descriptor, bytes, size, offset);
    }
    const Fault fault = currentFault();
    if (fault.kind != Fault::Kind::kUnreadable) {
        return real(descriptor, bytes, std::max<std::size_t>(1, size / 2), offset);
    }
    const auto from = static_cast<std::size_t>(offset);
    if (from < fault.offset) {
        return real(descriptor, bytes, std::min(size, fault.offset - from), offset);
    }
    errno = EIO;
    return -1;
}

void endIfTorn() {
    if (currentFault() == Fault::kTornDeath) {
        _exit(kDeathStatus);
    }
}

// A file that was opened for appending is written at its end, whatever the offset.
ssize_t writeAndTell(int descriptor, const void* bytes, std::size_t size, off_t offset, Write* real) {
    const ssize_t written = real(descriptor, bytes, size, offset);
    if (written > 0) {
        tell([&](FileCallListener& to) {
            const auto length = static_cast<std::size_t>(written);
            auto begin = static_cast<std::size_t>(offset);
            struct stat status {};
            if ((fcntl(descriptor, F_GETFL) & O_APPEND) != 0 &&
                fstatat(descriptor, "", &status, AT_EMPTY_PATH) == 0) {
                begin = static_cast<std::size_t>(status.st_size) - length;
            }
            to.written(descriptor, begin, {static_cast<const char*>(bytes), length});
        });
    }
    return written;
}

ssize_t write(int descriptor, const void* bytes, std::size_t size, off_t offset, Write* real) {
    switch (judge(Call::kWrite, {nullptr, descriptor})) {
        case Verdict::kFail:
            return -1;
        case Verdict::kNothing:
            return 0;
        case Verdict::kHalf: {
            const ssize_t written = size < 2 ? 0 : writeAndTell(descriptor, bytes, size / 2, offset, real);
            endIfTorn();
            return size < 2 ? writeAndTell(descriptor, bytes, size, offset, real) : written;
        }
        case Verdict::kWork:
            break;
    }
    return writeAndTell(descriptor, bytes, size, offset, real);
}

bool isStandard(FILE* stream) {
    return stream == nullptr || stream == stdin || stream == stdout || stream == stderr;
}

// What a stream holds back is written as a whole or not at all: half of it cannot be told from here.
int flush(Call call, FILE* stream, StreamCall* real) {
    if (isStandard(stream)) {
        return real(stream);
    }
    const Place place{nullptr, fileno(stream)};
    const bool writes = __fpending(stream) > 0;
    if (works(writes ? Call::kStreamWrite : call, place)) {
        if (writes) {
            tell([&](FileCallListener& to) {
                static_cast<void>(__real_fflush(stream));  // fclose leaves nothing to look at
                to.streamWritten(place.descriptor);
            });
        }
        return real(stream);
    }
    const int error = errno;
    __fpurge(stream);
    static_cast<void>(real(stream));
    errno = error;
    return EOF;
}

// Lets the stream itself meet an error, so that ferror tells of it as well: for a moment its descriptor leads
// to a place where nothing can be read, or written.
void breakStream(FILE* stream, bool forWriting) {
    const int error = errno;
    const int descriptor = fileno(stream);
    const int kept = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    const int broken =
        forWriting ? __real_open("/dev/full", O_WRONLY | O_CLOEXEC) : __real_open("/", O_RDONLY | O_CLOEXEC);
    __fpurge(stream);
    dup3(broken, descriptor, O_CLOEXEC);
    if (forWriting) {
        static_cast<void>(fputc('x', stream));
        static_cast<void>(__real_fflush(stream));
        __fpurge(stream);
    } else {
        static_cast<void>(fgetc(stream));
    }
    dup3(kept, descriptor, O_CLOEXEC);
    __real_close(kept);
    __real_close(broken);
    errno = error;
}

bool streamWorks(Call call, FILE* stream) {
    if (isStandard(stream) || works(call, {nullptr, fileno(stream)})) {
        return true;
    }
    breakStream(stream, call == Call::kStreamWrite);
    return false;
}

// A stream that is full has written.
void tellOfStream(FILE* stream) {
    if (!isStandard(stream)) {
        tell([&](FileCallListener& to) { to.streamWritten(fileno(stream)); });
    }
}

// The system gives the descriptor free whatever it answers.
int close(int descriptor) {
    const bool closes = works(Call::kClose, {nullptr, descriptor});
    const int error = errno;
    const int result = __real_close(descriptor);
    errno = closes ? errno : error;
    return closes ? result : -1;
}

int truncate(int descriptor, off_t length, Truncate* real) {
    if (!works(Call::kTruncate, {nullptr, descriptor}) || real(descriptor, length) != 0) {
        return -1;
    }
    tell([&](FileCallListener& to) { to.truncated(descriptor, static_cast<std::size_t>(length)); });
    return 0;
}

int sync(int descriptor, Sync* real) {
    if (!works(Call::kSync, {nullptr, descriptor}) || real(descriptor) != 0) {
        return -1;
    }
    tell([&](FileCallListener& to) { to.synced(descriptor); });
    return 0;
}

int remove(const char* path, PathCall* real) {
    if (!works(Call::kRemove, {path, -1}) || real(path) != 0) {
        return -1;
    }
    tell([&](FileCallListener& to) { to.removed(path); });
    return 0;
}

int rename(const char* from, const char* to) {
    if (!works(Call::kRename, {to, -1}) || __real_rename(from, to) != 0) {
        return -1;
    }
    tell([&](FileCallListener& listening) { listening.renamed(from, to); });
    return 0;
}

int makeDirectory(const char* path, mode_t mode) {
    if (!works(Call::kMakeDirectory, {path, -1}) || __real_mkdir(path, mode) != 0) {
        return -1;
    }
    tell([&](FileCallListener& to) { to.directoryMade(path); });
    return 0;
}

int fileStatus(int descriptor, struct stat* status, Status* real) {
    return works(Call::kFileStatus, {nullptr, descriptor}) ? real(descriptor, status) : -1;
}

int pathStatus(const char* path, struct stat* status, PathStatus* real) {
    return works(Call::kPathStatus, {path, -1}) ? real(path, status) : -1;
}

// Only the taking of a lock is refused.
int control(int descriptor, int command, void* argument, Control* real) {
    const bool locks = (command == F_SETLK || command == F_OFD_SETLK) &&
                       static_cast<const struct flock*>(argument)->l_type != F_UNLCK;
    return !locks || works(Call::kLock, {nullptr, descriptor}) ? real(descriptor, command, argument) : -1;
}

}  // namespace

}  // namespace Kalt::Vemo::Test

namespace Layer = Kalt::Vemo::Test;
using Layer::Call;

extern "C" {

int __wrap_open(const char* path, int flags, ...);
int __wrap_open64(const char* path, int flags, ...);
FILE* __wrap_fdopen(int descriptor, const char* mode);
int __wrap_close(int descriptor);
int __wrap_fclose(FILE* stream);
int __wrap_fflush(FILE* stream);
char* __wrap_fgets(char* line, int size, FILE* stream);
std::size_t __wrap_fread(void* bytes, std::size_t size, std::size_t count, FILE* stream);
int __wrap_fputs(const char* text, FILE* stream);
std::size_t __wrap_fwrite(const void* bytes, std::size_t size, std::size_t count, FILE* stream);
ssize_t __wrap_pread(int descriptor, void* bytes, std::size_t size, off_t offset);
ssize_t __wrap_pread64(int descriptor, void* bytes, std::size_t size, off_t offset);
ssize_t __wrap_pwrite(int descriptor, const void* bytes, std::size_t size, off_t offset);
ssize_t __wrap_pwrite64(int descriptor, const void* bytes, std::size_t size, off_t offset);
int __wrap_ftruncate(int descriptor, off_t length);
int __wrap_ftruncate64(int descriptor, off_t length);
int __wrap_fstat(int descriptor, struct stat* status);
int __wrap_fstat64(int descriptor, struct stat* status);
int __wrap___fstat64_time64(int descriptor, struct stat* status);
int __wrap_stat(const char* path, struct stat* status);
int __wrap_stat64(const char* path, struct stat* status);
int __wrap___stat64_time64(const char* path, struct stat* status);
int __wrap_fcntl(int descriptor, int command, ...);
int __wrap_fcntl64(int descriptor, int command, ...);
int __wrap___fcntl_time64(int descriptor, int command, ...);
int __wrap_lstat(const char* path, struct stat* status);
int __wrap_lstat64(const char* path, struct stat* status);
int __wrap___lstat64_time64(const char* path, struct stat* status);
int __wrap_mkdir(const char* path, mode_t mode);
int __wrap_remove(const char* path);
int __wrap_unlink(const char* path);
int __wrap_rename(const char* from, const char* to);
int __wrap_fsync(int descriptor);
int __wrap_fdatasync(int descriptor);
int __wrap_futimens(int descriptor, const struct timespec* times);
int __wrap___futimens64(int descriptor, const struct timespec* times);
int __wrap_fchmod(int descriptor, mode_t mode);
int __wrap_fchown(int descriptor, uid_t owner, gid_t group);
int __wrap_fsetxattr(int descriptor, const char* name, const void* value, std::size_t size, int flags);
int __wrap_fremovexattr(int descriptor, const char* name);

int __wrap_open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return Layer::open(path, flags, mode, __real_open);
}

int __wrap_open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return Layer::open(path, flags, mode, __real_open64);
}

FILE* __wrap_fdopen(int descriptor, const char* mode) {
    return Layer::works(Call::kFdopen, {nullptr, descriptor}) ? __real_fdopen(descriptor, mode) : nullptr;
}

int __wrap_close(int descriptor) {
    return Layer::close(descriptor);
}

int __wrap_fclose(FILE* stream) {
    return Layer::flush(Call::kFclose, stream, __real_fclose);
}

int __wrap_fflush(FILE* stream) {
    return Layer::flush(Call::kFflush, stream, __real_fflush);
}

char* __wrap_fgets(char* line, int size, FILE* stream) {
    return Layer::streamWorks(Call::kStreamRead, stream) ? __real_fgets(line, size, stream) : nullptr;
}

std::size_t __wrap_fread(void* bytes, std::size_t size, std::size_t count, FILE* stream) {
    return Layer::streamWorks(Call::kStreamRead, stream) ? __real_fread(bytes, size, count, stream) : 0;
}

int __wrap_fputs(const char* text, FILE* stream) {
    if (!Layer::streamWorks(Call::kStreamWrite, stream)) {
        return EOF;
    }
    const int result = __real_fputs(text, stream);
    Layer::tellOfStream(stream);
    return result;
}

std::size_t __wrap_fwrite(const void* bytes, std::size_t size, std::size_t count, FILE* stream) {
    if (!Layer::streamWorks(Call::kStreamWrite, stream)) {
        return 0;
    }
    const std::size_t result = __real_fwrite(bytes, size, count, stream);
    Layer::tellOfStream(stream);
    return result;
}

ssize_t __wrap_pread(int descriptor, void* bytes, std::size_t size, off_t offset) {
    return Layer::read(descriptor, bytes, size, offset, __real_pread);
}

ssize_t __wrap_pread64(int descriptor, void* bytes, std::size_t size, off_t offset) {
    return Layer::read(descriptor, bytes, size, offset, __real_pread64);
}

ssize_t __wrap_pwrite(int descriptor, const void* bytes, std::size_t size, off_t offset) {
    return Layer::write(descriptor, bytes, size, offset, __real_pwrite);
}

ssize_t __wrap_pwrite64(int descriptor, const void* bytes, std::size_t size, off_t offset) {
    return Layer::write(descriptor, bytes, size, offset, __real_pwrite64);
}

int __wrap_ftruncate(int descriptor, off_t length) {
    return Layer::truncate(descriptor, length, __real_ftruncate);
}

int __wrap_ftruncate64(int descriptor, off_t length) {
    return Layer::truncate(descriptor, length, __real_ftruncate64);
}

int __wrap_fstat(int descriptor, struct stat* status) {
    return Layer::fileStatus(descriptor, status, __real_fstat);
}

int __wrap_fstat64(int descriptor, struct stat* status) {
    return Layer::fileStatus(descriptor, status, __real_fstat64);
}

int __wrap___fstat64_time64(int descriptor, struct stat* status) {
    return Layer::fileStatus(descriptor, status, __real___fstat64_time64);
}

int __wrap_stat(const char* path, struct stat* status) {
    return Layer::pathStatus(path, status, __real_stat);
}

int __wrap_stat64(const char* path, struct stat* status) {
    return Layer::pathStatus(path, status, __real_stat64);
}

int __wrap___stat64_time64(const char* path, struct stat* status) {
    return Layer::pathStatus(path, status, __real___stat64_time64);
}

// Every command's argument is an int or a pointer, and takes no more room than a pointer.
#define VEMO_WRAP_FCNTL(name)                                                \
    int __wrap_##name(int descriptor, int command, ...) {                    \
        va_list arguments;                                                   \
        va_start(arguments, command);                                        \
        void* const argument = va_arg(arguments, void*);                     \
        va_end(arguments);                                                   \
        return Layer::control(descriptor, command, argument, __real_##name); \
    }
VEMO_WRAP_FCNTL(fcntl)
VEMO_WRAP_FCNTL(fcntl64)
VEMO_WRAP_FCNTL(__fcntl_time64)
#undef VEMO_WRAP_FCNTL

int __wrap_mkdir(const char* path, mode_t mode) {
    return Layer::makeDirectory(path, mode);
}

int __wrap_remove(const char* path) {
    return Layer::remove(path, __real_remove);
}

int __wrap_lstat(const char* path, struct stat* status) {
    return Layer::pathStatus(path, status, __real_lstat);
}

int __wrap_lstat64(const char* path, struct stat* status) {
    return Layer::pathStatus(path, status, __real_lstat64);
}

int __wrap___lstat64_time64(const char* path, struct stat* status) {
    return Layer::pathStatus(path, status, __real___lstat64_time64);
}

int __wrap_unlink(const char* path) {
    return Layer::remove(path, __real_unlink);
}

int __wrap_rename(const char* from, const char* to) {
    return Layer::rename(from, to);
}

int __wrap_fsync(int descriptor) {
    return Layer::sync(descriptor, __real_fsync);
}

int __wrap_fdatasync(int descriptor) {
    return Layer::sync(descriptor, __real_fdatasync);
}

int __wrap_futimens(int descriptor, const struct timespec* times) {
    return Layer::works(Call::kAttributes, {nullptr, descriptor}) ? __real_futimens(descriptor, times) : -1;
}

int __wrap___futimens64(int descriptor, const struct timespec* times) {
    return Layer::works(Call::kAttributes, {nullptr, descriptor}) ? __real___futimens64(descriptor, times)
                                                                  : -1;
}

int __wrap_fchmod(int descriptor, mode_t mode) {
    return Layer::works(Call::kAttributes, {nullptr, descriptor}) ? __real_fchmod(descriptor, mode) : -1;
}

int __wrap_fchown(int descriptor, uid_t owner, gid_t group) {
    return Layer::works(Call::kAttributes, {nullptr, descriptor}) ? __real_fchown(descriptor, owner, group)
                                                                  : -1;
}

int __wrap_fsetxattr(int descriptor, const char* name, const void* value, std::size_t size, int flags) {
    return Layer::works(Call::kAttributes, {nullptr, descriptor})
               ? __real_fsetxattr(descriptor, name, value, size, flags)
               : -1;
}

int __wrap_fremovexattr(int descriptor, const char* name) {
    return Layer::works(Call::kAttributes, {nullptr, descriptor}) ? __real_fremovexattr(descriptor, name)
                                                                  : -1;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
