// What the program says when it is called with something that is not there.

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "ProgramRun.h"

namespace Kalt::Vemo::Test {
namespace {

/// Words of a command line, and what is printed to standard error.
struct Usage {
    std::vector<std::string> words;
    std::string err;
};

class UsageTest : public ProgramTest {};

TEST_F(UsageTest, NamesTheUnknownCommandAndTheNearest) {
    const std::vector<Usage> rows = {
        {{"chekc", "db"},
         "filedb: unknown command 'chekc'; did you mean 'check'? \"filedb --help\" lists the commands\n"},
        {{"rep", "db"},
         "filedb: unknown command 'rep'; did you mean 'repair'? \"filedb --help\" lists the commands\n"},
        {{"frobnicate"}, "filedb: unknown command 'frobnicate'; \"filedb --help\" lists the commands\n"},
        {{"a\x1b[1m"}, "filedb: unknown command 'a\\x1b[1m'; \"filedb --help\" lists the commands\n"},
        {{"subs", "db", "lst"},
         "filedb: unknown command 'lst'; did you mean 'list'? \"filedb subs --help\" lists the commands\n"},
    };
    for (const Usage& row : rows) {
        EXPECT_EQ(runProgram(row.words), (ProgramResult{2, "", row.err}));
    }
}

TEST_F(UsageTest, WritesOutTheControlCharactersOfWrongArguments) {
    const std::vector<Usage> rows = {
        {{"shell", "db", "--mode", "\x1b[1m"}, "--mode: \\x1b[1m not in {table,line,csv,json}\n"},
        {{"check", "db", "--\x1b[1m"}, "The following argument was not expected: --\\x1b[1m\n"},
    };
    for (const Usage& row : rows) {
        EXPECT_EQ(runProgram(row.words),
                  (ProgramResult{2, "", row.err + "Run with --help for more information.\n"}));
    }
}

TEST_F(UsageTest, NamesTheOptionsOfAnOperationInOneLine) {
    prepare({"create table t (a text)"});
    EXPECT_EQ(
        run("subs", {"find"}),
        (ProgramResult{2, "",
                       "filedb subs find: these options do not make an operation; give --id ID, or "
                       "--resource R (as a whole word of the resources), or --resource R --resource S (any "
                       "of them, anywhere in the resources), or --mine --uri U, or --mine --device D "
                       "--resource R\n"}));
}

TEST_F(UsageTest, TellsADirectoryWithoutPermissionFromOneThatIsNotThere) {
    prepare({"create table t (a text)"});
    ASSERT_EQ(0, chmod(temporary.path().c_str(), 0));
    ProgramOptions options;
    options.heedsModes = true;
    const ProgramResult result = run("check", {}, options);
    ASSERT_EQ(0, chmod(temporary.path().c_str(), 0755));
    EXPECT_EQ(
        result,
        (ProgramResult{2, "",
                       "filedb check: " + directory() +
                           ": cannot be looked at: Permission denied; run the command as a user who may, or "
                           "check the permissions of the directories above\n"}));
    ASSERT_EQ(0, chmod(directory().c_str(), 0));
    const ProgramResult closed = run("check", {}, options);
    ASSERT_EQ(0, chmod(directory().c_str(), 0755));
    EXPECT_EQ(closed,
              (ProgramResult{2, "",
                             "filedb check: " + directory() +
                                 ": cannot be read: Permission denied; run the command as a user who may "
                                 "read it\n"}));
    EXPECT_EQ(runProgram({"check", temporary.file("none")}),
              (ProgramResult{2, "",
                             "filedb check: no database at " + temporary.file("none") + ": " +
                                 temporary.file("none") + "_filedb is not a directory; check the path\n"}));
}

TEST_F(UsageTest, HelpThatCannotBeWrittenIsTrouble) {
    ProgramOptions options;
    options.outputFile = "/dev/full";
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"--help"}, {"--version"}, {"check", "--help"}}) {
        EXPECT_EQ(runProgram(words, options).status, 2);
    }
}

TEST_F(UsageTest, NamesTheRemedyForADirectoryThatCannotBeWritten) {
    prepare({"create table t (a text)"});
    const std::string journal = directory() + "/master_rollback";
    ASSERT_EQ(0, chmod(journal.c_str(), 0400));
    ASSERT_EQ(0, chmod(directory().c_str(), 0500));
    ProgramOptions options;
    options.heedsModes = true;
    const ProgramResult changing = run("shell", {"-c", "insert into t values ('x')"}, options);
    const ProgramResult looking = run("shell", {"--read-only", "-c", "select count(*) from t"}, options);
    ASSERT_EQ(0, chmod(directory().c_str(), 0755));
    ASSERT_EQ(0, chmod(journal.c_str(), 0600));
    EXPECT_EQ(changing.status, 2);
    EXPECT_NE(changing.err.find("; run it as a user who may write there, or open it for reading only\n"),
              std::string::npos)
        << changing.err;
    EXPECT_EQ(looking.status, 0) << looking.err;
}

}  // namespace
}  // namespace Kalt::Vemo::Test
