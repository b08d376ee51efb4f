#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "StatementTest.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// CREATE TABLE

class CreateTableTest : public StatementTest {
protected:
    /// Each definition list must be refused with the message, and no file may come of it.
    void expectDefinitionsRefused(const std::string& raiser,
                                  const std::vector<std::pair<std::string, std::string>>& definitions) {
        std::vector<Refusal> statements;
        statements.reserve(definitions.size());
        for (const auto& [definition, message] : definitions) {
            statements.push_back({"CREATE TABLE t (" + definition + ");", raiser, message});
        }
        expectRefused("createTable", 0, statements);
        EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}}));
    }
};

TEST_F(CreateTableTest, WritesThreeMetadataLines) {
    struct Row {
        std::string definitions;
        std::string file;
    };
    const Row rows[] = {
        {"a INTEGER, b TEXT", "a~b~ROWID\n1~4~1\n\n"},
        {"a REAL", "a~ROWID\n2~1\n\n"},
        {"a INTEGER NOT NULL, b REAL NOT NULL, c TEXT NOT NULL", "a~b~c~ROWID\n257~258~260~1\n\n"},
        {"id INTEGER PRIMARY KEY, b TEXT", "id~b\n257~4\nid\n"},
        {"b TEXT, id INTEGER PRIMARY KEY", "b~id\n4~257\nid\n"},
        {"a REAL PRIMARY KEY", "a~ROWID\n258~1\na\n"},
        {"a TEXT PRIMARY KEY", "a~ROWID\n260~1\na\n"},
        {"a INTEGER, PRIMARY KEY(a)", "a\n257\na\n"},
        {"a INTEGER, PRIMARY KEY(a), b TEXT", "a~b\n257~4\na\n"},
        {"a INTEGER, b INTEGER, PRIMARY KEY(a, b)", "a~b~ROWID\n257~257~1\na~b\n"},
        {"a TEXT, b REAL, c INTEGER, PRIMARY KEY(c,a), d TEXT", "a~b~c~d~ROWID\n260~2~257~4~1\nc~a\n"},
        {"a TEXT NOT NULL, PRIMARY KEY(a)", "a~ROWID\n260~1\na\n"},
        {" a INTEGER ,b TEXT, PRIMARY\n\tKEY(b , a ) ", "a~b~ROWID\n257~260~1\nb~a\n"},
        {"\n a\tINTEGER\n,\v b\fTEXT\r NOT \n NULL ", "a~b~ROWID\n1~260~1\n\n"},
        {"a INTEGER, A TEXT", "a~A~ROWID\n1~4~1\n\n"},
        {"_1 INTEGER", "_1~ROWID\n1~1\n\n"},
        {"ROWID TEXT", "ROWID~ROWID\n4~1\n\n"},
        {"PRIMARY INTEGER, CHECKED TEXT, FOREIGNER REAL, check INTEGER",
         "PRIMARY~CHECKED~FOREIGNER~check~ROWID\n1~4~2~1~1\n\n"},
    };
    for (const Row& row : rows) {
        run("CREATE TABLE t (" + row.definitions + ");");
        SCOPED_TRACE(row.definitions);
        EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"t.table", row.file}}));
        run("DROP TABLE t;");
    }
}

TEST_F(CreateTableTest, NamesThatDifferInCaseAreTwoTables) {
    run("CREATE TABLE t (a INTEGER);");
    run("CREATE TABLE T (b TEXT);");
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"},
                              {"T.table", "b~ROWID\n4~1\n\n"},
                              {"t.table", "a~ROWID\n1~1\n\n"}}));
}

TEST_F(CreateTableTest, ExistingTableIsRefusedBeforeAnythingElseIsLookedAt) {
    run("CREATE TABLE t (a INTEGER);");
    const std::string message = "DB Error: (t) Table is already exists.";
    expectRefused("createTable", 0,
                  {{"CREATE TABLE t (a INTEGER);", "createTable", message},
                   {"CREATE TABLE t nonsense;", "createTable", message},
                   {"CREATE TABLE t;", "createTable", message}});
}

TEST_F(CreateTableTest, TableNameFollowsTheRulesOfColumnNames) {
    expectRefused("createTable", 0,
                  {{"CREATE TABLE 1t (a INTEGER);", "validateColumnName",
                    "Syntax Error: Start Char is invalid for Column Name: 1t"},
                   {"CREATE TABLE t-1 (a INTEGER);", "validateColumnName",
                    "Syntax Error: '-' Char is invalid for Column Name t-1"},
                   {"CREATE TABLE a/b (a INTEGER);", "validateColumnName",
                    "Syntax Error: '/' Char is invalid for Column Name a/b"},
                   {"CREATE TABLE 't' nonsense;", "validateColumnName",
                    "Syntax Error: Start Char is invalid for Column Name: 't'"}});
}

