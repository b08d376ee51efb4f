// A statement's text is taken apart once. Whatever comes of it must not tell how often the text came before.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "StatementTest.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using ValueList = std::vector<const char*>;

class RepeatedTextTest : public StatementTest {
protected:
    void SetUp() override {
        open();
        EXPECT_EQ(exec("CREATE TABLE t (a INTEGER, b TEXT, c REAL);"), 0);
        EXPECT_EQ(exec("INSERT INTO t (a, b, c) VALUES (?, '?', ?);", "1", "one", "1.5"), 0);
        EXPECT_EQ(exec("INSERT INTO t (a, b, c) VALUES (?, '?', ?);", "2", "two", "2.5"), 0);
        EXPECT_EQ(exec("CREATE TABLE k (id INTEGER PRIMARY KEY, b TEXT);"), 0);
        EXPECT_EQ(exec("INSERT INTO k (id, b) VALUES (?, '?');", "7", "seven"), 0);
        log.clear();
    }

    /// All that can be seen of a statement: what it returned or gave, what it logged, and the files after it.
    struct Outcome {
        std::string result;
        std::vector<std::string> log;
        Files files;

        bool operator==(const Outcome& other) const {
            return result == other.result && log == other.log && files == other.files;
        }
    };

    Outcome outcomeOf(const std::string& sql, const ValueList& values, bool isQuery) {
        log.clear();
        Outcome outcome;
        if (isQuery) {
            const Result result = queryWith(sql, values);
            outcome.result = !result ? "none" : std::to_string(result->getCount());
        } else {
            outcome.result = std::to_string(execWith(sql, values));
        }
        outcome.log = lines();
        outcome.files = files();
        return outcome;
    }

    /// Everything that was logged, with module, tag and level.
    std::vector<std::string> lines() const {
        std::vector<std::string> result;
        for (const LoggedMessage& message : log.messages()) {
            result.push_back(std::to_string(message.module) + " " + message.tag + " " +
                             std::to_string(message.level) + " " + message.text);
        }
        return result;
    }

    /// The lines about the text itself, less those about files, of all that was logged.
    std::vector<std::string> textLines() const {
        std::vector<std::string> result;
        for (const LoggedMessage& message : log.messages()) {
            if (message.tag != "FileResultTable" && message.text.find("FileName=") == std::string::npos) {
                result.push_back(message.tag + " " + message.text);
            }
        }
        return result;
    }

    void expectSameAsFirstUse(const std::string& sql, const std::vector<ValueList>& uses, bool isQuery) {
        SCOPED_TRACE(sql);
        std::vector<Outcome> repeated;
        std::vector<Files> before;
        reopen();
        for (const ValueList& values : uses) {
            before.push_back(files());
            repeated.push_back(outcomeOf(sql, values, isQuery));
        }
        for (std::size_t use = 0; use < uses.size(); ++use) {
            SCOPED_TRACE("use " + std::to_string(use + 1));
            restoreFiles(directory(), before[use]);
            reopen();
            const Outcome first = outcomeOf(sql, uses[use], isQuery);
            EXPECT_EQ(repeated[use].result, first.result);
            EXPECT_EQ(repeated[use].log, first.log);
            EXPECT_EQ(repeated[use].files, first.files);
            EXPECT_THAT(first.log, ::testing::Not(IsEmpty()));
        }
    }
};

struct RepeatedText {
    std::string sql;
    std::vector<ValueList> uses = {{}, {}, {}};
};

