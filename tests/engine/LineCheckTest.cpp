#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "StatementTest.h"

// A database that asks its owner about every line that it is about to store.
namespace Kalt::Vemo::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::size_t kLongestLine = 22;

std::vector<std::size_t> asked;

bool mayStore(std::size_t bytes) {
    asked.push_back(bytes);
    return bytes <= kLongestLine;
}

class LineCheckTest : public StatementTest {
protected:
    void SetUp() override {
        StatementTest::SetUp();
        run("CREATE TABLE t (a INTEGER, b TEXT);");
        for (const char* value : {"1", "22", "333"}) {
            run("INSERT INTO t (a, b) VALUES (?, '?');", value, "text");
        }
        database = std::make_unique<FileDatabase>(mayStore);
        ASSERT_TRUE(database->init(path()));
        log.clear();
        asked.clear();
    }

    /// The statement must fail as a whole and say why.
    void expectTooLong(const std::string& handler, const std::string& bytes, const std::string& sql,
                       const std::vector<const char*>& values) {
        expectRefused(
            handler, 0,
            {{sql, handler, "DB Error: Line of " + bytes + " bytes is too long, shorten its texts", values}});
    }
};

TEST_F(LineCheckTest, ALineOfTheGreatestLengthIsStoredAndALongerOneIsNot) {
    run("INSERT INTO t (a, b) VALUES (?, '?');", "4444", "longest text");
    expectTooLong("insertTable", "23", "INSERT INTO t (a, b) VALUES (?, '?');", {"4444", "longest text!"});
    run("UPDATE t SET a=?, b='?' WHERE a = 1;", "1", "longest text 12");
    expectTooLong("updateTable", "23", "UPDATE t SET a=?, b='?' WHERE a = 1;", {"11", "longest text 12"});
    EXPECT_EQ(
        table("t"),
        "a~b~ROWID\n1~4~1\n\n1~'longest text 12'~1\n22~'text'~2\n333~'text'~3\n4444~'longest text'~4\n");
}

TEST_F(LineCheckTest, OneLineThatIsTooLongRefusesTheUpdateOfAllRows) {
    expectTooLong("updateTable", "23", "UPDATE t SET b='?' WHERE ROWID > 0;", {"1234567890123456"});
}

TEST_F(LineCheckTest, OnlyLinesThatChangeAreAskedAbout) {
    run("UPDATE t SET a=? WHERE a > 1;", "55");
    run("DELETE FROM t WHERE a = 1;");
    EXPECT_THAT(asked, ElementsAre(12, 12));
}

TEST_F(LineCheckTest, ARefusalInATransactionKeepsWhatTheTransactionHasDone) {
    database->beginTransaction();
    run("UPDATE t SET a=? WHERE a = 1;", "7");
    expectTooLong("insertTable", "23", "INSERT INTO t (a, b) VALUES (?, '?');", {"4444", "longest text!"});
    run("DELETE FROM t WHERE a = 22;");
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(table("t"), "a~b~ROWID\n1~4~1\n\n7~'text'~1\n333~'text'~3\n");
    EXPECT_EQ(database->getLastInsertRowid(), 0);
}

TEST_F(LineCheckTest, WhatTheCheckThrowsRefusesTheStatementAndIsWhatTheLogSays) {
    database = std::make_unique<FileDatabase>([](std::size_t bytes) -> bool {
        throw std::runtime_error("no room for " + std::to_string(bytes) + " bytes");
    });
    ASSERT_TRUE(database->init(path()));
    log.clear();
    const std::string before = table("t");
    exec("INSERT INTO t (a, b) VALUES (?, '?');", "4444", "text");
    exec("UPDATE t SET a=? WHERE a = 22;", "1");
    EXPECT_THAT(takeErrors(), ElementsAre("insertTable Exception: no room for 14 bytes",
                                          "updateTable Exception: no room for 11 bytes"));
    EXPECT_EQ(table("t"), before);
}

TEST_F(LineCheckTest, WithoutACheckEveryLineIsStored) {
    database = std::make_unique<FileDatabase>(nullptr);
    ASSERT_TRUE(database->init(path()));
    run("DELETE FROM t;");
    run("INSERT INTO t (a, b) VALUES (?, '?');", "1", std::string(2000, 'x').c_str());
    EXPECT_EQ(table("t"), "a~b~ROWID\n1~4~1\n\n1~'" + std::string(2000, 'x') + "'~1\n");
    EXPECT_THAT(asked, IsEmpty());
}

}  // namespace
}  // namespace Kalt::Vemo::Test
