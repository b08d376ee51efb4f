#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "DatabaseException.h"
#include "StatementTest.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::DatabaseException;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SelectTest : public StatementTest {
protected:
    void SetUp() override {
        StatementTest::SetUp();
        run("CREATE TABLE t (a INTEGER, b TEXT, c REAL);");
        run("INSERT INTO t (a, b, c) VALUES (?, '?', ?);", "1", "x", "1.5");
        run("INSERT INTO t (a, b, c) VALUES (?, '?', ?);", "2", "axb", kNull);
        run("INSERT INTO t (a, b, c) VALUES (?, '?', ?);", "3", "y", "3");
        run("CREATE TABLE k (id INTEGER PRIMARY KEY, name TEXT);");
        run("INSERT INTO k (id, name) VALUES (?, '?');", "7", "seven");
    }

    /// All cells of the row under the cursor up to the last one that can be read.
    static std::vector<std::string> cells(const Result& result) {
        std::vector<std::string> values;
        try {
            for (int column = 1;; ++column) {
                values.push_back(result->getString(column));
            }
        } catch (const DatabaseException& error) {
            EXPECT_THAT(error.what(), ::testing::HasSubstr(
                                          " ->ResultSet Error: Wrong column Index or rowset is not set\n"));
        }
        return values;
    }

    /// The cells of a query's first row.
    std::vector<std::string> firstRow(const char* sql) {
        const Result result = query(sql);
        if (!result || !result->next()) {
            ADD_FAILURE() << sql << " gave no row";
            return {};
        }
        return cells(result);
    }
};

// Columns