TEST_F(CreateTableTest, DefinitionsStandBetweenBrackets) {
    std::vector<Refusal> statements;
    for (const char* sql : {"CREATE TABLE t;", "CREATE TABLE t a INTEGER;", "CREATE TABLE t (a INTEGER;",
                            "CREATE TABLE t a INTEGER);", "CREATE TABLE t (a INTEGER) x;",
                            "CREATE TABLE t (;", "CREATE TABLE t );"}) {
        statements.push_back(
            {sql, "createTable", "DB Syntax Error: No proper start & end bracket after TableName."});
    }
    expectRefused("createTable", 0, statements);
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}}));
}

TEST_F(CreateTableTest, EmptyDefinitionIsRefused) {
    const std::string message = "DB Syntax Error: Empty column Definition";
    expectDefinitionsRefused("createTable", {{"", message},
                                             {" \t\n", message},
                                             {"a INTEGER,, b TEXT", message},
                                             {"a INTEGER, ", message},
                                             {",a INTEGER", message}});
}

TEST_F(CreateTableTest, NameWithoutTypeIsRefused) {
    const std::string message = "Syntax Error: In proper column Definition";
    expectDefinitionsRefused("createTable",
                             {{"a", message}, {"a INTEGER, b", message}, {"a INTEGER, PRIMARY", message}});
}

TEST_F(CreateTableTest, RepeatedColumnIsRefusedBeforeItsType) {
    expectDefinitionsRefused("createTable", {{"a INTEGER, a TEXT", "duplicate column name:a "},
                                             {"a INTEGER, b REAL, a NONSENSE", "duplicate column name:a "}});
}

TEST_F(CreateTableTest, ColumnNameIsChecked) {
    expectDefinitionsRefused(
        "validateColumnName",
        {{"1a INTEGER", "Syntax Error: Start Char is invalid for Column Name: 1a"},
         {"a INTEGER, b-c TEXT", "Syntax Error: '-' Char is invalid for Column Name b-c"},
         {"'a' INTEGER", "Syntax Error: Start Char is invalid for Column Name: 'a'"},
         {"(a) INTEGER", "Syntax Error: Start Char is invalid for Column Name: (a)"}});
}

TEST_F(CreateTableTest, TypeAndOptionsAreChecked) {
    expectDefinitionsRefused(
        "checkColumnConstraint",
        {{"a integer", "Un-Supported Data Type for column a"},
         {"a INT", "Un-Supported Data Type for column a"},
         {"a BLOB", "Un-Supported Data Type for column a"},
         {"a TEXT(10)", "Un-Supported Data Type for column a"},
         {"a NOT NULL", "Un-Supported Data Type for column a"},
         {"a INTEGER, PRIMARY KEY (a)", "Un-Supported Data Type for column PRIMARY"},
         {"a TEXT UNIQUE", "Un-Supported option for column a"},
         {"a TEXT NULL", "Un-Supported option for column a"},
         {"a TEXT not null", "Un-Supported option for column a"},
         {"a TEXT PRIMARY", "Un-Supported option for column a"},
         {"a TEXT NOT NULL DEFAULT 1", "Un-Supported option for column a"},
         {"a TEXT NOT NULL PRIMARY KEY", "Un-Supported option for column a"},
         {"a INTEGER PRIMARY KEY AUTOINCREMENT", "Un-Supported option for column a"},
         {"a INTEGER PRIMARY KEY, b TEXT PRIMARY KEY", "More than one Primary Key for column Definition"},
         {"b TEXT, PRIMARY KEY(b), a INTEGER PRIMARY KEY",
          "More than one Primary Key for column Definition"}});
}

TEST_F(CreateTableTest, TableConstraintsAreChecked) {
    expectDefinitionsRefused(
        "checkTableConstraint",
        {{"a INTEGER PRIMARY KEY, PRIMARY KEY(a)", "More than one Primary Key for Table"},
         {"a INTEGER, PRIMARY KEY(a), PRIMARY KEY(a)", "More than one Primary Key for Table"},
         {"a INTEGER, PRIMARY KEY(a", "No closing bracket for Primary Key of Table"},
         {"a INTEGER, PRIMARY KEYS", "No closing bracket for Primary Key of Table"},
         {"a INTEGER, PRIMARY KEYa)", "Primary Key Constraint is wrong for Table"},
         {"a INTEGER, PRIMARY KEY(a)x", "Primary Key Constraint is wrong for Table"},
         {"a INTEGER, FOREIGN KEY(a) REFERENCES u(b)", "Un-Supported Constraint for Table"},
         {"a INTEGER, FOREIGN", "Un-Supported Constraint for Table"},
         {"a INTEGER, FOREIGN(a)", "Un-Supported Constraint for Table"},
         {"a INTEGER, CHECK (a > 0)", "Un-Supported Constraint for Table"},
         {"a INTEGER, CHECK(a > 0)", "Un-Supported Constraint for Table"},
         {"CHECK", "Un-Supported Constraint for Table"}});
    expectDefinitionsRefused("getColumnNameIndex",
                             {{"a INTEGER, PRIMARY KEY(a, c)", "Column c not found in Table Definition"},
                              {"PRIMARY KEY(a), a INTEGER", "Column a not found in Table Definition"}});
    expectDefinitionsRefused(
        "validateColumnName",
        {{"a INTEGER, PRIMARY KEY()", "Syntax Error: Start Char is invalid for Column Name: "},
         {"a INTEGER, PRIMARY KEY(a,)", "Syntax Error: Start Char is invalid for Column Name: "}});
}

