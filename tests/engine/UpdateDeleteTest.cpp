#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "StatementTest.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::IsEmpty;

class ChangeTest : public StatementTest {
protected:
    void SetUp() override {
        StatementTest::SetUp();
        writeFile(tableFile("t"), kHead + kRecords);
        writeFile(tableFile("k"), kKeyHead + "1~'x'\n2~'y'\n3~'z'\n");
    }

    void expectRecords(const std::string& records) {
        EXPECT_EQ(files(), (Files{{"k.table", kKeyHead + "1~'x'\n2~'y'\n3~'z'\n"},
                                  {"master_rollback", "0\n"},
                                  {"t.table", kHead + records}}));
    }

    void setRecords(const std::string& records) { writeFile(tableFile("t"), kHead + records); }

    const std::string kHead = "a~b~c~ROWID\n1~4~2~1\n\n";
    const std::string kRecords = "1~'x'~1.5~1\n2~'y'~NULL~3\n3~'x'~2~4\n";
    const std::string kKeyHead = "id~name\n257~4\nid\n";
};

// UPDATE: form of the statement

class UpdateTest : public ChangeTest {
protected:
    // What an UPDATE of a table logs of the comparisons of keys.
    void expectCompared(const std::string& content, const std::string& assignments,
                        const std::vector<const char*>& values, const std::vector<std::string>& expected) {
        static const std::regex operands("left:\\[(.*)\\] right:\\[(.*)\\] operator:\\[=\\]");
        SCOPED_TRACE(content + assignments);
        writeFile(tableFile("p"), content);
        log.clear();
        execWith("UPDATE p SET " + assignments + ";", values);
        std::vector<std::string> compared;
        bool isCondition = false;
        for (const LoggedMessage& message : log.messages()) {
            std::smatch match;
            isCondition = message.text == "evaluate" || (isCondition && message.text.find("Result") != 0);
            if (!isCondition && std::regex_match(message.text, match, operands)) {
                compared.push_back(match[1].str() + " " + match[2].str());
            }
        }
        EXPECT_EQ(compared, expected);
    }
};

TEST_F(UpdateTest, ChangesTheRecordsOfTheCondition) {
    run("UPDATE t SET a = ?, b = '?' WHERE b = '?';", "9", "new", "x");
    expectRecords("9~'new'~1.5~1\n2~'y'~NULL~3\n9~'new'~2~4\n");
}

TEST_F(UpdateTest, WithoutConditionChangesEveryRecord) {
    run("UPDATE t SET a = ?;", "7");
    expectRecords("7~'x'~1.5~1\n7~'y'~NULL~3\n7~'x'~2~4\n");
}

TEST_F(UpdateTest, NoMatchingRecordIsNoFailure) {
    run("UPDATE t SET a = ? WHERE a = 99;", "7");
    expectRecords(kRecords);
}

TEST_F(UpdateTest, AcceptedSpellings) {
    for (const char* sql : {"UPDATE t SET a=? WHERE a = 1;", "UPDATE\tt\nSET\ra\v=\f?  WHERE  a = 1 ;",
                            "UPDATE t SET a ='?' WHERE a = 1;"}) {
        SCOPED_TRACE(sql);
        setRecords(kRecords);
        run(sql, "7");
        expectRecords("7~'x'~1.5~1\n2~'y'~NULL~3\n3~'x'~2~4\n");
    }
}

TEST_F(UpdateTest, ColumnSetTwiceKeepsTheLaterValue) {
    run("UPDATE t SET a = ?, a = '?' WHERE ROWID = 1;", "7", "8");
    expectRecords("'8'~'x'~1.5~1\n2~'y'~NULL~3\n3~'x'~2~4\n");
}

TEST_F(UpdateTest, ConditionTakesTheValuesAfterThoseOfTheSetClause) {
    run("UPDATE t SET a = ?, b = '?' WHERE a > ? AND b = '?';", "7", "new", "1", "x");
    expectRecords("1~'x'~1.5~1\n2~'y'~NULL~3\n7~'new'~2~4\n");
}

