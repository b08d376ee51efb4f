#include "KnownFile.h"

#include <cstddef>
#include <ctime>

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

constexpr long kNanosecondsPerMillisecond = 1'000'000;
constexpr long long kNanosecondsPerSecond = 1'000'000'000;

// The coarsest stamps that a file system gives, on FAT, are whole even seconds.
constexpr long long kCoarseTick = 2 * kNanosecondsPerSecond;

long long nanoseconds(const timespec& time) {
    return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
}

long long readClock(clockid_t clock) {
    timespec now{};
    return clock_gettime(clock, &now) == 0 ? nanoseconds(now) : 0;
}

// How often the clock advances that stamps files.
long long clockTick() {
    static const long long tick = [] {
        timespec resolution{};
        return clock_getres(CLOCK_REALTIME_COARSE, &resolution) == 0 ? nanoseconds(resolution) : kCoarseTick;
    }();
    return tick;
}

// A file system that keeps its stamps shorter cuts them at the second, or at some number of milliseconds; a
// stamp that is so only by chance is taken for one of these.
long long tickOf(const timespec& stamp) {
    return stamp.tv_nsec % kNanosecondsPerMillisecond == 0 ? kCoarseTick : clockTick();
}

bool isOld(const timespec& stamp, long long now) {
    return now - nanoseconds(stamp) >= 2 * tickOf(stamp);
}

bool same(const timespec& left, const timespec& right) {
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

timespec fromNanoseconds(long long time) {
    timespec result{};
    result.tv_sec = static_cast<time_t>(time / kNanosecondsPerSecond);
    result.tv_nsec = static_cast<long>(time % kNanosecondsPerSecond);
    return result;
}

}  // namespace

KnownFile KnownFile::withStatus(const FileIdentity& now) const {
    return {now, isProof_ && identity_.sameFile(now) && identity_.size == now.size &&
                     same(identity_.modified, now.modified)};
}

void KnownFile::Memory::begin(const File& journal) {
    files_.clear();
    localDevice_.reset();
    if (journal.isOnLocalDisk()) {
        localDevice_ = journal.identity().device;
    }
}

bool KnownFile::Memory::isOnLocalDisk(const File& file, const FileIdentity& identity) const {
    return identity.device == localDevice_ || file.isOnLocalDisk();
}

KnownFile KnownFile::Memory::read(const File& file) const {
    // The clock comes first: any change after the look at the status gets a stamp that is not before it.
    const long long now = readClock(CLOCK_REALTIME_COARSE);
    const FileIdentity identity = file.identity();
    const KnownFile* const left = of(identity);
    const bool isLeft = left != nullptr && left->isStill(identity);
    return {identity, isLeft || (isOld(identity.changed, now) && isOnLocalDisk(file, identity))};
}

KnownFile KnownFile::Memory::left(File& file) const {
    const long long now = readClock(CLOCK_REALTIME);
    const long long margin = clockTick() / 2;
    // Where stamps are cut the exact time does not come back, but a whole even second does.
    const long long coarse = now - 2 * kCoarseTick - margin;
    for (const long long time : {now - 2 * clockTick() - margin, coarse - coarse % kCoarseTick}) {
        const timespec mark = fromNanoseconds(time);
        const bool isSet = file.setModificationTime(mark);
        const FileIdentity identity = file.status();
        if (!isSet || same(identity.modified, mark)) {
            return {identity, isSet && isOnLocalDisk(file, identity)};
        }
    }
    return {};
}

void KnownFile::Memory::remember(const KnownFile& file) {
    constexpr std::size_t kMostFiles = 64;
    if (!file.identity().isFile()) {
        return;
    }
    if (files_.size() >= kMostFiles) {
        files_.clear();
    }
    files_[{file.identity().device, file.identity().node}] = file;
}

const KnownFile* KnownFile::Memory::of(const FileIdentity& file) const {
    const auto entry = files_.find({file.device, file.node});
    return entry == files_.end() ? nullptr : &entry->second;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
