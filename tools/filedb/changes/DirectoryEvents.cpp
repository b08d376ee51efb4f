#include "changes/DirectoryEvents.h"

#include <poll.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "console/ExitStatus.h"

namespace Kalt::Vemo::Tool {

namespace {

// What changes a file or an entry of the directory, and what takes the directory away.
constexpr unsigned int kOwnMask = IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE |
                                  IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
// What makes the directory, or the one above it, appear under its name or leave it.
constexpr unsigned int kAboveMask =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

std::string parentOf(const std::string& path) {
    const std::string parent = std::filesystem::path(path).parent_path().string();
    return parent.empty() ? "." : parent;
}

Trouble refusal(const std::string& path, int cause) {
    const std::string text = path + ": cannot be watched: " + std::generic_category().message(cause);
    switch (cause) {
        case ENOSPC:
            return Trouble(text + "; raise fs.inotify.max_user_watches");
        case EMFILE:
            return Trouble(text + "; raise fs.inotify.max_user_instances");
        default:
            return Trouble(text + "; run the command as a user who may read it");
    }
}

}  // namespace

DirectoryEvents::DirectoryEvents(const std::string& directory)
    : directory_(std::filesystem::absolute(directory).lexically_normal().string()) {
    events_ = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (events_ < 0) {
        throw refusal(directory_, errno);
    }
    sigset_t interrupt{};
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    sigprocmask(SIG_BLOCK, &interrupt, &previousMask_);
    signals_ = signalfd(-1, &interrupt, SFD_CLOEXEC);
    try {
        attach();
    } catch (const Trouble&) {
        close();
        throw;
    }
}

DirectoryEvents::~DirectoryEvents() {
    close();
}

void DirectoryEvents::close() const {
    ::close(events_);
    ::close(signals_);
    sigprocmask(SIG_SETMASK, &previousMask_, nullptr);
}

bool DirectoryEvents::isNew() {
    return std::exchange(isNew_, false);
}

std::optional<DirectoryEvents::Identity> DirectoryEvents::identity() const {
    struct stat status {};
    if (stat(directory_.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        return std::nullopt;
    }
    return Identity{status.st_dev, status.st_ino};
}

// Gives -1 for a path that is not there. Throws: Trouble.
int DirectoryEvents::watchFor(const std::string& path, unsigned int mask) const {
    const int watch = inotify_add_watch(events_, path.c_str(), mask);
    // A directory that is there and closed to this user does not matter while the one below is watched.
    if (watch < 0 && errno != ENOENT && errno != ENOTDIR && (mask != kAboveMask || ownWatch_ < 0)) {
        throw refusal(path, errno);
    }
    return watch;
}

// Watches the nearest directory above that is there, for the next name on the way down. Gives its path.
std::string DirectoryEvents::attachAbove() {
    std::string path = directory_;
    std::string below;
    do {
        below = path;
        path = parentOf(path);
        aboveWatch_ = watchFor(path, kAboveMask);
    } while (aboveWatch_ < 0 && ownWatch_ < 0 && path != parentOf(path));
    awaited_ = std::filesystem::path(below).filename().string();
    return below;
}

void DirectoryEvents::attach() {
    for (const int watch : {ownWatch_, aboveWatch_}) {
        if (watch >= 0) {
            inotify_rm_watch(events_, watch);
        }
    }
    // What comes to be before the watches are set sends no event; so it is looked for once more.
    std::optional<Identity> found;
    std::string awaited;
    std::error_code ignored;
    do {
        found = identity();
        ownWatch_ = found ? watchFor(directory_, kOwnMask) : -1;
        awaited = attachAbove();
    } while (identity() != found || (!found && std::filesystem::is_directory(awaited, ignored)));
    isNew_ = isNew_ || isWatchLost_ || attached_ != found;
    isWatchLost_ = false;
    attached_ = found;
    isThere_ = found.has_value();
}

// Whether one of the waiting events counts.
bool DirectoryEvents::takeEvents() {
    alignas(inotify_event) std::array<char, 65536> block{};
    bool counts = false;
    for (;;) {
        const ssize_t got = read(events_, block.data(), block.size());
        if (got <= 0) {
            return counts;
        }
        for (ssize_t at = 0; at < got;) {
            inotify_event event{};
            std::memcpy(&event, block.data() + at, sizeof event);
            const char* const name = block.data() + at + sizeof event;
            const bool isFromAbove = event.wd == aboveWatch_ && event.wd != ownWatch_;
            counts = counts || !isFromAbove || event.len == 0 || awaited_ == name;
            // A new directory may have the number of the one that was removed.
            isWatchLost_ =
                isWatchLost_ || (event.wd == ownWatch_ && (event.mask & (IN_IGNORED | IN_UNMOUNT)) != 0);
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
    }
}

DirectoryEvents::Wake DirectoryEvents::wait(std::optional<std::chrono::milliseconds> timeout) {
    for (;;) {
        std::array<pollfd, 3> waiting{pollfd{events_, POLLIN, 0}, pollfd{signals_, POLLIN, 0},
                                      pollfd{STDOUT_FILENO, 0, 0}};
        const int count =
            poll(waiting.data(), waiting.size(), timeout ? static_cast<int>(timeout->count()) : -1);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count == 0) {
            return Wake::kTimeout;
        }
        if (waiting[1].revents != 0) {
            // Taken, it does not end the program when it is let through again.
            signalfd_siginfo taken{};
            static_cast<void>(read(signals_, &taken, sizeof taken) == sizeof taken);
            return Wake::kEnd;
        }
        if (waiting[2].revents != 0) {
            return Wake::kReaderGone;
        }
        const bool counts = takeEvents();
        if (isWatchLost_ || identity() != attached_ || (counts && !isThere_)) {
            attach();
        }
        if (counts) {
            return Wake::kChange;
        }
    }
}

}  // namespace Kalt::Vemo::Tool
