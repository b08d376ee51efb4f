#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "FaultTest.h"

// What a statement, a commit or an opening could not finish is finished later, and until then nothing that it
// needs is given up.
namespace Kalt::Vemo::Test {
namespace {

using ::testing::AnyOf;
using ::testing::IsEmpty;

const std::string kUpdated = "a~b~ROWID\n1~4~1\n\n1~'one'~1\n2~'two and much more'~2\n";

class UnfinishedChangeTest : public FaultTest {
protected:
    /// Only where tables are written over can one be half written.
    UnfinishedChangeTest() { useLevel(Synchronous::off); }

    /// Runs the update of t, whose copy-over stops half way; the fault stays.
    void tearTable() {
        EXPECT_EQ(updateOf("t"), 0);
        EXPECT_GT(FaultLayer::hits(), 0);
        expectErrorWith("No space left on device");
        EXPECT_EQ(backup("t"), kUpdated);
        EXPECT_EQ(journal(), "1\n\x03~t\n");
    }
};

// The torn table

TEST_F(UnfinishedChangeTest, ATornTableIsFinishedBeforeItsWorkingCopyTakesANewChange) {
    FaultLayer faults(Fault::kHalfWrite, 1, true, writesTo("t.table"));
    tearTable();
    EXPECT_NE(table("t"), kUpdated);
    const Files torn = files();

    EXPECT_EQ(insertInto("t"), 1);
    expectErrorWith("No space left on device");
    EXPECT_EQ(files(), torn) << "the working copy is all that is whole";

    faults.lift();
    EXPECT_EQ(insertInto("t"), 0);
    EXPECT_THAT(takeErrors(), IsEmpty());
    EXPECT_EQ(table("t"), kUpdated + "9~'nine'~3\n");
    expectWorksOn("t");
}

TEST_F(UnfinishedChangeTest, ATableTornByACommitIsFinishedBeforeTheTransactionChangesItAgain) {
    database->beginTransaction();
    EXPECT_EQ(updateOf("t"), 0);
    FaultLayer faults(Fault::kHalfWrite, 1, true, writesTo("t.table"));
    EXPECT_FALSE(database->commitTransaction());
    expectErrorWith("No space left on device");
    EXPECT_EQ(backup("t"), kUpdated);

    EXPECT_THAT(insertInto("t"), AnyOf(0, 1));
    expectErrorWith("No space left on device");
    EXPECT_EQ(backup("t"), kUpdated) << "the working copy is all that is whole";

    faults.lift();
    EXPECT_EQ(insertInto("t"), 0);
    EXPECT_THAT(takeErrors(), IsEmpty());
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(table("t"), kUpdated + "9~'nine'~3\n");
}

TEST_F(UnfinishedChangeTest, AProcessThatIsKilledWhileItChangesATornTableLeavesItWholeOrItsWorkingCopy) {
    const Files before = files();
    database.reset();
    bool died = true;
    for (int n = 1; died; ++n) {
        SCOPED_TRACE("step " + std::to_string(n));
        ASSERT_LT(n, 200) << "no end in sight";
        restoreFiles(directory(), before);
        died = endsEarly([&] {
            FileDatabase victim(level());
            if (!victim.init(path()) || !victim.beginTransaction()) {
                return false;
            }
            const char* const update = "UPDATE t SET a=?, b='?' WHERE a = 2;";
            if (victim.executeUpdate(update, "2", "two and much more") != 0) {
                return false;
            }
            {
                const FaultLayer faults(Fault::kHalfWrite, 1, true, writesTo("t.table"));
                if (victim.commitTransaction()) {
                    return false;
                }
            }
            const FaultLayer faults(Fault::kTornDeath, n);
            return victim.executeUpdate("INSERT INTO t (a, b) VALUES (?, '?');", "9", "nine") == 0;
        });
        if (table("t") != kUpdated) {
            EXPECT_EQ(journal().substr(0, 2), "1\n");
            EXPECT_EQ(backup("t"), kUpdated);
        }
    }
}

// A failed opening

/// A journal and working copies that an opening must copy over the tables a and b.
class FailedInitTest : public UnfinishedChangeTest {
protected:
    void SetUp() override {
        FaultTest::SetUp();
        database = std::make_unique<FileDatabase>(level());
        writeFile(tableFile("a"), kTable);
        writeFile(tableFile("b"), kTable);
        writeFile(backupFile("a"), kUpdated);
        writeFile(backupFile("b"), kUpdated);
        writeFile(journalFile(), "0\n1~a\n1~b\n");
    }

