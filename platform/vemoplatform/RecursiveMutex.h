#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include "PlatformExport.h"

namespace Kalt::Vemo::Platform::Thread {

/// A lock that one thread at a time holds, and that its holder may take again.
///
/// It forgives what the standard library's locks do not: an `unlock` by a thread that does not hold it does
/// nothing, and it may be destroyed while it is held.
///
/// Threads: `lock` and `unlock` may be called from any thread. No call throws or fails.
///
///     mutex.lock();
///     mutex.lock();      // the same thread: no wait
///     mutex.unlock();
///     mutex.unlock();    // now another thread can have it
class VEMO_PLATFORM_EXPORT RecursiveMutex {
public:
    /// Makes a lock that nobody holds.
    RecursiveMutex();

    /// May come while the lock is held, but not while a thread waits for it.
    ~RecursiveMutex();
    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;

    /// Waits until no other thread holds the lock, and takes it once more for the calling thread.
    void lock();

    /// Undoes one `lock` of the calling thread; does nothing when the calling thread holds none.
    void unlock();

private:
    std::mutex guard_;
    std::condition_variable released_;
    std::thread::id owner_;    // guarded by guard_; has a meaning while count_ is not 0
    unsigned long count_ = 0;  // guarded by guard_: how often the owner has taken the lock
};

}  // namespace Kalt::Vemo::Platform::Thread
