#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "FaultTest.h"

// A transaction whose working copies the system keeps it from writing.
namespace Kalt::Vemo::Test {
namespace {

using ::testing::IsEmpty;

const std::string kOfTransaction = "a~b~ROWID\n1~4~1\n\n1~'one'~1\n2~'two'~2\n9~'nine'~3\n";

class FaultyTransactionTest : public FaultTest {
protected:
    /// Ways in which the working copy of t cannot be written.
    static std::vector<Trouble> troubles() {
        return {{"disk full", Fault::refusal(ENOSPC), true},
                {"disk full in the middle of a write", Fault::kHalfWrite, true},
                {"EIO", Fault::kIoError, true},
                {"EINTR", Fault::refusal(EINTR), true},
                {"no progress", Fault::kNoProgress, true}};
    }

    static CallFilter copyOfT() { return callsOn("t.backup", Call::kWrite); }

    void restart() {
        restoreFiles(directory(), {{"t.table", kTable}, {"u.table", kTable}, {"master_rollback", "0\n"}});
        reopen();
        takeErrors();
    }

    /// A transaction that has inserted a row into t.
    void beginWithARow() {
        restart();
        database->beginTransaction();
        run("INSERT INTO t (a, b) VALUES (?, '?');", "9", "nine");
    }

    /// The transaction's next change of t, which is refused.
    void refuseChange() {
        EXPECT_EQ(updateOf("t"), 0);
        EXPECT_GT(FaultLayer::hits(), 0);
        expectErrorWith("File Error: File write error");
    }

    void expectContentOfTransaction() {
        EXPECT_EQ(rowsOf("t"), (Rows{"1|one|1", "2|two|2", "9|nine|3"}));
        EXPECT_THAT(takeErrors(), IsEmpty());
    }
};

TEST_F(FaultyTransactionTest, ARefusedChangeLeavesTheTransactionAsItWas) {
    for (const Trouble& trouble : troubles()) {
        SCOPED_TRACE(trouble.name);
        beginWithARow();
        FaultLayer faults(trouble.fault, 1, true, copyOfT());
        refuseChange();
        expectContentOfTransaction();
        for (const char* sql : {"INSERT INTO t (a, b) VALUES (?, '?');", "UPDATE t SET a=?, b='?';",
                                "DELETE FROM t WHERE a = 1;"}) {
            SCOPED_TRACE(sql);
            EXPECT_EQ(exec(sql, "5", "five"), 0);
            expectErrorWith("File Error: File write error");
            expectContentOfTransaction();
        }
        run("INSERT INTO u (a, b) VALUES (?, '?');", "9", "nine");
        EXPECT_EQ(table("t"), kTable);
        EXPECT_EQ(log.count("roll back"), 0);
        faults.lift();

        run("UPDATE t SET a=?, b='?' WHERE a = 2;", "2", "deux");
        EXPECT_TRUE(database->commitTransaction());
        EXPECT_EQ(table("t"), "a~b~ROWID\n1~4~1\n\n1~'one'~1\n2~'deux'~2\n9~'nine'~3\n");
        EXPECT_EQ(table("u"), kOfTransaction);
        expectWorksOn("t");
    }
}

TEST_F(FaultyTransactionTest, TheCommitAfterARefusedChangeWritesWhatTheTransactionHad) {
    for (const Trouble& trouble : troubles()) {
        SCOPED_TRACE(trouble.name);
        beginWithARow();
        {
            const FaultLayer faults(trouble.fault, 1, true, copyOfT());
            refuseChange();
        }
        EXPECT_TRUE(database->commitTransaction());
        EXPECT_THAT(takeErrors(), IsEmpty());
        EXPECT_EQ(table("t"), kOfTransaction);
        expectWorksOn("t");
    }
}

TEST_F(FaultyTransactionTest, TheCommitFailsWhileTheWorkingCopyCannotBeWritten) {
    for (const Trouble& trouble : troubles()) {
        SCOPED_TRACE(trouble.name);
        beginWithARow();
        {
            const FaultLayer faults(trouble.fault, 1, true, copyOfT());
            refuseChange();
            EXPECT_FALSE(database->commitTransaction());
            expectErrorWith("File Error: File write error");
            EXPECT_EQ(table("t"), kTable);
            expectContentOfTransaction();
        }
        EXPECT_TRUE(database->commitTransaction());
        EXPECT_EQ(table("t"), kOfTransaction);
        EXPECT_EQ(journal(), "0\n");
    }
}

TEST_F(FaultyTransactionTest, TheRollbackAfterARefusedChangeLeavesTheTableAsItWas) {
    for (const Trouble& trouble : troubles()) {
        SCOPED_TRACE(trouble.name);
        restart();
        const Files before = files();
        database->beginTransaction();
        run("INSERT INTO t (a, b) VALUES (?, '?');", "9", "nine");
        const FaultLayer faults(trouble.fault, 1, true, copyOfT());
        refuseChange();
        EXPECT_TRUE(database->rollbackTransaction());
        EXPECT_THAT(takeErrors(), IsEmpty());
        EXPECT_EQ(files(), before);
    }
}

TEST_F(FaultyTransactionTest, ATableWhoseFirstChangeWasRefusedCountsAsUntouched) {
    for (const Trouble& trouble : troubles()) {
        SCOPED_TRACE(trouble.name);
        restart();
        const Files before = files();
        const auto written = std::filesystem::last_write_time(tableFile("t"));
        database->beginTransaction();
        const FaultLayer faults(trouble.fault, 1, true, copyOfT());
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(insertInto("t"), 0);
            expectErrorWith("File Error: File write error");
            EXPECT_EQ(files(), before) << "no working copy, no journal line";
            EXPECT_EQ(rowsOf("t"), (Rows{"1|one|1", "2|two|2"}));
        }
        EXPECT_TRUE(database->commitTransaction());
        EXPECT_THAT(takeErrors(), IsEmpty());
        EXPECT_EQ(files(), before);
        EXPECT_EQ(std::filesystem::last_write_time(tableFile("t")), written);
    }
}

TEST_F(FaultyTransactionTest, AFirstChangeThatWasRefusedWorksWhenTheFaultIsGone) {
    database->beginTransaction();
    {
        const FaultLayer faults(Fault::refusal(ENOSPC), copyOfT());
        EXPECT_EQ(insertInto("t"), 0);
        expectErrorWith("No space left on device");
    }
    run("INSERT INTO t (a, b) VALUES (?, '?');", "9", "nine");
    EXPECT_EQ(journal(), "0\n\x01~t\n");
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(table("t"), kOfTransaction);
}

TEST_F(FaultyTransactionTest, StatementsThatWriteNoRowsGoOnWhileTheWorkingCopyCannotBeWritten) {
    for (const Trouble& trouble : troubles()) {
        SCOPED_TRACE(trouble.name);
        beginWithARow();
        const FaultLayer faults(trouble.fault, 1, true, copyOfT());
        refuseChange();

        EXPECT_EQ(exec("ALTER TABLE x t ADD COLUMN c TEXT;"), 1);
        EXPECT_THAT(takeErrors(), IsEmpty());
        EXPECT_EQ(exec("ALTER TABLE x t ADD COLUMN b TEXT;"), -1);
        expectErrorWith("duplicate column name:b ");
        run("CREATE TABLE IF NOT EXISTS t (a INTEGER, b TEXT);");
        EXPECT_EQ(exec("CREATE TABLE t (a INTEGER, b TEXT);"), 0);
        expectErrorWith("DB Error: (t) Table is already exists.");
        expectContentOfTransaction();

        run("DROP TABLE t;");
        EXPECT_EQ(query("SELECT * FROM t;"), nullptr);
        expectErrorWith("DataBase Error: No such Table exist.(t)");
        EXPECT_TRUE(database->commitTransaction());
        EXPECT_THAT(takeErrors(), IsEmpty());
        EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"u.table", kTable}}));
        mustEnd("another thread's query", [&] { rowsOf("u"); });
    }
}