TEST_F(SelectTest, ColumnsFollowTheSelectList) {
    struct Row {
        const char* sql;
        std::vector<std::string> cells;
    };
    const Row rows[] = {
        {"SELECT * FROM t;", {"1", "x", "1.5"}},
        {"SELECT *, ROWID FROM t;", {"1", "x", "1.5", "1"}},
        {"SELECT ROWID, * FROM t;", {"1", "1", "x", "1.5"}},
        {"SELECT ROWID FROM t WHERE a = 2;", {"2"}},
        {"SELECT b FROM t;", {"x"}},
        {"SELECT c, a FROM t;", {"1.5", "1"}},
        {"SELECT b, b, b FROM t;", {"x", "x", "x"}},
        {"SELECT a, *, b FROM t;", {"1", "1", "x", "1.5", "x"}},
        {"SELECT * FROM k;", {"7", "seven"}},
        {"SELECT ROWID FROM k;", {"7"}},
        {"SELECT *, ROWID, * FROM k;", {"7", "seven", "7", "7", "seven"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.sql);
        EXPECT_EQ(firstRow(row.sql), row.cells);
    }
}

TEST_F(SelectTest, LabelsAreTheNamesAsWritten) {
    Result result = query("SELECT *, ROWID FROM t WHERE a = 2;");
    ASSERT_TRUE(result && result->next());
    EXPECT_EQ(result->getInt("a"), 2);
    EXPECT_EQ(result->getString("b"), "axb");
    EXPECT_EQ(result->getString("c"), "");
    EXPECT_TRUE(result->wasNull());
    EXPECT_EQ(result->getInt("ROWID"), 2);
    EXPECT_THROW(result->getInt("A"), DatabaseException);

    result = query("SELECT ROWID FROM k;");
    ASSERT_TRUE(result && result->next());
    EXPECT_EQ(result->getInt("ROWID"), 7);
    EXPECT_THROW(result->getInt("id"), DatabaseException);
}

TEST_F(SelectTest, HiddenRowidHasNoLabelAmongTheStars) {
    const Result result = query("SELECT * FROM t;");
    ASSERT_TRUE(result && result->next());
    EXPECT_THROW(result->getInt("ROWID"), DatabaseException);
}

TEST_F(SelectTest, SecondStarNarrowsTheCellsOfBoth) {
    Result result = query("SELECT *, * FROM t;");
    ASSERT_TRUE(result && result->next());
    EXPECT_EQ(cells(result), (std::vector<std::string>{"1", "x", "1", "x"}));
    EXPECT_EQ(result->getString("a"), "1");
    EXPECT_EQ(result->getString("b"), "x");
    EXPECT_EQ(result->getString("c"), "1") << "the third label stands over the second star's first cell";
    EXPECT_THROW(result->getString(5), DatabaseException);
    EXPECT_TRUE(log.has("ResultSet[0][3](a)='x'")) << log.dump();

    result = query("SELECT *, b, * FROM t;");
    ASSERT_TRUE(result && result->next());
    EXPECT_EQ(cells(result), (std::vector<std::string>{"1", "x", "x", "1", "x"}));
}

TEST_F(SelectTest, StarsNeverNarrowBelowNothing) {
    run("CREATE TABLE one (a INTEGER);");
    run("INSERT INTO one (a) VALUES (?);", "5");
    const Result result = query("SELECT *, *, *, * FROM one;");
    ASSERT_TRUE(result && result->next());
    EXPECT_THAT(cells(result), IsEmpty());
    EXPECT_THROW(result->getString("a"), DatabaseException);
    EXPECT_EQ(result->getCount(), 1);

    EXPECT_EQ(firstRow("SELECT *, *, *, a FROM one;"), (std::vector<std::string>{"5"}));
}

// Form of the statement

TEST_F(SelectTest, AcceptedSpellings) {
    for (const char* sql :
         {"SELECT a FROM t;", "  \n\tSELECT a FROM t;", "SELECT\ta\vFROM t;", "SELECT\n a \nFROM  \t t \n;",
          "SELECT a FROM t ;", "SELECT a FROM t WHERE a > 0;", "SELECT a FROM t   WHERE   a > 0 ;",
          "SELECT*FROM t;", "SELECT *FROM t;", "SELECT* FROM t;", "SELECT a,*FROM t;"}) {
        SCOPED_TRACE(sql);
        EXPECT_THAT(rows(query(sql), 1), ElementsAre("1", "2", "3"));
        EXPECT_THAT(takeErrors(), IsEmpty());
    }
}

TEST_F(SelectTest, SelectAndFromMustBeSpelledSo) {
    std::vector<Refusal> queries;
    for (const char* sql : {"select * from t;", "select * FROM t;", "SELECT * from t;", "Select * FROM t;",
                            "SELECT;", "SELECT *;", "SELECTa FROM t;", "SELECT, a FROM t;", "SELECT aFROM t;",
                            "SELECT a,FROM t;", "SELECT a FROM;", "SELECT a FROM\tt;", "SELECT a FROMt;",
                            "FROM t SELECT a;", "SELECT aFROM t FROM t;", "DELETE FROM t;", "x;"}) {
        queries.push_back({sql, "executeQuery", "DB Syntax Error: Error at SELECT or FROM clause"});
    }
    expectNoResult(queries);
}

TEST_F(SelectTest, TextAfterTheTableNameIsTakenForAName) {
    const std::string raiser = "validateColumnName";
    const std::string blank = "Syntax Error: ' ' Char is invalid for Column Name ";
    const std::string start = "Syntax Error: Start Char is invalid for Column Name: ";
    expectNoResult({{"SELECT * FROM t where a = 1;", raiser, blank + "t where a = 1"},
                    {"SELECT * FROM t ORDER BY a;", raiser, blank + "t ORDER BY a"},
                    {"SELECT * FROM t u;", raiser, blank + "t u"},
                    {"SELECT * FROM t WHERE;", raiser, blank + "t WHERE"},
                    {"SELECT * FROM t WHERE ;", raiser, blank + "t WHERE"},
                    {"SELECT * FROM t\nWHERE a = 1;", raiser,
                     "Syntax Error: '\n' Char is invalid for Column Name t\nWHERE a = 1"},
                    {"SELECT * FROM t WHERE\ta = 1;", raiser, blank + "t WHERE\ta = 1"},
                    {"SELECT * FROM t, k;", raiser, "Syntax Error: ',' Char is invalid for Column Name t, k"},
                    {"SELECT * FROM 1;", raiser, start + "1"},
                    {"SELECT * FROM  WHERE a = 1;", raiser, start + " "},
                    {"SELECT * FROM ?;", raiser, start + "?", {"t"}}});
}

TEST_F(SelectTest, MissingTableIsRefused) {
    expectNoResult(
        {{"SELECT * FROM missing;", "executeQuery", "DB Error: Table does not exists..."},
         {"SELECT * FROM T;", "executeQuery", "DB Error: Table does not exists..."},
         {"SELECT 1 FROM missing WHERE a IN 1;", "executeQuery", "DB Error: Table does not exists..."}});
}

TEST_F(SelectTest, SelectListItemsAreChecked) {
    const std::string start = "Syntax Error: Start Char is invalid for Column Name: ";
    expectNoResult(
        {{"SELECT a, , b FROM t;", "validateColumnName", start + " "},
         {"SELECT a,, b FROM t;", "validateColumnName", start},
         {"SELECT , a FROM t;", "validateColumnName", start + " "},
         {"SELECT FROM t;", "validateColumnName", start + " "},
         {"SELECT a, 1 FROM t;", "validateColumnName", start + " 1 "},
         {"SELECT ? FROM t;", "validateColumnName", start + " ? ", {"a"}},
         {"SELECT a b FROM t;", "validateColumnName",
          "Syntax Error: ' ' Char is invalid for Column Name  a b "},
         {"SELECT COUNT(a) FROM t;", "validateColumnName",
          "Syntax Error: '(' Char is invalid for Column Name  COUNT(a) "},
         {"SELECT ** FROM t;", "validateColumnName", start + " ** "},
         {"SELECT a, z FROM t;", "getColumnNameIndex", "Column z not found in Table Definition"},
         {"SELECT A FROM t;", "getColumnNameIndex", "Column A not found in Table Definition"},
         {"SELECT z FROM t WHERE a IN 1;", "getColumnNameIndex", "Column z not found in Table Definition"}});
}

// Conditions

TEST_F(SelectTest, ConditionChoosesTheRows) {
    EXPECT_THAT(rows(query("SELECT a FROM t WHERE b = '?' OR b LIKE '?';", "x", "%x%"), 1),
                ElementsAre("1", "2"));
    EXPECT_THAT(rows(query("SELECT a FROM t WHERE a > ? AND b = '?';", "1", "y"), 1), ElementsAre("3"));
    EXPECT_THAT(rows(query("SELECT a FROM t WHERE ROWID = 2;"), 1), ElementsAre("2"));
    EXPECT_THAT(rows(query("SELECT name FROM k WHERE ROWID = ?;", "7"), 1), ElementsAre("seven"));
    EXPECT_THAT(rows(query("SELECT a FROM t WHERE c != 0;"), 1), ElementsAre("1", "3"));
    EXPECT_THAT(rows(query("SELECT a FROM t WHERE a = 4;"), 1), IsEmpty());
    EXPECT_THAT(rows(query("SELECT a FROM t WHERE 0;"), 1), IsEmpty());
    EXPECT_THAT(rows(query("SELECT a FROM t WHERE anything;"), 1), ElementsAre("1", "2", "3"));
    EXPECT_THAT(takeErrors(), IsEmpty());
}

TEST_F(SelectTest, BoundValueIsOneOperandWhateverItHolds) {
    run("INSERT INTO t (a, b) VALUES (?, '?');", "4", "two words ( AND ;");
    EXPECT_THAT(rows(query("SELECT a FROM t WHERE b = '?';", "two words ( AND ;"), 1), ElementsAre("4"));
}

TEST_F(SelectTest, ConditionErrorsAreRefused) {
    expectNoResult(
        {{"SELECT * FROM t WHERE a = 1 ORDER BY a;", "getColumnNameIndex",
          "Column BY not found in Table Definition"},
         {"SELECT * FROM t WHERE z = 1;", "getColumnNameIndex", "Column z not found in Table Definition"},
         {"SELECT * FROM t WHERE b = NULL;", "getColumnNameIndex",
          "Column NULL not found in Table Definition"},
         {"SELECT * FROM t WHERE b = '?';",
          "getColumnNameIndex",
          "Column NULL not found in Table Definition",
          {kNull}},
         {"SELECT * FROM t WHERE a IN 1;", "isNotSupportedOperator",
          "DB Error: IN operator is not supported in File DataBase."},
         {"SELECT * FROM t WHERE a ** 1;", "isOperatorAndprecedence",
          "DB Error: ** operator is not supported in File DataBase"},
         {"SELECT * FROM t WHERE ( a );", "InfixToPostFix", "DB Syntax Error: No matching bracket for ')'"},
         {"SELECT * FROM t WHERE ( a = 1;", "InfixToPostFix",
          "DB Syntax Error: Stack contains the '(' bracket at end..')'"},
         {"SELECT * FROM t WHERE a =;", "evaluate", "Syntax Error: evaluate stack contains less 2 operands."},
         {"SELECT * FROM t WHERE a = 1 2;", "evaluate", "Syntax Error: Where clause is wrong"}});
}

TEST_F(SelectTest, EmptyTableNeverMeetsAnEvaluationError) {
    run("DELETE FROM t;");
    EXPECT_THAT(rows(query("SELECT * FROM t WHERE z = 1;"), 3), IsEmpty());
    EXPECT_THAT(rows(query("SELECT * FROM t WHERE a = 1 ORDER BY a;"), 3), IsEmpty());
    EXPECT_THAT(takeErrors(), IsEmpty());
    expectNoResult({{"SELECT * FROM t WHERE a IN 1;", "isNotSupportedOperator",
                     "DB Error: IN operator is not supported in File DataBase."}});
}

// The result

TEST_F(SelectTest, EveryRowCountIsDeliveredWhole) {
    run("CREATE TABLE n (i INTEGER);");
    std::vector<std::string> expected;
    for (int count = 0; count <= 16; ++count) {
        SCOPED_TRACE(count);
        const Result result = query("SELECT i FROM n;");
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->getCount(), count);
        EXPECT_EQ(rows(result, 1), expected);
        EXPECT_FALSE(result->next());
        expected.push_back(std::to_string(count));
        run("INSERT INTO n (i) VALUES (?);", expected.back().c_str());
    }
}

