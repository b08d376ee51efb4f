#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <locale>
#include <string>
#include <vector>

#include "StatementTest.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::IsEmpty;

class InsertTest : public StatementTest {
protected:
    void SetUp() override {
        StatementTest::SetUp();
        run("CREATE TABLE t (a INTEGER, b TEXT);");
    }

    void expectRecords(const std::string& records) { EXPECT_EQ(table("t"), kHead + records); }
    void setRecords(const std::string& records) { writeFile(tableFile("t"), kHead + records); }

    const std::string kHead = "a~b~ROWID\n1~4~1\n\n";
};

// Form of the statement

TEST_F(InsertTest, AppendsARecordAndCommitsAtOnce) {
    run("INSERT INTO t (a, b) VALUES (?, '?');", "1", "x");
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"t.table", kHead + "1~'x'~1\n"}}));
    run("INSERT INTO t (a, b) VALUES (?, '?');", "2", "y");
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"t.table", kHead + "1~'x'~1\n2~'y'~2\n"}}));
}

TEST_F(InsertTest, AcceptedSpellings) {
    struct Row {
        const char* sql;
        std::vector<const char*> values;
    };
    const Row rows[] = {
        {"INSERT INTO t (a, b) VALUES (?, '?');", {"7", "x"}},
        {"INSERT INTO t(a,b)VALUES(?,'?');", {"7", "x"}},
        {"INSERT INTO t\t(a\n,\vb\f)\rVALUES\n(\t?\v,\f'?'\r) \n ;", {"7", "x"}},
        {"INSERT INTO t ( b , a ) VALUES ( '?' , ? );", {"x", "7"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.sql);
        setRecords("");
        EXPECT_EQ(execWith(row.sql, row.values), 0);
        EXPECT_THAT(takeErrors(), IsEmpty());
        expectRecords("7~'x'~1\n");
    }
}

TEST_F(InsertTest, ColumnsNotNamedAreNull) {
    run("INSERT INTO t (b) VALUES ('?');", "x");
    run("INSERT INTO t (a) VALUES (?);", "1");
    expectRecords("NULL~'x'~1\n1~NULL~2\n");
}

TEST_F(InsertTest, NameGivenTwiceTakesTheLaterValue) {
    run("INSERT INTO t (a, b, a) VALUES (?, '?', ?);", "1", "x", "2");
    expectRecords("2~'x'~1\n");
}

TEST_F(InsertTest, ValuesBeyondTheNamesAreIgnored) {
    run("INSERT INTO t (a) VALUES (?, '?', 3, nonsense);", "1", "x");
    expectRecords("1~NULL~1\n");
}

TEST_F(InsertTest, WithoutColumnListEveryFieldIsNull) {
    run("INSERT INTO t VALUES (1, 'a');");
    run("INSERT INTO t VALUES (?, '?');", "1", "x");
    run("INSERT INTO t VALUES ();");
    run("INSERT INTO t VALUES(nonsense);");
    expectRecords("NULL~NULL~1\nNULL~NULL~2\nNULL~NULL~3\nNULL~NULL~4\n");

    run("CREATE TABLE strict (a TEXT NOT NULL);");
    expectRefused("insertTable", 0,
                  {{"INSERT INTO strict VALUES ('?');",
                    "checkColumnNullnessTypeCor",
                    "DB Error: NULL Value is not allowed",
                    {"x"}}});
}

TEST_F(InsertTest, SyntaxIsChecked) {
    const std::string phrase = "Syntax error: At VALUES phrase";
    const std::string value = "Syntax Error: At value phrase";
    const std::string name = "Syntax Error: Start Char is invalid for Column Name: ";
    expectRefused(
        "insertTable", 0,
        {{"INSERT INTO missing (a) VALUES (?);", "insertTable", "DB Error: No such Table...(missing)", {"1"}},
         {"INSERT INTO missing;", "insertTable", "DB Error: No such Table...(missing)"},
         {"INSERT INTO t;", "insertTable", "Syntax Error: Wrong statement after TableName clause"},
         {"INSERT INTO t (a VALUES ?;", "insertTable", "No matching ) bracket for column list", {"1"}},
         {"INSERT INTO t (;", "insertTable", "No matching ) bracket for column list"},
         {"INSERT INTO t (a, b VALUES (?, ?);",
          "validateColumnName",
          "Syntax Error: ' ' Char is invalid for Column Name  b VALUES (?",
          {"1", "2"}},
         {"INSERT INTO t () VALUES ();", "validateColumnName", name},
         {"INSERT INTO t (a,) VALUES (?);", "validateColumnName", name, {"1"}},
         {"INSERT INTO t (a, ) VALUES (?);", "validateColumnName", name + " ", {"1"}},
         {"INSERT INTO t ('a') VALUES (?);", "validateColumnName", name + "'a'", {"1"}},
         {"INSERT INTO t (a);", "insertTable", phrase},
         {"INSERT INTO t (a) VALUE (?);", "insertTable", phrase, {"1"}},
         {"INSERT INTO t (a) values (?);", "insertTable", phrase, {"1"}},
         {"INSERT INTO t (a) VALEUS (?);", "insertTable", phrase, {"1"}},
         {"INSERT INTO t (a), (b) VALUES (?);", "insertTable", phrase, {"1"}},
         {"INSERT INTO t SELECT a FROM t;", "insertTable", phrase},
         {"INSERT INTO t VALU;", "insertTable", phrase},
         {"INSERT INTO t (a) VALUES;", "insertTable", value},
         {"INSERT INTO t (a) VALUES ?;", "insertTable", value, {"1"}},
         {"INSERT INTO t (a) VALUES ?);", "insertTable", value, {"1"}},
         {"INSERT INTO t (a) VALUESX(?);", "insertTable", value, {"1"}},
         {"INSERT INTO t (a) VALUES (?;", "insertTable", value, {"1"}},
         {"INSERT INTO t (a) VALUES (?) x;", "insertTable", value, {"1"}},
         {"INSERT INTO t (a) VALUES (?));", "insertTable", value, {"1"}},
         {"INSERT INTO t (a) VALUES (?), (?);", "insertTable", value, {"1", "2"}},
         {"INSERT INTO t (a, b) VALUES (?);", "insertTable", value, {"1"}}});
}

TEST_F(InsertTest, LiteralCannotHoldACommaOrABracket) {
    expectRefused("insertTable", 0,
                  {{"INSERT INTO t (b) VALUES ('x,y');", "validateValuePlaceHolder",
                    "Not provided value for value Holder: 'x"},
                   {"INSERT INTO t (b) VALUES ('?,y');",
                    "validateValuePlaceHolder",
                    "Invalid value for value holder String: ('?)",
                    {"x"}},
                   {"INSERT INTO t (b) VALUES ('x)y');", "insertTable", "Syntax Error: At value phrase"}});
    run("INSERT INTO t (b) VALUES ('?');", "x,y)");
    expectRecords("NULL~'x,y)'~1\n");
}

TEST_F(InsertTest, UnknownColumnIsRefusedBeforeItsValueIsLookedAt) {
    expectRefused("insertTable", 0,
                  {{"INSERT INTO t (z) VALUES (?);",
                    "getColumnNameIndex",
                    "Column z not found in Table Definition",
                    {"1"}},
                   {"INSERT INTO t (A) VALUES (?);",
                    "getColumnNameIndex",
                    "Column A not found in Table Definition",
                    {"1"}},
                   {"INSERT INTO t (a, z) VALUES (?, ?);",
                    "getColumnNameIndex",
                    "Column z not found in Table Definition",
                    {"1", "2"}},
                   {"INSERT INTO t (z) VALUES (nonsense);", "getColumnNameIndex",
                    "Column z not found in Table Definition"}});
}

TEST_F(InsertTest, TooFewValuesAreRefusedBeforeTheTableIsRead) {
    writeFile(tableFile("t"), "a\n1\nmissing\n");
    expectRefused(
        "insertTable", 0,
        {{"INSERT INTO t (a, b) VALUES (?);", "insertTable", "Syntax Error: At value phrase", {"1"}},
         {"INSERT INTO t (a) VALUES (?);",
          "getColumnNameIndex",
          "Column missing not found in Table Definition",
          {"1"}}});
}

TEST_F(InsertTest, HiddenRowidCannotBeNamed) {
    run("CREATE TABLE k (id INTEGER PRIMARY KEY);");
    const std::string message = "DB Error: Table special column names ROWID is not allowed for Updation";
    expectRefused("insertTable", 0,
                  {{"INSERT INTO t (ROWID) VALUES (?);", "insertTable", message, {"9"}},
                   {"INSERT INTO t (a, ROWID) VALUES (?, ?);", "insertTable", message, {"1", "9"}},
                   {"INSERT INTO k (ROWID) VALUES (?);",
                    "getColumnNameIndex",
                    "Column ROWID not found in Table Definition",
                    {"9"}}});
}

TEST_F(InsertTest, ColumnThatIsItselfCalledRowidCanBeNamed) {
    run("CREATE TABLE r (ROWID TEXT);");
    run("INSERT INTO r (ROWID) VALUES ('?');", "x");
    EXPECT_EQ(table("r"), "ROWID~ROWID\n4~1\n\n'x'~1\n");
}

TEST_F(InsertTest, FileThatCannotBeOpenedIsRefused) {
    std::filesystem::remove(tableFile("t"));
    std::filesystem::create_directory(tableFile("t"));
    expectRefused(
        "insertTable", 0,
        {{"INSERT INTO t VALUES ();", "openFile", "DataBase Error: Couldn't open the corresponding file"}});
}

TEST_F(InsertTest, EntryAndRowIdChoiceAreTraced) {
    run("INSERT INTO t (a) VALUES (?);", "1");
    EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "2"), 0);
    EXPECT_TRUE(logged(1, "tableName:'t' Unparsed SQL=' (a) VALUES (?)'"));
    EXPECT_TRUE(logged(1, "tableSize=1 rowidColPos=2"));
    EXPECT_TRUE(logged(1, "ROWID:2 NewRowPos:1"));
}

