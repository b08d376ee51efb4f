#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "StatementTest.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kOpenError = "DataBase Error: Couldn't open the corresponding file";

/// Tables "t", "u" and "v" with one row each.
class TransactionTest : public StatementTest {
protected:
    void SetUp() override {
        StatementTest::SetUp();
        for (const char* name : {"t", "u", "v"}) {
            run(std::string("CREATE TABLE ") + name + " (a INTEGER);");
            run(std::string("INSERT INTO ") + name + " (a) VALUES (?);", "7");
        }
    }

    /// The bytes of such a table with these values in its rows.
    static std::string tableOf(const std::vector<int>& values) {
        std::string text = "a~ROWID\n1~1\n\n";
        int rowId = 0;
        for (const int value : values) {
            text += std::to_string(value) + "~" + std::to_string(++rowId) + "\n";
        }
        return text;
    }

    /// The directory at rest, with "t", "u" and "v" as they were made.
    static Files unchanged() { return atRest({7}, {7}, {7}); }

    static Files atRest(const std::vector<int>& t, const std::vector<int>& u, const std::vector<int>& v) {
        return {{"master_rollback", "0\n"},
                {"t.table", tableOf(t)},
                {"u.table", tableOf(u)},
                {"v.table", tableOf(v)}};
    }

    void begin() {
        EXPECT_TRUE(database->beginTransaction());
        takeErrors();
    }

    void commit() {
        EXPECT_TRUE(database->commitTransaction()) << log.dump();
        EXPECT_THAT(takeErrors(), IsEmpty());
    }

    void rollback() {
        EXPECT_TRUE(database->rollbackTransaction()) << log.dump();
        EXPECT_THAT(takeErrors(), IsEmpty());
    }

    void insert(const std::string& name, const char* value) {
        run("INSERT INTO " + name + " (a) VALUES (?);", value);
    }
};

// Without a transaction

TEST_F(TransactionTest, AStatementOfItsOwnIsCommittedWhenItReturns) {
    insert("t", "8");
    EXPECT_EQ(files(), atRest({7, 8}, {7}, {7}));
    run("UPDATE t SET a=? WHERE a = 8;", "9");
    EXPECT_EQ(files(), atRest({7, 9}, {7}, {7}));
    run("DELETE FROM t WHERE a = 9;");
    EXPECT_EQ(files(), unchanged());
    run("CREATE TABLE w (a INTEGER);");
    run("DROP TABLE w;");
    EXPECT_EQ(files(), unchanged());
}

// Begin

TEST_F(TransactionTest, BeginTouchesNoFile) {
    begin();
    EXPECT_EQ(files(), unchanged());
    commit();
    EXPECT_EQ(files(), unchanged());
}

TEST_F(TransactionTest, EachOperationIsLogged) {
    EXPECT_TRUE(database->beginTransaction());
    EXPECT_TRUE(logged(0, "beginTransaction"));
    insert("t", "8");
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_TRUE(logged(0, "commitTransaction"));
    EXPECT_TRUE(logged(0, "commitBackupData"));
    EXPECT_TRUE(logged(0, "cleanUpBackupData"));
    EXPECT_TRUE(database->beginTransaction());
    EXPECT_TRUE(database->rollbackTransaction());
    EXPECT_TRUE(logged(0, "rollbackTransaction"));
}

// The journal

