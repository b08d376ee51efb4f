#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "ReplacingTest.h"

// A commit that puts working copies in the tables' places: what becomes of links, attributes and of what is
// in the way, and what the system is asked to bring to the disk.
namespace Kalt::Vemo::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace fs = std::filesystem;

class SynchronousTest : public ReplacingTest {};

INSTANTIATE_TEST_SUITE_P(AtNormalAndFull, SynchronousTest,
                         ::testing::Values(Core::Database::Filedb::Synchronous::normal,
                                           Core::Database::Filedb::Synchronous::full),
                         levelName);

// What the table is

TEST_P(SynchronousTest, ATableIsReplacedByItsWorkingCopy) {
    const ino_t old = statusOf(tableFile("t")).st_ino;
    insertWorks();
    EXPECT_EQ(table("t"), kInserted);
    EXPECT_NE(statusOf(tableFile("t")).st_ino, old);
    expectAtRest();
}

TEST_P(SynchronousTest, WhatASymbolicLinkLeadsToIsReplaced) {
    fs::create_directory(temporary.file("elsewhere"));
    const std::string real = temporary.file("elsewhere/real");
    fs::rename(tableFile("t"), real);
    fs::create_symlink("../elsewhere/real", directory() + "/middle");
    fs::create_symlink("middle", tableFile("t"));
    insertWorks();
    EXPECT_TRUE(fs::is_symlink(tableFile("t")));
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(real)));
    EXPECT_EQ(readFile(real), kInserted);
    expectAtRest();
}

TEST_P(SynchronousTest, ALinkToAnotherFileSystemFailsTheStatementWithCauseAndRemedy) {
    const bool isInMemory = statusOf("/dev/shm").st_dev == statusOf(directory()).st_dev;
    std::string elsewhere = std::string(isInMemory ? "/var/tmp" : "/dev/shm") + "/vemo-XXXXXX";
    ASSERT_NE(mkdtemp(elsewhere.data()), nullptr);
    ASSERT_NE(statusOf(elsewhere).st_dev, statusOf(directory()).st_dev);
    fs::remove(tableFile("t"));
    writeFile(elsewhere + "/real", kTable);
    fs::create_symlink(elsewhere + "/real", tableFile("t"));
    takeErrors();
    insertInto("t");
    const std::vector<std::string> errors = takeErrors();
    EXPECT_THAT(errors, ElementsAre(HasSubstr("File Error: File write error: Invalid cross-device link: " +
                                              elsewhere + "/real cannot be replaced")));
    EXPECT_THAT(errors, ElementsAre(HasSubstr("keep the table's file")));
    EXPECT_EQ(readFile(elsewhere + "/real"), kTable);
    expectAtRest();
    insertWorks("u");
    fs::remove_all(elsewhere);
}

TEST_P(SynchronousTest, AFurtherNameKeepsTheOldContent) {
    fs::create_hard_link(tableFile("t"), temporary.file("other"));
    insertWorks();
    EXPECT_EQ(table("t"), kInserted);
    EXPECT_EQ(readFile(temporary.file("other")), kTable);
}

TEST_P(SynchronousTest, TheTableKeepsModeOwnerAndAttributes) {
    const std::string name = tableFile("t");
    ASSERT_EQ(chmod(name.c_str(), 0640), 0);
    const bool isRoot = geteuid() == 0;
    if (isRoot) {
        ASSERT_EQ(chown(name.c_str(), 1234, 2345), 0);
    }
    if (setxattr(name.c_str(), "user.origin", "factory", 7, 0) != 0 && errno == ENOTSUP) {
        GTEST_SKIP() << "the file system of " << directory() << " has no attributes; set TMPDIR to another";
    }
    insertWorks();
    const struct stat status = statusOf(name);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_EQ(status.st_uid, isRoot ? 1234 : geteuid());
    EXPECT_EQ(status.st_gid, isRoot ? 2345 : getegid());
    char value[16] = "";
    EXPECT_EQ(getxattr(name.c_str(), "user.origin", value, sizeof value), 7);
    EXPECT_STREQ(value, "factory");
}

