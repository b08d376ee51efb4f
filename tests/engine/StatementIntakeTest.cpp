#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "StatementTest.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Before init, and without a statement text

class UnopenedDatabaseTest : public StatementTest {
protected:
    void SetUp() override {}

    std::vector<std::tuple<int, std::string, int, std::string>> messages() const {
        std::vector<std::tuple<int, std::string, int, std::string>> result;
        for (const LoggedMessage& message : log.messages()) {
            result.emplace_back(message.module, message.tag, message.level, message.text);
        }
        return result;
    }
};

TEST_F(UnopenedDatabaseTest, UpdateIsRefusedAndLogged) {
    EXPECT_EQ(exec("DROP TABLE t;"), 1);

    EXPECT_THAT(messages(), ElementsAre(std::make_tuple(24, "FileDatabase", 0, "executeUpdate"),
                                        std::make_tuple(24, "FileDatabase", 1, "passed SQL:'DROP TABLE t;'"),
                                        std::make_tuple(24, "FileDatabase", -2,
                                                        "DB Error: Data Base is not initialised")));
}

TEST_F(UnopenedDatabaseTest, QueryGivesNoResultAndIsLogged) {
    EXPECT_EQ(query("SELECT * FROM t;"), nullptr);

    EXPECT_THAT(messages(), ElementsAre(std::make_tuple(24, "FileDatabase", 0, "executeQuery"),
                                        std::make_tuple(24, "FileDatabase", 1, "passed SQL:SELECT * FROM t;"),
                                        std::make_tuple(24, "FileDatabase", -2,
                                                        "DB Error: Data Base is not initialised")));
}

TEST_F(UnopenedDatabaseTest, InitialisationIsTestedBeforeTheSemicolon) {
    EXPECT_EQ(exec("DROP TABLE t"), 1);
    EXPECT_THAT(takeErrors(), ElementsAre("DB Error: Data Base is not initialised"));
}

TEST_F(UnopenedDatabaseTest, NullTextIsOneErrorLine) {
    EXPECT_EQ(exec(kNull), 1);
    EXPECT_EQ(takeErrors().size(), 1U);
    EXPECT_EQ(query(kNull), nullptr);
    EXPECT_EQ(takeErrors().size(), 1U);
}

class StatementIntakeTest : public StatementTest {};

TEST_F(StatementIntakeTest, NullTextIsOneErrorLine) {
    EXPECT_EQ(exec(kNull), 1);
    EXPECT_EQ(takeErrors().size(), 1U);
    EXPECT_EQ(query(kNull), nullptr);
    EXPECT_EQ(takeErrors().size(), 1U);
}

TEST_F(StatementIntakeTest, EntryIsLoggedWithTheTextAsPassed) {
    exec("DELETE FROM t WHERE a = ? ;\n", "1");
    EXPECT_TRUE(logged(0, "executeUpdate"));
    EXPECT_TRUE(logged(1, "passed SQL:'DELETE FROM t WHERE a = ? ;\n'"));
    EXPECT_TRUE(logged(1, "Statement After Removing trailing Semicolon:DELETE FROM t WHERE a = ?"));

    query("SELECT * FROM t ;");
    EXPECT_TRUE(logged(0, "executeQuery"));
    EXPECT_TRUE(logged(1, "passed SQL:SELECT * FROM t ;"));
    EXPECT_TRUE(logged(1, "Statement After Removing trailing Semicolon:SELECT * FROM t"));
}

TEST_F(StatementIntakeTest, AfterDeinitTablesCanBeReadButNotChanged) {
    run("CREATE TABLE t (a TEXT);");
    run("INSERT INTO t (a) VALUES ('?');", "x");
    const Files before = files();
    database->deinit();
    log.clear();

    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("x"));
    EXPECT_THAT(takeErrors(), IsEmpty());

    EXPECT_EQ(exec("INSERT INTO t (a) VALUES ('?');", "y"), 0);
    expectOneError("insertTable", "File Error: File Seek error");
    EXPECT_EQ(files(), before);
}

// Trailing semicolons

class SemicolonTest : public StatementTest {
protected:
    static constexpr const char* kMissing = "Syntax Error: No ; found at end of Statement";
};