TEST_F(UpdateTest, ConditionIsEvaluatedOnTheRecordBeforeItsChange) {
    run("UPDATE t SET a = ? WHERE a < 3;", "3");
    expectRecords("3~'x'~1.5~1\n3~'y'~NULL~3\n3~'x'~2~4\n");
}

TEST_F(UpdateTest, SyntaxIsChecked) {
    const std::string equals = "Syntax Error: Not found '=' in set clause";
    const std::string start = "Syntax Error: Start Char is invalid for Column Name: ";
    expectRefused(
        "updateTable", 0,
        {{"UPDATE missing SET a = ?;", "updateTable", "DB Error: No such Table...(missing)", {"1"}},
         {"UPDATE t SET;", "updateTable", equals},
         {"UPDATE t SET a 1;", "updateTable", equals},
         {"UPDATE t SET a;", "updateTable", equals},
         {"UPDATE t SET WHERE a = 1;", "updateTable", equals},
         {"UPDATE t SET a = ?,;", "updateTable", equals, {"1"}},
         {"UPDATE t SET a = ?, b;", "updateTable", equals, {"1"}},
         {"UPDATE t SET = ?;", "validateColumnName", start + " ", {"1"}},
         {"UPDATE t SET 'a' = ?;", "validateColumnName", start + " 'a' ", {"1"}},
         {"UPDATE t SET (a = ?);", "validateColumnName", start + " (a ", {"1"}},
         {"UPDATE t SET a b = ?;",
          "validateColumnName",
          "Syntax Error: ' ' Char is invalid for Column Name  a b ",
          {"1"}},
         {"UPDATE t SET z = ?;", "getColumnNameIndex", "Column z not found in Table Definition", {"1"}},
         {"UPDATE t SET A = ?;", "getColumnNameIndex", "Column A not found in Table Definition", {"1"}},
         {"UPDATE t SET z = nonsense;", "getColumnNameIndex", "Column z not found in Table Definition"},
         {"UPDATE t SET a = 1;", "validateValuePlaceHolder", "Not provided value for value Holder:  1"},
         {"UPDATE t SET a = ?, b = 'x';",
          "validateValuePlaceHolder",
          "Not provided value for value Holder:  'x'",
          {"1"}},
         {"UPDATE t SET a == ?;",
          "validateValuePlaceHolder",
          "Invalid value for value holder String: (= ?)",
          {"1"}},
         {"UPDATE t SET b = 'x,y';", "validateValuePlaceHolder", "Not provided value for value Holder:  'x"},
         {"UPDATE t SET b = '?,y';",
          "validateValuePlaceHolder",
          "Invalid value for value holder String: ('?)",
          {"x"}},
         {"UPDATE t SET a = a + ?;",
          "validateValuePlaceHolder",
          "Invalid value for value holder String: (a + ?)",
          {"1"}}});
}

TEST_F(UpdateTest, RowidCannotBeSet) {
    const std::string message = "DB Error: Table special column names ROWID is not allowed for Updation";
    expectRefused("updateTable", 0,
                  {{"UPDATE t SET ROWID = ?;", "updateTable", message, {"9"}},
                   {"UPDATE t SET a = ?, ROWID = nonsense;", "updateTable", message, {"9"}},
                   {"UPDATE k SET ROWID = ?;",
                    "getColumnNameIndex",
                    "Column ROWID not found in Table Definition",
                    {"9"}}});
}

TEST_F(UpdateTest, FileThatCannotBeOpenedIsRefused) {
    std::filesystem::remove(tableFile("t"));
    std::filesystem::create_directory(tableFile("t"));
    expectRefused(
        "updateTable", 0,
        {{"UPDATE t SET a = ?;", "openFile", "DataBase Error: Couldn't open the corresponding file", {"1"}}});
}

TEST_F(UpdateTest, EntryIsTraced) {
    EXPECT_EQ(exec("UPDATE t SET a = ? WHERE a = 1;", "7"), 0);
    EXPECT_TRUE(logged(1, "tableName:'t' Unparsed SQL=' a = ? WHERE a = 1'"));
    EXPECT_TRUE(logged(1, "Parsing of SET column and values.."));
}