// Values

TEST_F(InsertTest, ValuesTakeTheirStoredForm) {
    struct Row {
        const char* type;
        const char* holder;
        const char* value;
        const char* stored;
    };
    const Row rows[] = {
        {"INTEGER", "?", "5", "5"},
        {"INTEGER", "'?'", "5", "5"},
        {"INTEGER", "?", "'5'", "5"},
        {"INTEGER", "?", "007", "7"},
        {"INTEGER", "?", "+7", "7"},
        {"INTEGER", "?", "-1", "18446744073709551615"},
        {"INTEGER", "?", "-2", "18446744073709551614"},
        {"INTEGER", "?", "9223372036854775808", "9223372036854775808"},
        {"INTEGER", "?", "18446744073709551615", "18446744073709551615"},
        {"INTEGER", "?", "99999999999999999999", "18446744073709551615"},
        {"INTEGER", "?", "1.5", "1"},
        {"INTEGER", "?", "", "0"},
        {"INTEGER", "'?'", "", "0"},
        {"INTEGER", "?", "-", "0"},
        {"INTEGER", "?", kNull, "NULL"},
        {"REAL", "?", "2.5", "2.5"},
        {"REAL", "'?'", "2.5", "2.5"},
        {"REAL", "?", "1.50", "1.5"},
        {"REAL", "?", "-1.5", "-1.5"},
        {"REAL", "?", "5", "5"},
        {"REAL", "?", "5.", "5"},
        {"REAL", "?", ".5", "0.5"},
        {"REAL", "?", ".", "0"},
        {"REAL", "?", "", "0"},
        {"REAL", "?", "3.14159265", "3.14159"},
        {"REAL", "?", "999999", "999999"},
        {"REAL", "?", "1000000", "1e+06"},
        {"REAL", "?", "1234567", "1.23457e+06"},
        {"REAL", "?", "16777217", "1.67772e+07"},
        {"REAL", "?", "0.0001", "0.0001"},
        {"REAL", "?", "0.00001", "1e-05"},
        {"REAL", "?", "1000000000000000000000000000000000000000", "inf"},
        {"REAL", "?", kNull, "NULL"},
        {"TEXT", "?", "5", "'5'"},
        {"TEXT", "?", "abc", "'abc'"},
        {"TEXT", "'?'", "abc", "'abc'"},
        {"TEXT", "'?'", "", "''"},
        {"TEXT", "'?'", "it's", "'it's'"},
        {"TEXT", "'?'", kNull, "NULL"},
        {"TEXT", "?", "'NULL'", "'NULL'"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.type) + " " + row.holder + " " +
                     (row.value == nullptr ? "NULL" : row.value));
        run(std::string("CREATE TABLE v (c ") + row.type + ");");
        run(std::string("INSERT INTO v (c) VALUES (") + row.holder + ");", row.value);
        const std::string content = table("v");
        EXPECT_EQ(content.substr(content.find("\n\n") + 2), std::string(row.stored) + "~1\n");
        run("DROP TABLE v;");
    }
}

