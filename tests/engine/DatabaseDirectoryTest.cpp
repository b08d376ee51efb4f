#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "StatementTest.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr const char* kOpenError = "DataBase Error: Couldn't open the corresponding file";
constexpr const char* kReadError = "DB Error: Error occurred during file reading";
constexpr const char* kSeekError = "File Error: File Seek error";
constexpr const char* kCreationFailed = "DataBase Init: DB Directory creation failed";

class DatabaseDirectoryTest : public StatementTest {
protected:
    void SetUp() override {}

    /// A table with one row, made by the open database.
    void createWithRow(const std::string& name) {
        run("CREATE TABLE " + name + " (a INTEGER);");
        run("INSERT INTO " + name + " (a) VALUES (?);", "7");
    }

    static constexpr const char* kOneRow = "a~ROWID\n1~1\n\n7~1\n";

    void expectInitRefused(const std::string& path, const std::string& raiser, const std::string& message) {
        SCOPED_TRACE(path);
        FileDatabase refused;
        log.clear();
        EXPECT_FALSE(refused.init(path));
        EXPECT_THAT(takeErrors(), ElementsAre(failure("init", raiser, message)));
    }

    void expectCreationRefused(const std::string& path) {
        SCOPED_TRACE(path);
        FileDatabase refused;
        log.clear();
        EXPECT_FALSE(refused.init(path));
        EXPECT_THAT(takeErrors(), ElementsAre(kCreationFailed));
    }

    static std::size_t openDescriptors() { return listDirectory("/proc/self/fd").size(); }
};

// Opening

TEST_F(DatabaseDirectoryTest, InitCreatesTheDirectoryAndTheJournal) {
    EXPECT_TRUE(database->init(temporary.file("x")));
    EXPECT_THAT(listDirectory(temporary.path()), ElementsAre("x_filedb"));
    EXPECT_THAT(listDirectory(temporary.file("x_filedb")), ElementsAre("master_rollback"));
    EXPECT_EQ(readFile(temporary.file("x_filedb/master_rollback")), "0\n");
    EXPECT_TRUE(logged(0, "init"));
    EXPECT_THAT(takeErrors(), IsEmpty());
}

TEST_F(DatabaseDirectoryTest, NoSeparatorIsPutBeforeTheSuffix) {
    EXPECT_TRUE(database->init(temporary.path() + "/"));
    EXPECT_THAT(listDirectory(temporary.path()), ElementsAre("_filedb"));
}

TEST_F(DatabaseDirectoryTest, AFileOfThePathsOwnNameIsNoHindrance) {
    writeFile(path(), "mine");
    open();
    EXPECT_EQ(readFile(path()), "mine");
    EXPECT_EQ(journal(), "0\n");
}

TEST_F(DatabaseDirectoryTest, AnExistingDirectoryKeepsItsTablesAndOtherFiles) {
    open();
    createWithRow("t");
    writeFile(directory() + "/notes.txt", "mine");
    reopen();
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"notes.txt", "mine"}, {"t.table", kOneRow}}));
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("7"));
}

/// Such times take more than 31 bits.
TEST_F(DatabaseDirectoryTest, FilesDated2040AreReadAndChanged) {
    open();
    createWithRow("t");
    createWithRow("u");
    database.reset();
    const auto date = [this] {
        constexpr time_t kIn2040 = 2208988800;
        const std::array<timespec, 2> times{{{kIn2040, 0}, {kIn2040, 0}}};
        for (const std::string& name : listDirectory(directory())) {
            const std::string file = directory() + "/" + name;
            ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times.data(), 0), 0) << file;
            struct stat status {};
            ASSERT_EQ(stat(file.c_str(), &status), 0) << file;
            ASSERT_EQ(status.st_mtim.tv_sec, kIn2040) << "the file system cannot hold the date; set TMPDIR";
        }
    };

    date();
    reopen();
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("7"));
    run("INSERT INTO t (a) VALUES (?);", "8");
    date();
    run("UPDATE t SET a=? WHERE a = 7;", "9");
    date();
    database->beginTransaction();
    run("INSERT INTO u (a) VALUES (?);", "8");
    date();
    run("DELETE FROM u WHERE a = 7;");
    date();
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("9", "8"));
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"},
                              {"t.table", "a~ROWID\n1~1\n\n9~1\n8~2\n"},
                              {"u.table", "a~ROWID\n1~1\n\n8~2\n"}}));
}