    void expectNothingGivenUp() {
        exec("UPDATE missing SET a=?;", "1");
        exec("INSERT INTO missing (a) VALUES (?);", "1");
        exec("DROP TABLE missing;");
        EXPECT_EQ(backup("b"), kUpdated);
        EXPECT_EQ(table("a"), kTable);
        EXPECT_EQ(table("b"), kTable);
        takeErrors();
    }

    void expectFinished() {
        EXPECT_EQ(table("a"), kUpdated);
        EXPECT_EQ(table("b"), kUpdated);
        EXPECT_EQ(journal(), "0\n");
        EXPECT_FALSE(fileExists(backupFile("a")));
        EXPECT_FALSE(fileExists(backupFile("b")));
    }
};

TEST_F(FailedInitTest, AMissingWorkingCopyGivesNothingUpAndIsFinishedBeforeTheNextStatement) {
    std::filesystem::remove(backupFile("a"));
    EXPECT_FALSE(database->init(path()));
    expectErrorWith("init Exception: ");
    expectNothingGivenUp();
    writeFile(backupFile("a"), kUpdated);
    EXPECT_EQ(rowsOf("u").size(), 2U);
    expectFinished();
    expectWorksOn("b");
}

TEST_F(FailedInitTest, AMissingWorkingCopyGivesNothingUpAndIsFinishedByTheNextInit) {
    std::filesystem::remove(backupFile("a"));
    EXPECT_FALSE(database->init(path()));
    expectNothingGivenUp();
    writeFile(backupFile("a"), kUpdated);
    EXPECT_TRUE(database->init(path()));
    expectFinished();
    expectWorksOn("a");
}

TEST_F(FailedInitTest, AMissingWorkingCopyGivesNothingUpAndIsFinishedByAnotherObject) {
    std::filesystem::remove(backupFile("a"));
    EXPECT_FALSE(database->init(path()));
    expectNothingGivenUp();
    writeFile(backupFile("a"), kUpdated);
    reopen();
    expectFinished();
    expectWorksOn("a");
}

TEST_F(FailedInitTest, AnUnreadableJournalGivesNothingUpAndIsFinishedBeforeTheNextStatement) {
    FaultLayer faults(Fault::kIoError, callsOn("master_rollback", Call::kRead));
    EXPECT_FALSE(database->init(path()));
    EXPECT_GT(FaultLayer::hits(), 0);
    expectErrorWith("DB Error: Error occurred during file reading");
    expectNothingGivenUp();
    EXPECT_EQ(backup("a"), kUpdated);
    EXPECT_EQ(journal(), "0\n1~a\n1~b\n");
    faults.lift();
    EXPECT_EQ(rowsOf("u").size(), 2U);
    expectFinished();
    expectWorksOn("b");
}

TEST_F(FailedInitTest, AnUnreadableJournalGivesNothingUpAndIsFinishedByTheNextInit) {
    FaultLayer faults(Fault::kIoError, callsOn("master_rollback", Call::kRead));
    EXPECT_FALSE(database->init(path()));
    expectNothingGivenUp();
    EXPECT_EQ(backup("a"), kUpdated);
    faults.lift();
    EXPECT_TRUE(database->init(path()));
    expectFinished();
    expectWorksOn("b");
}

// Refused in a row

TEST_F(UnfinishedChangeTest, TwoStatementsThatAreRefusedRightAfterTheirCopyOverAskForNoRollback) {
    bool copied = false;
    const auto afterCopyOver = [&copied](const FileCall& call) {
        if (call.file == "t.table" && call.call == Call::kWrite) {
            copied = true;
            return false;
        }
        return copied && writesOrTruncates(call);
    };
    FaultLayer faults(Fault::refusal(ENOSPC), afterCopyOver);
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(insertInto("t"), AnyOf(0, 1));
        EXPECT_EQ(log.count("roll back"), 0);
    }
    EXPECT_GT(FaultLayer::hits(), 0);
    faults.lift();
    const Rows now = rowsOf("t");
    EXPECT_THAT(now.size(), AnyOf(2U, 3U, 4U));
    EXPECT_EQ(log.count("roll back"), 0);
    expectWorksOn("t");
}

TEST_F(UnfinishedChangeTest, AnUnfinishedStatementMayFailAgainAndAgain) {
    for (const Fault& fault : {Fault::refusal(ENOSPC), Fault::refusal(EINTR), Fault::kNoProgress}) {
        restoreFiles(directory(), {{"t.table", kTable}, {"u.table", kTable}, {"master_rollback", "0\n"}});
        reopen();
        takeErrors();
        FaultLayer faults(
            fault, [](const FileCall& call) { return call.file == "t.table" && call.call == Call::kWrite; });
        EXPECT_EQ(updateOf("t"), 0);
        expectErrorWith("File Error: File write error");
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(insertInto("t"), 1);
            EXPECT_THAT(takeErrors(), ::testing::Not(IsEmpty()));
            EXPECT_EQ(backup("t"), kUpdated);
        }
        faults.lift();
        EXPECT_EQ(rowsOf("t"), (Rows{"1|one|1", "2|two and much more|2"}));
        EXPECT_EQ(table("t"), kUpdated);
        expectWorksOn("t");
    }
}