TEST_F(InsertTest, UnsuitableValuesAreRefused) {
    run("CREATE TABLE v (i INTEGER, r REAL, n TEXT NOT NULL);");
    run("CREATE TABLE k (id INTEGER PRIMARY KEY);");
    const std::string raiser = "checkColumnNullnessTypeCor";
    const std::string integer = "DB Error: data type mismatch for Integer";
    const std::string real = "DB Error: data type mismatch for float";
    const std::string null = "DB Error: NULL Value is not allowed";
    expectRefused("insertTable", 0,
                  {{"INSERT INTO v (i) VALUES ('?');", raiser, integer, {"x"}},
                   {"INSERT INTO v (i) VALUES (?);", raiser, integer, {"1e5"}},
                   {"INSERT INTO v (i) VALUES (?);", raiser, integer, {" 1"}},
                   {"INSERT INTO v (i) VALUES (?);", raiser, integer, {"1.2.3"}},
                   {"INSERT INTO v (i) VALUES (?);", raiser, integer, {"--1"}},
                   {"INSERT INTO v (i) VALUES (?);", raiser, integer, {"'NULL'"}},
                   {"INSERT INTO v (r) VALUES ('?');", raiser, real, {"x"}},
                   {"INSERT INTO v (r) VALUES (?);", raiser, real, {"1,5"}},
                   {"INSERT INTO v (r) VALUES (?);", raiser, real, {"1e5"}},
                   {"INSERT INTO v (i) VALUES (?);", raiser, null, {"1"}},
                   {"INSERT INTO v (n) VALUES ('?');", raiser, null, {kNull}},
                   {"INSERT INTO v (n) VALUES ('?');", raiser, null, {"NULL"}},
                   {"INSERT INTO k (id) VALUES (?);", raiser, null, {kNull}},
                   {"INSERT INTO k VALUES (1);", raiser, null}});
}