TEST_F(SelectTest, ValuesAndEntryAreTraced) {
    query("SELECT b, a FROM t WHERE a < 3;");
    std::vector<std::string> traced;
    for (const std::string& text : log.texts(1)) {
        if (text.rfind("ResultSet[", 0) == 0) {
            traced.push_back(text);
        }
    }
    EXPECT_THAT(traced, ElementsAre("ResultSet[0][0](b)='x'", "ResultSet[0][1](a)=1",
                                    "ResultSet[1][0](b)='axb'", "ResultSet[1][1](a)=2"));
    EXPECT_TRUE(logged(1, "ResultSet[1][1](a)=2"));
    EXPECT_TRUE(logged(1, "Parsing of SELECT Column.."));
    EXPECT_TRUE(logged(0, "executeQuery"));
}

TEST_F(SelectTest, ResultOutlivesTheTableAndTheDatabase) {
    const Result result = query("SELECT b FROM t;");
    run("DROP TABLE t;");
    database.reset();
    EXPECT_THAT(rows(result, 1), ElementsAre("x", "axb", "y"));
}

TEST_F(SelectTest, ReadsTheWorkingCopyInATransactionAndWritesNothing) {
    database->beginTransaction();
    run("DELETE FROM t WHERE a = 1;");
    const Files before = files();
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("2", "3"));
    EXPECT_EQ(files(), before);
    EXPECT_TRUE(database->rollbackTransaction());
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("1", "2", "3"));
}