TEST_F(TransactionTest, TheFirstChangeToATableDecidesItsJournalLine) {
    struct Row {
        std::string statement;
        std::string line;
    };
    const Row rows[] = {
        {"INSERT INTO t (a) VALUES (?);", "\x01~t\n"},
        {"DELETE FROM t;", "\x02~t\n"},
        {"UPDATE t SET a=?;", "\x03~t\n"},
        {"CREATE TABLE w (a TEXT);", "\x04~w\n"},
        {"DROP TABLE t;", "\x05~t\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.statement);
        begin();
        run(row.statement, "8");
        EXPECT_EQ(journal(), "0\n" + row.line);
        rollback();
        EXPECT_EQ(files(), unchanged());
    }
}

TEST_F(TransactionTest, FurtherChangesToATableAddNoLineAndRewriteItsWorkingCopy) {
    begin();
    insert("t", "8");
    EXPECT_EQ(backup("t"), tableOf({7, 8}));
    insert("t", "9");
    EXPECT_EQ(backup("t"), tableOf({7, 8, 9}));
    run("UPDATE t SET a=? WHERE a = 8;", "5");
    EXPECT_EQ(backup("t"), tableOf({7, 5, 9}));
    run("DELETE FROM t WHERE a != 7;");
    EXPECT_EQ(backup("t"), tableOf({7}));
    EXPECT_EQ(journal(), "0\n\x01~t\n");
    EXPECT_EQ(table("t"), tableOf({7}));
    rollback();
}

TEST_F(TransactionTest, TablesStandInTheJournalInTheOrderOfTheirFirstChange) {
    begin();
    run("UPDATE v SET a=?;", "8");
    insert("t", "8");
    run("CREATE TABLE s (a INTEGER);");
    run("DELETE FROM v;");
    run("DROP TABLE u;");
    EXPECT_EQ(journal(), "0\n\x03~v\n\x01~t\n\x04~s\n\x05~u\n");
    commit();
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"},
                              {"s.table", tableOf({})},
                              {"t.table", tableOf({7, 8})},
                              {"v.table", tableOf({})}}));
}

TEST_F(TransactionTest, QueriesAndRefusedStatementsLeaveNoTrace) {
    begin();
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("7"));
    EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "word"), 0);
    EXPECT_EQ(exec("UPDATE t SET b=?;", "1"), 0);
    EXPECT_EQ(exec("DELETE FROM t WHERE b = 1;"), 0);
    EXPECT_EQ(exec("CREATE TABLE t (a INTEGER);"), 0);
    EXPECT_EQ(exec("DROP TABLE missing;"), 0);
    EXPECT_EQ(takeErrors().size(), 5U);
    EXPECT_EQ(exec("ALTER TABLE x t ADD COLUMN b TEXT;"), 1);
    EXPECT_EQ(files(), unchanged());
    commit();
    EXPECT_EQ(files(), unchanged());
}

TEST_F(TransactionTest, ARefusedStatementKeepsWhatTheTransactionHasDone) {
    begin();
    insert("t", "8");
    const Files before = files();
    EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "word"), 0);
    expectOneError("insertTable", "DB Error: data type mismatch for Integer");
    EXPECT_EQ(files(), before);
    commit();
    EXPECT_EQ(files(), atRest({7, 8}, {7}, {7}));
}

TEST_F(TransactionTest, AlterInATransactionCommitsNothing) {
    begin();
    insert("t", "8");
    const Files before = files();
    EXPECT_EQ(exec("ALTER TABLE x t ADD COLUMN b TEXT;"), 1);
    EXPECT_EQ(files(), before);
    rollback();
    EXPECT_EQ(files(), unchanged());
}

// Reading in a transaction, commit and rollback

TEST_F(TransactionTest, TheTransactionSeesItsOwnChanges) {
    begin();
    insert("t", "8");
    EXPECT_THAT(rows(query("SELECT a, ROWID FROM t;"), 2), ElementsAre("7|1", "8|2"));
    EXPECT_EQ(table("t"), tableOf({7}));
    rollback();
    EXPECT_THAT(rows(query("SELECT a, ROWID FROM t;"), 2), ElementsAre("7|1"));
    EXPECT_EQ(files(), unchanged());
}

TEST_F(TransactionTest, CommitCopiesEveryTable) {
    begin();
    insert("t", "8");
    run("UPDATE u SET a=?;", "5");
    run("DELETE FROM v;");
    commit();
    EXPECT_EQ(files(), atRest({7, 8}, {5}, {}));
    reopen();
    EXPECT_EQ(files(), atRest({7, 8}, {5}, {}));
}