class CommaNumbers : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\1"; }
};

TEST_F(InsertTest, NumbersAreWrittenAlikeInEveryLocale) {
    writeFile(tableFile("v"), "i~r~k~ROWID\n1~2~257~1\nk~i\n1~2.5~1~1234567\n");
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new CommaNumbers));
    exec("INSERT INTO v (i, r, k) VALUES (?, ?, ?);", "7654321", "1234.5", "1000");
    std::locale::global(before);

    EXPECT_THAT(takeErrors(), IsEmpty());
    EXPECT_EQ(table("v"), "i~r~k~ROWID\n1~2~257~1\nk~i\n1~2.5~1~1234567\n7654321~1234.5~1000~1234568\n");
}

TEST_F(InsertTest, TableIsCreatedAlikeInEveryLocale) {
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new CommaNumbers));
    exec("CREATE TABLE v (i INTEGER NOT NULL, r REAL, PRIMARY KEY(r));");
    std::locale::global(before);
    EXPECT_EQ(table("v"), "i~r~ROWID\n257~258~1\nr\n");
}

// Row ids

TEST_F(InsertTest, RowIdContinuesAfterTheLastRow) {
    for (const char* value : {"1", "2", "3", "4"}) {
        run("INSERT INTO t (a) VALUES (?);", value);
    }
    run("DELETE FROM t WHERE a = 2;");
    run("INSERT INTO t (a) VALUES (?);", "5");
    expectRecords("1~NULL~1\n3~NULL~3\n4~NULL~4\n5~NULL~5\n");

    run("DELETE FROM t WHERE a > 3;");
    run("INSERT INTO t (a) VALUES (?);", "6");
    expectRecords("1~NULL~1\n3~NULL~3\n6~NULL~4\n");

    run("DELETE FROM t;");
    run("INSERT INTO t (a) VALUES (?);", "7");
    expectRecords("7~NULL~1\n");
}

