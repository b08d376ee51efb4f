#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "EngineAccess.h"
#include "FaultLayer.h"
#include "StatementTest.h"

// Which statements read a table's file: none whose text is still kept in memory.
namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::EngineAccess;
using Core::Database::Filedb::Synchronous;

constexpr std::size_t kKilobyte = 1024;

/// While it lives, counts the read calls on each file.
class ReadCalls {
public:
    int of(const std::string& file) const {
        const auto entry = calls_.find(file);
        return entry == calls_.end() ? 0 : entry->second;
    }

private:
    std::map<std::string, int> calls_;  // by the last part of the file's name
    FaultLayer layer_{Fault::kIoError, [this](const FileCall& call) {
                          calls_[call.file] += call.call == Call::kRead ? 1 : 0;
                          return false;  // every call works
                      }};
};

class KeptReadsTest : public StatementTest, public ::testing::WithParamInterface<Synchronous> {
protected:
    void SetUp() override {
        useLevel(GetParam());
        StatementTest::SetUp();
    }

    /// Opens the database with this bound; none: the one that the library is built with.
    void openWith(std::optional<std::size_t> bytes) {
        database = nullptr;  // it keeps others out
        database = std::make_unique<FileDatabase>(level());
        if (bytes) {
            EngineAccess::keepBytes(*database, *bytes);
        }
        open();
    }

    /// Another program makes tables with two rows and this size, so long ago that their age is proof.
    void makeOldTables(const std::vector<std::string>& names, std::size_t size) {
        for (const std::string& name : names) {
            writeFile(tableFile(name), tableOf('x', size));
        }
        letFilesAge();
    }

    static std::string tableOf(char letter, std::size_t size) {
        const std::string head = "a~b~ROWID\n1~4~1\n\n";
        // A line has at most 1023 bytes.
        std::string text = head;
        int row = 0;
        while (text.size() < size) {
            const std::string number = std::to_string(++row);
            const std::size_t fixed = 2 * number.size() + 5;
            const std::size_t left = size - text.size();
            const std::size_t length = left > 1000 ? 500 : left;
            text += number + "~'" + std::string(length > fixed ? length - fixed : 1, letter) + "'~" + number +
                    "\n";
        }
        return text;
    }

    int readsOf(const std::string& name, const std::function<void()>& work) {
        const ReadCalls calls;
        work();
        return calls.of(name + ".table");
    }

    /// How many read calls a SELECT of the whole table makes.
    int readsOfSelect(const std::string& name) {
        return readsOf(name, [&] {
            const Result result = query(("SELECT ROWID, b FROM " + name + ";").c_str());
            ASSERT_NE(result, nullptr);
            EXPECT_EQ(static_cast<std::size_t>(result->getCount()), rowsIn(name)) << name;
        });
    }

    std::size_t rowsIn(const std::string& name) const {
        const std::string text = table(name);
        return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) - 3;
    }

    void insert(const std::string& name) {
        run("INSERT INTO " + name + " (a, b) VALUES (?, '?');", "5", "five");
    }
};

TEST_P(KeptReadsTest, AnOldTableIsReadOnce) {
    openWith(std::nullopt);
    makeOldTables({"t"}, kKilobyte);
    EXPECT_EQ(readsOfSelect("t"), 1);
    EXPECT_EQ(readsOfSelect("t"), 0);
    EXPECT_EQ(readsOfSelect("t"), 0);
}

TEST_P(KeptReadsTest, WithoutABoundEveryStatementReads) {
    openWith(0);
    makeOldTables({"t"}, kKilobyte);
    EXPECT_EQ(readsOfSelect("t"), 1);
    EXPECT_EQ(readsOfSelect("t"), 1);
    insert("t");
    EXPECT_EQ(readsOfSelect("t"), 1);
    EXPECT_GT(readsOf("t", [&] { insert("t"); }), 0);
}