TEST_F(TransactionTest, RollbackRestoresEveryTable) {
    begin();
    insert("t", "8");
    run("UPDATE u SET a=?;", "5");
    run("DROP TABLE v;");
    run("CREATE TABLE w (a INTEGER);");
    rollback();
    EXPECT_EQ(files(), unchanged());
}

TEST_F(TransactionTest, AShorterTableReplacesALongerOneWhole) {
    for (int i = 0; i < 200; ++i) {
        insert("t", "1234567890123456789");
    }
    begin();
    run("DELETE FROM t WHERE a != 7;");
    commit();
    EXPECT_EQ(files(), unchanged());
}

TEST_F(TransactionTest, AfterTheEndStatementsCommitThemselvesAgain) {
    begin();
    insert("t", "8");
    commit();
    insert("t", "9");
    EXPECT_EQ(files(), atRest({7, 8, 9}, {7}, {7}));
    begin();
    insert("u", "8");
    rollback();
    insert("u", "9");
    EXPECT_EQ(files(), atRest({7, 8, 9}, {7, 9}, {7}));
}

TEST_F(TransactionTest, CommitTakesTheWorkingCopyAsItLiesThere) {
    begin();
    insert("t", "8");
    const std::string edited = "a~ROWID\n1~1\n\n" + std::string(2000, '5') + "~1\nno line feed";
    writeFile(backupFile("t"), edited);
    commit();
    EXPECT_EQ(table("t"), edited);
    EXPECT_FALSE(fileExists(backupFile("t")));
}

TEST_F(TransactionTest, ATableThatAnotherProgramTouchedMeanwhileIsStillReplacedWhole) {
    const std::string foreign = "x~ROWID\n1~1\n\n" + std::string(900, '5') + "~1\n";
    const struct {
        const char* name;
        std::function<void()> touch;
    } rows[] = {
        {"written", [&] { writeFile(tableFile("t"), foreign); }},
        {"replaced",
         [&] {
             writeFile(temporary.file("aside"), foreign);
             std::filesystem::rename(temporary.file("aside"), tableFile("t"));
         }},
        {"removed", [&] { std::filesystem::remove(tableFile("t")); }},
        {"cut to nothing", [&] { std::filesystem::resize_file(tableFile("t"), 0); }},
    };
    std::vector<int> values = {7};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        begin();
        insert("t", "8");
        values.push_back(8);
        row.touch();
        commit();
        EXPECT_EQ(files(), atRest(values, {7}, {7}));
    }
}

TEST_F(TransactionTest, ManyChangesInOneTransactionLeaveTheTableAsTheyWouldOneByOne) {
    const std::vector<std::string> changes = {
        "INSERT INTO t (a) VALUES (?);",
        "UPDATE t SET a=? WHERE ROWID = 2;",
        "INSERT INTO t (a) VALUES (?);",
        "UPDATE t SET a=? WHERE ROWID = 3;",
        "DELETE FROM t WHERE ROWID = 1;",
        "INSERT INTO t (a) VALUES (?);",
        "DELETE FROM t WHERE a = 1 OR a = ?;",
        "UPDATE t SET a=? WHERE a > 2;",
        "DELETE FROM t;",
        "INSERT INTO t (a) VALUES (?);",
    };
    for (std::size_t first = 0; first < changes.size(); ++first) {
        for (std::size_t last = first; last < changes.size(); ++last) {
            SCOPED_TRACE(std::to_string(first) + " to " + std::to_string(last));
            const auto runAll = [&] {
                for (std::size_t i = first; i <= last; ++i) {
                    run(changes[i], std::to_string(i).c_str());
                }
            };
            writeFile(tableFile("t"), tableOf({1, 22, 3, 444}));
            runAll();
            const std::string oneByOne = table("t");

            writeFile(tableFile("t"), tableOf({1, 22, 3, 444}));
            begin();
            runAll();
            commit();
            EXPECT_EQ(table("t"), oneByOne);
        }
    }
}