TEST_F(DatabaseDirectoryTest, ADirectoryThatCannotBeMadeIsRefused) {
    writeFile(temporary.file("file"), "");
    writeFile(temporary.file("taken_filedb"), "mine");
    expectCreationRefused(temporary.file("file/db"));
    expectCreationRefused(temporary.file("missing/db"));
    expectCreationRefused(temporary.file("taken"));
    expectCreationRefused("/proc/db");
    expectCreationRefused(temporary.file(std::string(300, 'n')));
    EXPECT_EQ(readFile(temporary.file("taken_filedb")), "mine");
    EXPECT_THAT(listDirectory(temporary.path()), ElementsAre("file", "taken_filedb"));
}

TEST_F(DatabaseDirectoryTest, ADirectoryWithoutPermissionIsRefused) {
    const std::string closed = temporary.file("closed");
    ASSERT_TRUE(std::filesystem::create_directory(closed));
    ASSERT_EQ(chmod(closed.c_str(), 0555), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        constexpr uid_t kNobody = 65534;  // root may do all, so it becomes somebody else
        if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
            _exit(2);
        }
        FileDatabase refused;
        _exit(refused.init(closed + "/db") || !log.has(kCreationFailed) ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_THAT(listDirectory(closed), IsEmpty());
}

TEST_F(DatabaseDirectoryTest, AJournalThatCannotBeOpenedOrReadIsRefused) {
    struct Row {
        std::string name;
        std::function<void(const std::string&)> make;
        std::string raiser;
        std::string message;
    };
    const auto linkTo = [](const std::string& target) {
        return [target](const std::string& file) { std::filesystem::create_symlink(target, file); };
    };
    const Row journals[] = {
        {"directory", [](const std::string& file) { std::filesystem::create_directory(file); }, "openFile",
         kOpenError},
        {"broken link", linkTo("/nowhere/at/all"), "openFile", kOpenError},
        {"pipe", [](const std::string& file) { ASSERT_EQ(mkfifo(file.c_str(), 0600), 0); }, "readRest",
         kReadError},
        {"/dev/full", linkTo("/dev/full"), "readRest", kReadError},
        {"/dev/zero", linkTo("/dev/zero"), "readRest", kReadError},
    };
    for (const Row& row : journals) {
        SCOPED_TRACE(row.name);
        ASSERT_TRUE(std::filesystem::create_directory(directory()));
        row.make(journalFile());
        writeFile(tableFile("t"), kOneRow);
        FileDatabase refused;
        log.clear();
        EXPECT_FALSE(refused.init(path()));
        const std::vector<std::string> errors = takeErrors();
        ASSERT_EQ(errors.size(), 1U);
        EXPECT_THAT(errors[0], AllOf(StartsWith("init Exception: "), EndsWith(" ->" + row.message + "\n")));
        EXPECT_EQ(table("t"), kOneRow);
        std::filesystem::remove_all(directory());
    }
}

TEST_F(DatabaseDirectoryTest, ADirectoryThatTakesNoNewFilesIsRefused) {
    std::filesystem::create_directory_symlink("/proc/self/fdinfo", directory());
    expectInitRefused(path(), "openFile", kOpenError);
}

TEST_F(DatabaseDirectoryTest, AfterAFailedInitStatementsFailOnTheirFiles) {
    EXPECT_FALSE(database->init(temporary.file("missing/db")));
    log.clear();
    EXPECT_EQ(exec("CREATE TABLE t (a INTEGER);"), 0);
    expectOneError("createTable", kSeekError);
    EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "1"), 0);
    expectOneError("insertTable", "DB Error: No such Table...(t)");
    EXPECT_EQ(exec("DROP TABLE t;"), 0);
    expectOneError("dropTable", "DB Error: No such Table...(t)");
    EXPECT_EQ(query("SELECT * FROM t;"), nullptr);
    expectOneError("executeQuery", "DB Error: Table does not exists...");
    EXPECT_FALSE(fileExists(temporary.file("missing")));
}

