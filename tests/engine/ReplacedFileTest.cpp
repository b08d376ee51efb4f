#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "OtherProcess.h"
#include "ReplacingTest.h"

// Tables that cannot be replaced, and what a new file takes over of the old one.
namespace Kalt::Vemo::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace fs = std::filesystem;

class ReplacedFileTest : public ReplacingTest {
protected:
    /// The table's file may not be replaced by its working copy.
    static FaultLayer refusedRename(int error) {
        return {Fault::refusal(error), callsOn("t.table", Call::kRename)};
    }

    unsigned int modeOf(const std::string& name) { return statusOf(name).st_mode & 07777U; }
};

INSTANTIATE_TEST_SUITE_P(AtNormalAndFull, ReplacedFileTest,
                         ::testing::Values(Core::Database::Filedb::Synchronous::normal,
                                           Core::Database::Filedb::Synchronous::full),
                         levelName);

// ---- Tables that cannot be replaced ----

TEST_P(ReplacedFileTest, ATableThatCannotBeReplacedFailsItsStatementsAndNoOthers) {
    const Files before = files();
    for (const int error : {EACCES, EXDEV, EBUSY}) {  // the last is what a mount point gives
        const FaultLayer faults = refusedRename(error);
        takeErrors();
        EXPECT_EQ(insertInto("t"), 0);
        EXPECT_EQ(FaultLayer::hits(), 1);
        EXPECT_THAT(
            takeErrors(),
            ElementsAre(::testing::AllOf(
                HasSubstr(tableFile("t") + " cannot be replaced by its working copy; keep the table's "
                                           "file, or what its link leads to, on the file system"),
                HasSubstr("where this user may replace files"))));
        EXPECT_EQ(files(), before);
    }
    {
        const FaultLayer faults = refusedRename(EACCES);
        expectWorksOn("u");
    }
    expectWorksOn("t");
}

TEST_P(ReplacedFileTest, ATableThatCannotBeReplacedKeepsNoDatabaseFromOpening) {
    {
        const FaultLayer faults = refusedRename(EACCES);
        EXPECT_EQ(insertInto("t"), 0);
        reopen();
    }
    EXPECT_EQ(table("t"), kTable);
    expectWorksOn("t");
}

TEST_P(ReplacedFileTest, ANewTableThatCannotBePutInItsPlaceFailsItsStatementsAndNoOthers) {
    fs::create_symlink("missing/directory", tableFile("n"));
    const Files before = files();
    takeErrors();
    EXPECT_EQ(exec("CREATE TABLE n (a INTEGER);"), 0);
    EXPECT_THAT(takeErrors(), ElementsAre(HasSubstr("missing/directory cannot be replaced")));
    EXPECT_EQ(files(), before);
    expectWorksOn("u");
}

TEST_P(ReplacedFileTest, ATransactionWithATableThatCannotBeReplacedIsEndedByARollback) {
    database->beginTransaction();
    EXPECT_EQ(insertInto("t"), 0);
    EXPECT_EQ(insertInto("u"), 0);
    {
        const FaultLayer faults = refusedRename(EXDEV);
        EXPECT_FALSE(database->commitTransaction());
        expectErrorWith("cannot be replaced");
        EXPECT_EQ(rowsOf("t").size(), 3U) << "the transaction stays open";
        EXPECT_TRUE(database->rollbackTransaction());
    }
    EXPECT_EQ(table("t"), kTable);
    EXPECT_EQ(table("u"), kTable);
    expectAtRest();
    insertWorks("t");
}

// ---- What the user may not write ----

/// The database belongs to a user without root's rights.
class ForeignUserTest : public ReplacedFileTest {
protected:
    void SetUp() override {
        ReplacedFileTest::SetUp();
        database.reset();
        if (geteuid() != 0) {
            return;  // it is such a user's already
        }
        for (const std::string& name :
             {temporary.path(), directory(), journalFile(), tableFile("t"), tableFile("u")}) {
            ASSERT_EQ(chown(name.c_str(), kUser, kUser), 0);
        }
    }

    /// What the statement does in a process of the user; false when the database cannot be opened.
    bool runs(const char* statement) {
        return inOtherProcess([&] {
            if (geteuid() == 0 && (setgid(kUser) != 0 || setuid(kUser) != 0)) {
                return false;
            }
            FileDatabase other(GetParam());
            return other.init(path()) && other.executeUpdate(statement) == 0;
        });
    }

    static constexpr uid_t kUser = 1234;
};

INSTANTIATE_TEST_SUITE_P(AtNormalAndFull, ForeignUserTest,
                         ::testing::Values(Core::Database::Filedb::Synchronous::normal,
                                           Core::Database::Filedb::Synchronous::full),
                         levelName);