TEST_F(TransactionTest, ATransactionMayChangeMoreTablesThanTheProcessMayHaveOpen) {
    constexpr int kTables = 100;
    for (int i = 0; i < kTables; ++i) {
        run("CREATE TABLE t" + std::to_string(i) + " (a INTEGER);");
    }
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &old), 0);
    rlimit few = old;
    few.rlim_cur = 64;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    begin();
    for (int i = 0; i < kTables; ++i) {
        insert("t" + std::to_string(i), "1");
        insert("t" + std::to_string(i), "2");
    }
    commit();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &old), 0);
    for (int i = 0; i < kTables; ++i) {
        EXPECT_EQ(table("t" + std::to_string(i)), tableOf({1, 2}));
    }
}

TEST_F(TransactionTest, AStatementThatFailsBetweenTwoOthersTakesNothingFromThem) {
    begin();
    insert("t", "8");
    EXPECT_EQ(exec("UPDATE t SET a=? WHERE unknown = 1;", "9"), 0);
    expectOneError("updateTable", "Column unknown not found in Table Definition");
    insert("t", "9");
    commit();
    EXPECT_EQ(files(), atRest({7, 8, 9}, {7}, {7}));
}

// Drop in a transaction

TEST_F(TransactionTest, DropOfAChangedTableOverwritesItsJournalLine) {
    begin();
    insert("u", "8");
    run("UPDATE t SET a=?;", "8");
    EXPECT_EQ(journal(), "0\n\x01~u\n\x03~t\n");
    run("DROP TABLE t;");
    EXPECT_EQ(journal(), "0\n\x01~u\n5~t\n");
    EXPECT_FALSE(fileExists(backupFile("t")));
    EXPECT_EQ(table("t"), tableOf({7}));

    insert("v", "8");
    EXPECT_EQ(journal(), "0\n\x01~u\n5~t\n\x01~v\n");
    commit();
    EXPECT_EQ(
        files(),
        (Files{{"master_rollback", "0\n"}, {"u.table", tableOf({7, 8})}, {"v.table", tableOf({7, 8})}}));
}

TEST_F(TransactionTest, DropOfAChangedTableIsUndoneByRollback) {
    begin();
    run("UPDATE t SET a=?;", "8");
    run("DROP TABLE t;");
    rollback();
    EXPECT_EQ(files(), unchanged());
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("7"));
}

TEST_F(TransactionTest, DropOfAnUntouchedTableWaitsForTheCommit) {
    begin();
    run("DROP TABLE t;");
    EXPECT_EQ(journal(), "0\n\x05~t\n");
    EXPECT_EQ(table("t"), tableOf({7}));
    commit();
    EXPECT_EQ(files(),
              (Files{{"master_rollback", "0\n"}, {"u.table", tableOf({7})}, {"v.table", tableOf({7})}}));
}

TEST_F(TransactionTest, ASecondDropIsRefusedAndChangesNothing) {
    for (const bool changedFirst : {false, true}) {
        SCOPED_TRACE(changedFirst);
        begin();
        if (changedFirst) {
            insert("t", "8");
        }
        run("DROP TABLE t;");
        expectRefused("dropTable", 0,
                      {{"DROP TABLE t;", "getTableCurrentFile", "DataBase Error: No such Table exist.(t)"}});
        rollback();
        EXPECT_EQ(files(), unchanged());
    }
}

TEST_F(TransactionTest, ATableMadeFilledAndDroppedInOneTransactionLeavesNothing) {
    begin();
    run("CREATE TABLE w (a INTEGER);");
    insert("w", "8");
    EXPECT_EQ(journal(), "0\n\x04~w\n");
    EXPECT_EQ(backup("w"), tableOf({8}));
    run("DROP TABLE w;");
    EXPECT_EQ(journal(), "0\n5~w\n");
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_GE(log.count("Failed to remove the file"), 1);  // there is no table file to remove
    EXPECT_EQ(files(), unchanged());
}

