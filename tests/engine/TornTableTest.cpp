#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <thread>

#include "FaultTest.h"

// A table that a refused write has left half overwritten, and what may happen to it before the system obliges
// again: the database is closed, opened again or elsewhere, or another program removes the working copy.
namespace Kalt::Vemo::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kUpdated = "a~b~ROWID\n1~4~1\n\n1~'one'~1\n2~'two and much more'~2\n";

class TornTableTest : public FaultTest {
protected:
    /// Only where tables are written over can one be half written.
    TornTableTest() { useLevel(Synchronous::off); }

    void tearTable() {
        EXPECT_EQ(updateOf("t"), 0);
        EXPECT_NE(table("t"), kUpdated);
        EXPECT_EQ(backup("t"), kUpdated);
        EXPECT_EQ(journal(), "1\n\x03~t\n");
        takeErrors();
    }

    void tearTableInCommit() {
        database->beginTransaction();
        EXPECT_EQ(updateOf("t"), 0);
        EXPECT_EQ(updateOf("u"), 0);
        EXPECT_FALSE(database->commitTransaction());
        EXPECT_NE(table("t"), kUpdated);
        takeErrors();
    }

    void expectUpdated() {
        EXPECT_EQ(table("t"), kUpdated);
        expectWorksOn("t");
    }
};

TEST_F(TornTableTest, ClosingFinishesIt) {
    FaultLayer faults(Fault::kHalfWrite, 1, true, writesTo("t.table"));
    tearTable();
    faults.lift();
    EXPECT_TRUE(database->deinit());
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"t.table", kUpdated}, {"u.table", kTable}}));
}

TEST_F(TornTableTest, WhatClosingCannotFinishTheNextOpeningDoes) {
    FaultLayer faults(Fault::kHalfWrite, 1, true, writesTo("t.table"));
    tearTable();
    EXPECT_TRUE(database->deinit());
    EXPECT_EQ(journal(), "0\n3~t\n");
    EXPECT_EQ(backup("t"), kUpdated);
    faults.lift();
    reopen();
    expectUpdated();
}

TEST_F(TornTableTest, AnOpeningThatCannotFinishItIsFalseAndGivesNothingUp) {
    FaultLayer faults(Fault::kHalfWrite, 1, true, writesTo("t.table"));
    tearTable();
    EXPECT_FALSE(database->init(path()));
    EXPECT_EQ(insertInto("t"), 1);
    EXPECT_EQ(backup("t"), kUpdated);
    faults.lift();
    EXPECT_EQ(updateOf("u"), 0);
    expectUpdated();
}

TEST_F(TornTableTest, AnOpeningElsewhereLeavesItToTheNextOpeningHere) {
    FaultLayer faults(Fault::kHalfWrite, 1, true, writesTo("t.table"));
    tearTable();
    EXPECT_TRUE(database->init(temporary.file("elsewhere")));
    EXPECT_EQ(exec("CREATE TABLE t (a INTEGER);"), 0);
    faults.lift();
    EXPECT_TRUE(database->deinit());
    EXPECT_EQ(readFile(temporary.file("elsewhere_filedb/t.table")), "a~ROWID\n1~1\n\n");
    open();
    expectUpdated();
}

TEST_F(TornTableTest, AnOpeningThatFailsElsewhereTouchesNothingThere) {
    FaultLayer faults(Fault::kHalfWrite, 1, true, writesTo("t.table"));
    tearTable();
    std::filesystem::create_directories(temporary.file("elsewhere_filedb/master_rollback"));
    const std::string foreign = temporary.file("elsewhere_filedb/t.table");
    writeFile(foreign, kTable);
    writeFile(temporary.file("elsewhere_filedb/t.backup"), "torn");
    faults.lift();
    EXPECT_FALSE(database->init(temporary.file("elsewhere")));
    EXPECT_THAT(rowsOf("t"), ElementsAre("1|one|1", "2|two|2"));
    EXPECT_TRUE(database->deinit());
    EXPECT_EQ(readFile(foreign), kTable);
    open();
    expectUpdated();
}

TEST_F(TornTableTest, OfACommitIsLeftToTheNextOpeningAndTheRestIsDiscarded) {
    FaultLayer faults(Fault::kHalfWrite, 1, true, writesTo("t.table"));
    tearTableInCommit();
    EXPECT_TRUE(database->deinit());
    EXPECT_EQ(journal(), "0\n3~t\n\x03~u\n");
    faults.lift();
    reopen();
    EXPECT_EQ(table("u"), kTable);
    expectUpdated();
}

TEST_F(TornTableTest, IsFinishedFromMemoryWhenItsWorkingCopyIsRemoved) {
    FaultLayer faults(Fault::kHalfWrite, 1, true, writesTo("t.table"));
    tearTable();
    std::filesystem::remove(backupFile("t"));
    faults.lift();
    EXPECT_EQ(updateOf("u"), 0);
    expectUpdated();
}

