#include "FaultLayer.h"

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace Kalt::Vemo::Test {

namespace {

struct State {
    bool armed = false;
    Fault fault = Fault::kNone;
    int step = 0;
    bool lasting = false;
    int steps = 0;
    int hits = 0;
};
State state;

enum class Kind { kWrite, kCreation, kOther };

enum class Verdict { kWork, kFail, kHalf };

// Counts the call and decides over it; does not return when the process is to end before it.
Verdict judge(Kind kind) {
    if (!state.armed) {
        return Verdict::kWork;
    }
    ++state.steps;
    const bool isFirst = state.steps == state.step;
    if (!isFirst && !(state.steps > state.step && state.step > 0 &&
                      (state.lasting || state.fault == Fault::kHalfWrite))) {
        return Verdict::kWork;
    }
    const auto fail = [](int error) {
        ++state.hits;
        errno = error;
        return Verdict::kFail;
    };
    const auto half = [] {
        ++state.hits;
        return Verdict::kHalf;
    };
    switch (state.fault) {
        case Fault::kNone:
            return Verdict::kWork;
        case Fault::kNoSpace:
            return kind == Kind::kOther ? Verdict::kWork : fail(ENOSPC);
        case Fault::kIoError:
            return fail(EIO);
        case Fault::kShortWrite:
            return kind == Kind::kWrite ? half() : Verdict::kWork;
        case Fault::kHalfWrite:
            if (kind == Kind::kOther || (isFirst && kind != Kind::kWrite)) {
                return Verdict::kWork;
            }
            return isFirst ? half() : fail(ENOSPC);
        case Fault::kDeath:
            _exit(kDeathStatus);
        case Fault::kTornDeath:
            if (kind != Kind::kWrite) {
                _exit(kDeathStatus);
            }
            return half();
    }
    return Verdict::kWork;
}

void endIfTorn() {
    if (state.fault == Fault::kTornDeath) {
        _exit(kDeathStatus);
    }
}

}  // namespace

FaultLayer::FaultLayer(Fault fault, int step, bool lasting) {
    state = {true, fault, step, lasting, 0, 0};
}

FaultLayer::~FaultLayer() {
    state.armed = false;
}

int FaultLayer::steps() {
    return state.steps;
}

int FaultLayer::hits() {
    return state.hits;
}

namespace FaultLayerCalls {

using Pwrite = ssize_t(int descriptor, const void* bytes, size_t size, off_t offset);
using StreamCall = int(FILE* stream);

static bool opens(const char* path, int flags) {
    const bool makes = (flags & O_CREAT) != 0 && state.armed && access(path, F_OK) != 0;
    return judge(makes ? Kind::kCreation : Kind::kOther) == Verdict::kWork;
}

static bool works() {
    return judge(Kind::kOther) == Verdict::kWork;
}

static ssize_t write(int descriptor, const void* bytes, size_t size, off_t offset, Pwrite* real) {
    switch (judge(Kind::kWrite)) {
        case Verdict::kFail:
            return -1;
        case Verdict::kHalf: {
            const ssize_t written = size < 2 ? 0 : real(descriptor, bytes, size / 2, offset);
            endIfTorn();
            return size < 2 ? real(descriptor, bytes, size, offset) : written;
        }
        case Verdict::kWork:
            break;
    }
    return real(descriptor, bytes, size, offset);
}

// What a stream holds back is written as a whole or not at all: half of it cannot be told from here.
static int flush(FILE* stream, StreamCall* real) {
    const bool writes = stream != nullptr && __fpending(stream) > 0;
    const Verdict verdict = judge(writes ? Kind::kWrite : Kind::kOther);
    if (verdict == Verdict::kWork || (verdict == Verdict::kHalf && state.fault == Fault::kShortWrite)) {
        return real(stream);
    }
    endIfTorn();
    const int error = verdict == Verdict::kHalf ? ENOSPC : errno;
    if (stream != nullptr) {
        __fpurge(stream);
    }
    static_cast<void>(real(stream));
    errno = error;
    return EOF;
}

}  // namespace FaultLayerCalls

}  // namespace Kalt::Vemo::Test

// What the linker calls in place of a call, and what it makes of that call itself.
// NOLINTBEGIN(bugprone-reserved-identifier)
namespace Calls = Kalt::Vemo::Test::FaultLayerCalls;