TEST_F(RepeatedTextTest, QueryDoesAndLogsTheSameAsAtItsFirstUse) {
    const std::vector<RepeatedText> texts = {
        {"SELECT a, b, ROWID FROM t WHERE a = ? AND b = '?';", {{"1", "one"}, {"2", "two"}, {"1", "two"}}},
        {"SELECT *, ROWID FROM t;"},
        {"SELECT * , * FROM t ;"},
        {"SELECT ROWID, b FROM k WHERE id = ?;", {{"7"}, {"8"}, {"7"}}},
        // A value may be an operator, a bracket, or too much.
        {"SELECT a FROM t WHERE a ? 1;", {{"="}, {">"}, {"**"}, {"("}, {"="}}},
        {"SELECT a FROM t WHERE b = '?';", {{"one"}, {nullptr}, {"NULL"}, {"two' OR"}, {"two"}}},
        {"SELECT ? FROM t;", {{"a"}, {"b"}, {"a"}}},
        {"SELECT missing, b FROM t;"},
        {"SELECT a, 1b, b FROM t;"},
        {"SELECT a, , b FROM t;"},
        {"SELECT a FROM missing;"},
        {"SELECT a FROM 1t;"},
        {"SELECT a FROM t"},
        {"SELECTa FROM t;"},
        {"DROP TABLE t;"},
        {";"},
        {""},
    };
    for (const RepeatedText& text : texts) {
        expectSameAsFirstUse(text.sql, text.uses, true);
    }
}

TEST_F(RepeatedTextTest, ChangeDoesAndLogsTheSameAsAtItsFirstUse) {
    const std::vector<RepeatedText> texts = {
        {"INSERT INTO t (a, b , c) VALUES (?, '?', ?);",
         {{"3", "three", "3.5"}, {"4", nullptr, "4.5"}, {"five", "5", "5.5"}, {"6", "six", "6.5"}}},
        {"INSERT INTO t VALUES (1, 'a');"},
        {"INSERT INTO t (a, a) VALUES (?, ?);", {{"1", "2"}, {"3", "4"}, {"5", "x"}}},
        {"INSERT INTO k (id, b) VALUES (?, '?');", {{"8", "eight"}, {"8", "again"}, {"9", "nine"}}},
        {"INSERT INTO t (a, missing) VALUES (?, ?);", {{"1", "2"}, {"3", "4"}, {"5", "6"}}},
        {"INSERT INTO t (a, 1b, c) VALUES (?, ?, ?);", {{"1", "2", "3"}, {"4", "5", "6"}, {"7", "8", "9"}}},
        {"INSERT INTO t (a, b) VALUE (?, ?);", {{"1", "2"}, {"3", "4"}, {"5", "6"}}},
        {"INSERT INTO t (a, b) VALUES (?);", {{"1"}, {"2"}, {"3"}}},
        {"INSERT INTO t (a) VALUES (?, 7) x;", {{"1"}, {"2"}, {"3"}}},
        {"INSERT INTO t (a) VALUES (7);"},
        {"INSERT INTO t (a;"},
        {"INSERT INTO t ;"},
        {"INSERT INTO missing (a) VALUES (?);", {{"1"}, {"2"}, {"3"}}},
        {"UPDATE t SET a=?, b = '?' WHERE a = ?;", {{"5", "x", "1"}, {"6", "y", "2"}, {"7", "z", "5"}}},
        {"UPDATE t SET a=?;", {{"1"}, {"2"}, {"x"}}},
        {"UPDATE k SET id=? WHERE b = '?';", {{"8", "seven"}, {"9", "eight"}, {"10", "seven"}}},
        {"UPDATE t SET a=?, b WHERE a = ?;", {{"1", "2"}, {"3", "4"}, {"5", "6"}}},
        {"UPDATE t SET a=?, b-c=? WHERE a = ?;", {{"1", "2", "3"}, {"4", "5", "6"}, {"7", "8", "9"}}},
        {"UPDATE t SET ROWID=? WHERE a = ?;", {{"1", "2"}, {"3", "4"}, {"5", "6"}}},
        {"UPDATE t SET a=? WHERE a = ? AND;", {{"1", "2"}, {"3", "4"}, {"5", "6"}}},
        {"DELETE FROM t WHERE a = ?;", {{"9"}, {"1"}, {"2"}}},
        {"DELETE FROM t WHERE a IN ?;", {{"9"}, {"1"}, {"2"}}},
        {"DELETE FROM t where a = ?;", {{"9"}, {"1"}, {"2"}}},
        {"DELETE FROM missing;"},
        {"CREATE TABLE u (a INTEGER, b TEXT);"},
        {"CREATE TABLE IF NOT EXISTS v (a INTEGER);"},
        {"CREATE TABLE IF EXISTS v (a INTEGER);"},
        {"CREATE TABLE w (a INTEGER, 1b TEXT);"},
        {"ALTER TABLE IN k ADD COLUMN n TEXT;"},
        {"ALTER TABLE IN k ADD COLUMN b TEXT;"},
        {"ALTER TABLE IN k DROP COLUMN b;"},
        {"DROP TABLE k;"},
        {"DROP TABLE IF EXISTS t;"},
        {"DROP TABLE;"},
        {"DROP VIEW t;"},
        {"INSERT INTO t (a) VALUES (?)", {{"1"}, {"2"}, {"3"}}},
        {"SELECT a FROM t;"},
        {""},
    };
    for (const RepeatedText& text : texts) {
        expectSameAsFirstUse(text.sql, text.uses, false);
    }
}