TEST_F(DatabaseDirectoryTest, InitMayBeTriedAgainAfterAFailure) {
    EXPECT_FALSE(database->init(temporary.file("missing/db")));
    std::filesystem::create_directory(temporary.file("missing"));
    EXPECT_TRUE(database->init(temporary.file("missing/db")));
    log.clear();
    createWithRow("t");
    EXPECT_EQ(readFile(temporary.file("missing/db_filedb/t.table")), kOneRow);
}

// Before init and after deinit

TEST_F(DatabaseDirectoryTest, BeforeInitEveryCallIsAnswered) {
    EXPECT_EQ(exec("CREATE TABLE t (a INTEGER);"), 1);
    EXPECT_EQ(query("SELECT * FROM t;"), nullptr);
    EXPECT_THAT(takeErrors(), ElementsAre("DB Error: Data Base is not initialised",
                                          "DB Error: Data Base is not initialised"));
    EXPECT_EQ(database->getLastInsertRowid(), 0);

    EXPECT_FALSE(database->commitTransaction());
    EXPECT_FALSE(database->rollbackTransaction());
    EXPECT_THAT(takeErrors(), ElementsAre("cannot commit - no transaction is active",
                                          "cannot rollback - no transaction is active"));

    EXPECT_TRUE(database->beginTransaction());
    EXPECT_FALSE(database->commitTransaction());
    expectOneError("commitTransaction", kSeekError);
    EXPECT_FALSE(database->rollbackTransaction());
    expectOneError("rollbackTransaction", kOpenError);

    EXPECT_TRUE(database->deinit());
    EXPECT_TRUE(database->deinit());
    EXPECT_THAT(takeErrors(), IsEmpty());
}

TEST_F(DatabaseDirectoryTest, ATransactionBegunBeforeInitEndsWithInit) {
    EXPECT_TRUE(database->beginTransaction());
    open();
    EXPECT_FALSE(database->commitTransaction());
    EXPECT_TRUE(log.has("cannot commit - no transaction is active"));
    log.clear();
    createWithRow("t");
    EXPECT_EQ(table("t"), kOneRow);
}

TEST_F(DatabaseDirectoryTest, AfterDeinitQueriesStillReadAndChangesFailAtTheJournal) {
    open();
    createWithRow("t");
    log.clear();
    EXPECT_TRUE(database->deinit());
    EXPECT_TRUE(logged(0, "deinit"));
    log.clear();
    const Files before = files();

    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("7"));
    EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "8"), 0);
    expectOneError("insertTable", kSeekError);
    EXPECT_EQ(exec("UPDATE t SET a=?;", "8"), 0);
    expectOneError("updateTable", kSeekError);
    EXPECT_EQ(exec("DELETE FROM t;"), 0);
    expectOneError("deleteTable", kSeekError);
    EXPECT_EQ(exec("CREATE TABLE u (a INTEGER);"), 0);
    expectOneError("createTable", kSeekError);
    EXPECT_EQ(exec("DROP TABLE t;"), 0);
    expectOneError("dropTable", kSeekError);
    EXPECT_EQ(exec("ALTER TABLE x t ADD COLUMN b TEXT;"), -1);
    expectOneError("alterTable", kSeekError);
    EXPECT_EQ(files(), before);
    EXPECT_EQ(database->getLastInsertRowid(), 1);
}

