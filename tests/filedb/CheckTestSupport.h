#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace Kalt::Vemo::Test {

/// What a program left behind.
struct ProgramResult {
    int status = -1;  // exit status, or minus the signal that ended it
    std::string out;
    std::string err;
};

/// Runs a program in `directory` and waits for its end. Its standard input is empty.
ProgramResult runProgram(const std::string& directory, const std::vector<std::string>& arguments);

/// Path of the program under test.
std::string filedbProgram();

/// File names and their whole contents.
using Files = std::map<std::string, std::string>;

/// A database directory "db_filedb" planted file by file; the program runs beside it with the path "db".
class PlantedDirectoryTest : public ::testing::Test {
protected:
    PlantedDirectoryTest();

    void plant(const std::string& name, const std::string& content);
    void plant(const Files& files);

    /// Starts anew with an empty database directory.
    void clear();

    ProgramResult check(const std::vector<std::string>& options = {});
    ProgramResult repair(const std::vector<std::string>& options = {});

    /// Takes back what is in "db_filedb.repair-1".
    ProgramResult restore(const std::vector<std::string>& options = {});

    /// The names of the files of the database and of what was set aside that are one file under two names.
    std::vector<std::string> sharedFiles() const;

    /// The regular files of a directory beside or below the planted one.
    Files filesIn(const std::string& directory) const;
    Files database() const { return filesIn("db_filedb"); }

    std::string path(const std::string& name) const { return root_ + "/db_filedb/" + name; }
    const std::string& root() const { return root_; }

private:
    ProgramResult run(const std::string& command, const std::vector<std::string>& options);

    TemporaryDirectory temporary_;
    int generation_ = 0;
    std::string root_;
};

}  // namespace Kalt::Vemo::Test