TEST_F(RepeatedTextTest, LogsEveryPieceOfASelectAtEachUse) {
    const char* const values[] = {"1", "2", "1"};
    for (const char* value : values) {
        log.clear();
        EXPECT_NE(query("SELECT b , a FROM t WHERE a = ?;", value), nullptr);
        const std::vector<std::string> lines = textLines();
        const std::vector<std::string> begin(lines.begin(), lines.begin() + 12);
        EXPECT_THAT(begin, ElementsAre("FileDatabase executeQuery",
                                       "FileDatabase passed SQL:SELECT b , a FROM t WHERE a = ?;",
                                       "FileDatabase Statement After Removing trailing "
                                       "Semicolon:SELECT b , a FROM t WHERE a = ?",
                                       "Utils Column Name:'t '", "FileDatabase Parsing of SELECT Column..",
                                       "Utils String to split:' b , a ' with Separator: ','",
                                       "Utils Column Name:' b '", "Utils columnName:'b' Index=1",
                                       "Utils Column Name:' a '", "Utils columnName:'a' Index=0",
                                       "WhereClause parseWhereClause",
                                       "WhereClause WHERE Vec=[ a = " + std::string(value) + "]"));
    }
}

TEST_F(RepeatedTextTest, LogsEveryPieceOfAnInsertAtEachUse) {
    const char* const values[] = {"1", "2", "1"};
    for (const char* value : values) {
        log.clear();
        EXPECT_EQ(exec("INSERT INTO t(a, b ) VALUES (?,'?' );", value, "x"), 0);
        const std::vector<std::string> lines = textLines();
        const std::vector<std::string> begin(lines.begin(), lines.begin() + 12);
        EXPECT_THAT(
            begin,
            ElementsAre("FileDatabase executeUpdate",
                        "FileDatabase passed SQL:'INSERT INTO t(a, b ) VALUES (?,'?' );'",
                        "FileDatabase Statement After Removing trailing Semicolon:INSERT INTO t(a, b ) "
                        "VALUES (?,'?' )",
                        "FileDatabase tableName:'t' Unparsed SQL='(a, b ) VALUES (?,'?' )'",
                        "Utils String to split:'a, b ' with Separator: ','", "Utils Column Name:'a'",
                        "Utils Column Name:' b '", "Utils String to split:'?,'?' ' with Separator: ','",
                        "Utils columnName:'a' Index=0",
                        "FileDatabase Value Holder:? Value:" + std::string(value),
                        "Utils columnName:'b' Index=1", "FileDatabase Value Holder:'?'  Value:'x'"));
    }
}