TEST_F(TransactionTest, ATableMadeAndFilledInOneTransactionIsThereAfterTheCommit) {
    begin();
    run("CREATE TABLE IF NOT EXISTS w (a INTEGER);");
    insert("w", "8");
    EXPECT_FALSE(fileExists(tableFile("w")));
    EXPECT_THAT(rows(query("SELECT a FROM w;"), 1), ElementsAre("8"));
    run("CREATE TABLE IF NOT EXISTS w (b TEXT);");
    EXPECT_EQ(backup("w"), tableOf({8}));
    commit();
    EXPECT_EQ(table("w"), tableOf({8}));
    EXPECT_EQ(journal(), "0\n");
}

TEST_F(TransactionTest, ADroppedTableCanBeMadeAnewAfterTheCommit) {
    begin();
    run("DROP TABLE t;");
    commit();
    run("CREATE TABLE t (b TEXT);");
    EXPECT_EQ(table("t"), "b~ROWID\n4~1\n\n");
}

// Without an open transaction

TEST_F(TransactionTest, CommitWithoutATransactionIsRefused) {
    EXPECT_FALSE(database->commitTransaction());
    EXPECT_THAT(takeErrors(), ElementsAre("cannot commit - no transaction is active"));
    EXPECT_EQ(files(), unchanged());
    insert("t", "8");
    EXPECT_EQ(files(), atRest({7, 8}, {7}, {7}));
}

TEST_F(TransactionTest, RollbackWithoutATransactionIsRefused) {
    EXPECT_FALSE(database->rollbackTransaction());
    EXPECT_THAT(takeErrors(), ElementsAre("cannot rollback - no transaction is active"));
    EXPECT_EQ(files(), unchanged());
    insert("t", "8");
    EXPECT_EQ(files(), atRest({7, 8}, {7}, {7}));
}

TEST_F(TransactionTest, ATransactionEndsOnce) {
    for (const bool commits : {true, false}) {
        SCOPED_TRACE(commits);
        begin();
        commits ? commit() : rollback();
        EXPECT_FALSE(database->commitTransaction());
        EXPECT_FALSE(database->rollbackTransaction());
        EXPECT_THAT(takeErrors(), ElementsAre("cannot commit - no transaction is active",
                                              "cannot rollback - no transaction is active"));
    }
}

TEST_F(TransactionTest, ASecondBeginChangesNothingAndOneCommitEndsBoth) {
    begin();
    insert("t", "8");
    const Files before = files();
    begin();
    EXPECT_EQ(files(), before);
    insert("u", "8");
    commit();
    EXPECT_EQ(files(), atRest({7, 8}, {7, 8}, {7}));
    EXPECT_FALSE(database->commitTransaction());
}

// A commit that fails

TEST_F(TransactionTest, ACommitWithoutAWorkingCopyLeavesTheTableAndTheStateLine) {
    begin();
    insert("t", "8");
    std::filesystem::remove(backupFile("t"));
    EXPECT_FALSE(database->commitTransaction());
    EXPECT_THAT(takeErrors(), ElementsAre(failure("commitTransaction", "openFile", kOpenError)));
    EXPECT_EQ(files(), (Files{{"master_rollback", "1\n\x01~t\n"},
                              {"t.table", tableOf({7})},
                              {"u.table", tableOf({7})},
                              {"v.table", tableOf({7})}}));

    EXPECT_FALSE(database->commitTransaction());
    EXPECT_THAT(takeErrors(), ElementsAre(failure("commitTransaction", "openFile", kOpenError)));
    rollback();
    EXPECT_EQ(files(), unchanged());
    insert("t", "9");
    EXPECT_EQ(files(), atRest({7, 9}, {7}, {7}));
}

TEST_F(TransactionTest, AWorkingCopyThatVanishesAfterARefusedStatementNeverEmptiesTheTable) {
    run("CREATE TABLE keyed (a INTEGER PRIMARY KEY);");
    run("INSERT INTO keyed (a) VALUES (?);", "1");
    const std::string before = table("keyed");
    database->beginTransaction();
    run("INSERT INTO keyed (a) VALUES (?);", "2");
    exec("INSERT INTO keyed (a) VALUES (?);", "2");
    std::filesystem::remove(backupFile("keyed"));
    EXPECT_FALSE(database->commitTransaction());
    EXPECT_EQ(table("keyed"), before);
    EXPECT_TRUE(database->rollbackTransaction());
    EXPECT_EQ(table("keyed"), before);
    EXPECT_EQ(journal(), "0\n");
}

