#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "ProgramRun.h"

namespace Kalt::Vemo::Test {

/// A run of the program on a terminal of its own, typed at as a person would.
class TerminalRun {
public:
    struct Size {
        unsigned short rows = 50;
        unsigned short columns = 200;
    };

    /// @param environment NAME=VALUE, or NAME alone for what is not to be set
    TerminalRun(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
                Size terminalSize = {50, 200});
    ~TerminalRun();
    TerminalRun(const TerminalRun&) = delete;
    TerminalRun& operator=(const TerminalRun&) = delete;

    void type(const std::string& keys);

    /// Waits until the terminal shows `text` behind what was waited for before.
    void waitFor(const std::string& text);

    /// Waits for the end of the program; 128 and the signal's number when a signal ended it.
    int exitStatus();

    /// Types ^D, the end of the input, until the program is over, and gives its exit status.
    int endInput();

    void send(int signal) const;

    const std::string& shown() const { return shown_; }

private:
    bool isReadable(int milliseconds) const;
    bool readMore();

    int terminal_ = -1;
    pid_t child_ = -1;
    bool isOver_ = false;
    std::string shown_;
    std::size_t position_ = 0;
};

/// A small database, and runs of its prompt.
class PromptTest : public ProgramTest {
protected:
    void SetUp() override;

    /// What the program's environment has for a terminal, and `more`.
    std::vector<std::string> environment(const std::vector<std::string>& more = {}) const;

    std::string historyFile() const { return temporary.file("state/filedb/history"); }
};

inline constexpr const char* kPrompt = "filedb> ";

}  // namespace Kalt::Vemo::Test