TEST_P(SynchronousTest, TheTableKeepsItsAccessListAndTakesNoneOfTheDirectory) {
    // Version 2, then owner, user 1234, group, mask, others: each a tag, permissions and an id.
    const std::string list(
        "\x02\0\0\0\x01\0\x06\0\xff\xff\xff\xff\x02\0\x04\0\xd2\x04\0\0\x04\0\x04\0\xff\xff"
        "\xff\xff\x10\0\x04\0\xff\xff\xff\xff\x20\0\0\0\xff\xff\xff\xff",
        44);
    const auto set = [&](const std::string& file, const char* kind) {
        return setxattr(file.c_str(), kind, list.data(), list.size(), 0);
    };
    const auto get = [&](const std::string& file) {
        std::string value(200, '\0');
        const ssize_t size = getxattr(file.c_str(), "system.posix_acl_access", value.data(), value.size());
        value.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
        return value;
    };
    ASSERT_EQ(set(tableFile("t"), "system.posix_acl_access"), 0);
    ASSERT_EQ(set(directory(), "system.posix_acl_default"), 0);
    const mode_t mode = statusOf(tableFile("u")).st_mode;
    insertWorks("t");
    insertWorks("u");
    EXPECT_EQ(get(tableFile("t")), list);
    EXPECT_EQ(get(tableFile("u")), "");
    EXPECT_EQ(statusOf(tableFile("u")).st_mode, mode);
}

TEST_P(SynchronousTest, AnAttributeThatIsRefusedIsALineAndNoError) {
    ASSERT_EQ(chmod(tableFile("t").c_str(), 0640), 0);
    takeErrors();
    {
        const FaultLayer faults(Fault::refusal(EPERM), [](const FileCall& call) {
            return call.call == Call::kAttributes && call.file.rfind("t.backup", 0) == 0;
        });
        EXPECT_EQ(insertInto("t"), 0);
        EXPECT_GT(FaultLayer::hits(), 0);
    }
    EXPECT_TRUE(log.hasPart("the old one's mode: Operation not permitted")) << log.dump();
    EXPECT_THAT(takeErrors(), IsEmpty());
    EXPECT_EQ(table("t"), kInserted);
}

TEST_P(SynchronousTest, ATableWithASlashInItsNameIsReplacedInItsDirectory) {
    fs::create_directory(directory() + "/rooms");
    writeFile(tableFile("rooms/hall"), kTable);
    insertWorks("rooms/hall");
    EXPECT_EQ(table("rooms/hall"), kInserted);
    EXPECT_THAT(listDirectory(directory() + "/rooms"), ElementsAre("hall.table"));
    expectAtRest();
}

// What is in the way

TEST_P(SynchronousTest, ADirectoryInTheTablesPlaceIsAnOpenError) {
    database->beginTransaction();
    EXPECT_EQ(insertInto("t"), 0);
    fs::remove(tableFile("t"));
    fs::create_directory(tableFile("t"));
    EXPECT_FALSE(database->commitTransaction());
    expectErrorWith("DataBase Error: Couldn't open the corresponding file");
    EXPECT_EQ(backup("t"), kInserted);
    fs::remove(tableFile("t"));
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(table("t"), kInserted);
    expectAtRest();
}

TEST_P(SynchronousTest, ALeftoverWorkingCopyThatIsALinkNeverBecomesTheTable) {
    const std::string foreign = temporary.file("foreign");
    for (const bool isSymbolic : {true, false}) {
        writeFile(foreign, "foreign");
        if (isSymbolic) {
            fs::create_symlink(foreign, backupFile("t"));
        } else {
            fs::create_hard_link(foreign, backupFile("t"));
        }
        insertWorks();
        EXPECT_EQ(readFile(foreign), "foreign");
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(tableFile("t"))));
        EXPECT_EQ(statusOf(tableFile("t")).st_nlink, 1U);
        fs::remove(foreign);
    }
    EXPECT_EQ(table("t"), kInsertedTwice);
    expectAtRest();
}

TEST_P(SynchronousTest, AWorkingCopyThatBecameALinkIsTakenByItsContent) {
    database->beginTransaction();
    EXPECT_EQ(insertInto("t"), 0);
    writeFile(temporary.file("foreign"), kInsertedTwice);
    fs::remove(backupFile("t"));
    fs::create_symlink(temporary.file("foreign"), backupFile("t"));
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(tableFile("t"))));
    EXPECT_EQ(table("t"), kInsertedTwice);
    EXPECT_EQ(readFile(temporary.file("foreign")), kInsertedTwice);
    expectAtRest();
}

TEST_P(SynchronousTest, ARefusedRenameIsAWriteErrorAndIsTriedAgain) {
    FaultLayer faults(Fault::kIoError, callsOn("t.table", Call::kRename));
    EXPECT_EQ(insertInto("t"), 0);
    expectErrorWith("File Error: File write error: Input/output error");
    EXPECT_EQ(table("t"), kTable);
    EXPECT_EQ(backup("t"), kInserted);
    EXPECT_EQ(insertInto("u"), 1);
    faults.lift();
    EXPECT_EQ(rowsOf("t").size(), 3U);
    EXPECT_EQ(table("t"), kInserted);
    expectWorksOn("u");
}