TEST_F(TransactionTest, ACommitStopsAtTheFirstMissingWorkingCopyInTheOrderOfNames) {
    const Files before = files();
    for (const Synchronous level : {Synchronous::off, Synchronous::normal, Synchronous::full}) {
        SCOPED_TRACE(static_cast<int>(level));
        database.reset();
        restoreFiles(directory(), before);
        useLevel(level);
        open();
        begin();
        insert("v", "8");
        insert("u", "8");
        insert("t", "8");
        std::filesystem::remove(backupFile("u"));
        EXPECT_FALSE(database->commitTransaction());
        Files wanted{{"master_rollback", "1\n\x01~v\n\x01~u\n\x01~t\n"},
                     {"t.backup", tableOf({7, 8})},
                     {"t.table", tableOf({7, 8})},
                     {"u.table", tableOf({7})},
                     {"v.backup", tableOf({7, 8})},
                     {"v.table", tableOf({7})}};
        if (level != Synchronous::off) {
            wanted.erase("t.backup");  // it is the table now
        }
        EXPECT_EQ(files(), wanted);
    }
}

TEST_F(TransactionTest, AFailedCommitCanBeTriedAgain) {
    begin();
    insert("t", "8");
    insert("u", "8");
    std::filesystem::rename(backupFile("u"), directory() + "/aside");
    EXPECT_FALSE(database->commitTransaction());
    takeErrors();
    std::filesystem::rename(directory() + "/aside", backupFile("u"));
    commit();
    EXPECT_EQ(files(), atRest({7, 8}, {7, 8}, {7}));
}

TEST_F(TransactionTest, AWorkingCopyThatCannotBeOpenedRefusesTheStatement) {
    std::filesystem::create_directory(backupFile("t"));
    for (const bool inTransaction : {false, true}) {
        SCOPED_TRACE(inTransaction);
        if (inTransaction) {
            begin();
        }
        EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "8"), 0);
        expectOneError("insertTable", kOpenError);
        EXPECT_EQ(table("t"), tableOf({7}));
        if (inTransaction) {
            rollback();
        }
        EXPECT_EQ(files(), unchanged());
        EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("7"));
        // The clean-up has removed the empty directory as it would have removed a file.
        std::filesystem::create_directory(backupFile("t"));
    }
    std::filesystem::remove(backupFile("t"));
    insert("t", "8");
    EXPECT_EQ(files(), atRest({7, 8}, {7}, {7}));
}

TEST_F(TransactionTest, ADirectoryInPlaceOfAWorkingCopyThatIsNotEmptyStaysAndIsReported) {
    std::filesystem::create_directories(backupFile("t") + "/full");
    EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "8"), 0);
    expectOneError("insertTable", kOpenError);
    EXPECT_EQ(files(), unchanged());
    EXPECT_TRUE(fileExists(backupFile("t") + "/full"));
}

TEST_F(TransactionTest, AClearedJournalIsMadeAnewByTheNextCleanUp) {
    std::filesystem::remove(journalFile());
    insert("t", "8");
    EXPECT_EQ(files(), atRest({7, 8}, {7}, {7}));
}

// Locks, seen from a second thread

class LockTest : public StatementTest {
protected:
    void SetUp() override {
        StatementTest::SetUp();
        run("CREATE TABLE t (a INTEGER);");
        run("CREATE TABLE u (a INTEGER);");
    }