// Damaged tables

class SelectFromDamagedTableTest : public SelectTest {
protected:
    void damage(const std::string& records) { writeFile(tableFile("t"), "a~b~ROWID\n1~4~1\n\n" + records); }

    void expectShortRecordFor(const char* sql) {
        SCOPED_TRACE(sql);
        takeErrors();
        EXPECT_EQ(query(sql), nullptr);
        expectOneError("executeQuery", kShortRecord);
    }
};

TEST_F(SelectFromDamagedTableTest, ShortRecordFailsOnlyWhereAMissingFieldIsNeeded) {
    damage("1~'x'~1\n2~'y'\n3\n");
    const Files before = files();
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("1", "2", "3"));
    EXPECT_THAT(rows(query("SELECT * FROM t WHERE a != 3;"), 2), ElementsAre("1|x", "2|y"));
    EXPECT_THAT(takeErrors(), IsEmpty());

    expectShortRecordFor("SELECT * FROM t;");
    expectShortRecordFor("SELECT b FROM t;");
    expectShortRecordFor("SELECT ROWID FROM t;");
    expectShortRecordFor("SELECT a FROM t WHERE b = 'x';");
    EXPECT_EQ(files(), before);
}

TEST_F(SelectFromDamagedTableTest, EmptyLineIsARecordWithoutFields) {
    damage("1~'x'~1\n\n");
    expectShortRecordFor("SELECT a FROM t;");
}