TEST_F(CreateTableTest, EntryIsTraced) {
    exec("CREATE TABLE t (a INTEGER, b TEXT);");
    EXPECT_TRUE(logged(1, "tableName:'t' unparsed SQL Statement=' (a INTEGER, b TEXT)'"));
    EXPECT_TRUE(logged(1, "String to split:'a INTEGER'"));
    EXPECT_TRUE(logged(1, "String to split:' b TEXT'"));
}

TEST_F(CreateTableTest, TransactionKeepsTheNewTableInAWorkingCopy) {
    database->beginTransaction();
    run("CREATE TABLE t (a INTEGER);");
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n\004~t\n"}, {"t.backup", "a~ROWID\n1~1\n\n"}}));
    expectRefused("createTable", 0,
                  {{"CREATE TABLE t (a INTEGER);", "createTable", "DB Error: (t) Table is already exists."},
                   {"CREATE TABLE u (a);", "createTable", "Syntax Error: In proper column Definition"}});

    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"t.table", "a~ROWID\n1~1\n\n"}}));
}

TEST_F(CreateTableTest, RollbackForgetsTheNewTable) {
    database->beginTransaction();
    run("CREATE TABLE t (a INTEGER);");
    EXPECT_TRUE(database->rollbackTransaction());
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}}));
    run("CREATE TABLE t (b TEXT);");
    EXPECT_EQ(table("t"), "b~ROWID\n4~1\n\n");
}

// DROP TABLE

class DropTableTest : public StatementTest {
protected:
    void SetUp() override {
        StatementTest::SetUp();
        run("CREATE TABLE t (a INTEGER);");
        run("INSERT INTO t (a) VALUES (?);", "1");
    }

    static constexpr const char* kTable = "a~ROWID\n1~1\n\n1~1\n";
};

TEST_F(DropTableTest, RemovesTheFile) {
    run("DROP TABLE t;");
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}}));
    run("CREATE TABLE t (b TEXT);");
    EXPECT_EQ(table("t"), "b~ROWID\n4~1\n\n");
}

TEST_F(DropTableTest, WordsAfterTheNameAreRefusedBeforeTheTableIsLookedFor) {
    const std::string message = "DB Syntax Error: end of statement";
    expectRefused("dropTable", 0,
                  {{"DROP TABLE IF EXISTS t;", "dropTable", message},
                   {"DROP TABLE t CASCADE;", "dropTable", message},
                   {"DROP TABLE t(;", "dropTable", message},
                   {"DROP TABLE missing too;", "dropTable", message}});
}

TEST_F(DropTableTest, MissingTableIsRefused) {
    expectRefused("dropTable", 0, {{"DROP TABLE T;", "dropTable", "DB Error: No such Table...(T)"}});
    run("DROP TABLE t;");
    expectRefused("dropTable", 0, {{"DROP TABLE t;", "dropTable", "DB Error: No such Table...(t)"}});
}

TEST_F(DropTableTest, TransactionHidesTheTableFromEveryStatement) {
    database->beginTransaction();
    run("DROP TABLE t;");
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n\005~t\n"}, {"t.table", kTable}}));
    const Files before = files();

    const std::string gone = "DataBase Error: No such Table exist.(t)";
    const std::string raiser = "getTableCurrentFile";
    expectRefused("insertTable", 0, {{"INSERT INTO t (a) VALUES (?);", raiser, gone, {"2"}}});
    expectRefused("updateTable", 0, {{"UPDATE t SET a = ?;", raiser, gone, {"2"}}});
    expectRefused("deleteTable", 0, {{"DELETE FROM t;", raiser, gone}});
    expectRefused("dropTable", 0, {{"DROP TABLE t;", raiser, gone}});
    expectRefused("createTable", 0, {{"CREATE TABLE t (a INTEGER);", raiser, gone}});
    expectRefused("executeUpdate", 1,
                  {{"CREATE TABLE IF NOT EXISTS t (a INTEGER);", raiser, gone},
                   {"ALTER TABLE x t ADD COLUMN c TEXT;", raiser, gone}});
    expectNoResult({{"SELECT * FROM t;", raiser, gone}});
    EXPECT_EQ(files(), before);

    EXPECT_TRUE(database->rollbackTransaction());
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"t.table", kTable}}));
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("1"));
}

