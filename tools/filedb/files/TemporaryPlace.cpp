#include "files/TemporaryPlace.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "console/ExitStatus.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr mode_t kForTheOwner = 0700;

// The handler may only use what was prepared, and system calls.
std::atomic<const std::vector<std::string>*> entriesToRemove{nullptr};
static_assert(std::atomic<const std::vector<std::string>*>::is_always_lock_free, "a signal handler reads it");

std::atomic<bool> areSignalsHandled{true};

void removeEntries(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        if (unlink(name.c_str()) != 0) {
            static_cast<void>(rmdir(name.c_str()));
        }
    }
}

extern "C" void removeAndEnd(int number) {
    if (const std::vector<std::string>* const names = entriesToRemove) {
        removeEntries(*names);
    }
    static_cast<void>(signal(number, SIG_DFL));
    static_cast<void>(raise(number));
}

// While it lives the signals that end the program wait.
class HeldBack {
public:
    template <typename Signals>
    explicit HeldBack(const Signals& signals) {
        sigset_t held;
        sigemptyset(&held);
        for (const int number : signals) {
            sigaddset(&held, number);
        }
        pthread_sigmask(SIG_BLOCK, &held, &previous_);
    }
    ~HeldBack() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    HeldBack(const HeldBack&) = delete;
    HeldBack& operator=(const HeldBack&) = delete;

private:
    sigset_t previous_{};
};

}  // namespace

TemporaryPlace::TemporaryPlace(const std::string& suffix, const std::vector<std::string>& names) {
    // Nothing may end the program between the making of a directory and the knowing of its name.
    const HeldBack held(kEndingSignals);
    handleEndingSignals();
    try {
        make(suffix, names);
    } catch (const Trouble&) {
        restoreHandlers();
        throw;
    }
}

void TemporaryPlace::make(const std::string& suffix, const std::vector<std::string>& names) {
    std::error_code error;
    temporary_ = (std::filesystem::temp_directory_path(error) / "filedb-XXXXXX").string();
    if (error || mkdtemp(temporary_.data()) == nullptr) {
        throw Trouble(temporary_ +
                      ": cannot be made: " + std::generic_category().message(error ? error.value() : errno) +
                      "; set TMPDIR to a directory that can be written");
    }
    path_ = temporary_ + "/copy" + suffix;
    for (const std::string& name : names) {
        entries_.push_back(path_ + "/" + name);
    }
    entries_.push_back(path_);
    entries_.push_back(temporary_);
    if (mkdir(path_.c_str(), kForTheOwner) != 0) {
        const int cause = errno;
        removeEntries(entries_);
        throw Trouble(path_ + ": cannot be made: " + std::generic_category().message(cause) +
                      "; set TMPDIR to a directory with room for it");
    }
    entriesToRemove = &entries_;
}

TemporaryPlace::~TemporaryPlace() {
    std::error_code ignored;
    std::filesystem::remove_all(temporary_, ignored);
    const HeldBack held(kEndingSignals);
    entriesToRemove = nullptr;
    restoreHandlers();
}

// A signal that is ignored, as under nohup, stays so.
void TemporaryPlace::handleEndingSignals() {
    if (!areSignalsHandled) {
        return;
    }
    for (std::size_t index = 0; index < kEndingSignals.size(); ++index) {
        sigaction(kEndingSignals[index], nullptr, &previous_[index]);
        if (previous_[index].sa_handler != SIG_IGN) {
            static_cast<void>(signal(kEndingSignals[index], &removeAndEnd));
        }
    }
}

void TemporaryPlace::restoreHandlers() {
    if (!areSignalsHandled) {
        return;
    }
    for (std::size_t index = 0; index < kEndingSignals.size(); ++index) {
        sigaction(kEndingSignals[index], &previous_[index], nullptr);
    }
}

void TemporaryPlace::leaveSignalsAlone() {
    areSignalsHandled = false;
}

}  // namespace Kalt::Vemo::Tool
