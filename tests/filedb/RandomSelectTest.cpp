#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "console/ExitStatus.h"
#include "shell/SqlConnection.h"
#include "shell/SqliteResult.h"

#include <gtest/gtest.h>

namespace Kalt::Vemo::Test {
namespace {

using Tool::PathArgument;
using Tool::ResultSet;
using Tool::Session;
using Tool::SqlConnection;

constexpr unsigned kSeed = 20260;
constexpr int kRows = 25;

/// Tables that SQLite keeps itself.
class Reference {
public:
    Reference() { sqlite3_open(":memory:", &database_); }
    ~Reference() { sqlite3_close(database_); }
    Reference(const Reference&) = delete;
    Reference& operator=(const Reference&) = delete;

    ResultSet run(const std::string& statement) {
        sqlite3_stmt* prepared = nullptr;
        if (sqlite3_prepare_v2(database_, statement.c_str(), -1, &prepared, nullptr) != SQLITE_OK) {
            throw Tool::Failure(sqlite3_errmsg(database_));
        }
        const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> owner(prepared, &sqlite3_finalize);
        Tool::SqliteResult result(prepared);
        int status = SQLITE_ROW;
        while ((status = sqlite3_step(prepared)) == SQLITE_ROW) {
            result.takeRow();
        }
        if (status != SQLITE_DONE) {
            throw Tool::Failure(sqlite3_errmsg(database_));
        }
        return result.take();
    }

private:
    sqlite3* database_ = nullptr;
};

/// Writes random queries over the tables a, b and c, which have the columns i, k (INTEGER), r (REAL) and s
/// (TEXT) each.
class Queries {
public:
    explicit Queries(unsigned seed) : random_(seed) {}

    std::string value(const std::string& column) {
        if (below(6) == 0) {
            return "NULL";
        }
        if (column == "r") {
            return std::to_string(below(41) - 20) + (below(2) == 0 ? ".5" : ".0");
        }
        if (column == "s") {
            return oneOf({"''", "'a'", "'A'", "'ab'", "'abc'", "'it''s'", "'12'", "'b%'", "'NULL'", "' '"});
        }
        return oneOf({"0", "1", "-1", "2", "3", "7", "-12", "9223372036854775807", "-9223372036854775808"});
    }

    /// A query whose rows come in one order only.
    std::string query() {
        tables_ = 1 + below(3);
        const bool isGrouped = below(3) == 0;
        const int columns = 1 + below(3);
        std::string list;
        for (int i = 0; i < columns; ++i) {
            list += (i == 0 ? "" : ", ") + (isGrouped && i > 0 ? aggregate() : scalar(1));
        }
        std::string text = std::string("SELECT ") + (below(6) == 0 ? "DISTINCT " : "") + list + from();
        text += below(4) == 0 ? "" : " WHERE " + condition(2);
        text += isGrouped ? " GROUP BY 1" : "";
        text += isGrouped && below(2) == 0 ? " HAVING count(*) > " + std::to_string(below(4)) : "";
        text += order(columns);
        return text;
    }

private:
    int below(int end) { return static_cast<int>(random_() % static_cast<unsigned>(end)); }
    std::string oneOf(const std::vector<std::string>& words) {
        return words[static_cast<std::size_t>(below(static_cast<int>(words.size())))];
    }

    std::string column() {
        const std::string name = oneOf({"i", "k", "r", "s", "rowid"});
        return std::string(1, static_cast<char>('x' + below(tables_))) + "." + name;
    }

    std::string from() {
        std::string text = " FROM " + oneOf({"a", "b", "c"}) + " x";
        for (int i = 1; i < tables_; ++i) {
            const std::string alias(1, static_cast<char>('x' + i));
            const std::string join = oneOf({" JOIN ", " LEFT JOIN "});
            const std::string key = oneOf({"i", "k", "rowid", "s"});
            text += join + oneOf({"a", "b", "c"}) + " " + alias + " ON " + alias + "." + key + " = x." +
                    oneOf({key, std::string("i"), std::string("rowid")});
        }
        return text;
    }

    std::string scalar(int depth) {
        switch (depth == 0 ? below(2) : below(8)) {
            case 0:
            case 1:
            case 2:
                return column();
            case 3:
                return value(oneOf({"i", "r", "s"}));
            case 4:
                return "coalesce(" + scalar(depth - 1) + ", " + scalar(depth - 1) + ")";
            case 5:
                return "CASE WHEN " + condition(0) + " THEN " + scalar(depth - 1) + " ELSE " +
                       scalar(depth - 1) + " END";
            case 6:
                return "length(" + scalar(depth - 1) + ")";
            default:
                return "(" + scalar(depth - 1) + oneOf({" || ", " / ", " % "}) + scalar(depth - 1) + ")";
        }
    }