extern "C" {

int __real_open(const char* path, int flags, ...);
int __real_open64(const char* path, int flags, ...);
FILE* __real_fdopen(int descriptor, const char* mode);
int __real_close(int descriptor);
int __real_fclose(FILE* stream);
int __real_fflush(FILE* stream);
ssize_t __real_pread(int descriptor, void* bytes, size_t size, off_t offset);
ssize_t __real_pread64(int descriptor, void* bytes, size_t size, off_t offset);
ssize_t __real_pwrite(int descriptor, const void* bytes, size_t size, off_t offset);
ssize_t __real_pwrite64(int descriptor, const void* bytes, size_t size, off_t offset);
int __real_ftruncate(int descriptor, off_t length);
int __real_ftruncate64(int descriptor, off_t length);
int __real_fstat(int descriptor, struct stat* status);
int __real_fstat64(int descriptor, struct stat* status);
int __real_stat(const char* path, struct stat* status);
int __real_stat64(const char* path, struct stat* status);
int __real_remove(const char* path);

int __wrap_open(const char* path, int flags, ...);
int __wrap_open64(const char* path, int flags, ...);
FILE* __wrap_fdopen(int descriptor, const char* mode);
int __wrap_close(int descriptor);
int __wrap_fclose(FILE* stream);
int __wrap_fflush(FILE* stream);
ssize_t __wrap_pread(int descriptor, void* bytes, size_t size, off_t offset);
ssize_t __wrap_pread64(int descriptor, void* bytes, size_t size, off_t offset);
ssize_t __wrap_pwrite(int descriptor, const void* bytes, size_t size, off_t offset);
ssize_t __wrap_pwrite64(int descriptor, const void* bytes, size_t size, off_t offset);
int __wrap_ftruncate(int descriptor, off_t length);
int __wrap_ftruncate64(int descriptor, off_t length);
int __wrap_fstat(int descriptor, struct stat* status);
int __wrap_fstat64(int descriptor, struct stat* status);
int __wrap_stat(const char* path, struct stat* status);
int __wrap_stat64(const char* path, struct stat* status);
int __wrap_remove(const char* path);

namespace {
mode_t permissions(int flags, va_list arguments) {
    return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
}
}  // namespace

int __wrap_open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = permissions(flags, arguments);
    va_end(arguments);
    return Calls::opens(path, flags) ? __real_open(path, flags, mode) : -1;
}

int __wrap_open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = permissions(flags, arguments);
    va_end(arguments);
    return Calls::opens(path, flags) ? __real_open64(path, flags, mode) : -1;
}

FILE* __wrap_fdopen(int descriptor, const char* mode) {
    return Calls::works() ? __real_fdopen(descriptor, mode) : nullptr;
}

// The system gives the descriptor free whatever it answers.
int __wrap_close(int descriptor) {
    const bool works = Calls::works();
    const int error = errno;
    const int result = __real_close(descriptor);
    errno = works ? errno : error;
    return works ? result : -1;
}

int __wrap_fclose(FILE* stream) {
    return Calls::flush(stream, __real_fclose);
}

int __wrap_fflush(FILE* stream) {
    return Calls::flush(stream, __real_fflush);
}

ssize_t __wrap_pread(int descriptor, void* bytes, size_t size, off_t offset) {
    return Calls::works() ? __real_pread(descriptor, bytes, size, offset) : -1;
}

ssize_t __wrap_pread64(int descriptor, void* bytes, size_t size, off_t offset) {
    return Calls::works() ? __real_pread64(descriptor, bytes, size, offset) : -1;
}

ssize_t __wrap_pwrite(int descriptor, const void* bytes, size_t size, off_t offset) {
    return Calls::write(descriptor, bytes, size, offset, __real_pwrite);
}

ssize_t __wrap_pwrite64(int descriptor, const void* bytes, size_t size, off_t offset) {
    return Calls::write(descriptor, bytes, size, offset, __real_pwrite64);
}

int __wrap_ftruncate(int descriptor, off_t length) {
    return Calls::works() ? __real_ftruncate(descriptor, length) : -1;
}

int __wrap_ftruncate64(int descriptor, off_t length) {
    return Calls::works() ? __real_ftruncate64(descriptor, length) : -1;
}

int __wrap_fstat(int descriptor, struct stat* status) {
    return Calls::works() ? __real_fstat(descriptor, status) : -1;
}

int __wrap_fstat64(int descriptor, struct stat* status) {
    return Calls::works() ? __real_fstat64(descriptor, status) : -1;
}

int __wrap_stat(const char* path, struct stat* status) {
    return Calls::works() ? __real_stat(path, status) : -1;
}

int __wrap_stat64(const char* path, struct stat* status) {
    return Calls::works() ? __real_stat64(path, status) : -1;
}

int __wrap_remove(const char* path) {
    return Calls::works() ? __real_remove(path) : -1;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