TEST_F(DropTableTest, CommitRemovesTheTable) {
    database->beginTransaction();
    run("DROP TABLE t;");
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}}));
    run("CREATE TABLE t (b TEXT);");
}

TEST_F(DropTableTest, ChangedTableLosesItsWorkingCopyAtOnce) {
    run("CREATE TABLE u (a INTEGER);");
    database->beginTransaction();
    run("DELETE FROM u;");
    run("UPDATE t SET a = ?;", "2");
    run("DROP TABLE t;");
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n\002~u\n5~t\n"},
                              {"t.table", kTable},
                              {"u.backup", "a~ROWID\n1~1\n\n"},
                              {"u.table", "a~ROWID\n1~1\n\n"}}));
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"u.table", "a~ROWID\n1~1\n\n"}}));
}

TEST_F(DropTableTest, TableCreatedInTheSameTransactionLeavesNothing) {
    database->beginTransaction();
    run("CREATE TABLE u (a INTEGER);");
    run("DROP TABLE u;");
    EXPECT_EQ(journal(), "0\n5~u\n");
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"t.table", kTable}}));
    EXPECT_TRUE(logged(0, "Failed to remove the file"));
}

// ALTER TABLE

class AlterTableTest : public StatementTest {
protected:
    void SetUp() override {
        StatementTest::SetUp();
        run("CREATE TABLE t (a INTEGER, b TEXT NOT NULL);");
        run("INSERT INTO t (a, b) VALUES (?, '?');", "1", "x");
    }

    static constexpr const char* kTable = "a~b~ROWID\n1~260~1\n\n1~'x'~1\n";
};

TEST_F(AlterTableTest, ValidColumnIsAcceptedAndNothingIsWritten) {
    for (const char* sql :
         {"ALTER TABLE x t ADD COLUMN c INTEGER;", "ALTER TABLE x t ADD COLUMN A REAL;",
          "ALTER TABLE x t ADD COLUMN c TEXT;", "ALTER TABLE x t ADD COLUMN c TEXT PRIMARY KEY;"}) {
        SCOPED_TRACE(sql);
        EXPECT_EQ(exec(sql), 1);
        EXPECT_THAT(takeErrors(), IsEmpty());
        EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"t.table", kTable}}));
    }
}

TEST_F(AlterTableTest, UnsuitableColumnIsRefused) {
    expectRefused("alterTable", -1,
                  {{"ALTER TABLE x t ADD COLUMN a TEXT;", "alterTable", "duplicate column name:a "},
                   {"ALTER TABLE x t ADD COLUMN ROWID TEXT;", "alterTable", "duplicate column name:ROWID "},
                   {"ALTER TABLE x t ADD COLUMN a BLOB;", "alterTable", "duplicate column name:a "},
                   {"ALTER TABLE x t ADD COLUMN c BLOB;", "checkColumnConstraint",
                    "Un-Supported Data Type for column c"},
                   {"ALTER TABLE x t ADD COLUMN c text;", "checkColumnConstraint",
                    "Un-Supported Data Type for column c"},
                   {"ALTER TABLE x t ADD COLUMN 1c TEXT;", "validateColumnName",
                    "Syntax Error: Start Char is invalid for Column Name: 1c"},
                   {"ALTER TABLE x t ADD COLUMN c-d TEXT;", "validateColumnName",
                    "Syntax Error: '-' Char is invalid for Column Name c-d"}});
}

TEST_F(AlterTableTest, UnreadableDefinitionIsRefused) {
    writeFile(tableFile("t"), "a\n1\nmissing\n");
    expectRefused("alterTable", -1,
                  {{"ALTER TABLE x t ADD COLUMN c TEXT;", "getColumnNameIndex",
                    "Column missing not found in Table Definition"}});
}

TEST_F(AlterTableTest, OpenTransactionStaysOpen) {
    database->beginTransaction();
    run("DELETE FROM t;");
    const Files before = files();

    EXPECT_EQ(exec("ALTER TABLE x t ADD COLUMN c TEXT;"), 1);
    EXPECT_TRUE(logged(0, "Table (" + backupFile("t") + ") exists, so ADDING Passed column."));
    EXPECT_EQ(files(), before);
    EXPECT_TRUE(database->rollbackTransaction());
    EXPECT_EQ(table("t"), kTable);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