TEST_F(RepeatedTextTest, LogsEveryPieceOfAnUpdateAtEachUse) {
    const char* const values[] = {"1", "2", "1"};
    for (const char* value : values) {
        log.clear();
        EXPECT_EQ(exec("UPDATE t SET a =?, b='?' WHERE a = ?;", value, "x", "2"), 0);
        const std::vector<std::string> lines = textLines();
        const std::vector<std::string> begin(lines.begin(), lines.begin() + 14);
        EXPECT_THAT(
            begin,
            ElementsAre("FileDatabase executeUpdate",
                        "FileDatabase passed SQL:'UPDATE t SET a =?, b='?' WHERE a = ?;'",
                        "FileDatabase Statement After Removing trailing Semicolon:UPDATE t SET a =?, b='?' "
                        "WHERE a = ?",
                        "FileDatabase tableName:'t' Unparsed SQL=' a =?, b='?' WHERE a = ?'",
                        "FileDatabase Parsing of SET column and values..",
                        "Utils String to split:' a =?, b='?'' with Separator: ','", "Utils Column Name:' a '",
                        "Utils columnName:'a' Index=0",
                        "FileDatabase Value Holder:? Value:" + std::string(value), "Utils Column Name:' b'",
                        "Utils columnName:'b' Index=1", "FileDatabase Value Holder:'?' Value:'x'",
                        "WhereClause parseWhereClause", "WhereClause WHERE Vec=[ a = 2]"));
    }
}

TEST_F(RepeatedTextTest, SeesTheColumnsOfTheTableAsItIsNow) {
    const char* const select = "SELECT b, a FROM t WHERE a = '?';";
    const char* const insert = "INSERT INTO t (a, b) VALUES ('?', '?');";
    const char* const update = "UPDATE t SET b='?' WHERE a = '?';";
    const char* const all = "SELECT * FROM t;";
    run(insert, "3", "x");
    run(update, "33", "3");
    EXPECT_THAT(rows(query(select, "3"), 2), ElementsAre("33|3"));
    EXPECT_THAT(rows(query(all), 3), ElementsAre("1|one|1.5", "2|two|2.5", "3|33|-"));

    run("DROP TABLE t;");
    EXPECT_EQ(query(select, "3"), nullptr);
    takeErrors();
    run("CREATE TABLE t (b TEXT, d INTEGER, a TEXT);");
    run(insert, "A", "B");
    run(update, "C", "A");
    EXPECT_THAT(rows(query(select, "A"), 2), ElementsAre("C|A"));
    EXPECT_THAT(rows(query(all), 3), ElementsAre("C|-|A"));

    run("DROP TABLE t;");
    run("CREATE TABLE t (a INTEGER);");
    run("INSERT INTO t (a) VALUES (?);", "5");
    takeErrors();
    EXPECT_EQ(query(select, "5"), nullptr);
    expectOneError("executeQuery", "Column b not found in Table Definition");
    EXPECT_EQ(exec(insert, "1", "2"), 0);
    expectOneError("insertTable", "Column b not found in Table Definition");
    EXPECT_EQ(exec(update, "1", "5"), 0);
    expectOneError("updateTable", "Column b not found in Table Definition");
    EXPECT_THAT(rows(query(all), 1), ElementsAre("5"));
}

TEST_F(RepeatedTextTest, MeansAnotherThingInTheOtherCall) {
    for (int use = 0; use < 3; ++use) {
        EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("1", "2"));
        takeErrors();
        EXPECT_EQ(exec("SELECT a FROM t;"), 0);
        EXPECT_THAT(takeErrors(), ElementsAre("Syntax Error: unsupported Error"));
        EXPECT_EQ(query("DELETE FROM k;"), nullptr);
        expectOneError("executeQuery", "DB Syntax Error: Error at SELECT or FROM clause");
    }
}

TEST_F(RepeatedTextTest, MoreTextsThanAreKeptComeAndGo) {
    constexpr int kTexts = 20;
    const std::string blanks(600, ' ');
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < kTexts; ++i) {
            const std::string condition = " WHERE a = " + std::to_string(100 + i);
            run("INSERT INTO t (a) VALUES (?);", std::to_string(100 + i).c_str());
            EXPECT_THAT(rows(query(("SELECT a FROM t" + condition + ";").c_str()), 1),
                        ElementsAre(std::to_string(100 + i)));
            run("DELETE FROM t" + condition + ";");
            EXPECT_THAT(rows(query(("SELECT a FROM t" + condition + blanks + ";").c_str()), 1), IsEmpty());
        }
    }
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("1", "2"));
}

}  // namespace
}  // namespace Kalt::Vemo::Test