TEST_F(SemicolonTest, UpdateWithoutOneIsRefused) {
    run("CREATE TABLE t (a INTEGER);");
    std::vector<Refusal> statements;
    for (const char* sql : {"", ";", " ; ;\n", " \t\n\v\f\r", "DROP TABLE t", "DROP TABLE t \n",
                            "DROP TABLE t; x", "DROP TABLE; t"}) {
        statements.push_back({sql, "checkRemoveSemiColon", kMissing});
    }
    expectRefused("executeUpdate", 1, statements);
}

TEST_F(SemicolonTest, QueryWithoutOneIsRefused) {
    run("CREATE TABLE t (a INTEGER);");
    std::vector<Refusal> queries;
    for (const char* sql : {"", ";", ";;\v;", "SELECT * FROM t", "SELECT * FROM t; x"}) {
        queries.push_back({sql, "checkRemoveSemiColon", kMissing});
    }
    expectNoResult(queries);
}

TEST_F(SemicolonTest, AllTrailingOnesAndBlanksAreDropped) {
    for (const char* tail : {";", ";;", " ; ;\n", "\t;\v;\f;\r", " \n;", "; "}) {
        run("CREATE TABLE t (a INTEGER);");
        const std::string sql = std::string("DROP TABLE t") + tail;
        SCOPED_TRACE(sql);
        EXPECT_EQ(exec(sql.c_str()), 0);
        EXPECT_TRUE(logged(1, "Statement After Removing trailing Semicolon:DROP TABLE t"));
        EXPECT_THAT(takeErrors(), IsEmpty());
        EXPECT_FALSE(fileExists(tableFile("t")));
    }
}

TEST_F(SemicolonTest, InsideTheStatementItIsAnOrdinaryCharacter) {
    expectRefused("dropTable", 0, {{"DROP TABLE t;x;", "dropTable", "DB Error: No such Table...(t;x)"}});
}

// Statement heads

TEST_F(StatementIntakeTest, EachHeadReachesItsHandlerWithTheRemainder) {
    struct Head {
        const char* sql;
        const char* trace;
    };
    const Head heads[] = {
        {"INSERT INTO t (a) VALUES (?);", "tableName:'t' Unparsed SQL=' (a) VALUES (?)'"},
        {"INSERT INTO t(a) VALUES (?);", "tableName:'t' Unparsed SQL='(a) VALUES (?)'"},
        {"\n INSERT\tINTO\v\rt\f(a) VALUES (?);", "tableName:'t' Unparsed SQL='\f(a) VALUES (?)'"},
        {"INSERT(INTO(t(a) VALUES (?);", "tableName:'t' Unparsed SQL='(a) VALUES (?)'"},
        {"UPDATE t SET a = ?;", "tableName:'t' Unparsed SQL=' a = ?'"},
        {"UPDATE t SET(a = ?;", "tableName:'t' Unparsed SQL='(a = ?'"},
        {"DELETE FROM t WHERE a = ?;", "tableName:'t' Unparsed SQL=' WHERE a = ?'"},
        {"DELETE FROM t;", "tableName:'t' Unparsed SQL=''"},
        {"CREATE TABLE u(a INTEGER);", "tableName:'u' unparsed SQL Statement='(a INTEGER)'"},
        {"CREATE TABLE v (a INTEGER);", "tableName:'v' unparsed SQL Statement=' (a INTEGER)'"},
        {"CREATE TABLE IF NOT EXISTS w (a INTEGER);", "tableName:'w' unparsed SQL Statement=' (a INTEGER)'"},
        {"CREATE TABLE IF NOT EXISTS x(a INTEGER);", "tableName:'x' unparsed SQL Statement='(a INTEGER)'"},
        {"DROP TABLE t;", "tableName:'t' Rem sql Statement=''"},
        {"DROP TABLE u v;", "tableName:'u' Rem sql Statement=' v'"},
    };
    run("CREATE TABLE t (a INTEGER);");
    for (const Head& head : heads) {
        SCOPED_TRACE(head.sql);
        log.clear();
        EXPECT_EQ(exec(head.sql, "1"), 0);
        EXPECT_TRUE(logged(1, head.trace)) << log.dump();
    }
}