TEST_F(UnfinishedChangeTest, AWriteWithoutProgressIsAWriteErrorWhereverItHappens) {
    for (const char* file : {"master_rollback", "t.backup", "t.table"}) {
        SCOPED_TRACE(file);
        const FaultLayer faults(Fault::kNoProgress, callsOn(file, Call::kWrite));
        EXPECT_EQ(insertInto("t"), 0);
        EXPECT_GT(FaultLayer::hits(), 0);
        expectErrorWith("File Error: File write error");
    }
    expectWorksOn("t");
}

// Changes while a copy-over cannot be finished

TEST_F(UnfinishedChangeTest, AnUnfinishedCopyOverRefusesEveryChangeAndAnswersQueries) {
    FaultLayer faults(Fault::kHalfWrite, 1, true, writesTo("t.table"));
    tearTable();
    const Files torn = files();
    for (const bool inTransaction : {false, true}) {
        SCOPED_TRACE(inTransaction ? "in a transaction" : "on its own");
        if (inTransaction) {
            EXPECT_TRUE(database->beginTransaction());
        }
        for (const char* sql :
             {"INSERT INTO u (a, b) VALUES (?, '?');", "UPDATE u SET a=?, b='?';", "DELETE FROM u;",
              "DROP TABLE u;", "CREATE TABLE w (a INTEGER);", "CREATE TABLE IF NOT EXISTS w (a INTEGER);",
              "INSERT INTO t (a, b) VALUES (?, '?');", "DROP TABLE t;"}) {
            SCOPED_TRACE(sql);
            EXPECT_EQ(exec(sql, "9", "nine"), 1);
            expectErrorWith("No space left on device");
            EXPECT_EQ(files(), torn);
        }
        EXPECT_EQ(rowsOf("u"), (Rows{"1|one|1", "2|two|2"}));
        EXPECT_THAT(rowsOf("t"), AnyOf(Rows{"1|one|1", "2|two|2"}, Rows{"1|one|1", "2|two and much more|2"}));
        EXPECT_EQ(files(), torn);
        takeErrors();
    }
    faults.lift();
    EXPECT_EQ(insertInto("u"), 0);
    EXPECT_EQ(insertInto("t"), 0);
    EXPECT_THAT(takeErrors(), IsEmpty());
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(table("t"), kUpdated + "9~'nine'~3\n");
    EXPECT_EQ(table("u"), kTable + std::string("9~'nine'~3\n"));
    expectWorksOn("u");
}

