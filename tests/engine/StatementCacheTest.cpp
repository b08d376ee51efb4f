#include "StatementCache.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "SqlText.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::StatementCache;
using Core::Database::Filedb::SqlText::Query;
using Kept = std::shared_ptr<const Query>;

constexpr int kMostStatements = 16;

std::string text(int number) {
    return "SELECT a FROM t WHERE a = " + std::to_string(100 + number) + ";";
}

std::string textOfLength(std::size_t length) {
    const std::string begin = "SELECT a FROM t WHERE b = '";
    const std::string end = "';";
    return begin + std::string(length - begin.size() - end.size(), 'x') + end;
}

std::string textWithCommas(int count) {
    std::string items = "a";
    for (int i = 0; i < count; ++i) {
        items += ",a";
    }
    return "SELECT " + items + " FROM t;";
}

TEST(StatementCacheTest, GivesTheSameStatementForTheSameText) {
    StatementCache<Query> cache;
    const Kept first = cache.get(text(1));
    EXPECT_EQ(first->sql(), text(1));
    const Kept other = cache.get(text(2));
    EXPECT_EQ(other->sql(), text(2));
    EXPECT_EQ(cache.get(text(1)), first);
    EXPECT_EQ(cache.get(text(2)), other);
}

TEST(StatementCacheTest, TellsTextsApartByEveryByte) {
    StatementCache<Query> cache;
    const std::vector<std::string> texts = {"SELECT a FROM t;",
                                            "SELECT b FROM t;",
                                            "SELECT a FROM u;",
                                            "SELECT a FROM t ",
                                            "SELECT a FROM t; ",
                                            "SELECT a  FROM t;",
                                            "",
                                            std::string(1, '\0'),
                                            "SELECT a FROM t"};
    for (int round = 0; round < 2; ++round) {
        for (const std::string& sql : texts) {
            EXPECT_EQ(cache.get(sql)->sql(), sql);
        }
    }
}

TEST(StatementCacheTest, ForgetsTheOldestWhenThereIsNoRoom) {
    StatementCache<Query> cache;
    std::vector<Kept> kept;
    for (int i = 0; i < kMostStatements; ++i) {
        kept.push_back(cache.get(text(i)));
    }
    for (int i = 0; i < kMostStatements; ++i) {
        EXPECT_EQ(cache.get(text(i)), kept[static_cast<std::size_t>(i)]) << i;
    }
    const Kept further = cache.get(text(kMostStatements));
    EXPECT_EQ(cache.get(text(kMostStatements)), further);
    for (int i = 1; i < kMostStatements; ++i) {
        EXPECT_EQ(cache.get(text(i)), kept[static_cast<std::size_t>(i)]) << i;
    }
    EXPECT_NE(cache.get(text(0)), kept.front());
    EXPECT_EQ(kept.front()->sql(), text(0));  // who uses a statement keeps it
}

TEST(StatementCacheTest, KeepsNeitherLongTextsNorManyPieces) {
    struct Row {
        std::string sql;
        bool isKept;
    };
    const std::vector<Row> rows = {{textOfLength(512), true},
                                   {textOfLength(513), false},
                                   {textWithCommas(31), true},
                                   {textWithCommas(32), false}};
    StatementCache<Query> cache;
    for (const Row& row : rows) {
        const Kept first = cache.get(row.sql);
        EXPECT_EQ(first->sql(), row.sql);
        EXPECT_EQ(cache.get(row.sql) == first, row.isKept) << row.sql;
    }
}

TEST(StatementCacheTest, GivesEachThreadTheStatementOfItsText) {
    StatementCache<Query> cache;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&cache, number] {
            for (int i = 0; i < 500; ++i) {
                const std::string sql = text((i * (number + 1)) % (2 * kMostStatements));
                EXPECT_EQ(cache.get(sql)->statement(), sql.substr(0, sql.size() - 1));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