TEST_F(InsertTest, RowIdComesFromTheLastRecordOrTheLowestGap) {
    const std::string max = "9223372036854775807";
    struct Row {
        std::vector<std::string> before;
        std::vector<std::string> after;
        std::int64_t rowId;
    };
    const Row rows[] = {
        {{}, {"1"}, 1},
        {{"41"}, {"41", "42"}, 42},
        {{"9", "3"}, {"9", "3", "4"}, 4},
        {{"9223372036854775806"}, {"9223372036854775806", max}, 9223372036854775807},
        {{max}, {"1", max}, 1},
        {{"2", max}, {"1", "2", max}, 1},
        {{"1", max}, {"1", "2", max}, 2},
        {{"1", "2", "3", max}, {"1", "2", "3", "4", max}, 4},
        {{"1", "2", "4", max}, {"1", "2", "3", "4", max}, 3},
        {{"1", "2", "4", "6", max}, {"1", "2", "3", "4", "6", max}, 3},
        {{"9223372036854775808"}, {"9223372036854775808", "-9223372036854775807"}, -9223372036854775807},
        {{"18446744073709551615"}, {"18446744073709551615", "0"}, 0},
        {{max, "5"}, {max, "5", "6"}, 6},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.before));
        std::string before;
        for (const std::string& id : row.before) {
            before += "5~'old'~" + id + "\n";
        }
        setRecords(before);
        run("INSERT INTO t (a, b) VALUES (?, '?');", "6", "new");

        std::string after;
        for (const std::string& id : row.after) {
            const bool isOld = std::find(row.before.begin(), row.before.end(), id) != row.before.end();
            after += (isOld ? "5~'old'~" : "6~'new'~") + id + "\n";
        }
        expectRecords(after);
        EXPECT_EQ(database->getLastInsertRowid(), row.rowId);
    }
}

TEST_F(InsertTest, LastInsertRowIdChangesOnSuccessOnly) {
    EXPECT_EQ(database->getLastInsertRowid(), 0);
    run("INSERT INTO t (a) VALUES (?);", "1");
    run("INSERT INTO t (a) VALUES (?);", "1");
    EXPECT_EQ(database->getLastInsertRowid(), 2);
    EXPECT_TRUE(logged(0, "getLastInsertRowid: 2"));

    exec("INSERT INTO t (z) VALUES (?);", "1");
    exec("INSERT INTO t (a) VALUES (?);", "x");
    EXPECT_EQ(takeErrors().size(), 2U);
    run("DELETE FROM t;");
    run("UPDATE t SET a = ?;", "1");
    EXPECT_EQ(database->getLastInsertRowid(), 2);
}

TEST_F(InsertTest, AliasKeyReportsTheNumberInItsColumnName) {
    run("INSERT INTO t (a) VALUES (?);", "1");
    EXPECT_EQ(database->getLastInsertRowid(), 1);

    run("CREATE TABLE k (id INTEGER PRIMARY KEY, b TEXT);");
    run("INSERT INTO k (id, b) VALUES (?, '?');", "5", "x");
    EXPECT_EQ(database->getLastInsertRowid(), 0);

    writeFile(tableFile("k"), "42nd~b\n1~4\n42nd\n");
    run("INSERT INTO k (b) VALUES ('?');", "x");
    EXPECT_EQ(database->getLastInsertRowid(), 42);
    EXPECT_EQ(table("k"), "42nd~b\n1~4\n42nd\nNULL~'x'\n");
}