    /// Passes when this thread holds the lock `counts` times; gives them all back.
    ///
    /// A second thread asks for the rows of a table. This thread works on, and gives back one count after the
    /// other: the second thread must have waited for the last of them.
    void expectHeld(int counts) {
        SCOPED_TRACE("expecting " + std::to_string(counts));
        log.clear();
        std::atomic<int> givenBack{0};
        std::promise<int> seen;
        std::future<int> answer = seen.get_future();
        std::thread second([&] {
            EXPECT_NE(query("SELECT a FROM u;"), nullptr);
            seen.set_value(givenBack);
        });
        while (!log.has("Statement After Removing trailing Semicolon:SELECT a FROM u")) {
            std::this_thread::yield();
        }
        constexpr int kWork = 25;
        for (int count = 0; count < counts; ++count) {
            for (int i = 0; i < kWork; ++i) {
                EXPECT_NE(query("SELECT * FROM u;"), nullptr);
            }
            ++givenBack;
            giveBackOne();
        }
        // Only a thread that waits for ever gets to this limit.
        if (answer.wait_for(std::chrono::minutes(1)) != std::future_status::ready) {
            ADD_FAILURE() << "the lock is held more often";
            while (answer.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
                giveBackOne();
            }
        }
        second.join();
        EXPECT_EQ(answer.get(), counts);
    }

private:
    /// A statement without its ";" unlocks without having locked.
    void giveBackOne() { EXPECT_EQ(exec("no statement"), 1); }
};

/// What a thread may do between two looks at the lock.
class LockPathTest : public LockTest {
public:
    void begin() { EXPECT_TRUE(database->beginTransaction()); }
    void commit() { EXPECT_TRUE(database->commitTransaction()); }
    void failToCommit() { EXPECT_FALSE(database->commitTransaction()); }
    void rollBack() { EXPECT_TRUE(database->rollbackTransaction()); }
    void failToRollBack() { EXPECT_FALSE(database->rollbackTransaction()); }

    void insert() { EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "1"), 0); }
    void insertIntoNoTable() { EXPECT_EQ(exec("INSERT INTO missing (a) VALUES (?);", "1"), 0); }
    void insertWithoutEnd() { EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?)", "1"), 1); }
    void unknownStatement() { EXPECT_EQ(exec("VACUUM THE DATABASE;"), 0); }
    void incompleteStatement() { EXPECT_EQ(exec("DROP TABLE;"), 1); }
    void alter() { EXPECT_EQ(exec("ALTER TABLE x t ADD COLUMN b TEXT;"), 1); }
    void alterNoTable() { EXPECT_EQ(exec("ALTER TABLE t ADD COLUMN b TEXT;"), 0); }

    void select() { EXPECT_NE(query("SELECT * FROM t;"), nullptr); }
    void selectFromNoTable() { EXPECT_EQ(query("SELECT * FROM missing;"), nullptr); }
    void selectWithoutEnd() { EXPECT_EQ(query("SELECT * FROM t"), nullptr); }
    void selectWithoutFrom() { EXPECT_EQ(query("SELECT *;"), nullptr); }

    void loseWorkingCopy() { std::filesystem::remove(backupFile("t")); }
    void blockJournal() {
        std::filesystem::remove(journalFile());
        std::filesystem::create_directory(journalFile());
    }
    void freeJournal() { std::filesystem::remove(journalFile()); }
};

using Path = LockPathTest;

/// Steps from a lock that nobody holds, and how often the thread holds it after them.
struct LockPath {
    const char* name;
    std::vector<void (Path::*)()> steps;
    int counts;
};

