#include "DirectoryLock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <system_error>
#include <tuple>
#include <utility>

#include "EngineLog.h"
#include "File.h"
#include "Replacement.h"
#include "Uninterrupted.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

constexpr const char* kLogTag = "FileDatabase";

constexpr off_t kExclusionByte = 0;
constexpr off_t kNameByte = 1;

struct flock oneByte(off_t byte, short type) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    return lock;
}

bool apply(int descriptor, int command, struct flock& lock) {
    return uninterrupted([&] { return fcntl(descriptor, command, &lock); }) == 0;
}

struct Descriptor {
    int number;
    short lockType;
};

// A file that may only be read takes a lock for reading. It conflicts with a lock for writing all the same.
Descriptor openForLock(const std::string& path) {
    constexpr int kFlags = O_CLOEXEC | O_NONBLOCK;
    const int descriptor = open(path.c_str(), O_RDWR | kFlags);
    if (descriptor >= 0 || (errno != EACCES && errno != EROFS)) {
        return {descriptor, F_WRLCK};
    }
    return {open(path.c_str(), O_RDONLY | kFlags), F_RDLCK};
}

bool leadsTo(int descriptor, unsigned long long device, unsigned long long node) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && status.st_dev == device && status.st_ino == node;
}

// EACCES is what some systems answer when the lock is held, and what others answer when locks are forbidden.
bool isHeldElsewhere(int error, int descriptor) {
    if (error != EACCES) {
        return error == EAGAIN;
    }
    struct flock lock = oneByte(kExclusionByte, F_WRLCK);
    return apply(descriptor, F_OFD_GETLK, lock) && lock.l_type != F_UNLCK;
}

// A process in another namespace has no number here.
std::optional<pid_t> holderOf(int descriptor) {
    struct flock lock = oneByte(kNameByte, F_WRLCK);
    const bool isNamed = apply(descriptor, F_GETLK, lock) && lock.l_type != F_UNLCK && lock.l_pid > 0;
    return isNamed ? std::optional<pid_t>(lock.l_pid) : std::nullopt;
}

void writeName(int descriptor) {
    struct flock lock = oneByte(kNameByte, F_WRLCK);
    // Without it others are kept out all the same, and are told of "another process".
    static_cast<void>(apply(descriptor, F_SETLK, lock));
}

std::string describe(const std::string& directory, std::optional<pid_t> holder) {
    return "DB Error: " + directory + ": " +
           (holder ? "process " + std::to_string(*holder) : std::string("another process")) +
           " has it open; stop that process, or let it close the database, then call init again";
}

}  // namespace

DirectoryInUse::DirectoryInUse(const std::string& directory, std::optional<pid_t> holder, int line)
    : SystemRefusal("lockDirectory", line, describe(directory, holder)), holder_(holder) {}

bool DirectoryLock::Key::operator<(const Key& other) const {
    return std::tie(device, node, process) < std::tie(other.device, other.node, other.process);
}

bool DirectoryLock::Key::operator==(const Key& other) const {
    return std::tie(device, node, process) == std::tie(other.device, other.node, other.process);
}

/// The locks of this process, and those that it has inherited.
struct DirectoryLock::Registry {
    struct Held {
        int descriptor;
        int users;
    };

    std::mutex mutex;
    std::map<Key, Held> locks;
};

// Never destroyed: databases that are global objects are closed at the very end.
DirectoryLock::Registry& DirectoryLock::registry() {
    static Registry* const kept = new Registry;
    return *kept;
}

bool DirectoryLock::moveTo(const std::string& path, const FileIdentity& journal) {
    const Key key{journal.device, journal.node, getpid()};
    if (key_ && *key_ == key) {
        return FileIdentity::of(path).sameFile(journal);
    }
    Registry& all = registry();
    Outcome outcome{Attempt::moved};
    {
        const std::lock_guard<std::mutex> guard(all.mutex);
        outcome = lock(all, path, key);
    }
    // Only a lock on the file that others find keeps them out.
    if (outcome.attempt != Attempt::refused && !FileIdentity::of(path).sameFile(journal)) {
        if (outcome.attempt == Attempt::locked) {
            release(key);
        }
        return false;
    }
    switch (outcome.attempt) {
        case Attempt::moved:
            return false;
        case Attempt::held:
            throw DirectoryInUse(Replacement::directoryOf(path), outcome.holder);
        case Attempt::refused:
            errno = outcome.error;
            throw openError();
        case Attempt::unsupported:
            goWithout(path, outcome.error);
            return true;
        case Attempt::locked:
            break;
    }
    release();
    key_ = key;
    return true;
}