TEST_F(InsertTest, AliasKeyRecordGoesLastWhateverItsKey) {
    run("CREATE TABLE k (id INTEGER PRIMARY KEY, b TEXT);");
    run("INSERT INTO k (id, b) VALUES (?, '?');", "5", "x");
    run("INSERT INTO k (b, id) VALUES ('?', ?);", "y", "2");
    run("INSERT INTO k (id) VALUES (?);", "-1");
    EXPECT_EQ(table("k"), "id~b\n257~4\nid\n5~'x'\n2~'y'\n18446744073709551615~NULL\n");
}

// Primary keys

class InsertKeyTest : public StatementTest {
protected:
    static constexpr const char* kCollision = "DB Error: PRIMARY KEY must be unique";
    static constexpr const char* kRaiser = "checkPrimaryKeyValidation";
};

TEST_F(InsertKeyTest, RepeatedKeyIsRefused) {
    run("CREATE TABLE k (id INTEGER PRIMARY KEY, b TEXT);");
    run("INSERT INTO k (id) VALUES (?);", "1");
    run("INSERT INTO k (id) VALUES (?);", "2");
    expectRefused("insertTable", 0,
                  {{"INSERT INTO k (id) VALUES (?);", kRaiser, kCollision, {"1"}},
                   {"INSERT INTO k (id) VALUES (?);", kRaiser, kCollision, {"02"}},
                   {"INSERT INTO k (id, b) VALUES ('?', '?');", kRaiser, kCollision, {"2", "x"}}});
}

TEST_F(InsertKeyTest, KeysAreComparedInTheirStoredForm) {
    run("CREATE TABLE r (k REAL PRIMARY KEY);");
    run("INSERT INTO r (k) VALUES (?);", "1.0");
    run("INSERT INTO r (k) VALUES (?);", "1.1");
    expectRefused("insertTable", 0, {{"INSERT INTO r (k) VALUES (?);", kRaiser, kCollision, {"1"}}});

    run("CREATE TABLE s (k TEXT PRIMARY KEY);");
    run("INSERT INTO s (k) VALUES ('?');", "a");
    run("INSERT INTO s (k) VALUES ('?');", "A");
    expectRefused("insertTable", 0, {{"INSERT INTO s (k) VALUES (?);", kRaiser, kCollision, {"a"}}});
}

TEST_F(InsertKeyTest, QuoteInAKeySwallowsTheCharacterAfterIt) {
    run("CREATE TABLE s (k TEXT PRIMARY KEY);");
    run("INSERT INTO s (k) VALUES ('?');", "it's");
    expectRefused("insertTable", 0, {{"INSERT INTO s (k) VALUES ('?');", kRaiser, kCollision, {"it't"}}});
}

TEST_F(InsertKeyTest, KeyOfSeveralColumnsCollidesWhenAllAreEqual) {
    run("CREATE TABLE p (a INTEGER, b TEXT, c TEXT, PRIMARY KEY(b, a));");
    run("INSERT INTO p (a, b) VALUES (?, '?');", "1", "x");
    run("INSERT INTO p (a, b) VALUES (?, '?');", "1", "y");
    run("INSERT INTO p (a, b) VALUES (?, '?');", "2", "x");
    expectRefused("insertTable", 0,
                  {{"INSERT INTO p (a, b) VALUES (?, '?');", kRaiser, kCollision, {"2", "x"}}});
    EXPECT_EQ(table("p"), "a~b~c~ROWID\n257~260~4~1\nb~a\n1~'x'~NULL~1\n1~'y'~NULL~2\n2~'x'~NULL~3\n");
}

TEST_F(InsertKeyTest, NullKeysNeverCollide) {
    writeFile(tableFile("s"), "k~b~ROWID\n4~4~1\nk\nNULL~'x'~1\n");
    run("INSERT INTO s (b) VALUES ('?');", "y");
    run("INSERT INTO s (k) VALUES ('?');", "NULL");
    run("INSERT INTO s (k) VALUES (?);", "'NULL'");
    EXPECT_EQ(table("s"), "k~b~ROWID\n4~4~1\nk\nNULL~'x'~1\nNULL~'y'~2\nNULL~NULL~3\n'NULL'~NULL~4\n");
}

