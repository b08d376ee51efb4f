#include "TerminalRun.h"

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace Kalt::Vemo::Test {

namespace {

// The limit only ends a test that hangs; nothing depends on how long anything takes.
constexpr int kLongestWaitInMilliseconds = 60000;

}  // namespace

TerminalRun::TerminalRun(const std::vector<std::string>& arguments,
                         const std::vector<std::string>& environment, Size terminalSize) {
    struct winsize size {};
    size.ws_row = terminalSize.rows;
    size.ws_col = terminalSize.columns;
    child_ = forkpty(&terminal_, nullptr, nullptr, &size);
    if (child_ == 0) {
        for (const std::string& setting : environment) {
            putenv(strdup(setting.c_str()));  // without a "=" it takes the name away
        }
        std::vector<char*> words{strdup(FILEDB_PROGRAM)};
        for (const std::string& argument : arguments) {
            words.push_back(strdup(argument.c_str()));
        }
        words.push_back(nullptr);
        execv(words[0], words.data());
        _exit(126);
    }
}

TerminalRun::~TerminalRun() {
    close(terminal_);
    if (!isOver_) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
}

void TerminalRun::type(const std::string& keys) {
    ASSERT_EQ(write(terminal_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

void TerminalRun::waitFor(const std::string& text) {
    std::size_t found = shown_.find(text, position_);
    while (found == std::string::npos) {
        ASSERT_TRUE(readMore()) << "waiting for \"" << text << "\", shown: " << shown_.substr(position_);
        found = shown_.find(text, position_);
    }
    position_ = found + text.size();
}

int TerminalRun::exitStatus() {
    while (readMore()) {
    }
    if (!isReadable(0)) {  // a terminal that the program has left is readable: the read gives an error
        ADD_FAILURE() << "the program does not end, shown: " << shown_;
        kill(child_, SIGKILL);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child_, &status, 0), child_);
    isOver_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// A ^D that arrives while a statement still runs becomes a character of the next line, so ^U empties the line
// first.
int TerminalRun::endInput() {
    constexpr int kTries = 120;
    constexpr int kPauseInMilliseconds = 500;
    bool isOpen = true;
    for (int tries = 0; isOpen && tries < kTries; ++tries) {
        isOpen = write(terminal_, "\x15\x04", 2) == 2;
        while (isOpen && isReadable(kPauseInMilliseconds)) {
            isOpen = readMore();
        }
    }
    return exitStatus();
}

void TerminalRun::send(int signal) const {
    ASSERT_EQ(kill(child_, signal), 0);
}

bool TerminalRun::isReadable(int milliseconds) const {
    pollfd waiting{terminal_, POLLIN, 0};
    return poll(&waiting, 1, milliseconds) == 1;
}

bool TerminalRun::readMore() {
    if (!isReadable(kLongestWaitInMilliseconds)) {
        return false;
    }
    std::array<char, 4096> block{};
    const ssize_t got = read(terminal_, block.data(), block.size());
    if (got <= 0) {
        return false;
    }
    shown_.append(block.data(), static_cast<std::size_t>(got));
    return true;
}

void PromptTest::SetUp() {
    prepare({"CREATE TABLE rooms (name TEXT, storey INTEGER)", "INSERT INTO rooms VALUES ('attic', 2)",
             "INSERT INTO rooms VALUES (NULL, 0)"});
}

std::vector<std::string> PromptTest::environment(const std::vector<std::string>& more) const {
    // The last of a name counts.
    std::vector<std::string> result{"XDG_STATE_HOME=" + temporary.file("state"), "TERM=xterm",
                                    "LC_ALL=C.UTF-8", "PAGER=cat"};
    result.insert(result.end(), more.begin(), more.end());
    return result;
}

}  // namespace Kalt::Vemo::Test