TEST_F(TornTableTest, OfACommitIsFinishedFromMemoryByTheRollback) {
    FaultLayer faults(Fault::kHalfWrite, 1, true, writesTo("t.table"));
    tearTableInCommit();
    std::filesystem::remove(backupFile("t"));
    faults.lift();
    EXPECT_TRUE(database->rollbackTransaction());
    EXPECT_EQ(table("u"), kTable);
    EXPECT_EQ(table("t"), kUpdated);
}

TEST_F(TornTableTest, ADecidedChangeIsFinishedFromMemoryWhenItsWorkingCopyIsRemoved) {
    // The first call opens the table to read it, the others look for it and open it to overwrite it.
    FaultLayer faults(Fault::kIoError, 2, true, [](const FileCall& call) {
        return call.file == "t.table" && (call.call == Call::kOpen || call.call == Call::kPathStatus);
    });
    EXPECT_EQ(updateOf("t"), 0);
    EXPECT_EQ(table("t"), kTable);
    EXPECT_EQ(journal(), "1\n\x03~t\n");
    std::filesystem::remove(backupFile("t"));
    EXPECT_EQ(insertInto("u"), 1);
    takeErrors();
    faults.lift();
    EXPECT_EQ(updateOf("u"), 0);
    expectUpdated();
}

// Two names of one table

TEST_F(TornTableTest, IsFinishedBeforeItIsReadByAnotherName) {
    FaultLayer faults(Fault::kHalfWrite, 1, true, writesTo("t.table"));
    tearTableInCommit();
    faults.lift();
    EXPECT_EQ(insertInto("./t"), 0);
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(table("t"), kUpdated + "9~'nine'~3\n");
}

TEST_F(TornTableTest, ARefusedChangeByAnotherNameLeavesTheTransactionAsItWas) {
    database->beginTransaction();
    EXPECT_EQ(updateOf("t"), 0);
    {
        const FaultLayer faults(Fault::kHalfWrite, 1, true, writesTo("t.backup"));
        EXPECT_EQ(insertInto("./t"), 0);
        expectErrorWith("No space left on device");
    }
    EXPECT_THAT(rowsOf("t"), ElementsAre("1|one|1", "2|two and much more|2"));
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(table("t"), kUpdated);
}

// Ends of a transaction that were refused

TEST_F(TornTableTest, ACommitAfterARefusedRollbackIsFalse) {
    database->beginTransaction();
    EXPECT_EQ(updateOf("t"), 0);
    FaultLayer faults(Fault::kIoError, 1, true, callsOn("master_rollback", Call::kTruncate));
    EXPECT_FALSE(database->rollbackTransaction());
    EXPECT_FALSE(database->commitTransaction());
    expectErrorWith("roll back again");
    faults.lift();
    EXPECT_FALSE(database->commitTransaction());
    EXPECT_TRUE(database->rollbackTransaction());
    EXPECT_EQ(table("t"), kTable);
}

TEST_F(TornTableTest, ACommitWhoseCleanUpWasRefusedIsTrueWhenItIsTriedAgain) {
    database->beginTransaction();
    EXPECT_EQ(updateOf("t"), 0);
    FaultLayer faults(Fault::kIoError, 1, true, callsOn("master_rollback", Call::kTruncate));
    EXPECT_FALSE(database->commitTransaction());
    faults.lift();
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(table("t"), kUpdated);
    EXPECT_EQ(journal(), "0\n");
}

// Openings that were refused

TEST_F(TornTableTest, AfterARefusedOpeningNoTransactionIsOpen) {
    database->beginTransaction();
    EXPECT_EQ(updateOf("t"), 0);
    EXPECT_TRUE(database->deinit());
    {
        const FaultLayer faults(Fault::refusal(EMFILE), 1, true, callsOn("master_rollback", Call::kOpen));
        EXPECT_FALSE(database->init(path()));
    }
    takeErrors();
    EXPECT_EQ(insertInto("t"), 0);
    EXPECT_THAT(takeErrors(), IsEmpty());
    EXPECT_EQ(table("t"), std::string(kTable) + "9~'nine'~3\n");
    EXPECT_EQ(journal(), "0\n");
}

TEST_F(TornTableTest, AfterARefusedOpeningThreadsTakeTurns) {
    EXPECT_TRUE(database->deinit());
    {
        const FaultLayer faults(Fault::refusal(EMFILE), 1, true, callsOn("master_rollback", Call::kOpen));
        EXPECT_FALSE(database->init(path()));
    }
    constexpr int kRows = 50;
    const auto insertMany = [&](const std::string& table) {
        for (int i = 0; i < kRows; ++i) {
            EXPECT_EQ(insertInto(table), 0);
        }
    };
    std::thread other(insertMany, "t");
    insertMany("t");
    other.join();
    EXPECT_EQ(rowsOf("t").size(), 2U + 2U * kRows);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