// Transactions

TEST_F(InsertTest, TransactionKeepsNewRowsInTheWorkingCopy) {
    run("INSERT INTO t (a) VALUES (?);", "1");
    database->beginTransaction();
    run("INSERT INTO t (a) VALUES (?);", "2");
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n\001~t\n"},
                              {"t.backup", kHead + "1~NULL~1\n2~NULL~2\n"},
                              {"t.table", kHead + "1~NULL~1\n"}}));
    run("INSERT INTO t (a) VALUES (?);", "3");
    EXPECT_EQ(database->getLastInsertRowid(), 3);
    expectRefused("insertTable", 0,
                  {{"INSERT INTO t (z) VALUES (?);",
                    "getColumnNameIndex",
                    "Column z not found in Table Definition",
                    {"4"}}});

    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(files(),
              (Files{{"master_rollback", "0\n"}, {"t.table", kHead + "1~NULL~1\n2~NULL~2\n3~NULL~3\n"}}));
}

// Damaged tables

TEST_F(InsertTest, ExtraFieldsAreCarriedAlong) {
    setRecords("1~'x'~4~more~'and more'\n");
    run("INSERT INTO t (a) VALUES (?);", "2");
    expectRecords("1~'x'~4~more~'and more'\n2~NULL~5\n");
}

TEST_F(InsertTest, ShortRecordMattersOnlyWhereAFieldIsNeeded) {
    setRecords("1\n\n2~'y'~7\n");
    run("INSERT INTO t (a) VALUES (?);", "3");
    expectRecords("1\n\n2~'y'~7\n3~NULL~8\n");

    for (const char* records :
         {"1~'x'~1\n2~'y'\n", "1~'x'~1\n\n", "1~'x'~1\n2~'y'\n3~'z'~9223372036854775807\n"}) {
        SCOPED_TRACE(records);
        setRecords(records);
        expectShortRecord("insertTable", "INSERT INTO t (a) VALUES (?);", "3");
    }

    writeFile(tableFile("k"), "b~id\n4~257\nid\n'x'\n'y'~2\n");
    expectShortRecord("insertTable", "INSERT INTO k (id) VALUES (?);", "3");
}

TEST_F(InsertTest, RewriteNormalisesDamagedLines) {
    const std::string nul(1, '\0');
    const std::string cell(1020, 'x');
    struct Row {
        std::string before;
        std::string after;
    };
    const Row rows[] = {
        {"~1~~'x'~1~\n", "1~'x'~1\n2~NULL~2\n"},
        {"1~'x'~12", "1~'x'~1\n2~NULL~2\n"},
        {"1~'x'~3" + nul + "9~9\n2~'y'~2\n", "1~'x'\n2~'y'~2\n2~NULL~3\n"},
        {"1~" + cell + "|2~'y'~2\n", "1~" + cell + "\n2~'y'~2\n2~NULL~3\n"},
    };
    for (const Row& row : rows) {
        setRecords(row.before);
        run("INSERT INTO t (a) VALUES (?);", "2");
        expectRecords(row.after);
    }
}

TEST_F(InsertTest, ColumnWithoutAFlagIsRefused) {
    writeFile(tableFile("t"), "a~b~ROWID\n1\n\n");
    expectShortRecord("insertTable", "INSERT INTO t (a) VALUES (?);", "1");
}

TEST_F(InsertTest, FileWithoutColumnNamesTakesRowsOfNothingButARowId) {
    writeFile(tableFile("t"), "");
    run("INSERT INTO t VALUES ();");
    EXPECT_EQ(table("t"), "\n\n\n1\n");
    run("INSERT INTO t VALUES ();");
    EXPECT_EQ(table("t"), "\n\n\n1\n2\n");
}

TEST_F(InsertTest, ValueThatHoldsASeparatorIsStoredAsGiven) {
    run("INSERT INTO t (b) VALUES ('?');", "x~y");
    expectRecords("NULL~'x~y'~1\n");
}

}  // namespace
}  // namespace Kalt::Vemo::Test