// What a failed sync leaves

TEST_P(SynchronousTest, AWorkingCopyThatCannotBeSyncedDiscardsTheStatement) {
    const Files before = files();
    for (const int error : {EIO, ENOSPC}) {
        const FaultLayer faults(Fault::refusal(error), callsOn("t.backup", Call::kSync));
        EXPECT_EQ(insertInto("t"), 0);
        EXPECT_EQ(FaultLayer::hits(), 1);
        expectErrorWith("File Error: File write error");
        EXPECT_EQ(files(), before);
    }
    expectWorksOn("t");
}

TEST_P(SynchronousTest, AFileWhoseSyncFailedIsWrittenAnewIntoANewFile) {
    database->beginTransaction();
    EXPECT_EQ(insertInto("t"), 0);
    const ino_t failed = statusOf(backupFile("t")).st_ino;
    // A further name keeps the inode's number from being used again.
    fs::create_hard_link(backupFile("t"), temporary.file("kept"));
    {
        const FaultLayer faults(Fault::kIoError,
                                [](const FileCall& call) { return call.call == Call::kSync; });
        EXPECT_FALSE(database->commitTransaction());
        EXPECT_EQ(FaultLayer::hits(), 1);
    }
    EXPECT_EQ(rowsOf("t").size(), 3U);
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_NE(statusOf(tableFile("t")).st_ino, failed);
    EXPECT_EQ(table("t"), kInserted);
    expectAtRest();
}

// Entries of a commit

TEST_P(SynchronousTest, TwoNamesOfOneTableAreDoneWithOneRename) {
    for (const bool otherFirst : {false, true}) {
        writeFile(tableFile("t"), kTable);
        database->beginTransaction();
        EXPECT_EQ(insertInto(otherFirst ? "./t" : "t"), 0);
        EXPECT_EQ(updateOf(otherFirst ? "t" : "./t"), 0);
        takeErrors();
        EXPECT_TRUE(database->commitTransaction());
        EXPECT_THAT(takeErrors(), IsEmpty());
        EXPECT_EQ(table("t"), "a~b~ROWID\n1~4~1\n\n1~'one'~1\n2~'two and much more'~2\n");
        expectAtRest();
    }
}

TEST_P(SynchronousTest, ACommitIsRepeatedAfterAHalfDoneOne) {
    database->beginTransaction();
    EXPECT_EQ(insertInto("t"), 0);
    EXPECT_EQ(insertInto("u"), 0);
    {
        const FaultLayer faults(Fault::kIoError, callsOn("u.table", Call::kRename));
        EXPECT_FALSE(database->commitTransaction());
    }
    takeErrors();
    EXPECT_EQ(table("t"), kInserted);
    EXPECT_FALSE(fileExists(backupFile("t")));
    EXPECT_EQ(table("u"), kTable);
    EXPECT_EQ(rowsOf("t").size(), 3U);
    EXPECT_EQ(journal(), "1\n\x01~t\n\x01~u\n");

    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(log.count("Failed to remove"), 0);
    EXPECT_EQ(table("t"), kInserted);
    EXPECT_EQ(table("u"), kInserted);
    expectAtRest();
}

TEST_P(SynchronousTest, ADoneTableMayBeChangedAgainWithoutASecondJournalLine) {
    database->beginTransaction();
    EXPECT_EQ(insertInto("t"), 0);
    EXPECT_EQ(insertInto("u"), 0);
    {
        const FaultLayer faults(Fault::kIoError, callsOn("u.table", Call::kRename));
        EXPECT_FALSE(database->commitTransaction());
    }
    EXPECT_EQ(insertInto("t"), 0);
    EXPECT_EQ(journal(), "1\n\x01~t\n\x01~u\n");
    EXPECT_EQ(backup("t"), kInsertedTwice);
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(table("t"), kInsertedTwice);
    EXPECT_EQ(table("u"), kInserted);
    expectAtRest();
}

TEST_P(SynchronousTest, AJournalOfAnEarlierBuildIsFinishedByReplacing) {
    database.reset();
    writeFile(backupFile("t"), kInserted);
    writeFile(journalFile(), "0\n1~t\n5~u\n");
    reopen();
    EXPECT_EQ(table("t"), kInserted);
    EXPECT_FALSE(fileExists(tableFile("u")));
    expectAtRest();
}

// What is brought to the disk

