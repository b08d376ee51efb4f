#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "DatabaseTest.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::ElementsAre;

constexpr int kThreads = 4;
constexpr int kRounds = 25;

class ConcurrencyTest : public DatabaseTest {
protected:
    void SetUp() override {
        open();
        for (const char* name : {"t", "u"}) {
            EXPECT_EQ(exec((std::string("CREATE TABLE ") + name + " (a INTEGER, b TEXT);").c_str()), 0);
        }
    }

    void TearDown() override {
        for (const std::string& text : log.texts(-2)) {
            EXPECT_EQ(text, "line is NULL");
        }
        EXPECT_EQ(journal(), "0\n");
        EXPECT_THAT(listDirectory(directory()), ElementsAre("master_rollback", "t.table", "u.table"));
    }

    /// Runs the work in several threads at once, each told its number, and waits for all of them.
    static void inThreads(int count, const std::function<void(int)>& work) {
        std::vector<std::thread> threads;
        threads.reserve(static_cast<std::size_t>(count));
        for (int number = 0; number < count; ++number) {
            threads.emplace_back(work, number);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    int count(const std::string& table, const std::string& condition = "") {
        const Result result = query(("SELECT a FROM " + table + condition + ";").c_str());
        return result ? result->getCount() : -1;
    }

    void insert(const char* table, int value) {
        const std::string text = std::to_string(value);
        EXPECT_EQ(exec((std::string("INSERT INTO ") + table + " (a, b) VALUES (?, '?');").c_str(),
                       text.c_str(), "text"),
                  0);
    }
};

TEST_F(ConcurrencyTest, EveryInsertOfEveryThreadIsThereOnce) {
    inThreads(kThreads, [this](int number) {
        for (int i = 0; i < kRounds; ++i) {
            insert("t", number);
        }
    });
    for (int number = 0; number < kThreads; ++number) {
        EXPECT_EQ(count("t", " WHERE a = " + std::to_string(number)), kRounds);
    }
    EXPECT_EQ(count("t", " WHERE ROWID >= 1 AND ROWID <= " + std::to_string(kThreads * kRounds)),
              kThreads * kRounds);
    EXPECT_EQ(count("t"), kThreads * kRounds);
    EXPECT_EQ(database->getLastInsertRowid(), kThreads * kRounds);
}

TEST_F(ConcurrencyTest, ReadersSeeWholeTablesThatOnlyGrow) {
    inThreads(kThreads, [this](int number) {
        int last = 0;
        for (int i = 0; i < kRounds; ++i) {
            if (number % 2 == 0) {
                insert("t", i);
                continue;
            }
            const Result result = query("SELECT a, b, ROWID FROM t;");
            if (!result) {
                ADD_FAILURE() << "no result";
                return;
            }
            EXPECT_GE(result->getCount(), last);
            last = result->getCount();
            for (int rowId = 1; result->next(); ++rowId) {
                EXPECT_EQ(result->getInt("ROWID"), rowId);
                EXPECT_EQ(result->getString("b"), "text");
            }
        }
    });
    EXPECT_EQ(count("t"), kThreads / 2 * kRounds);
}

TEST_F(ConcurrencyTest, UpdatesAndDeletesOfDifferentRowsDoNotLoseEachOther) {
    for (int number = 0; number < kThreads; ++number) {
        for (int i = 0; i < 3; ++i) {
            insert("t", number * 1000);
        }
    }
    inThreads(kThreads, [this](int number) {
        for (int i = 0; i < kRounds; ++i) {
            const std::string from = std::to_string(number * 1000 + i);
            const std::string to = std::to_string(number * 1000 + i + 1);
            EXPECT_EQ(exec("UPDATE t SET a=? WHERE a = ?;", to.c_str(), from.c_str()), 0);
            insert("u", number);
            EXPECT_EQ(exec("DELETE FROM u WHERE a = ?;", std::to_string(number).c_str()), 0);
        }
    });
    for (int number = 0; number < kThreads; ++number) {
        EXPECT_EQ(count("t", " WHERE a = " + std::to_string(number * 1000 + kRounds)), 3);
    }
    EXPECT_EQ(count("t"), 3 * kThreads);
    EXPECT_EQ(count("u"), 0);
}

TEST_F(ConcurrencyTest, TransactionsOfSeveralThreadsDoNotMix) {
    inThreads(kThreads, [this](int number) {
        for (int i = 0; i < kRounds; ++i) {
            EXPECT_TRUE(database->beginTransaction());
            const int before = count("t");
            EXPECT_EQ(count("u"), before);
            insert("t", number);
            insert("u", number);
            EXPECT_EQ(count("t"), before + 1);
            EXPECT_EQ(count("u"), before + 1);
            const bool commits = i % 5 != 0;
            EXPECT_TRUE(commits ? database->commitTransaction() : database->rollbackTransaction());
        }
    });
    constexpr int kCommitted = kRounds - kRounds / 5;
    for (int number = 0; number < kThreads; ++number) {
        EXPECT_EQ(count("t", " WHERE a = " + std::to_string(number)), kCommitted);
        EXPECT_EQ(count("u", " WHERE a = " + std::to_string(number)), kCommitted);
    }
    reopen();
    EXPECT_EQ(count("t"), kThreads * kCommitted);
    EXPECT_EQ(count("u"), kThreads * kCommitted);
}

TEST_F(ConcurrencyTest, SingleStatementsNeverLandInAnotherThreadsTransaction) {
    std::atomic<int> kept{0};
    inThreads(kThreads, [&](int number) {
        for (int i = 0; i < kRounds; ++i) {
            if (number == 0) {
                EXPECT_TRUE(database->beginTransaction());
                insert("t", 99);
                EXPECT_TRUE(database->rollbackTransaction());
            } else {
                insert("t", number);
                ++kept;
            }
        }
    });
    EXPECT_EQ(count("t"), kept);
    EXPECT_EQ(count("t", " WHERE a = 99"), 0);
}

TEST_F(ConcurrencyTest, TwoDatabasesWorkSideBySide) {
    FileDatabase other;
    ASSERT_TRUE(other.init(temporary.file("other")));
    ASSERT_EQ(other.executeUpdate("CREATE TABLE t (a INTEGER, b TEXT);"), 0);
    inThreads(kThreads, [&](int number) {
        for (int i = 0; i < kRounds; ++i) {
            if (number % 2 == 0) {
                insert("t", number);
            } else {
                EXPECT_TRUE(other.beginTransaction());
                EXPECT_EQ(other.executeUpdate("INSERT INTO t (a) VALUES (?);", "7"), 0);
                EXPECT_TRUE(other.commitTransaction());
            }
        }
    });
    EXPECT_EQ(count("t"), kThreads / 2 * kRounds);
    const Result result(other.executeQuery("SELECT * FROM t WHERE a = 7;"));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->getCount(), kThreads / 2 * kRounds);
    EXPECT_THAT(listDirectory(temporary.file("other_filedb")), ElementsAre("master_rollback", "t.table"));
    EXPECT_EQ(readFile(temporary.file("other_filedb/master_rollback")), "0\n");
}

TEST_F(ConcurrencyTest, TwoOpenTransactionsOfOneThreadOnTwoDatabasesDoNotTouchEachOther) {
    FileDatabase other;
    ASSERT_TRUE(other.init(temporary.file("other")));
    ASSERT_EQ(other.executeUpdate("CREATE TABLE t (a INTEGER);"), 0);
    EXPECT_TRUE(database->beginTransaction());
    EXPECT_TRUE(other.beginTransaction());
    insert("t", 1);
    EXPECT_EQ(other.executeUpdate("INSERT INTO t (a) VALUES (?);", "2"), 0);
    EXPECT_EQ(other.getLastInsertRowid(), 1);
    EXPECT_TRUE(database->rollbackTransaction());
    EXPECT_TRUE(other.commitTransaction());
    EXPECT_EQ(table("t"), "a~b~ROWID\n1~4~1\n\n");
    EXPECT_EQ(readFile(temporary.file("other_filedb/t.table")), "a~ROWID\n1~1\n\n2~1\n");
}

TEST_F(ConcurrencyTest, ThreadsShareTextsAndNotValues) {
    inThreads(kThreads, [this](int number) {
        const std::string mine = std::to_string(number);
        const char* const table = number % 2 == 0 ? "t" : "u";
        for (int i = 0; i < kRounds; ++i) {
            insert(table, number);
            // Texts of its own drive the shared ones out, again and again.
            EXPECT_EQ(count(table, " WHERE a = " + mine + " AND a != " + std::to_string(1000 + i)), 1);
            for (const char* name : {"t", "u"}) {
                const std::string text = std::string("SELECT a, b FROM ") + name + " WHERE a = ?;";
                const Result result = query(text.c_str(), mine.c_str());
                if (!result) {
                    ADD_FAILURE() << "no result";
                    return;
                }
                EXPECT_EQ(result->getCount(), std::string(name) == table ? 1 : 0);
                while (result->next()) {
                    EXPECT_EQ(result->getInt("a"), number);
                }
            }
            EXPECT_EQ(exec((std::string("DELETE FROM ") + table + " WHERE a = ?;").c_str(), mine.c_str()), 0);
        }
    });
    EXPECT_EQ(count("t"), 0);
    EXPECT_EQ(count("u"), 0);
}

TEST_F(ConcurrencyTest, OpeningAndClosingDatabasesInManyThreads) {
    inThreads(kThreads, [this](int number) {
        for (int i = 0; i < 5; ++i) {
            const std::string name = temporary.file("own" + std::to_string(number));
            FileDatabase own;
            EXPECT_TRUE(own.init(name));
            EXPECT_EQ(own.executeUpdate("CREATE TABLE IF NOT EXISTS t (a INTEGER);"), 0);
            EXPECT_EQ(own.executeUpdate("INSERT INTO t (a) VALUES (?);", "1"), 0);
            EXPECT_EQ(own.getLastInsertRowid(), i + 1);
        }
    });
}

}  // namespace
}  // namespace Kalt::Vemo::Test