TEST_F(FaultyTransactionTest, ATableMadeInTheTransactionStaysAsItWasWhenItsRowIsRefused) {
    database->beginTransaction();
    run("CREATE TABLE w (a INTEGER, b TEXT);");
    {
        const FaultLayer faults(Fault::kHalfWrite, 1, true, callsOn("w.backup", Call::kWrite));
        EXPECT_EQ(insertInto("w"), 0);
        expectErrorWith("No space left on device");
        EXPECT_EQ(rowsOf("w"), Rows{});
    }
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(table("w"), "a~b~ROWID\n1~4~1\n\n");
}

TEST_F(FaultyTransactionTest, ATableWhoseWorkingCopyAnotherProgramRemovedCanBeMadeAnew) {
    database->beginTransaction();
    run("CREATE TABLE w (a INTEGER, b TEXT);");
    std::filesystem::remove(backupFile("w"));
    run("CREATE TABLE w (c TEXT);");
    EXPECT_EQ(backup("w"), "c~ROWID\n4~1\n\n");
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_THAT(takeErrors(), IsEmpty());
    EXPECT_EQ(table("w"), "c~ROWID\n4~1\n\n");
    EXPECT_EQ(journal(), "0\n");
}

TEST_F(FaultyTransactionTest, DeinitInATransactionLeavesNoFileOpen) {
    const auto openFiles = [this] {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code error;
            const std::string target = std::filesystem::read_symlink(entry.path(), error).string();
            if (target.compare(0, directory().size(), directory()) == 0) {
                names.push_back(target);
            }
        }
        return names;
    };
    const auto nameOf = [](int table) { return "t" + std::to_string(table); };
    for (int i = 0; i < 20; ++i) {
        run("CREATE TABLE " + nameOf(i) + " (a INTEGER, b TEXT);");
    }
    database->beginTransaction();
    for (int i = 0; i < 20; ++i) {
        run("INSERT INTO " + nameOf(i) + " (a, b) VALUES (?, '?');", "9", "nine");
    }
    EXPECT_THAT(openFiles(), ::testing::Not(IsEmpty())) << "the look itself works";
    EXPECT_TRUE(database->deinit());
    EXPECT_THAT(openFiles(), IsEmpty());
}

}  // namespace
}  // namespace Kalt::Vemo::Test