TEST_F(StatementIntakeTest, BracketEndsTheTableName) {
    run("CREATE TABLE t(a INTEGER);");
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"t.table", "a~ROWID\n1~1\n\n"}}));
}

TEST_F(StatementIntakeTest, FewerThanThreeWordsAreIncomplete) {
    std::vector<Refusal> statements;
    for (const char* sql :
         {"DROP TABLE;", "DELETE FROM ;", "SELECT;", "VACUUM;", "insert into;", "(((;", "((a(b;"}) {
        statements.push_back({sql, "executeUpdate", "DB Syntax Error: Incomplete Statement."});
    }
    expectRefused("executeUpdate", 1, statements);
}

TEST_F(StatementIntakeTest, UnknownStatementIsLoggedButReportedAsSuccess) {
    run("CREATE TABLE t (a INTEGER);");
    run("INSERT INTO t (a) VALUES (?);", "1");
    const Files before = files();
    for (const char* sql :
         {"select * from t;", "SELECT * FROM t;", "delete from t;", "Delete FROM t;", "DELETE from t;",
          "drop table t;", "DROP table t;", "DROP INDEX t;", "CREATE INDEX t;", "create table u (a);",
          "insert into t (a);", "INSERT OR t;", "UPDATE t set a = 1;", "UPDATE SET t;", "update t SET a = 1;",
          "ALTER table t ADD;", "DELETE t FROM;", "BEGIN A TRANSACTION;"}) {
        SCOPED_TRACE(sql);
        EXPECT_EQ(exec(sql), 0);
        EXPECT_THAT(takeErrors(), ElementsAre("Syntax Error: unsupported Error"));
        EXPECT_EQ(files(), before);
    }
}

TEST_F(StatementIntakeTest, HandlersReportTheirFailuresInTheLogOnly) {
    EXPECT_EQ(exec("INSERT INTO no (a) VALUES (1);"), 0);
    EXPECT_THAT(takeErrors(),
                ElementsAre(failure("insertTable", "insertTable", "DB Error: No such Table...(no)")));
    EXPECT_EQ(exec("UPDATE no SET a = 1;"), 0);
    EXPECT_THAT(takeErrors(),
                ElementsAre(failure("updateTable", "updateTable", "DB Error: No such Table...(no)")));
    EXPECT_EQ(exec("DELETE FROM no;"), 0);
    EXPECT_THAT(takeErrors(),
                ElementsAre(failure("deleteTable", "deleteTable", "DB Error: No such Table...(no)")));
    EXPECT_EQ(exec("DROP TABLE no;"), 0);
    EXPECT_THAT(takeErrors(),
                ElementsAre(failure("dropTable", "dropTable", "DB Error: No such Table...(no)")));
    EXPECT_EQ(exec("CREATE TABLE no;"), 0);
    EXPECT_THAT(takeErrors(),
                ElementsAre(failure("createTable", "createTable",
                                    "DB Syntax Error: No proper start & end bracket after TableName.")));
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}}));
}

// CREATE TABLE IF NOT EXISTS

TEST_F(StatementIntakeTest, IfNotExistsSkipsAnExistingTableUnread) {
    run("CREATE TABLE t (a INTEGER);");
    run("INSERT INTO t (a) VALUES (?);", "1");
    const Files before = files();
    for (const char* sql :
         {"CREATE TABLE IF NOT EXISTS t (a INTEGER);", "CREATE TABLE IF NOT EXISTS t(b TEXT);",
          "CREATE TABLE IF NOT EXISTS t;", "CREATE TABLE IF NOT EXISTS t nonsense;"}) {
        SCOPED_TRACE(sql);
        EXPECT_EQ(exec(sql), 0);
        EXPECT_TRUE(logged(0, "(" + tableFile("t") + ") Table is already exists."));
        EXPECT_THAT(takeErrors(), IsEmpty());
        EXPECT_EQ(files(), before);
    }
}

TEST_F(StatementIntakeTest, IfNotExistsFindsATableOfTheOpenTransaction) {
    database->beginTransaction();
    run("CREATE TABLE t (a INTEGER);");
    EXPECT_EQ(exec("CREATE TABLE IF NOT EXISTS t (a INTEGER);"), 0);
    EXPECT_TRUE(logged(0, "(" + backupFile("t") + ") Table is already exists."));
    EXPECT_TRUE(database->rollbackTransaction());
}

