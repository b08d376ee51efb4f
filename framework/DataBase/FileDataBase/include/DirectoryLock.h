#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "EngineErrors.h"

namespace Kalt::Vemo::Core::Database::Filedb {

struct FileIdentity;

/// Another process has the database open. The text names the process, where the system tells it, and the
/// remedy.
class DirectoryInUse : public SystemRefusal {
public:
    /// @param holder the other process; nothing when the system does not name it
    DirectoryInUse(const std::string& directory, std::optional<pid_t> holder, int line = __builtin_LINE());

    std::optional<pid_t> holder() const { return holder_; }

private:
    std::optional<pid_t> holder_;
};

/// Keeps every other process out of a database's directory, by locks on its journal. All objects of a process
/// share one lock for each journal: they are not kept apart from each other.
///
///     byte 0   an open-file-description lock, which excludes. It is on a descriptor of its own, so it stays
///              when the journal is closed, or when the program itself opens and closes that file.
///     byte 1   a process's lock, by which others learn the process's number. It excludes nobody, and goes
///              whenever this process closes any descriptor of the journal.
///
/// A file system without locks keeps nobody out; the log then has a line. After a fork the lock stays with
/// the process that took it. A child is kept out as any process, but for the objects that it inherited.
///
/// Threads: an object is used by one thread at a time, different objects by any.
class DirectoryLock {
public:
    DirectoryLock() = default;
    ~DirectoryLock() { release(); }
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;

    /// Locks the journal `journal`, which `path` leads to, then releases the one that was locked before.
    ///
    /// @return false when `path` does not lead to that file any more; nothing has changed then
    /// Throws: DirectoryInUse; the open error when there is no descriptor for the lock. Nothing has changed.
    [[nodiscard]] bool moveTo(const std::string& path, const FileIdentity& journal);

    void swap(DirectoryLock& other) noexcept;

    /// Lets other processes in, unless another object of this process keeps them out.
    void release() noexcept;

    /// Makes the number of this process known again, after a descriptor of the journal was closed.
    void announce() const noexcept;

private:
    /// A lock of a process. A file that is locked stays open, so its numbers lead to no other file.
    struct Key {
        unsigned long long device;
        unsigned long long node;
        pid_t process;

        bool operator<(const Key& other) const;
        bool operator==(const Key& other) const;
    };

    struct Registry;
    enum class Attempt { locked, unsupported, moved, held, refused };
    struct Outcome {
        Attempt attempt;
        int error = 0;  // of an attempt that is refused or unsupported
        std::optional<pid_t> holder = std::nullopt;
    };

    void goWithout(const std::string& path, int error);
    static Registry& registry();
    static Outcome lock(Registry& registry, const std::string& path, const Key& key);
    static Outcome lockFile(const std::string& path, const Key& key, int& locked);
    static void release(const Key& key) noexcept;

    std::optional<Key> key_;
    bool isWithout_ = false;  // the file system has no locks, as the log says
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
