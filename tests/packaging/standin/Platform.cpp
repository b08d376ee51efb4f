#include <sys/stat.h>

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "Directory.h"
#include "RecursiveMutex.h"
#include "StringConversion.h"

namespace Kalt::Vemo::Platform {

struct Thread::RecursiveMutex::State {
    std::mutex guard;
    std::condition_variable free;
    std::thread::id owner;
    int count = 0;
};

Thread::RecursiveMutex::RecursiveMutex() : state_(new State) {}

Thread::RecursiveMutex::~RecursiveMutex() {
    delete state_;
}

void Thread::RecursiveMutex::lock() {
    std::unique_lock<std::mutex> guard(state_->guard);
    while (state_->count > 0 && state_->owner != std::this_thread::get_id()) {
        state_->free.wait(guard);
    }
    state_->owner = std::this_thread::get_id();
    ++state_->count;
}

void Thread::RecursiveMutex::unlock() {
    const std::lock_guard<std::mutex> guard(state_->guard);
    if (state_->count > 0 && state_->owner == std::this_thread::get_id() && --state_->count == 0) {
        state_->free.notify_one();
    }
}

bool Filesystem::Directory::createDirectory(const std::string& path) {
    struct stat status;
    return mkdir(path.c_str(), 0777) == 0 || (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode));
}

std::int64_t StringConversion::stringToint64(const std::string& text) {
    return std::strtoll(text.c_str(), nullptr, 10);
}

std::uint64_t StringConversion::stringTouint64(const std::string& text) {
    return std::strtoull(text.c_str(), nullptr, 10);
}

float StringConversion::stringToFloat(const std::string& text) {
    return std::strtof(text.c_str(), nullptr);
}

}  // namespace Kalt::Vemo::Platform