TEST_F(StatementIntakeTest, MissingTableIsCreatedByIfNotExists) {
    run("CREATE TABLE IF NOT EXISTS t (a INTEGER);");
    EXPECT_EQ(table("t"), "a~ROWID\n1~1\n\n");
}

TEST_F(StatementIntakeTest, WordsAfterIfMustBeNotExistsAndAName) {
    std::vector<Refusal> statements;
    for (const char* sql :
         {"CREATE TABLE IF;", "CREATE TABLE IF NOT;", "CREATE TABLE IF NOT EXISTS;",
          "CREATE TABLE IF NOT EXISTS (;", "CREATE TABLE IF NOT t (a INTEGER);",
          "CREATE TABLE IF EXISTS t (a INTEGER);", "CREATE TABLE IF not EXISTS t (a INTEGER);",
          "CREATE TABLE IF NOT exists t (a INTEGER);", "CREATE TABLE IF (a INTEGER);"}) {
        statements.push_back({sql, "executeUpdate", "DB Syntax Error: error after IF key word."});
    }
    expectRefused("executeUpdate", 1, statements);
}

TEST_F(StatementIntakeTest, LowerCaseIfIsATableName) {
    expectRefused("createTable", 0,
                  {{"CREATE TABLE if NOT EXISTS t (a INTEGER);", "createTable",
                    "DB Syntax Error: No proper start & end bracket after TableName."}});
    run("CREATE TABLE if (a INTEGER);");
    EXPECT_EQ(table("if"), "a~ROWID\n1~1\n\n");
}

// ALTER TABLE, as far as the statement's head

TEST_F(StatementIntakeTest, AlterSkipsTheWordBeforeTheTableName) {
    run("CREATE TABLE t (a INTEGER);");
    const Files before = files();
    for (const char* sql : {"ALTER TABLE x t ADD COLUMN c TEXT;", "ALTER TABLE ADD t ADD COLUMN c TEXT;",
                            "ALTER TABLE t t ADD COLUMN c REAL;", "ALTER TABLE x(t(ADD COLUMN c INTEGER;",
                            "ALTER TABLE x t ADD COLUMN c TEXT NOT NULL and more;"}) {
        SCOPED_TRACE(sql);
        EXPECT_EQ(exec(sql), 1);
        EXPECT_TRUE(logged(0, "Table (" + tableFile("t") + ") exists, so ADDING Passed column."));
        EXPECT_THAT(takeErrors(), IsEmpty());
        EXPECT_EQ(files(), before);
    }
}

TEST_F(StatementIntakeTest, AlterNeedsATableName) {
    expectRefused("executeUpdate", 1,
                  {{"ALTER TABLE x;", "executeUpdate", "DB Syntax Error: error after TABLE key word."},
                   {"ALTER TABLE x (;", "executeUpdate", "DB Syntax Error: error after TABLE key word."}});
}

TEST_F(StatementIntakeTest, AlterKnowsAddColumnOnly) {
    run("CREATE TABLE t (a INTEGER);");
    std::vector<Refusal> statements;
    for (const char* sql : {"ALTER TABLE x t;", "ALTER TABLE x t ADD;", "ALTER TABLE x t ADD COLUMN;",
                            "ALTER TABLE x t ADD COLUMN c;", "ALTER TABLE x t add COLUMN c TEXT;",
                            "ALTER TABLE x t ADD column c TEXT;", "ALTER TABLE x t ADD c TEXT;",
                            "ALTER TABLE x t DROP COLUMN c TEXT;", "ALTER TABLE x t RENAME TO u;"}) {
        statements.push_back(
            {sql, "executeUpdate",
             "DB Syntax Error: error after TABLE key word - Non-supported ALTER TABLE format"});
    }
    expectRefused("executeUpdate", 1, statements);
}

TEST_F(StatementIntakeTest, AlterOfAMissingTableSucceedsWhateverFollows) {
    run("CREATE TABLE Subscriptions (a INTEGER);");
    const Files before = files();
    for (const char* sql :
         {"ALTER TABLE Subscriptions ADD COLUMN expireTime TEXT;", "ALTER TABLE x missing;"}) {
        run(sql);
        EXPECT_EQ(files(), before);
    }
}