    std::string aggregate() {
        return oneOf({"count(*)", "count(" + column() + ")", "min(" + scalar(0) + ")",
                      "max(" + scalar(0) + ")", "total(x.r)", "avg(x.r)",
                      "count(DISTINCT " + column() + ")"});
    }

    std::string condition(int depth) {
        if (depth > 0 && below(3) == 0) {
            return "(" + condition(depth - 1) + oneOf({" AND ", " OR "}) + condition(depth - 1) + ")";
        }
        switch (below(9)) {
            case 0:
                return column() + oneOf({" IS NULL", " IS NOT NULL"});
            case 1:
                return column() + " LIKE " + oneOf({"'a%'", "'%b%'", "'_'", "'%''%'"});
            case 2:
                return column() + oneOf({" IN ", " NOT IN "}) + "(" + value("i") + ", " + value("s") + ", 4)";
            case 3:
                return column() + " BETWEEN " + value("i") + " AND " + value("r");
            case 4:
                return "NOT " + column() + " = " + value(oneOf({"i", "r", "s"}));
            case 5:
                return oneOf({"EXISTS", "NOT EXISTS"}) + " (SELECT 1 FROM " + oneOf({"a", "b", "c"}) +
                       " q WHERE q." + oneOf({"i", "k", "s", "rowid"}) + " = " + column() + ")";
            case 6:
                return column() + oneOf({" < ", " >= "}) + "(SELECT " + oneOf({"min", "max", "avg"}) +
                       "(q.r) FROM " + oneOf({"a", "b", "c"}) + " q)";
            default:
                return column() + oneOf({" = ", " <> ", " < ", " <= ", " > ", " >= ", " IS "}) +
                       (below(2) == 0 ? column() : value(oneOf({"i", "r", "s"})));
        }
    }

    std::string order(int columns) {
        std::string text = " ORDER BY ";
        for (int i = 1; i <= columns; ++i) {
            text += (i == 1 ? "" : ", ") + std::to_string(i) + oneOf({"", " DESC", " NULLS LAST"});
        }
        if (below(3) == 0) {
            text += " LIMIT " + std::to_string(below(8)) + oneOf({"", " OFFSET 2"});
        }
        return text;
    }

    std::mt19937 random_;
    int tables_ = 1;
};

int queryCount() {
    const char* const text = std::getenv("VEMO_RANDOM_SELECTS");
    return text == nullptr ? 1000 : std::atoi(text);
}

std::string shown(const ResultSet& result) {
    std::string text;
    for (const std::vector<Tool::Cell>& row : result.rows) {
        for (const Tool::Cell& cell : row) {
            text += cell ? "[" + *cell + "] " : "NULL ";
        }
        text += '\n';
    }
    return text;
}

/// Which of two rows of equal sort values comes first is nobody's promise: texts and numbers that are equal
/// in order are equal as they are shown here, so the rows are the same in any order.
TEST(RandomSelectTest, AnswersAsSqliteDoesOverItsOwnTables) {
    const TemporaryDirectory directory;
    Session session(PathArgument(directory.file("db")), Session::Access::kChangeOrCreate);
    SqlConnection connection(session);
    Reference reference;
    Queries queries(kSeed);
    const auto runBoth = [&](const std::string& statement) {
        static_cast<void>(connection.run(statement));
        static_cast<void>(reference.run(statement));
    };
    runBoth("CREATE TABLE a (i INTEGER, k INTEGER, r REAL, s TEXT)");
    runBoth("CREATE TABLE b (i INTEGER PRIMARY KEY, k INTEGER, r REAL, s TEXT)");
    runBoth("CREATE TABLE c (i INTEGER, k INTEGER, r REAL, s TEXT NOT NULL)");
    for (int row = 0; row < kRows; ++row) {
        for (const std::string table : {"a", "b", "c"}) {
            const std::string key = table == "b" ? std::to_string(row * 3 - 20) : queries.value("i");
            const std::string text = table == "c" ? "'" + std::to_string(row % 7) + "'" : queries.value("s");
            runBoth("INSERT INTO " + table + " VALUES (" + key + ", " + queries.value("i") + ", " +
                    queries.value("r") + ", " + text + ")");
        }
    }
    runBoth("DELETE FROM a WHERE rowid % 5 = 0");
    int withRows = 0;
    for (int i = 0; i < queryCount(); ++i) {
        const std::string query = queries.query();
        const std::string expected = shown(reference.run(query));
        ASSERT_EQ(shown(connection.run(query).result), expected) << "query " << i << ": " << query;
        withRows += expected.empty() ? 0 : 1;
    }
    // Most queries have something to compare.
    EXPECT_GT(withRows * 2, queryCount());
}

}  // namespace
}  // namespace Kalt::Vemo::Test