TEST_F(DatabaseDirectoryTest, AfterDeinitACommitFailsAndARollbackOpensTheJournal) {
    open();
    createWithRow("t");
    EXPECT_TRUE(database->deinit());
    log.clear();
    EXPECT_TRUE(database->beginTransaction());
    EXPECT_FALSE(database->commitTransaction());
    expectOneError("commitTransaction", kSeekError);
    writeFile(journalFile(), "stale");
    EXPECT_TRUE(database->rollbackTransaction());
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"t.table", kOneRow}}));
    run("INSERT INTO t (a) VALUES (?);", "8");
    EXPECT_EQ(table("t"), "a~ROWID\n1~1\n\n7~1\n8~2\n");
}

TEST_F(DatabaseDirectoryTest, ARollbackWhoseReopeningFailedCanBeTriedAgain) {
    open();
    createWithRow("t");
    EXPECT_TRUE(database->beginTransaction());
    run("INSERT INTO t (a) VALUES (?);", "8");
    std::filesystem::remove(journalFile());
    std::filesystem::create_directory(journalFile());
    EXPECT_FALSE(database->rollbackTransaction());
    expectOneError("rollbackTransaction", kOpenError);

    std::filesystem::remove(journalFile());
    EXPECT_TRUE(database->rollbackTransaction());
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"t.table", kOneRow}}));
}

TEST_F(DatabaseDirectoryTest, DeinitTwiceIsTrue) {
    open();
    EXPECT_TRUE(database->deinit());
    EXPECT_TRUE(database->deinit());
}

// Opening again

TEST_F(DatabaseDirectoryTest, AfterDeinitAndInitTheTablesAreFoundAgain) {
    open();
    createWithRow("t");
    EXPECT_TRUE(database->deinit());
    open();
    log.clear();
    run("INSERT INTO t (a) VALUES (?);", "8");
    EXPECT_THAT(rows(query("SELECT a, ROWID FROM t;"), 2), ElementsAre("7|1", "8|2"));
}

TEST_F(DatabaseDirectoryTest, InitAgainDropsWhatATransactionLeftOpen) {
    open();
    createWithRow("t");
    EXPECT_TRUE(database->beginTransaction());
    run("INSERT INTO t (a) VALUES (?);", "8");
    EXPECT_TRUE(database->deinit());
    EXPECT_EQ(journal(), "0\n\x01~t\n");
    EXPECT_EQ(backup("t"), "a~ROWID\n1~1\n\n7~1\n8~2\n");

    open();
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"t.table", kOneRow}}));
    EXPECT_FALSE(database->commitTransaction());
    EXPECT_TRUE(log.has("cannot commit - no transaction is active"));
}

TEST_F(DatabaseDirectoryTest, InitTwiceWithoutDeinitGoesOnWithTheSameTables) {
    open();
    createWithRow("t");
    const std::size_t before = openDescriptors();
    for (int i = 0; i < 20; ++i) {
        open();
    }
    EXPECT_EQ(openDescriptors(), before);
    log.clear();
    run("INSERT INTO t (a) VALUES (?);", "8");
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"t.table", "a~ROWID\n1~1\n\n7~1\n8~2\n"}}));
}

TEST_F(DatabaseDirectoryTest, InitOnAnotherPathMovesToThatDirectory) {
    open();
    createWithRow("t");
    EXPECT_TRUE(database->init(temporary.file("other")));
    EXPECT_EQ(query("SELECT * FROM t;"), nullptr);
    log.clear();
    createWithRow("u");
    EXPECT_THAT(listDirectory(directory()), ElementsAre("master_rollback", "t.table"));
    EXPECT_THAT(listDirectory(temporary.file("other_filedb")), ElementsAre("master_rollback", "u.table"));
}

