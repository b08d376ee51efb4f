#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ProgramRun.h"

namespace Kalt::Vemo::Test {
namespace {

/// A run of the program on a terminal of its own, typed at as a person would.
class TerminalRun {
public:
    TerminalRun(const std::vector<std::string>& arguments, const std::vector<std::string>& environment) {
        struct winsize size {};
        size.ws_row = 50;
        size.ws_col = 200;
        child_ = forkpty(&terminal_, nullptr, nullptr, &size);
        if (child_ == 0) {
            for (const std::string& setting : environment) {
                putenv(strdup(setting.c_str()));
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

    ~TerminalRun() {
        close(terminal_);
        if (!isOver_) {
            kill(child_, SIGKILL);
            waitpid(child_, nullptr, 0);
        }
    }

    TerminalRun(const TerminalRun&) = delete;
    TerminalRun& operator=(const TerminalRun&) = delete;

    void type(const std::string& keys) {
        ASSERT_EQ(write(terminal_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }

    /// Waits until the terminal shows `text` behind what was waited for before.
    void waitFor(const std::string& text) {
        std::size_t found = shown_.find(text, position_);
        while (found == std::string::npos) {
            ASSERT_TRUE(readMore()) << "waiting for \"" << text << "\", shown: " << shown_.substr(position_);
            found = shown_.find(text, position_);
        }
        position_ = found + text.size();
    }

    int exitStatus() {
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

    /// Types ^D, the end of the input, until the program is over, and gives its exit status. A ^D that
    /// arrives while a statement still runs becomes a character of the next line, so ^U empties the line
    /// first.
    int endInput() {
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

    const std::string& shown() const { return shown_; }

private:
    // The limit only ends a test that hangs; nothing depends on how long anything takes.
    static constexpr int kLongestWaitInMilliseconds = 60000;

    bool isReadable(int milliseconds) const {
        pollfd waiting{terminal_, POLLIN, 0};
        return poll(&waiting, 1, milliseconds) == 1;
    }

    bool readMore() {
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

    int terminal_ = -1;
    pid_t child_ = -1;
    bool isOver_ = false;
    std::string shown_;
    std::size_t position_ = 0;
};

class PromptTest : public ProgramTest {
protected:
    void SetUp() override {
        prepare({"CREATE TABLE rooms (name TEXT, storey INTEGER)", "INSERT INTO rooms VALUES ('attic', 2)",
                 "INSERT INTO rooms VALUES (NULL, 0)"});
    }

    std::vector<std::string> environment(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> result{"XDG_STATE_HOME=" + temporary.file("state"), "TERM=xterm",
                                        "LC_ALL=C.UTF-8"};
        result.insert(result.end(), more.begin(), more.end());
        return result;
    }

    std::string historyFile() const { return temporary.file("state/filedb/history"); }
};

const std::string kPrompt = "filedb> ";

TEST_F(PromptTest, AnswersStatementsUntilQuit) {
    TerminalRun terminal({"shell", path()}, environment({"NO_COLOR=1"}));
    terminal.waitFor(".help lists the commands");
    terminal.waitFor(kPrompt);
    terminal.type("select name\n");
    terminal.waitFor("...> ");
    terminal.type("from rooms;\n");
    terminal.waitFor(
        "┌───────┐\r\n"
        "│ name  │\r\n"
        "├───────┤\r\n"
        "│ attic │\r\n"
        "│ NULL  │\r\n"
        "└───────┘\r\n");
    terminal.waitFor(kPrompt);
    terminal.type(".quit\n");
    EXPECT_EQ(terminal.exitStatus(), 0);
}

TEST_F(PromptTest, GoesOnAfterAnErrorAndRemembersItInItsStatus) {
    TerminalRun terminal({"shell", path()}, environment({"NO_COLOR=1"}));
    terminal.waitFor(kPrompt);
    terminal.type("select oops from rooms;\n");
    terminal.waitFor("error: no such column: oops\r\n");
    terminal.waitFor(kPrompt);
    terminal.type("insert into rooms values ('den', 1);\n");
    terminal.waitFor(kPrompt);
    EXPECT_EQ(terminal.endInput(), 1);
    EXPECT_EQ(shell({"select name from rooms where storey=1"}).out, "name\n----\nden\n");
}

TEST_F(PromptTest, PaintsOnlyOnATerminalAndWithoutNoColor) {
    const std::vector<std::string> arguments{"shell", path(), "-c", "select * from rooms", "-c", "oops"};
    TerminalRun coloured(arguments, environment({"NO_COLOR="}));
    EXPECT_EQ(coloured.exitStatus(), 1);
    EXPECT_NE(coloured.shown().find("\x1b[1mname\x1b[0m"), std::string::npos) << coloured.shown();
    EXPECT_NE(coloured.shown().find("\x1b[2mNULL\x1b[0m"), std::string::npos) << coloured.shown();
    EXPECT_NE(coloured.shown().find("\x1b[1;31merror:\x1b[0m"), std::string::npos) << coloured.shown();
    TerminalRun plain(arguments, environment({"NO_COLOR=1"}));
    EXPECT_EQ(plain.exitStatus(), 1);
    EXPECT_EQ(plain.shown().find('\x1b'), std::string::npos) << plain.shown();
    TerminalRun ascii({"shell", path(), "-c", "select storey from rooms"},
                      environment({"NO_COLOR=1", "LC_ALL=C"}));
    EXPECT_EQ(ascii.exitStatus(), 0);
    EXPECT_EQ(ascii.shown(),
              "+--------+\r\n| storey |\r\n+--------+\r\n|      2 |\r\n|      0 |\r\n+--------+\r\n");
}

TEST_F(PromptTest, KeepsAHistory) {
    {
        TerminalRun terminal({"shell", path()}, environment());
        terminal.waitFor(kPrompt);
        terminal.type("select storey from rooms where name = 'attic';\n");
        terminal.waitFor(kPrompt);
        terminal.type(".quit\n");
        EXPECT_EQ(terminal.exitStatus(), 0);
    }
    EXPECT_TRUE(fileExists(historyFile()));
    TerminalRun terminal({"shell", path()}, environment({"NO_COLOR=1"}));
    terminal.waitFor(kPrompt);
    terminal.type("\x1b[A\x1b[A\n");  // twice up: .quit, and the statement before it
    terminal.waitFor("│ storey │");
    terminal.waitFor(kPrompt);
    terminal.type(".quit\n");
    EXPECT_EQ(terminal.exitStatus(), 0);
}

TEST_F(PromptTest, CompletesKeywordsTablesAndColumns) {
    TerminalRun terminal({"shell", path()}, environment({"NO_COLOR=1"}));
    terminal.waitFor(kPrompt);
    terminal.type("sel\tsto\tfr\troo\t;\n");
    terminal.waitFor("│ storey │");
    terminal.waitFor(kPrompt);
    terminal.type("INS\tINTO roo\tVAL\t('den', 5);\n");
    terminal.waitFor(kPrompt);
    terminal.type(".qu\t\n");
    EXPECT_EQ(terminal.exitStatus(), 0);
    EXPECT_EQ(shell({"select name from rooms where storey=5"}).out, "name\n----\nden\n");
}

TEST_F(PromptTest, ImportShowsItsProgress) {
    std::string rows = "name,storey\n";
    for (int i = 0; i < 40; ++i) {
        rows += "room,1\n";
    }
    writeFile(temporary.file("rows.csv"), rows);
    TerminalRun terminal({"import", path(), "rooms", temporary.file("rows.csv")}, environment());
    EXPECT_EQ(terminal.exitStatus(), 0);
    EXPECT_NE(terminal.shown().find("%  1 row"), std::string::npos) << terminal.shown();
    EXPECT_NE(terminal.shown().find("imported 40 rows into rooms"), std::string::npos) << terminal.shown();
}

TEST_F(PromptTest, ASignalLeavesNoCopyBehind) {
    const TemporaryDirectory place;
    TerminalRun terminal({"shell", path(), "--read-only"}, environment({"TMPDIR=" + place.path()}));
    terminal.waitFor(kPrompt);
    EXPECT_EQ(listDirectory(place.path()).size(), 1U);
    terminal.type("\x03");
    EXPECT_EQ(terminal.exitStatus(), 128 + 2);
    EXPECT_EQ(listDirectory(place.path()), std::vector<std::string>());
}

}  // namespace
}  // namespace Kalt::Vemo::Test
