#include "RecursiveMutex.h"

namespace Kalt::Vemo::Platform::Thread {

RecursiveMutex::RecursiveMutex() = default;

RecursiveMutex::~RecursiveMutex() = default;

void RecursiveMutex::lock() {
    const std::thread::id self = std::this_thread::get_id();
    std::unique_lock<std::mutex> guard(guard_);
    released_.wait(guard, [&] { return count_ == 0 || owner_ == self; });
    owner_ = self;
    ++count_;
}

void RecursiveMutex::unlock() {
    const std::lock_guard<std::mutex> guard(guard_);
    if (count_ == 0 || owner_ != std::this_thread::get_id()) {
        return;
    }
    --count_;
    if (count_ == 0) {
        // Still under the guard: a thread that gets the lock next may destroy this object at once.
        released_.notify_one();
    }
}

}  // namespace Kalt::Vemo::Platform::Thread