// The lock

class StatementLockTest : public StatementTest {
protected:
    void SetUp() override {
        StatementTest::SetUp();
        run("CREATE TABLE t (a INTEGER);");
    }

    /// An INSERT that another thread runs.
    std::future<int> insertElsewhere() {
        return std::async(std::launch::async, [this] { return exec("INSERT INTO t (a) VALUES (?);", "9"); });
    }

    /// True for a statement that is held up: it can only ever be wrong about one that is not.
    static bool waits(const std::future<int>& statement) {
        return statement.wait_for(std::chrono::milliseconds(100)) == std::future_status::timeout;
    }
};

TEST_F(StatementLockTest, AlterOfAMissingTableKeepsTheLock) {
    run("ALTER TABLE x missing ADD COLUMN c TEXT;");

    std::future<int> other = insertElsewhere();
    EXPECT_TRUE(waits(other));
    EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "1"), 0);
    EXPECT_TRUE(waits(other));
    EXPECT_EQ(table("t"), "a~ROWID\n1~1\n\n1~1\n");

    EXPECT_EQ(exec("DROP TABLE t"), 1);
    EXPECT_EQ(other.get(), 0);
    EXPECT_EQ(table("t"), "a~ROWID\n1~1\n\n1~1\n9~2\n");
}

TEST_F(StatementLockTest, EachAlterOfAMissingTableKeepsOneCount) {
    run("ALTER TABLE x missing ADD COLUMN c TEXT;");
    run("ALTER TABLE x missing ADD COLUMN c TEXT;");

    std::future<int> other = insertElsewhere();
    EXPECT_EQ(exec("no semicolon"), 1);
    EXPECT_TRUE(waits(other));
    EXPECT_EQ(query("SELECT a t;"), nullptr);
    EXPECT_EQ(other.get(), 0);
}

TEST_F(StatementLockTest, RefusalBeforeTheLockGivesTheTransactionsLockAway) {
    for (const char* sql : {"DROP TABLE t", ";"}) {
        SCOPED_TRACE(sql);
        database->beginTransaction();
        EXPECT_EQ(exec(sql), 1);
        EXPECT_EQ(insertElsewhere().get(), 0);
        EXPECT_TRUE(database->rollbackTransaction());
    }
    for (const char* sql : {"SELECT * FROM t", "SELECT a t;", "select a FROM t;"}) {
        SCOPED_TRACE(sql);
        database->beginTransaction();
        EXPECT_EQ(query(sql), nullptr);
        EXPECT_EQ(insertElsewhere().get(), 0);
        EXPECT_TRUE(database->rollbackTransaction());
    }
}

TEST_F(StatementLockTest, FailuresUnderTheLockGiveBackOnlyTheirOwnCount) {
    database->beginTransaction();
    EXPECT_EQ(exec("DROP TABLE;"), 1);
    EXPECT_EQ(exec("VACUUM the table;"), 0);
    EXPECT_EQ(exec("ALTER TABLE x;"), 1);
    EXPECT_EQ(exec("CREATE TABLE IF;"), 1);
    EXPECT_EQ(exec("DROP TABLE missing;"), 0);
    EXPECT_EQ(exec("ALTER TABLE x t ADD COLUMN a TEXT;"), -1);
    EXPECT_EQ(query("SELECT * FROM missing;"), nullptr);

    std::future<int> other = insertElsewhere();
    EXPECT_TRUE(waits(other));
    EXPECT_TRUE(database->rollbackTransaction());
    EXPECT_EQ(other.get(), 0);
    EXPECT_EQ(table("t"), "a~ROWID\n1~1\n\n9~1\n");
}