TEST_P(KeptReadsTest, WhatTheEngineWroteIsNotReadAgain) {
    openWith(std::nullopt);
    run("CREATE TABLE t (a INTEGER, b TEXT);");
    const std::string statements[] = {
        "INSERT INTO t (a, b) VALUES (?, '?');", "INSERT INTO t (a, b) VALUES (?, '?');",
        "UPDATE t SET a = ?, b = '?';",          "UPDATE t SET a = ?, b = '?' WHERE ROWID = 2;",
        "DELETE FROM t WHERE ROWID = 1;",        "UPDATE t SET a = ?, b = '?' WHERE ROWID = 99;",
    };
    for (const std::string& statement : statements) {
        SCOPED_TRACE(statement);
        EXPECT_EQ(readsOf("t", [&] { run(statement, "1", "one"); }), 0);
        EXPECT_EQ(readsOfSelect("t"), 0);
    }
}

TEST_P(KeptReadsTest, DroppedTablesTakeNoPlace) {
    openWith(std::nullopt);
    makeOldTables({"t"}, kKilobyte);
    EXPECT_EQ(readsOfSelect("t"), 1);
    for (int table = 0; table < 100; ++table) {
        run("CREATE TABLE extra (a INTEGER);");
        run("DROP TABLE extra;");
    }
    EXPECT_EQ(readsOfSelect("t"), 0);
}

TEST_P(KeptReadsTest, OfManySmallTablesTheLastOnesAreKept) {
    openWith(std::nullopt);
    std::vector<std::string> names;
    for (int table = 0; table < 65; ++table) {
        names.push_back("t" + std::to_string(table));
    }
    makeOldTables(names, 50);
    for (const std::string& name : names) {
        EXPECT_EQ(readsOfSelect(name), 1);
    }
    EXPECT_EQ(readsOfSelect("t1"), 0);
    EXPECT_EQ(readsOfSelect("t64"), 0);
    EXPECT_EQ(readsOfSelect("t0"), 1);
}

TEST_P(KeptReadsTest, WhatATransactionWroteIsNotReadAgain) {
    openWith(std::nullopt);
    makeOldTables({"t"}, kKilobyte);
    EXPECT_EQ(readsOfSelect("t"), 1);
    EXPECT_EQ(readsOf("t",
                      [&] {
                          ASSERT_TRUE(database->beginTransaction());
                          insert("t");
                          insert("t");
                          ASSERT_TRUE(database->commitTransaction());
                      }),
              0);
    EXPECT_EQ(readsOfSelect("t"), 0);
}

TEST_P(KeptReadsTest, AStatementThatFailsLosesNothing) {
    openWith(std::nullopt);
    makeOldTables({"t"}, kKilobyte);
    EXPECT_EQ(readsOfSelect("t"), 1);
    exec("INSERT INTO t (nosuch) VALUES (?);", "1");
    exec("UPDATE t SET nosuch = ?;", "1");
    exec("DELETE FROM t WHERE nosuch = 1;");
    query("SELECT nosuch FROM t;");
    EXPECT_EQ(readsOfSelect("t"), 0);
}

TEST_P(KeptReadsTest, AForeignChangeIsReadOnce) {
    openWith(std::nullopt);
    makeOldTables({"t"}, kKilobyte);
    EXPECT_EQ(readsOfSelect("t"), 1);
    makeOldTables({"t"}, kKilobyte);
    EXPECT_EQ(readsOfSelect("t"), 1);
    EXPECT_EQ(readsOfSelect("t"), 0);
}

TEST_P(KeptReadsTest, TheTableThatWasUsedLeastRecentlyGoesFirst) {
    openWith(40 * kKilobyte);
    makeOldTables({"a", "b", "c"}, 16 * kKilobyte);
    EXPECT_EQ(readsOfSelect("a"), 1);
    EXPECT_EQ(readsOfSelect("b"), 1);
    EXPECT_EQ(readsOfSelect("a"), 0);
    EXPECT_EQ(readsOfSelect("c"), 1);
    EXPECT_EQ(readsOfSelect("a"), 0);
    EXPECT_EQ(readsOfSelect("c"), 0);
    EXPECT_EQ(readsOfSelect("b"), 1) << "there is room for two";
    EXPECT_EQ(readsOfSelect("c"), 0);
    EXPECT_EQ(readsOfSelect("a"), 1);
}

