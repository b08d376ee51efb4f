#pragma once

#include <array>
#include <csignal>
#include <string>
#include <vector>

namespace Kalt::Vemo::Tool {

/// A directory for files that are needed for a while, in a temporary directory of its own. All is removed at
/// the end, also when a signal ends the program. Only one object may live at a time, unless
/// leaveSignalsAlone() was called.
class TemporaryPlace {
public:
    /// @param suffix what the directory's name ends in
    /// @param names  the files that may come to be in it: those that a signal's handler removes
    /// Throws: Trouble.
    TemporaryPlace(const std::string& suffix, const std::vector<std::string>& names);
    ~TemporaryPlace();
    TemporaryPlace(const TemporaryPlace&) = delete;
    TemporaryPlace& operator=(const TemporaryPlace&) = delete;

    const std::string& path() const { return path_; }

    /// From now on signals keep the meaning that the program gave them, and one that ends it leaves
    /// the files behind: for a library in another one's program.
    static void leaveSignalsAlone();

private:
    static constexpr std::array<int, 3> kEndingSignals{SIGINT, SIGTERM, SIGHUP};

    void make(const std::string& suffix, const std::vector<std::string>& names);
    void handleEndingSignals();
    void restoreHandlers();

    std::string temporary_;
    std::string path_;
    std::vector<std::string> entries_;  // files first, then directories from the inside out
    std::array<struct sigaction, kEndingSignals.size()> previous_{};
};

}  // namespace Kalt::Vemo::Tool