TEST_F(StatementLockTest, StatementsOfSeveralThreadsRunOneAtATime) {
    constexpr int kThreads = 3;
    constexpr int kRowsEach = 20;
    std::array<std::future<void>, kThreads> threads;
    for (std::future<void>& thread : threads) {
        thread = std::async(std::launch::async, [this] {
            for (int row = 0; row < kRowsEach; ++row) {
                exec("INSERT INTO t (a) VALUES (?);", "9");
                EXPECT_NE(query("SELECT * FROM t;"), nullptr);
            }
        });
    }
    std::string expected = "a~ROWID\n1~1\n\n";
    for (int rowId = 1; rowId <= kThreads * kRowsEach; ++rowId) {
        expected += "9~" + std::to_string(rowId) + "\n";
    }
    for (std::future<void>& thread : threads) {
        thread.get();
    }
    EXPECT_THAT(takeErrors(), IsEmpty());
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"t.table", expected}}));
}

TEST_F(StatementLockTest, EveryOtherStatementLeavesTheDatabaseFree) {
    for (const char* sql :
         {"CREATE TABLE u (a INTEGER);", "CREATE TABLE u (a INTEGER);",
          "CREATE TABLE IF NOT EXISTS u (a INTEGER);", "CREATE TABLE IF NOT EXISTS v (a INTEGER);",
          "CREATE TABLE IF;", "INSERT INTO u VALUES ();", "INSERT INTO u;", "UPDATE u SET a = 1;",
          "DELETE FROM u;", "ALTER TABLE x u ADD COLUMN c TEXT;", "ALTER TABLE x u ADD COLUMN a TEXT;",
          "ALTER TABLE x u ADD;", "ALTER TABLE x;", "DROP TABLE;", "DROP TABLE u;", "DROP TABLE u;",
          "drop table t;", "DROP TABLE v"}) {
        SCOPED_TRACE(sql);
        exec(sql);
        EXPECT_EQ(insertElsewhere().get(), 0);
    }
    for (const char* sql :
         {"SELECT * FROM t;", "SELECT * FROM missing;", "SELECT x FROM t;", "SELECT", "select a;"}) {
        SCOPED_TRACE(sql);
        query(sql);
        EXPECT_EQ(insertElsewhere().get(), 0);
    }
}

// Placeholders and their values

class PlaceholderTest : public StatementTest {};

TEST_F(PlaceholderTest, HolderDecidesHowAValueIsWritten) {
    struct Row {
        std::string holder;
        const char* value;
        std::string written;
        std::string stored;
    };
    const Row table[] = {
        {"'?'", "x", "'x'", "'x'"},
        {"?", "x", "x", "'x'"},
        {"'?'", kNull, "NULL", "NULL"},
        {"?", kNull, "NULL", "NULL"},
        {"'?'", "NULL", "NULL", "NULL"},
        {"?", "NULL", "NULL", "NULL"},
        {"?", "'NULL'", "'NULL'", "'NULL'"},
        {"'?'", "null", "'null'", "'null'"},
        {"'?'", "it's", "'it's'", "'it's'"},
        {"'?'", "''", "''''", "''''"},
        {"'?'", "", "''", "''"},
        {"?", "", "", "''"},
        {"?", "'", "'", "'"},
        {"?", "'q'", "'q'", "'q'"},
        {"'?'", "'q'", "''q''", "''q''"},
        {"'?'", "?", "'?'", "'?'"},
        {"'?'", "a, (b) ; VALUES", "'a, (b) ; VALUES'", "'a, (b) ; VALUES'"},
        {"'?'", "  blanks  ", "'  blanks  '", "'  blanks  '"},
        {"  '?'\t", "x", "'x'", "'x'"},
        {"\n? ", "x", "x", "'x'"},
    };
    run("CREATE TABLE t (a TEXT);");
    for (const Row& row : table) {
        const std::string sql = "INSERT INTO t (a) VALUES (" + row.holder + ");";
        SCOPED_TRACE(sql + " with " + (row.value == nullptr ? "a null pointer" : row.value));
        run("DELETE FROM t;");
        EXPECT_EQ(exec(sql.c_str(), row.value), 0);
        EXPECT_TRUE(logged(1, "Value Holder:" + row.holder + " Value:" + row.written)) << log.dump();
        EXPECT_THAT(takeErrors(), IsEmpty());
        EXPECT_EQ(StatementTest::table("t"), "a~ROWID\n4~1\n\n" + row.stored + "~1\n");
    }
}

