#include "console/Pager.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <sstream>

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kUsualPager = "less";
constexpr const char* kUsualOptions = "FRX";

// A shell's exit statuses above this one tell of a command that a signal has ended, as the keyboard's may.
constexpr int kSignals = 128;

constexpr std::array<int, 2> kKeyboardSignals{SIGINT, SIGQUIT};

bool isInstalled(const std::string& program) {
    const char* const places = std::getenv("PATH");
    std::istringstream directories(places == nullptr ? "" : places);
    for (std::string directory; std::getline(directories, directory, ':');) {
        if (access(directory.append("/").append(program).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

// Ignores the keyboard's signals while it lives; whoever handled them before does so afterwards.
class KeyboardIgnored {
public:
    KeyboardIgnored() {
        struct sigaction ignored {};
        ignored.sa_handler = SIG_IGN;
        for (std::size_t i = 0; i < kKeyboardSignals.size(); ++i) {
            sigaction(kKeyboardSignals[i], &ignored, &previous_[i]);
        }
    }
    ~KeyboardIgnored() {
        for (std::size_t i = 0; i < kKeyboardSignals.size(); ++i) {
            sigaction(kKeyboardSignals[i], &previous_[i], nullptr);
        }
    }
    KeyboardIgnored(const KeyboardIgnored&) = delete;
    KeyboardIgnored& operator=(const KeyboardIgnored&) = delete;

private:
    std::array<struct sigaction, kKeyboardSignals.size()> previous_{};
};

// Starts a shell that reads from `input`. Gives its number, or -1.
pid_t startShell(const std::string& command, int input) {
    posix_spawn_file_actions_t files{};
    posix_spawnattr_t attributes{};
    posix_spawn_file_actions_init(&files);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
    sigset_t usual{};
    sigemptyset(&usual);
    for (const int number : {SIGINT, SIGQUIT, SIGPIPE}) {
        sigaddset(&usual, number);
    }
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    std::string shell = "sh";
    std::string option = "-c";
    std::string text = command;
    const std::array<char*, 4> words{shell.data(), option.data(), text.data(), nullptr};
    pid_t child = -1;
    if (posix_spawn(&child, "/bin/sh", &files, &attributes, words.data(), environ) != 0) {
        child = -1;
    }
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    return child;
}

void writeAsLongAsRead(int descriptor, const std::string& text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t result = write(descriptor, text.data() + written, text.size() - written);
        if (result < 0 && errno != EINTR) {
            return;
        }
        written += result < 0 ? 0 : static_cast<std::size_t>(result);
    }
}

}  // namespace

std::string pagerCommand() {
    if (const char* const own = std::getenv("FILEDB_PAGER")) {
        return own;
    }
    const char* const general = std::getenv("PAGER");
    if (general != nullptr && *general != '\0') {
        return general;
    }
    return isInstalled(kUsualPager) ? std::string(kUsualPager) + " -" + kUsualOptions : "";
}

bool runPager(const std::string& command, const std::string& text) {
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return false;
    }
    static_cast<void>(setenv("LESS", kUsualOptions, 0));  // for a pager that is less without any option
    const KeyboardIgnored ignored;
    const pid_t child = startShell(command, ends[0]);
    close(ends[0]);
    if (child >= 0) {
        writeAsLongAsRead(ends[1], text);
    }
    close(ends[1]);
    int status = 0;
    while (child >= 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    const bool hasFailed = WIFEXITED(status) && WEXITSTATUS(status) != 0 && WEXITSTATUS(status) <= kSignals;
    return child >= 0 && !hasFailed;
}

}  // namespace Kalt::Vemo::Tool