TEST_F(SelectFromDamagedTableTest, ExtraFieldsAreNotShown) {
    damage("1~'x'~1~extra\n");
    EXPECT_EQ(firstRow("SELECT *, ROWID FROM t;"), (std::vector<std::string>{"1", "x", "1"}));
}

TEST_F(SelectFromDamagedTableTest, EmptyFieldsDisappear) {
    damage("~1~~'x'~1~\n");
    EXPECT_EQ(firstRow("SELECT *, ROWID FROM t;"), (std::vector<std::string>{"1", "x", "1"}));
}

TEST_F(SelectFromDamagedTableTest, LastLineWithoutLineFeedLosesACharacter) {
    damage("1~'x'~12");
    EXPECT_EQ(firstRow("SELECT *, ROWID FROM t;"), (std::vector<std::string>{"1", "x", "1"}));
}

TEST_F(SelectFromDamagedTableTest, LongLineIsReadAsTwoRecords) {
    // The first read takes 1023 characters and gives up the last of them.
    damage("1~" + std::string(1020, 'x') + "|2~'y'~7\n");
    EXPECT_THAT(rows(query("SELECT a, b FROM t;"), 2), ElementsAre("1|" + std::string(1020, 'x'), "2|y"));
}

TEST_F(SelectFromDamagedTableTest, LineIsReadUpToANulByte) {
    damage("1~'x'~12" + std::string(1, '\0') + "34~56\n2~'y'~2\n");
    EXPECT_THAT(rows(query("SELECT a, b, ROWID FROM t;"), 3), ElementsAre("1|x|1", "2|y|2"));
}

TEST_F(SelectFromDamagedTableTest, FileWithoutColumnNamesHasNoColumns) {
    for (const char* content : {"", "\n", "\n\n\n"}) {
        writeFile(tableFile("t"), content);
        EXPECT_THAT(rows(query("SELECT * FROM t;"), 0), IsEmpty());
        EXPECT_THAT(takeErrors(), IsEmpty());
        expectNoResult(
            {{"SELECT a FROM t;", "getColumnNameIndex", "Column a not found in Table Definition"}});
    }
}

TEST_F(SelectFromDamagedTableTest, ColumnWithoutAFlagFailsOnlyWhereTheFlagIsNeeded) {
    writeFile(tableFile("t"), "a~b~ROWID\n1\n\n1~'x'~1\n");
    EXPECT_EQ(firstRow("SELECT * FROM t;"), (std::vector<std::string>{"1", "x"}));
    EXPECT_EQ(firstRow("SELECT b FROM t WHERE a = 1;"), (std::vector<std::string>{"x"}));
    expectShortRecordFor("SELECT a FROM t WHERE b = 'x';");
}

TEST_F(SelectFromDamagedTableTest, KeyThatIsNoColumnIsRefused) {
    writeFile(tableFile("t"), "a~b\n257~4\nid\n1~'x'\n");
    expectNoResult({{"SELECT * FROM t;", "getColumnNameIndex", "Column id not found in Table Definition"}});
}

TEST_F(SelectFromDamagedTableTest, ReadErrorIsRefused) {
    std::filesystem::remove(tableFile("t"));
    std::filesystem::create_directory(tableFile("t"));
    expectNoResult(
        {{"SELECT * FROM t;", "getNextRecordFromTableFile", "DB Error: Error occurred during file reading"}});
}

}  // namespace
}  // namespace Kalt::Vemo::Test