TEST_F(DatabaseDirectoryTest, NothingStaysOpenBehindADatabase) {
    const std::size_t before = openDescriptors();
    open();
    createWithRow("t");
    EXPECT_EQ(query("SELECT b FROM t;"), nullptr);
    exec("INSERT INTO t (b) VALUES (?);", "8");
    exec("UPDATE t SET b=?;", "8");
    exec("DELETE FROM t WHERE b = 1;");
    exec("ALTER TABLE x t ADD COLUMN a TEXT;");
    database->beginTransaction();
    exec("INSERT INTO t (a) VALUES (?);", "8");
    database.reset();
    EXPECT_EQ(openDescriptors(), before);
}

// Table names

TEST_F(DatabaseDirectoryTest, NamesThatDifferInCaseAreTwoTables) {
    open();
    createWithRow("t");
    run("CREATE TABLE T (b TEXT);");
    EXPECT_EQ(files(),
              (Files{{"T.table", "b~ROWID\n4~1\n\n"}, {"master_rollback", "0\n"}, {"t.table", kOneRow}}));
    run("DROP TABLE t;");
    EXPECT_EQ(files(), (Files{{"T.table", "b~ROWID\n4~1\n\n"}, {"master_rollback", "0\n"}}));
}

TEST_F(DatabaseDirectoryTest, ASlashInANameLeadsIntoASubdirectory) {
    open();
    std::filesystem::create_directory(directory() + "/sub");
    writeFile(tableFile("sub/t"), kOneRow);
    EXPECT_TRUE(database->beginTransaction());
    log.clear();
    run("INSERT INTO sub/t (a) VALUES (?);", "8");
    EXPECT_EQ(backup("sub/t"), "a~ROWID\n1~1\n\n7~1\n8~2\n");
    EXPECT_EQ(journal(), "0\n\x01~sub/t\n");
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(table("sub/t"), "a~ROWID\n1~1\n\n7~1\n8~2\n");
    EXPECT_THAT(listDirectory(directory() + "/sub"), ElementsAre("t.table"));
    run("DROP TABLE sub/t;");
    EXPECT_THAT(listDirectory(directory() + "/sub"), IsEmpty());
    EXPECT_EQ(journal(), "0\n");
}

TEST_F(DatabaseDirectoryTest, CreateAndSelectDoNotTakeANameWithASlash) {
    open();
    std::filesystem::create_directory(directory() + "/sub");
    expectRefused("createTable", 0,
                  {{"CREATE TABLE sub/t (a INTEGER);", "validateColumnName",
                    "Syntax Error: '/' Char is invalid for Column Name sub/t"}});
    expectNoResult({{"SELECT * FROM sub/t;", "validateColumnName",
                     "Syntax Error: '/' Char is invalid for Column Name sub/t"}});
}

// The current file of a table

TEST_F(DatabaseDirectoryTest, OutsideOfATransactionStatementsUseTheTableFile) {
    open();
    createWithRow("t");
    log.clear();
    run("CREATE TABLE IF NOT EXISTS t (a INTEGER);");
    const char* const statements[] = {"INSERT INTO t (a) VALUES (?);", "UPDATE t SET a=?;"};
    for (const char* statement : statements) {
        EXPECT_EQ(exec(statement, "8"), 0);
        EXPECT_TRUE(logged(1, "Table Name=t, FileName=" + tableFile("t")));
        EXPECT_FALSE(log.hasPart("FileName=" + backupFile("t")));
        log.clear();
    }
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("8", "8"));
    EXPECT_TRUE(logged(1, "Table Name=t, FileName=" + tableFile("t")));
}

