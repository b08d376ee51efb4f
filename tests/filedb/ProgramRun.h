#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace Kalt::Vemo::Test {

/// What a run of the program left behind.
struct ProgramResult {
    int status = -1;  ///< exit status; 128 and the signal's number when a signal ended it
    std::string out;
    std::string err;

    bool operator==(const ProgramResult& other) const {
        return status == other.status && out == other.out && err == other.err;
    }
};

std::ostream& operator<<(std::ostream& out, const ProgramResult& result);

/// How to run the program.
struct ProgramOptions {
    std::string input;                     ///< its standard input, a file
    std::vector<std::string> environment;  ///< NAME=VALUE, besides a few that are always set
    bool heedsModes = false;               ///< file modes bind it also when it runs as root
    bool seesOwnOnly = false;  ///< processes of other users are hidden from it also when it runs as root
    std::string outputFile;    ///< its standard output instead of a file of its own
    bool isUnread = false;     ///< its standard output is a pipe that nobody reads
};

/// Runs the built program.
ProgramResult runProgram(const std::vector<std::string>& arguments, const ProgramOptions& options = {});

/// A directory with a database, "db", and runs of the program on it.
class ProgramTest : public ::testing::Test {
protected:
    std::string path() const { return temporary.file("db"); }
    std::string directory() const { return path() + "_filedb"; }
    std::string tableFile(const std::string& table) const { return directory() + "/" + table + ".table"; }

    /// Runs `filedb COMMAND db REST...`.
    ProgramResult run(const std::string& command, const std::vector<std::string>& rest = {},
                      const ProgramOptions& options = {}) const;

    /// Runs statements in one shell; each is its own -c.
    ProgramResult shell(const std::vector<std::string>& statements,
                        const std::vector<std::string>& options = {}) const;

    /// Runs statements that have to succeed and give no rows.
    void prepare(const std::vector<std::string>& statements) const;

    TemporaryDirectory temporary;
};

}  // namespace Kalt::Vemo::Test