TEST_P(KeptReadsTest, ATableThatGrowsTakesTheRoomOfOthers) {
    openWith(40 * kKilobyte);
    makeOldTables({"a", "b"}, 16 * kKilobyte);
    EXPECT_EQ(readsOfSelect("a"), 1);
    EXPECT_EQ(readsOfSelect("b"), 1);
    for (int row = 0; row < 12; ++row) {
        run("INSERT INTO b (a, b) VALUES (?, '?');", "1", std::string(1000, 'y').c_str());
        EXPECT_EQ(readsOfSelect("b"), 0);
    }
    EXPECT_EQ(readsOfSelect("a"), 1);
}

TEST_P(KeptReadsTest, ATableOverTheBoundIsNotKeptAndTakesNoRoom) {
    openWith(20 * kKilobyte);
    makeOldTables({"small"}, kKilobyte);
    makeOldTables({"large"}, 21 * kKilobyte);
    EXPECT_EQ(readsOfSelect("small"), 1);
    EXPECT_EQ(readsOfSelect("large"), 1);
    EXPECT_EQ(readsOfSelect("large"), 1);
    EXPECT_EQ(readsOfSelect("small"), 0);
}

TEST_P(KeptReadsTest, WithoutAWordOneMebibyteIsKept) {
    openWith(std::nullopt);
    makeOldTables({"t"}, 1000 * kKilobyte);
    EXPECT_GT(readsOfSelect("t"), 0);
    EXPECT_EQ(readsOfSelect("t"), 0);
    makeOldTables({"t"}, 1025 * kKilobyte);
    EXPECT_GT(readsOfSelect("t"), 0);
    EXPECT_GT(readsOfSelect("t"), 0);
}

// What is found out about a text counts as well, once it is known.
TEST_P(KeptReadsTest, ABoundOfAnySizeGivesTheSameRows) {
    makeOldTables({"a", "b"}, kKilobyte / 4);
    std::vector<std::string> expected;
    for (std::size_t bytes = 0; bytes < 2 * kKilobyte; bytes += 8) {
        SCOPED_TRACE(bytes);
        openWith(bytes);
        std::vector<std::string> found;
        for (const char* name : {"a", "b", "a", "a", "b"}) {
            const std::string sql = std::string("SELECT ROWID, b FROM ") + name;
            for (const char* condition : {";", " WHERE ROWID = 1;", " WHERE ROWID = 9;"}) {
                const std::vector<std::string> lines = rows(query((sql + condition).c_str()), 2);
                found.insert(found.end(), lines.begin(), lines.end());
            }
        }
        expected = bytes == 0 ? found : expected;
        ASSERT_EQ(found, expected);
        log.clear();
    }
    EXPECT_FALSE(expected.empty());
}

TEST_P(KeptReadsTest, NothingIsKeptWhenTheDatabaseIsOpenedAgain) {
    openWith(std::nullopt);
    makeOldTables({"t"}, kKilobyte);
    EXPECT_EQ(readsOfSelect("t"), 1);
    ASSERT_TRUE(database->deinit());
    open();
    EXPECT_EQ(readsOfSelect("t"), 1);
    EXPECT_EQ(readsOfSelect("t"), 0);
    open();
    EXPECT_EQ(readsOfSelect("t"), 1);
}

TEST_P(KeptReadsTest, ATableThatWasDroppedAndMadeAgainIsTheNewOne) {
    openWith(std::nullopt);
    makeOldTables({"t"}, kKilobyte);
    EXPECT_EQ(readsOfSelect("t"), 1);
    run("DROP TABLE t;");
    EXPECT_EQ(query("SELECT * FROM t;"), nullptr);
    log.clear();
    run("CREATE TABLE t (a INTEGER, b TEXT);");
    EXPECT_EQ(rows(query("SELECT * FROM t;"), 2), std::vector<std::string>());
}

INSTANTIATE_TEST_SUITE_P(AtEveryLevel, KeptReadsTest,
                         ::testing::Values(Synchronous::off, Synchronous::normal, Synchronous::full),
                         levelName);

}  // namespace
}  // namespace Kalt::Vemo::Test