TEST_P(SynchronousTest, SyncsComeBeforeWhatRestsOnThem) {
    const bool isFull = GetParam() == Synchronous::full;
    std::vector<std::string> calls;
    const auto watch = [&](const FileCall& call) {
        const char* const what = call.call == Call::kSync                                      ? "sync "
                                 : call.call == Call::kRename                                  ? "rename "
                                 : call.call == Call::kWrite && call.file == "master_rollback" ? "write "
                                                                                               : nullptr;
        if (what != nullptr) {
            calls.push_back(what + call.file);
        }
        return false;
    };
    const FaultLayer watching(Fault::kNone, watch);
    EXPECT_EQ(insertInto("t"), 0);
    std::vector<std::string> wanted{"write master_rollback", "sync t.backup", "write master_rollback",
                                    "rename t.table"};
    if (isFull) {
        wanted.emplace_back("sync db_filedb");
    }
    wanted.emplace_back("write master_rollback");
    EXPECT_EQ(calls, wanted);

    calls.clear();
    EXPECT_EQ(exec("DROP TABLE u;"), 0);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "sync db_filedb"), isFull ? 1 : 0);
}

TEST_P(SynchronousTest, AJournalThatHeldADropOfAChangedTableIsSyncedAfterItWasCut) {
    database->beginTransaction();
    EXPECT_EQ(insertInto("t"), 0);
    EXPECT_EQ(exec("DROP TABLE t;"), 0);
    EXPECT_EQ(journal(), "0\n5~t\n");
    std::string synced;
    const FaultLayer watching(Fault::kNone, [&](const FileCall& call) {
        if (call.call == Call::kSync && call.file == "master_rollback") {
            synced = journal();
        }
        return false;
    });
    EXPECT_TRUE(database->rollbackTransaction());
    EXPECT_EQ(synced, "0\n");
}

TEST_P(SynchronousTest, ADirectoryThatCannotBeSyncedCountsAsSyncedUnlessTheDiskFails) {
    if (GetParam() == Synchronous::normal) {
        const FaultLayer faults(Fault::kIoError, callsOn("db_filedb", Call::kSync));
        insertWorks();
        EXPECT_EQ(FaultLayer::hits(), 0) << "this level syncs no directory";
        return;
    }
    {
        const FaultLayer faults(Fault::refusal(EINVAL), callsOn("db_filedb", Call::kSync));
        EXPECT_EQ(insertInto("t"), 0);
        EXPECT_EQ(FaultLayer::hits(), 1);
        EXPECT_TRUE(log.hasPart("it counts as synced: Invalid argument"));
        EXPECT_THAT(takeErrors(), IsEmpty());
    }
    {
        const FaultLayer faults(Fault::kIoError, callsOn("db_filedb", Call::kSync));
        EXPECT_EQ(insertInto("t"), 0);
        expectErrorWith("File Error: File write error: Input/output error");
        EXPECT_EQ(insertInto("u"), 1) << "until it is on the disk";
    }
    expectWorksOn("u");
    EXPECT_EQ(table("t"), kInsertedTwice);
}

TEST(SynchronousLevelTest, FullSyncsTheParentOfADirectoryThatInitMakes) {
    const TemporaryDirectory temporary;
    const std::string parent = temporary.path().substr(temporary.path().rfind('/') + 1);
    for (const auto level :
         {Core::Database::Filedb::Synchronous::full, Core::Database::Filedb::Synchronous::normal,
          Core::Database::Filedb::Synchronous::off}) {
        fs::remove_all(temporary.file("db_filedb"));
        const FaultLayer watching(Fault::refusal(EINVAL), callsOn(parent, Call::kSync));
        Core::Database::Filedb::FileDatabase database(level);
        EXPECT_TRUE(database.init(temporary.file("db")));
        EXPECT_EQ(FaultLayer::hits(), level == Core::Database::Filedb::Synchronous::full ? 1 : 0);
        EXPECT_TRUE(database.init(temporary.file("db")));
        EXPECT_EQ(FaultLayer::hits(), level == Core::Database::Filedb::Synchronous::full ? 1 : 0);
    }
}

TEST(SynchronousLevelTest, OffSyncsAndRenamesNothing) {
    const TemporaryDirectory temporary;
    const FaultLayer faults(Fault::kIoError, [](const FileCall& call) {
        return call.call == Call::kSync || call.call == Call::kRename;
    });
    Core::Database::Filedb::FileDatabase database(Core::Database::Filedb::Synchronous::off);
    EXPECT_TRUE(database.init(temporary.file("db")));
    EXPECT_EQ(database.executeUpdate("CREATE TABLE t (a INTEGER);"), 0);
    database.beginTransaction();
    EXPECT_EQ(database.executeUpdate("INSERT INTO t (a) VALUES (?);", "1"), 0);
    EXPECT_EQ(database.executeUpdate("DROP TABLE t;"), 0);
    EXPECT_TRUE(database.commitTransaction());
    EXPECT_EQ(FaultLayer::hits(), 0);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