// The journal

TEST_F(UnfinishedChangeTest, AHalfWrittenJournalLineIsCutOffAgain) {
    const Files before = files();
    {
        const FaultLayer faults(Fault::kHalfWrite, 1, true, callsOn("master_rollback", Call::kWrite));
        EXPECT_EQ(insertInto("t"), 0);
        EXPECT_EQ(FaultLayer::hits(), 2);
    }
    expectErrorWith("No space left on device");
    EXPECT_EQ(files(), before);

    database->beginTransaction();
    EXPECT_EQ(insertInto("u"), 0);
    EXPECT_THAT(takeErrors(), IsEmpty());
    {
        const FaultLayer faults(Fault::kHalfWrite, 1, true, callsOn("master_rollback", Call::kWrite));
        EXPECT_EQ(insertInto("t"), 0);
    }
    expectErrorWith("No space left on device");
    EXPECT_EQ(journal(), "0\n\x01~u\n");
    EXPECT_EQ(insertInto("t"), 0);
    EXPECT_EQ(journal(), "0\n\x01~u\n\x01~t\n");
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(table("t"), kTable + std::string("9~'nine'~3\n"));
    expectWorksOn("t");
}

TEST_F(UnfinishedChangeTest, ALineGoesToTheEndOfTheJournalAsAnotherProgramLeftIt) {
    const std::pair<std::string, std::string> journals[] = {
        {"0\n", "0\n\x02~u\n"}, {"", "\x02~u\n"}, {"0\nmore\n", "0\nmore\n\x02~u\n"}};
    for (const auto& [left, wanted] : journals) {
        SCOPED_TRACE(::testing::PrintToString(left));
        database->beginTransaction();
        EXPECT_EQ(insertInto("t"), 0);
        EXPECT_EQ(journal(), "0\n\x01~t\n");
        writeFile(journalFile(), left);
        EXPECT_EQ(exec("DELETE FROM u WHERE a = 77;"), 0);
        EXPECT_EQ(journal(), wanted);
        EXPECT_TRUE(database->rollbackTransaction());
        EXPECT_EQ(journal(), "0\n");
    }
    EXPECT_EQ(table("t"), kTable);
    EXPECT_EQ(table("u"), kTable);
}

TEST_F(UnfinishedChangeTest, ACleanUpLeavesOneLineWhateverAnotherProgramDidToTheJournal) {
    for (const char* left : {"1\n", "1\n\x01~t\n", "7", "", "0\nmore\nand more\n"}) {
        SCOPED_TRACE(::testing::PrintToString(left));
        EXPECT_TRUE(database->beginTransaction());
        writeFile(journalFile(), left);
        EXPECT_TRUE(database->rollbackTransaction());
        EXPECT_EQ(journal(), "0\n") << "after a rollback without changes";

        EXPECT_TRUE(database->beginTransaction());
        EXPECT_EQ(insertInto("t"), 0);
        writeFile(journalFile(), left);
        EXPECT_TRUE(database->rollbackTransaction());
        EXPECT_EQ(journal(), "0\n") << "after a rollback";
        EXPECT_EQ(table("t"), kTable);

        writeFile(journalFile(), left);
        EXPECT_EQ(exec("DELETE FROM u WHERE a = 77;"), 0);
        EXPECT_EQ(journal(), "0\n") << "after a statement of its own";
        EXPECT_EQ(table("u"), kTable);
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