const std::vector<LockPath> kLockPaths{
    {"nothing", {}, 0},
    {"a statement", {&Path::insert}, 0},
    {"a failed statement", {&Path::insertIntoNoTable}, 0},
    {"an unknown statement", {&Path::unknownStatement}, 0},
    {"an incomplete statement", {&Path::incompleteStatement}, 0},
    {"a query", {&Path::select}, 0},
    {"a failed query", {&Path::selectFromNoTable}, 0},
    {"ALTER of a table", {&Path::alter}, 0},
    {"ALTER of a missing table", {&Path::alterNoTable}, 1},
    {"ALTER of a missing table, twice", {&Path::alterNoTable, &Path::alterNoTable}, 2},

    {"begin", {&Path::begin}, 1},
    {"begin, statement", {&Path::begin, &Path::insert}, 1},
    {"begin, failed statement", {&Path::begin, &Path::insertIntoNoTable}, 1},
    {"begin, failed query", {&Path::begin, &Path::selectFromNoTable}, 1},
    {"begin, statement without its end", {&Path::begin, &Path::insertWithoutEnd}, 0},
    {"begin, query without its end", {&Path::begin, &Path::selectWithoutEnd}, 0},
    {"begin, query without FROM", {&Path::begin, &Path::selectWithoutFrom}, 0},
    {"begin, commit", {&Path::begin, &Path::insert, &Path::commit}, 0},
    {"begin, rollback", {&Path::begin, &Path::insert, &Path::rollBack}, 0},
    {"begin, begin", {&Path::begin, &Path::begin}, 2},
    {"begin, begin, commit", {&Path::begin, &Path::begin, &Path::commit}, 1},
    {"begin, begin, rollback", {&Path::begin, &Path::begin, &Path::rollBack}, 1},
    {"begin, begin, commit, commit", {&Path::begin, &Path::begin, &Path::commit, &Path::failToCommit}, 2},

    {"commit alone", {&Path::failToCommit}, 1},
    {"rollback alone", {&Path::failToRollBack}, 1},
    {"commit alone, rollback alone", {&Path::failToCommit, &Path::failToRollBack}, 2},

    {"a commit that fails", {&Path::begin, &Path::insert, &Path::loseWorkingCopy, &Path::failToCommit}, 2},
    {"a commit that fails twice",
     {&Path::begin, &Path::insert, &Path::loseWorkingCopy, &Path::failToCommit, &Path::failToCommit},
     3},
    {"a commit that fails, then rollback",
     {&Path::begin, &Path::insert, &Path::loseWorkingCopy, &Path::failToCommit, &Path::rollBack},
     1},
    {"a rollback that fails",
     {&Path::begin, &Path::insert, &Path::blockJournal, &Path::failToRollBack, &Path::freeJournal},
     2},
    {"a rollback that fails, then one that does not",
     {&Path::begin, &Path::insert, &Path::blockJournal, &Path::failToRollBack, &Path::freeJournal,
      &Path::rollBack},
     1},
};

TEST_F(LockPathTest, EveryPathKeepsItsCounts) {
    for (const LockPath& path : kLockPaths) {
        SCOPED_TRACE(path.name);
        for (const auto step : path.steps) {
            (this->*step)();
        }
        expectHeld(path.counts);
        reopen();
    }
}

TEST_F(LockTest, AnotherThreadCannotGiveBackACount) {
    EXPECT_TRUE(database->beginTransaction());
    std::thread([this] { EXPECT_EQ(exec("no statement"), 1); }).join();
    expectHeld(1);
}

TEST_F(LockTest, AnotherThreadsStatementWaitsForTheWholeTransaction) {
    EXPECT_TRUE(database->beginTransaction());
    log.clear();
    std::thread second([this] { EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "99"), 0); });
    while (!log.has("Statement After Removing trailing Semicolon:INSERT INTO t (a) VALUES (?)")) {
        std::this_thread::yield();
    }
    for (const char* value : {"1", "2", "3", "4", "5", "6"}) {
        EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", value), 0);
    }
    EXPECT_TRUE(database->commitTransaction());
    second.join();
    EXPECT_EQ(table("t"), "a~ROWID\n1~1\n\n1~1\n2~2\n3~3\n4~4\n5~5\n6~6\n99~7\n");
    EXPECT_EQ(journal(), "0\n");
}

TEST_F(LockTest, ATransactionOfAnotherThreadWaitsForTheFirst) {
    EXPECT_TRUE(database->beginTransaction());
    std::promise<void> started;
    std::thread second([&] {
        started.set_value();
        EXPECT_TRUE(database->beginTransaction());
        EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "99"), 0);
        EXPECT_TRUE(database->rollbackTransaction());
    });
    started.get_future().wait();
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "1"), 0);
    }
    EXPECT_TRUE(database->commitTransaction());
    second.join();
    EXPECT_EQ(query("SELECT a FROM t WHERE a = 1;")->getCount(), 50);
    EXPECT_EQ(query("SELECT a FROM t;")->getCount(), 50);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