DirectoryLock::Outcome DirectoryLock::lock(Registry& registry, const std::string& path, const Key& key) {
    const auto own = registry.locks.find(key);
    if (own != registry.locks.end()) {
        ++own->second.users;
        return {Attempt::locked};
    }
    // A lock that came from the parent would keep this process out of a directory that the parent has left.
    for (auto& [other, held] : registry.locks) {
        if (other.device == key.device && other.node == key.node && held.descriptor >= 0) {
            static_cast<void>(close(held.descriptor));
            held.descriptor = -1;
        }
    }
    const auto entry = registry.locks.emplace(key, Registry::Held{-1, 1}).first;
    const Outcome outcome = lockFile(path, key, entry->second.descriptor);
    if (outcome.attempt != Attempt::locked) {
        registry.locks.erase(entry);
    }
    return outcome;
}

DirectoryLock::Outcome DirectoryLock::lockFile(const std::string& path, const Key& key, int& locked) {
    const auto [descriptor, type] = openForLock(path);
    if (descriptor < 0) {
        const bool isMissing = errno == ENOENT || errno == ENOTDIR;
        return {isMissing ? Attempt::moved : Attempt::refused, errno};
    }
    Outcome outcome{Attempt::moved};
    if (leadsTo(descriptor, key.device, key.node)) {
        struct flock exclusion = oneByte(kExclusionByte, type);
        if (apply(descriptor, F_OFD_SETLK, exclusion)) {
            locked = descriptor;
            writeName(descriptor);
            return {Attempt::locked};
        }
        const int error = errno;
        outcome = isHeldElsewhere(error, descriptor) ? Outcome{Attempt::held, 0, holderOf(descriptor)}
                                                     : Outcome{Attempt::unsupported, error};
    }
    static_cast<void>(close(descriptor));
    return outcome;
}

void DirectoryLock::goWithout(const std::string& path, int error) {
    const bool isKnown = isWithout_;
    release();
    isWithout_ = true;
    if (!isKnown) {
        FILEDB_LOG(kLogInfo, "Cannot lock '%s': %s; another process that opens the database is not kept out",
                   path.c_str(), std::generic_category().message(error).c_str());
    }
}

void DirectoryLock::swap(DirectoryLock& other) noexcept {
    std::swap(key_, other.key_);
    std::swap(isWithout_, other.isWithout_);
}

void DirectoryLock::release() noexcept {
    isWithout_ = false;
    if (key_) {
        release(*key_);
        key_.reset();
    }
}

void DirectoryLock::release(const Key& key) noexcept {
    Registry& all = registry();
    const std::lock_guard<std::mutex> guard(all.mutex);
    const auto entry = all.locks.find(key);
    auto& [descriptor, users] = entry->second;
    --users;
    if (descriptor >= 0 && users > 0) {
        writeName(descriptor);
    } else if (descriptor >= 0) {
        // A child that was forked meanwhile has the descriptor as well, so closing it would not be enough. In
        // the child the lock is the parent's.
        if (key.process == getpid()) {
            struct flock exclusion = oneByte(kExclusionByte, F_UNLCK);
            static_cast<void>(apply(descriptor, F_OFD_SETLK, exclusion));
        }
        static_cast<void>(close(descriptor));
    }
    if (users == 0) {
        all.locks.erase(entry);
    }
}

void DirectoryLock::announce() const noexcept {
    if (!key_) {
        return;
    }
    Registry& all = registry();
    const std::lock_guard<std::mutex> guard(all.mutex);
    const auto entry = all.locks.find(*key_);
    if (entry->second.descriptor >= 0) {
        writeName(entry->second.descriptor);
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
