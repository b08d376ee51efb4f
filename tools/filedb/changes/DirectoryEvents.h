#pragma once

#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <utility>

namespace Kalt::Vemo::Tool {

/// Tells when something happens in a directory, which need not be there yet and may go and come again. The
/// kernel wakes the program; nothing is asked for again and again.
///
/// Control-C ends the waiting instead of the program while an object lives.
class DirectoryEvents {
public:
    enum class Wake {
        kChange,  ///< something may have changed
        kTimeout,
        kEnd,        ///< Control-C
        kReaderGone  ///< nobody reads standard output any more
    };

    /// Throws: Trouble when the system refuses to watch.
    explicit DirectoryEvents(const std::string& directory);
    ~DirectoryEvents();
    DirectoryEvents(const DirectoryEvents&) = delete;
    DirectoryEvents& operator=(const DirectoryEvents&) = delete;

    /// Whether the directory was there when it was last looked at; wait() does that.
    bool isThere() const { return isThere_; }

    /// Whether it is so still.
    bool isStillThere() const { return identity() == attached_; }

    /// Whether it is another one under the same name since the last call.
    bool isNew();

    /// Waits for what happened since the last call. Throws: as the constructor.
    Wake wait(std::optional<std::chrono::milliseconds> timeout);

private:
    using Identity = std::pair<dev_t, ino_t>;

    std::optional<Identity> identity() const;
    void attach();
    std::string attachAbove();
    int watchFor(const std::string& path, unsigned int mask) const;
    bool takeEvents();
    void close() const;

    std::string directory_;
    int events_ = -1;
    int signals_ = -1;
    sigset_t previousMask_{};
    bool isThere_ = false;
    bool isNew_ = false;
    bool isWatchLost_ = false;
    std::optional<Identity> attached_;
    int ownWatch_ = -1;
    int aboveWatch_ = -1;
    std::string awaited_;  // the name in the directory above that counts
};

}  // namespace Kalt::Vemo::Tool