TEST_F(PlaceholderTest, NothingElseIsAHolder) {
    run("CREATE TABLE t (a TEXT, b TEXT);");
    const std::string raiser = "validateValuePlaceHolder";
    expectRefused(
        "insertTable", 0,
        {{"INSERT INTO t (a, b) VALUES ( x , ?);",
          raiser,
          "Invalid value for value holder String: (x)",
          {"1"}},
         {"INSERT INTO t (a, b) VALUES (, ?);", raiser, "Invalid value for value holder String: ()", {"1"}},
         {"INSERT INTO t (a) VALUES (\"?\");",
          raiser,
          "Invalid value for value holder String: (\"?\")",
          {"1"}},
         {"INSERT INTO t (a) VALUES ('?);", raiser, "Invalid value for value holder String: ('?)", {"1"}},
         {"INSERT INTO t (a) VALUES (' ?');", raiser, "Invalid value for value holder String: (' ?')", {"1"}},
         {"INSERT INTO t (a) VALUES (? ?);",
          raiser,
          "Invalid value for value holder String: (? ?)",
          {"1", "2"}},
         {"INSERT INTO t (a) VALUES ('what?');",
          raiser,
          "Invalid value for value holder String: ('what?')",
          {"1"}}});
    expectRefused(
        "updateTable", 0,
        {{"UPDATE t SET a = x WHERE b = ?;", raiser, "Invalid value for value holder String: (x)", {"1"}}});
}

TEST_F(PlaceholderTest, HolderWithoutAValueIsRefusedAsWritten) {
    run("CREATE TABLE t (a TEXT, b TEXT);");
    const std::string raiser = "validateValuePlaceHolder";
    expectRefused("insertTable", 0,
                  {{"INSERT INTO t (a) VALUES ( 1 );", raiser, "Not provided value for value Holder:  1 "},
                   {"INSERT INTO t (a) VALUES ('x');", raiser, "Not provided value for value Holder: 'x'"},
                   {"INSERT INTO t (a, b) VALUES (?, 'x');",
                    raiser,
                    "Not provided value for value Holder:  'x'",
                    {"1"}}});
    expectRefused("updateTable", 0,
                  {{"UPDATE t SET a = NULL;", raiser, "Not provided value for value Holder:  NULL"}});
}

TEST_F(PlaceholderTest, QuestionMarkInALiteralTakesAValueAndShiftsTheOthers) {
    run("CREATE TABLE t (a TEXT, b TEXT, c TEXT);");
    run("INSERT INTO t (a, b, c) VALUES ('?', '?', '?');", "1", "why?", "first");
    run("INSERT INTO t (a, b, c) VALUES ('?', '?', '?');", "2", "why?", "second");

    EXPECT_THAT(rows(query("SELECT a FROM t WHERE b = 'why?' AND c = '?';", "first", "second"), 1),
                ElementsAre("1"));
    EXPECT_THAT(rows(query("SELECT a FROM t WHERE b LIKE '%?%' AND c = '?';", "second", "first"), 1),
                ElementsAre("2"));

    run("UPDATE t SET a = '?' WHERE b = 'why?' AND c = '?';", "3", "second", "first");
    EXPECT_EQ(table("t"), "a~b~c~ROWID\n4~4~4~1\n\n'1'~'why?'~'first'~1\n'3'~'why?'~'second'~2\n");

    run("DELETE FROM t WHERE b = 'why?' AND c = '?';", "first", "second");
    EXPECT_EQ(table("t"), "a~b~c~ROWID\n4~4~4~1\n\n'3'~'why?'~'second'~2\n");
}

TEST_F(PlaceholderTest, OutsideAValueItIsNotReplaced) {
    expectRefused("deleteTable", 0,
                  {{"DELETE FROM ?;", "deleteTable", "DB Error: No such Table...(?)", {"t"}}});
    run("CREATE TABLE t (a TEXT);");
    expectRefused("insertTable", 0,
                  {{"INSERT INTO t (?) VALUES (?);",
                    "validateColumnName",
                    "Syntax Error: Start Char is invalid for Column Name: ?",
                    {"a", "x"}}});
    expectRefused("createTable", 0,
                  {{"CREATE TABLE u (a ?);",
                    "checkColumnConstraint",
                    "Un-Supported Data Type for column a",
                    {"TEXT"}}});
}

}  // namespace
}  // namespace Kalt::Vemo::Test
