#include "CoarseStamps.h"

#include <sys/stat.h>
#include <sys/statfs.h>

#include <atomic>
#include <cerrno>
#include <ctime>

namespace Kalt::Vemo::Test {

namespace {

std::atomic<long long> step{1};
std::atomic<int> lookCount{0};
std::atomic<bool> marksAreRefused{false};
std::atomic<long> fileSystemType{0};  // none: the one that it is

void cut(timespec& time) {
    constexpr long long kSecond = 1'000'000'000;
    const long long stamp = time.tv_sec * kSecond + time.tv_nsec;
    const long long rest = stamp - stamp % step;
    time.tv_sec = static_cast<time_t>(rest / kSecond);
    time.tv_nsec = static_cast<long>(rest % kSecond);
}

int cutStamps(int result, struct stat* status) {
    ++lookCount;
    if (result == 0) {
        cut(status->st_atim);
        cut(status->st_mtim);
        cut(status->st_ctim);
    }
    return result;
}

template <typename Status>
int changeType(int result, Status* status) {
    if (result == 0 && fileSystemType != 0) {
        status->f_type = static_cast<decltype(status->f_type)>(fileSystemType.load());
    }
    return result;
}

using SetTimes = int(int descriptor, const timespec* times);

int setTimes(int descriptor, const timespec* times, SetTimes* real) {
    if (marksAreRefused) {
        errno = EPERM;
        return -1;
    }
    return real(descriptor, times);
}

}  // namespace

CoarseStamps::CoarseStamps(long long stepOfStamps, Marks marks) {
    marksAreRefused = marks == Marks::refused;
    step = stepOfStamps;
    lookCount = 0;
}

CoarseStamps::~CoarseStamps() {
    step = 1;
    marksAreRefused = false;
    fileSystemType = 0;
}

void CoarseStamps::pretendFileSystem(long type) {
    fileSystemType = type;
}

int CoarseStamps::looks() {
    return lookCount;
}

}  // namespace Kalt::Vemo::Test

using Kalt::Vemo::Test::changeType;
using Kalt::Vemo::Test::cutStamps;
using Kalt::Vemo::Test::setTimes;

// What the linker calls in place of a call, and what it makes of that call itself.
// NOLINTBEGIN(bugprone-reserved-identifier,bugprone-macro-parentheses)
#define WRAP_STATUS(call, Where)                                             \
    extern "C" int __real_##call(Where, struct stat*) __attribute__((weak)); \
    extern "C" int __wrap_##call(Where, struct stat*);                       \
    int __wrap_##call(Where where, struct stat* status) {                    \
        return cutStamps(__real_##call(where, status), status);              \
    }

using Path = const char*;
WRAP_STATUS(fstat, int)
WRAP_STATUS(fstat64, int)
WRAP_STATUS(__fstat64_time64, int)
WRAP_STATUS(stat, Path)
WRAP_STATUS(stat64, Path)
WRAP_STATUS(__stat64_time64, Path)
WRAP_STATUS(lstat, Path)
WRAP_STATUS(lstat64, Path)
WRAP_STATUS(__lstat64_time64, Path)
#define WRAP_FILE_SYSTEM(call, Status)                                       \
    extern "C" int __real_##call(int, struct Status*) __attribute__((weak)); \
    extern "C" int __wrap_##call(int, struct Status*);                       \
    int __wrap_##call(int descriptor, struct Status* status) {               \
        return changeType(__real_##call(descriptor, status), status);        \
    }

// With 64-bit file sizes both structures are the same.
WRAP_FILE_SYSTEM(fstatfs, statfs)
WRAP_FILE_SYSTEM(fstatfs64, statfs)

extern "C" int __real_futimens(int, const timespec*) __attribute__((weak));
extern "C" int __wrap_futimens(int, const timespec*);
int __wrap_futimens(int descriptor, const timespec* times) {
    return setTimes(descriptor, times, __real_futimens);
}

extern "C" int __real___futimens64(int, const timespec*) __attribute__((weak));
extern "C" int __wrap___futimens64(int, const timespec*);
int __wrap___futimens64(int descriptor, const timespec* times) {
    return setTimes(descriptor, times, __real___futimens64);
}
// NOLINTEND(bugprone-reserved-identifier,bugprone-macro-parentheses)
