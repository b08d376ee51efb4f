#pragma once

#include <atomic>
#include <cstddef>
#include <thread>

#include "RecursiveMutex.h"

namespace Kalt::Vemo::Core::Database::Filedb {

/// The platform's recursive mutex, and how many counts of it its holder has.
class CountedLock {
public:
    void lock() {
        mutex_.lock();
        holder_ = std::this_thread::get_id();
        ++count_;
    }

    /// Does nothing when the calling thread does not hold the lock.
    void unlock() {
        if (holder_ != std::this_thread::get_id()) {
            return;
        }
        --count_;
        if (count_ == 0) {
            holder_ = std::thread::id();
        }
        mutex_.unlock();
    }

    /// How many counts the calling thread holds.
    [[nodiscard]] std::size_t count() const { return holder_ == std::this_thread::get_id() ? count_ : 0; }

private:
    Platform::Thread::RecursiveMutex mutex_;
    std::atomic<std::thread::id> holder_{};
    std::size_t count_ = 0;  // used by the holder only
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