TEST_P(ForeignUserTest, AReadOnlyTableIsNotReplacedAlthoughItsDirectoryAllowsIt) {
    ASSERT_EQ(chmod(tableFile("t").c_str(), 0444), 0);
    EXPECT_TRUE(runs("DELETE FROM t;"));
    EXPECT_EQ(table("t"), kTable);
    EXPECT_EQ(modeOf(tableFile("t")), 0444U);
    expectAtRest();
    EXPECT_TRUE(runs("DELETE FROM u;"));
    EXPECT_EQ(table("u"), "a~b~ROWID\n1~4~1\n\n");
}

TEST_P(ForeignUserTest, InAReadOnlyDirectoryNothingChanges) {
    ASSERT_EQ(chmod(directory().c_str(), 0555), 0);
    const Files before = files();
    for (const char* statement : {"DELETE FROM t;", "DROP TABLE t;", "CREATE TABLE n (a INTEGER);"}) {
        EXPECT_TRUE(runs(statement)) << statement;
        EXPECT_EQ(files(), before) << statement;
    }
    ASSERT_EQ(chmod(directory().c_str(), 0755), 0);
    EXPECT_TRUE(runs("DELETE FROM t;"));
    EXPECT_EQ(table("t"), "a~b~ROWID\n1~4~1\n\n");
}

// ---- What is in the way of a working copy ----

TEST_P(ReplacedFileTest, ALeftoverWorkingCopyOfAnyKindButADirectoryIsReplaced) {
    const std::string nowhere = temporary.file("nowhere");
    fs::create_symlink(nowhere, backupFile("t"));
    insertWorks();
    EXPECT_FALSE(fileExists(nowhere));
    ASSERT_EQ(mkfifo(backupFile("t").c_str(), 0600), 0);
    insertWorks();
    EXPECT_EQ(table("t"), kInsertedTwice);
    expectAtRest();
}

TEST_P(ReplacedFileTest, ADirectoryUnderTheWorkingCopysNameFailsTheStatement) {
    fs::create_directory(backupFile("t"));
    takeErrors();
    EXPECT_EQ(insertInto("t"), 0);
    expectErrorWith("DataBase Error: Couldn't open the corresponding file");
    EXPECT_EQ(table("t"), kTable);
    EXPECT_EQ(journal(), "0\n");
    insertWorks("u");
    fs::remove(backupFile("t"));
    insertWorks("t");
}

// ---- What the new file takes over ----

TEST_P(ReplacedFileTest, TheTableKeepsEveryModeWhateverTheUmaskIs) {
    for (const mode_t mask : {0000U, 0022U, 0077U, 0777U}) {
        const mode_t old = umask(mask);
        for (const unsigned int mode : {0600U, 0640U, 0644U, 0666U, 0777U, 01644U, 02755U, 04755U, 06755U}) {
            ASSERT_EQ(chmod(tableFile("t").c_str(), mode), 0);
            insertWorks();
            EXPECT_EQ(modeOf(tableFile("t")), mode) << std::oct << mode << " under the umask " << mask;
        }
        umask(old);
    }
    expectAtRest();
}

TEST_P(ReplacedFileTest, WhatChangesDuringATransactionIsTakenOverByTheCommit) {
    database->beginTransaction();
    EXPECT_EQ(insertInto("t"), 0);
    ASSERT_EQ(chmod(tableFile("t").c_str(), 0604), 0);
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(modeOf(tableFile("t")), 0604U);
}

// Only root can make what this needs; whoever else runs it sees that a file of its own keeps its group.
TEST_P(ReplacedFileTest, WhoCannotGiveTheOwnerGivesTheGroup) {
    constexpr uid_t kUser = 1234;
    constexpr gid_t kShared = 2345;
    const bool isRoot = geteuid() == 0;
    database.reset();
    if (isRoot) {
        for (const std::string& name : {temporary.path(), directory(), journalFile(), tableFile("t")}) {
            ASSERT_EQ(chmod(name.c_str(), 0777), 0);
        }
        ASSERT_EQ(chown(tableFile("t").c_str(), 0, kShared), 0);
        ASSERT_EQ(chmod(tableFile("t").c_str(), 0664), 0);
    }
    const gid_t group = statusOf(tableFile("t")).st_gid;
    EXPECT_TRUE(inOtherProcess([&] {
        if (isRoot && (setgroups(1, &kShared) != 0 || setgid(kUser) != 0 || setuid(kUser) != 0)) {
            return false;
        }
        FileDatabase other(GetParam());
        return other.init(path()) && other.executeUpdate("DELETE FROM t WHERE a = 1;") == 0;
    }));
    EXPECT_EQ(table("t"), "a~b~ROWID\n1~4~1\n\n2~'two'~2\n");
    EXPECT_EQ(statusOf(tableFile("t")).st_uid, isRoot ? kUser : geteuid());
    EXPECT_EQ(statusOf(tableFile("t")).st_gid, group);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