TEST_F(DatabaseDirectoryTest, InATransactionATouchedTableIsItsWorkingCopyAndTheOthersAreNot) {
    open();
    createWithRow("t");
    createWithRow("u");
    EXPECT_TRUE(database->beginTransaction());
    run("INSERT INTO t (a) VALUES (?);", "8");
    log.clear();
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("7", "8"));
    EXPECT_TRUE(logged(1, "Table Name=t, FileName=" + backupFile("t")));
    EXPECT_THAT(rows(query("SELECT a FROM u;"), 1), ElementsAre("7"));
    EXPECT_TRUE(logged(1, "Table Name=u, FileName=" + tableFile("u")));
    EXPECT_TRUE(database->rollbackTransaction());
    log.clear();
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("7"));
    EXPECT_TRUE(logged(1, "Table Name=t, FileName=" + tableFile("t")));
}

TEST_F(DatabaseDirectoryTest, ATableDroppedInTheTransactionIsRefusedToEveryStatement) {
    open();
    createWithRow("t");
    EXPECT_TRUE(database->beginTransaction());
    run("DROP TABLE t;");
    const std::string raiser = "getTableCurrentFile";
    const std::string message = "DataBase Error: No such Table exist.(t)";
    expectRefused("insertTable", 0, {{"INSERT INTO t (a) VALUES (?);", raiser, message, {"1"}}});
    expectRefused("updateTable", 0, {{"UPDATE t SET a=?;", raiser, message, {"1"}}});
    expectRefused("deleteTable", 0, {{"DELETE FROM t;", raiser, message}});
    expectRefused("dropTable", 0, {{"DROP TABLE t;", raiser, message}});
    expectRefused("createTable", 0, {{"CREATE TABLE t (a INTEGER);", raiser, message}});
    expectNoResult({{"SELECT * FROM t;", raiser, message}});
}

TEST_F(DatabaseDirectoryTest, ATableDroppedInTheTransactionIsRefusedToTheStatementsThatLookItUpEarly) {
    open();
    createWithRow("t");
    EXPECT_TRUE(database->beginTransaction());
    run("DROP TABLE t;");
    expectRefused("executeUpdate", 1,
                  {{"CREATE TABLE IF NOT EXISTS t (a INTEGER);", "getTableCurrentFile",
                    "DataBase Error: No such Table exist.(t)"},
                   {"ALTER TABLE x t ADD COLUMN b TEXT;", "getTableCurrentFile",
                    "DataBase Error: No such Table exist.(t)"}});
}

// The last ROWID

TEST_F(DatabaseDirectoryTest, LastInsertRowidTellsOfTheLastSuccessfulInsert) {
    open();
    EXPECT_EQ(database->getLastInsertRowid(), 0);
    run("CREATE TABLE t (a INTEGER NOT NULL);");
    run("CREATE TABLE u (a INTEGER);");
    EXPECT_EQ(database->getLastInsertRowid(), 0);
    run("INSERT INTO t (a) VALUES (?);", "5");
    run("INSERT INTO t (a) VALUES (?);", "6");
    EXPECT_EQ(database->getLastInsertRowid(), 2);
    EXPECT_TRUE(logged(0, "getLastInsertRowid: 2"));

    exec("INSERT INTO t (a) VALUES (?);", kNull);
    exec("UPDATE t SET a=?;", "7");
    exec("DELETE FROM t WHERE a = 7;");
    EXPECT_EQ(database->getLastInsertRowid(), 2);
    log.clear();
    run("INSERT INTO u (a) VALUES (?);", "5");
    EXPECT_EQ(database->getLastInsertRowid(), 1);
}

TEST_F(DatabaseDirectoryTest, LastInsertRowidOutlivesRollbackAndReopening) {
    open();
    createWithRow("t");
    EXPECT_TRUE(database->beginTransaction());
    run("INSERT INTO t (a) VALUES (?);", "8");
    EXPECT_TRUE(database->rollbackTransaction());
    EXPECT_EQ(database->getLastInsertRowid(), 2);
    EXPECT_TRUE(database->deinit());
    open();
    EXPECT_EQ(database->getLastInsertRowid(), 2);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