// UPDATE: values are checked against the column at their place in the SET list, not the one they go to

TEST_F(UpdateTest, ValueTakesTheFormOfTheColumnAtItsPlace) {
    struct Row {
        const char* sql;
        std::vector<const char*> values;
        const char* record;
    };
    const Row rows[] = {
        {"UPDATE t SET a = ?;", {"5"}, "5~'x'~1.5~1\n"},
        {"UPDATE t SET a = ?;", {"-1"}, "18446744073709551615~'x'~1.5~1\n"},
        {"UPDATE t SET b = '?';", {"5"}, "1~5~1.5~1\n"},
        {"UPDATE t SET c = ?;", {"2.5"}, "1~'x'~2~1\n"},
        {"UPDATE t SET b = ?, a = ?;", {"5", "6"}, "'6'~5~1.5~1\n"},
        {"UPDATE t SET b = ?, a = ?;", {"5", "abc"}, "'abc'~5~1.5~1\n"},
        {"UPDATE t SET a = ?, b = '?', c = ?;", {"5", "new", "2.50"}, "5~'new'~2.5~1\n"},
        {"UPDATE t SET a = ?, c = ?, b = '?';", {"5", "z", "3.14159265"}, "5~3.14159~'z'~1\n"},
        {"UPDATE t SET a = ?, b = ?, b = ?, b = '?';", {"1", "1", "1", "1.5"}, "1~1~1.5~1\n"},
        {"UPDATE t SET a = ?, b = ?, c = ?;", {kNull, "NULL", kNull}, "NULL~NULL~NULL~1\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.sql);
        setRecords("1~'x'~1.5~1\n");
        EXPECT_EQ(execWith(row.sql, row.values), 0);
        EXPECT_THAT(takeErrors(), IsEmpty());
        expectRecords(row.record);
    }
}

TEST_F(UpdateTest, ValueIsRefusedByTheColumnAtItsPlace) {
    const std::string raiser = "checkColumnNullnessTypeCor";
    const std::string integer = "DB Error: data type mismatch for Integer";
    expectRefused("updateTable", 0,
                  {{"UPDATE t SET b = '?';", raiser, integer, {"x"}},
                   {"UPDATE t SET a = ?;", raiser, integer, {"x"}},
                   {"UPDATE t SET a = ?, b = '?', b = '?';",
                    raiser,
                    "DB Error: data type mismatch for float",
                    {"1", "x", "y"}},
                   {"UPDATE t SET a = ?, b = ?, c = ?, b = '?';", raiser, integer, {"1", "x", "2", "y"}},
                   {"UPDATE k SET name = '?';", raiser, integer, {"x"}},
                   {"UPDATE k SET name = ?;", raiser, "DB Error: NULL Value is not allowed", {kNull}}});
}

TEST_F(UpdateTest, NullReachesANotNullColumnFromAnotherPlace) {
    run("CREATE TABLE n (a INTEGER, b TEXT NOT NULL);");
    run("INSERT INTO n (b) VALUES ('?');", "x");
    run("UPDATE n SET b = ?;", kNull);
    EXPECT_EQ(table("n"), "a~b~ROWID\n1~260~1\n\nNULL~NULL~1\n");
    expectRefused("updateTable", 0,
                  {{"UPDATE n SET b = ?, a = ?;",
                    "checkColumnNullnessTypeCor",
                    "DB Error: NULL Value is not allowed",
                    {"1", kNull}}});
}

TEST_F(UpdateTest, MoreAssignmentsThanColumnsAreRefused) {
    writeFile(tableFile("one"), "id\n257\nid\n1\n");
    const Files before = files();
    EXPECT_EQ(exec("UPDATE one SET id = ?, id = ?;", "2", "3"), 0);
    expectOneError("updateTable", "DB Error: More values than columns in Table Definition");
    EXPECT_EQ(exec("UPDATE t SET a = ?, b = ?, c = ?, a = ?, a = ?;", "1", "2", "3", "4", "5"), 0);
    expectOneError("updateTable", "DB Error: More values than columns in Table Definition");
    EXPECT_EQ(files(), before);
}

// UPDATE: primary keys

TEST_F(UpdateTest, RepeatedKeyIsRefused) {
    const std::string raiser = "checkPrimaryKeyValidation";
    const std::string message = "DB Error: PRIMARY KEY must be unique";
    expectRefused("updateTable", 0,
                  {{"UPDATE k SET id = ?;", raiser, message, {"9"}},
                   {"UPDATE k SET id = ? WHERE id = 1;", raiser, message, {"3"}},
                   {"UPDATE k SET id = ? WHERE ROWID = 3;", raiser, message, {"1"}},
                   {"UPDATE k SET id = ? WHERE id < 3;", raiser, message, {"3"}}});
}

TEST_F(UpdateTest, KeyMayBeSetToItselfOrToAFreeValue) {
    run("UPDATE k SET id = ?, name = '?' WHERE ROWID = 2;", "2", "same");
    run("UPDATE k SET id = ? WHERE id = 1;", "9");
    EXPECT_EQ(table("k"), "id~name\n257~4\nid\n9~'x'\n2~'same'\n3~'z'\n");
}

TEST_F(UpdateTest, OnlyChangedRecordsAreComparedWithTheOthers) {
    writeFile(tableFile("k"), kKeyHead + "5~'x'\n5~'y'\n6~'z'\n");
    run("UPDATE k SET id = ?, name = '?' WHERE id = 6;", "7", "new");
    EXPECT_EQ(table("k"), kKeyHead + "5~'x'\n5~'y'\n7~'new'\n");
    expectRefused("updateTable", 0,
                  {{"UPDATE k SET id = ?, name = '?' WHERE name = 'x';",
                    "checkPrimaryKeyValidation",
                    "DB Error: PRIMARY KEY must be unique",
                    {"5", "new"}}});
}

TEST_F(UpdateTest, KeyOfSeveralColumnsCollidesWhenAllAreEqual) {
    writeFile(tableFile("p"), "a~b~ROWID\n257~260~1\na~b\n1~'x'~1\n1~'y'~2\n");
    expectRefused("updateTable", 0,
                  {{"UPDATE p SET a = ?, b = '?' WHERE ROWID = 2;",
                    "checkPrimaryKeyValidation",
                    "DB Error: PRIMARY KEY must be unique",
                    {"1", "x"}}});
    run("UPDATE p SET a = ?;", "2");
    EXPECT_EQ(table("p"), "a~b~ROWID\n257~260~1\na~b\n2~'x'~1\n2~'y'~2\n");
}

TEST_F(UpdateTest, EachChangedRecordIsComparedWithAllOthersInTheirOrder) {
    const struct {
        std::string records, statement;
        std::vector<const char*> values;
        std::vector<std::string> compared;
    } cases[] = {
        {"'x'~1\n'y'~2\n'x'~3\n", "name = '?' WHERE ROWID = 2", {"z"}, {"1 2", "3 2"}},
        {"'x'~1\n'y'~2\n'x'~3\n", "id = ? WHERE ROWID = 2", {"9"}, {"1 9", "3 9"}},
        {"'x'~1\n'y'~2\n'x'~3\n'x'~4\n", "id = ? WHERE ROWID = 2", {"3"}, {"1 3", "3 3"}},
        {"'x'~1\n'y'~2\n'x'~03\n", "id = ? WHERE ROWID = 2", {"3"}, {"1 3", "03 3"}},
        {"'x'~1\n'y'~2\n'x'~3\n", "id = ? WHERE ROWID = 2", {kNull}, {"1 NULL", "3 NULL"}},
        {"'x'~1\n'y'~2\n'x'~3\n", "id = ? WHERE ROWID = 2", {"x"}, {"1 x", "3 x"}},
        {"'x'~1\n", "id = ? WHERE ROWID = 1", {"9"}, {}},
        {"'x'~1\n'y'~2\n'x'~3\n", "name = '?' WHERE name = 'x'", {"z"}, {"2 1", "3 1", "1 3", "2 3"}},
        {"'x'~1\n'y'~2\n'x'~3\n", "id = ? WHERE name = 'x'", {"7"}, {"2 7", "3 7", "7 7"}},
        {"'x'~1\n'y'~2\n'x'~3\n",
         "id = ? WHERE name = 'x'",
         {kNull},
         {"2 NULL", "3 NULL", "NULL NULL", "2 NULL"}},
    };
    for (const auto& test : cases) {
        expectCompared("name~id\n4~257\nid\n" + test.records, test.statement, test.values, test.compared);
    }
    expectCompared("a~b~ROWID\n257~260~1\na~b\n1~'x'~1\n1~'it''s'~2\n2~'x'~3\n", "a = ? WHERE ROWID > 0",
                   {"1"}, {"1 1", "it's x", "2 1", "1 1", "x it's", "2 1", "1 1", "x x"});
}

// DELETE

class DeleteTest : public ChangeTest {};

TEST_F(DeleteTest, RemovesTheRecordsOfTheConditionAndKeepsRowIds) {
    run("DELETE FROM t WHERE a = ?;", "2");
    expectRecords("1~'x'~1.5~1\n3~'x'~2~4\n");
    run("DELETE FROM t WHERE ROWID = 1;");
    expectRecords("3~'x'~2~4\n");
}

TEST_F(DeleteTest, WithoutConditionEmptiesTheTable) {
    run("DELETE FROM t;");
    expectRecords("");
    run("INSERT INTO t (a) VALUES (?);", "9");
    expectRecords("9~NULL~NULL~1\n");
}

TEST_F(DeleteTest, NoMatchingRecordIsNoFailure) {
    run("DELETE FROM t WHERE a = 99;");
    expectRecords(kRecords);
}

TEST_F(DeleteTest, ConditionIsFoundOnlyBetweenBlanks) {
    for (const char* sql :
         {"DELETE FROM t where a = 1;", "DELETE FROM t Where a = 1;", "DELETE FROM t\nWHERE a = 1;",
          "DELETE FROM t\tWHERE a = 1;", "DELETE FROM t(WHERE a = 1;", "DELETE FROM t WHERE\na = 1;",
          "DELETE FROM t WHERE ;", "DELETE FROM t any words;"}) {
        SCOPED_TRACE(sql);
        setRecords(kRecords);
        run(sql);
        expectRecords("");
    }
    for (const char* sql : {"DELETE FROM t WHERE a = 1;", "DELETE FROM t any words WHERE a = 1;",
                            "DELETE FROM t \n WHERE \n a\t=\v1\n;", "DELETE FROM t WHEREVER WHERE a = 1;"}) {
        SCOPED_TRACE(sql);
        setRecords(kRecords);
        run(sql);
        expectRecords("2~'y'~NULL~3\n3~'x'~2~4\n");
    }
}

TEST_F(UpdateTest, ConditionThatIsNotBetweenBlanksBelongsToTheLastValue) {
    expectRefused("updateTable", 0,
                  {{"UPDATE t SET a = ? where a = 1;",
                    "validateValuePlaceHolder",
                    "Invalid value for value holder String: (? where a = 1)",
                    {"7"}},
                   {"UPDATE t SET a = ?\nWHERE a = 1;",
                    "validateValuePlaceHolder",
                    "Invalid value for value holder String: (?\nWHERE a = 1)",
                    {"7"}},
                   {"UPDATE t SET a = ? WHERE;",
                    "validateValuePlaceHolder",
                    "Invalid value for value holder String: (? WHERE)",
                    {"7"}}});
}

TEST_F(DeleteTest, MissingTableIsRefused) {
    expectRefused("deleteTable", 0,
                  {{"DELETE FROM missing;", "deleteTable", "DB Error: No such Table...(missing)"},
                   {"DELETE FROM T WHERE a IN 1;", "deleteTable", "DB Error: No such Table...(T)"}});
}

TEST_F(DeleteTest, FileThatCannotBeOpenedIsRefused) {
    std::filesystem::remove(tableFile("t"));
    std::filesystem::create_directory(tableFile("t"));
    expectRefused("deleteTable", 0,
                  {{"DELETE FROM t;", "openFile", "DataBase Error: Couldn't open the corresponding file"}});
}

TEST_F(DeleteTest, EntryIsTraced) {
    EXPECT_EQ(exec("DELETE FROM t WHERE a = ?;", "1"), 0);
    EXPECT_TRUE(logged(1, "tableName:'t' Unparsed SQL=' WHERE a = ?'"));
}

// Conditions of both

TEST_F(ChangeTest, ConditionErrorsAreRefused) {
    struct Row {
        const char* condition;
        const char* raiser;
        const char* message;
    };
    const Row rows[] = {
        {"z = 1", "getColumnNameIndex", "Column z not found in Table Definition"},
        {"a = 1 AND b = NULL", "getColumnNameIndex", "Column NULL not found in Table Definition"},
        {"a IN 1", "isNotSupportedOperator", "DB Error: IN operator is not supported in File DataBase."},
        {"a ** 1", "isOperatorAndprecedence", "DB Error: ** operator is not supported in File DataBase"},
        {"( a = 1 ) AND ( a = 2 )", "InfixToPostFix", "DB Syntax Error: No matching bracket for ')'"},
        {"( a = 1", "InfixToPostFix", "DB Syntax Error: Stack contains the '(' bracket at end..')'"},
        {"a =", "evaluate", "Syntax Error: evaluate stack contains less 2 operands."},
        {"a = 1 2", "evaluate", "Syntax Error: Where clause is wrong"},
    };
    for (const Row& row : rows) {
        expectRefused("deleteTable", 0,
                      {{std::string("DELETE FROM t WHERE ") + row.condition + ";", row.raiser, row.message}});
        expectRefused("updateTable", 0,
                      {{std::string("UPDATE t SET a = ? WHERE ") + row.condition + ";",
                        row.raiser,
                        row.message,
                        {"7"}}});
    }
}

TEST_F(ChangeTest, EmptyTableNeverMeetsAnEvaluationError) {
    setRecords("");
    run("DELETE FROM t WHERE z = 1;");
    run("UPDATE t SET a = ? WHERE z = 1;", "7");
    expectRecords("");
}

// Transactions

TEST_F(ChangeTest, TransactionKeepsChangesInTheWorkingCopy) {
    const std::string keys = kKeyHead + "1~'x'\n2~'y'\n3~'z'\n";
    database->beginTransaction();
    run("UPDATE t SET a = ? WHERE a = 1;", "7");
    run("DELETE FROM k WHERE id > 1;");
    EXPECT_EQ(files(), (Files{{"k.backup", kKeyHead + "1~'x'\n"},
                              {"k.table", keys},
                              {"master_rollback", "0\n\003~t\n\002~k\n"},
                              {"t.backup", kHead + "7~'x'~1.5~1\n2~'y'~NULL~3\n3~'x'~2~4\n"},
                              {"t.table", kHead + kRecords}}));
    run("DELETE FROM t WHERE a = 7;");
    expectRefused(
        "updateTable", 0,
        {{"UPDATE t SET z = ?;", "getColumnNameIndex", "Column z not found in Table Definition", {"1"}}});
    expectRefused(
        "deleteTable", 0,
        {{"DELETE FROM t WHERE z = 1;", "getColumnNameIndex", "Column z not found in Table Definition"}});

    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(files(), (Files{{"k.table", kKeyHead + "1~'x'\n"},
                              {"master_rollback", "0\n"},
                              {"t.table", kHead + "2~'y'~NULL~3\n3~'x'~2~4\n"}}));
}

TEST_F(ChangeTest, RollbackLeavesTheTablesAsTheyWere) {
    database->beginTransaction();
    run("UPDATE t SET a = ?;", "7");
    run("DELETE FROM t;");
    EXPECT_TRUE(database->rollbackTransaction());
    expectRecords(kRecords);
}

// Damaged tables

TEST_F(ChangeTest, ExtraFieldsAreCarriedAlong) {
    setRecords("1~'x'~1~1~more~'still'\n2~'y'~1~2~more\n");
    run("UPDATE t SET a = ? WHERE a = 1;", "7");
    expectRecords("7~'x'~1~1~more~'still'\n2~'y'~1~2~more\n");
    run("DELETE FROM t WHERE a = 2;");
    expectRecords("7~'x'~1~1~more~'still'\n");
}

TEST_F(ChangeTest, ShortRecordMattersOnlyWhereAFieldIsNeeded) {
    setRecords("1~'x'\n2\n3~'x'~1~4\n");
    expectShortRecord("updateTable", "UPDATE t SET a = ? WHERE b = 'x';", "7");
    expectShortRecord("updateTable", "UPDATE t SET c = ? WHERE a = 1;", "7");
    expectShortRecord("updateTable", "UPDATE t SET b = ?;", "7");
    expectShortRecord("deleteTable", "DELETE FROM t WHERE b = 'x';");
    expectShortRecord("deleteTable", "DELETE FROM t WHERE ROWID = 4;");

    run("UPDATE t SET a = ? WHERE a < 3;", "7");
    expectRecords("7~'x'\n7\n3~'x'~1~4\n");
    run("DELETE FROM t WHERE a = 3;");
    expectRecords("7~'x'\n7\n");

    setRecords("1~'x'~1~1\n\n");
    expectShortRecord("updateTable", "UPDATE t SET a = ?;", "7");
    run("DELETE FROM t;");
    expectRecords("");

    writeFile(tableFile("p"), "a~b~ROWID\n1~260~1\nb\n1\n2~'y'~2\n");
    expectShortRecord("updateTable", "UPDATE p SET a = ? WHERE a = 2;", "7");
}

TEST_F(ChangeTest, RewriteNormalisesDamagedLines) {
    const std::string nul(1, '\0');
    const std::string cell(1020, 'x');
    struct Row {
        std::string before;
        std::string after;
    };
    const Row rows[] = {
        {"~1~~'x'~1~1~\n", "1~'x'~1~1\n"},
        {"1~'x'~1~12", "1~'x'~1~1\n"},
        {"1~'x'~1~2" + nul + "9~9\n2~'y'~1~2\n", "1~'x'~1\n2~'y'~1~2\n"},
        {nul + "1\n2~'y'~1~2\n", "\n2~'y'~1~2\n"},
        {"1~" + cell + "|2~'y'~1~7\n", "1~" + cell + "\n2~'y'~1~7\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.after);
        setRecords(row.before);
        run("DELETE FROM t WHERE 0;");
        expectRecords(row.after);
        setRecords(row.before);
        run("UPDATE t SET a = ? WHERE 0;", "7");
        expectRecords(row.after);
    }
}

TEST_F(ChangeTest, ColumnWithoutAFlagFailsOnlyWhereTheFlagIsNeeded) {
    const std::string head = "a~b~ROWID\n1\n\n";
    writeFile(tableFile("d"), head + "1~'x'~1\n2~'y'~2\n");
    expectShortRecord("updateTable", "UPDATE d SET a = ? WHERE b = 'x';", "7");
    expectShortRecord("deleteTable", "DELETE FROM d WHERE b = 'x';");
    run("UPDATE d SET b = ? WHERE a = 1;", "7");
    EXPECT_EQ(table("d"), head + "1~7~1\n2~'y'~2\n");
    expectShortRecord("updateTable", "UPDATE d SET a = ?, b = ?;", "7", "7");
}

TEST_F(ChangeTest, FileWithoutColumnNamesIsRewrittenWithEmptyMetadata) {
    writeFile(tableFile("t"), "");
    run("DELETE FROM t;");
    EXPECT_EQ(table("t"), "\n\n\n");
    expectRefused(
        "updateTable", 0,
        {{"UPDATE t SET a = ?;", "getColumnNameIndex", "Column a not found in Table Definition", {"1"}}});
}

}  // namespace
}  // namespace Kalt::Vemo::Test
