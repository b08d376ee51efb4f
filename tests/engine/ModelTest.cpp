#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "DatabaseTest.h"

// Random statements on the engine, and beside it on plain vectors. Both must agree after every few
// statements.
namespace Kalt::Vemo::Test {
namespace {

using Number = std::optional<std::uint64_t>;
using Text = std::optional<std::string>;

/// A row of the table "t (n INTEGER, s TEXT)", which numbers its rows, or of "k (n INTEGER PRIMARY KEY, s
/// TEXT)", where n is the number.
struct Row {
    Number n;
    Text s;
    std::uint64_t rowId = 0;
};

struct TableModel {
    std::vector<Row> rows;
    bool keyed = false;

    std::string bytes() const {
        std::string text = keyed ? "n~s\n257~4\nn\n" : "n~s~ROWID\n1~4~1\n\n";
        for (const Row& row : rows) {
            text += row.n ? std::to_string(*row.n) : "NULL";
            text += "~" + (row.s ? "'" + *row.s + "'" : "NULL");
            text += keyed ? "\n" : "~" + std::to_string(row.rowId) + "\n";
        }
        return text;
    }

    bool hasKey(std::uint64_t key) const {
        for (const Row& row : rows) {
            if (row.n == key) {
                return true;
            }
        }
        return false;
    }
};

/// A table that may be missing, before and inside of the open transaction.
struct TableState {
    std::optional<TableModel> committed;
    std::optional<TableModel> current;
    bool touched = false;            // in the open transaction
    bool droppedAfterTouch = false;  // which the journal tells from other drops
    bool dropped = false;            // in the open transaction: until its end the table cannot be made again
};

struct Condition {
    std::string sql;
    std::function<bool(const Row&)> holds;
};

class ModelTest : public DatabaseTest, public ::testing::WithParamInterface<unsigned int> {
protected:
    unsigned int below(unsigned int limit) { return static_cast<unsigned int>(random_() % limit); }

    std::string word() {
        static const char* const words[] = {"a", "b", "ab", "ba", "abc", "cab", "x", "NULLs", "it's", "100"};
        return words[below(10)];
    }

    Number randomNumber() { return below(8) == 0 ? Number() : Number(below(20)); }
    Text randomText() { return below(8) == 0 ? Text() : Text(word()); }

    Condition comparison() {
        const std::uint64_t number = below(20);
        const std::string digits = std::to_string(number);
        const std::string text = word();
        switch (below(9)) {
            case 0:
                return {"n = " + digits, [=](const Row& row) { return row.n == number; }};
            case 1:
                return {"n != " + digits, [=](const Row& row) { return row.n && row.n != number; }};
            case 2:
                return {"n > " + digits, [=](const Row& row) { return row.n && *row.n > number; }};
            case 3:
                return {"n <= " + digits, [=](const Row& row) { return row.n && *row.n <= number; }};
            case 4:
                return {"s = '" + text + "'", [=](const Row& row) { return row.s == text; }};
            case 5:
                return {"s < '" + text + "'", [=](const Row& row) { return row.s && *row.s < text; }};
            case 6:
                return {"s LIKE '" + text + "%'",
                        [=](const Row& row) { return row.s && row.s->compare(0, text.size(), text) == 0; }};
            case 7:
                return {"s LIKE '%" + text + "%'",
                        [=](const Row& row) { return row.s && row.s->find(text) != std::string::npos; }};
            default:
                return {"ROWID >= " + digits, [=](const Row& row) {
                            return (row.rowId != 0 ? row.rowId : row.n.value_or(0)) >= number;
                        }};
        }
    }

    Condition condition() {
        if (below(10) == 0) {
            return {"", [](const Row&) { return true; }};
        }
        Condition result = comparison();
        if (below(3) == 0) {
            const Condition other = comparison();
            const bool both = below(2) == 0;
            result = {result.sql + (both ? " AND " : " OR ") + other.sql,
                      [both, result, other](const Row& row) {
                          return both ? result.holds(row) && other.holds(row)
                                      : result.holds(row) || other.holds(row);
                      }};
        }
        result.sql = " WHERE " + result.sql;
        return result;
    }

    // One random statement, on both sides.

    void create(const std::string& name, TableState& state) {
        const bool keyed = name == "k";
        exec(("CREATE TABLE IF NOT EXISTS " + name +
              (keyed ? " (n INTEGER PRIMARY KEY, s TEXT);" : " (n INTEGER, s TEXT);"))
                 .c_str());
        if (!state.current && !state.dropped) {
            state.current = TableModel{{}, keyed};
            state.touched = true;
        }
    }

    void drop(const std::string& name, TableState& state) {
        exec(("DROP TABLE " + name + ";").c_str());
        if (state.current) {
            state.current.reset();
            state.droppedAfterTouch = state.touched;
            state.dropped = true;
        }
    }

    void insert(const std::string& name, TableState& state) {
        const Number n = randomNumber();
        const Text s = randomText();
        const std::string digits = n ? std::to_string(*n) : "";
        exec(("INSERT INTO " + name + " (s, n) VALUES ('?', ?);").c_str(), s ? s->c_str() : nullptr,
             n ? digits.c_str() : nullptr);
        if (!state.current) {
            return;
        }
        std::vector<Row>& rows = state.current->rows;
        if (!state.current->keyed) {
            rows.push_back({n, s, rows.empty() ? 1 : rows.back().rowId + 1});
            state.touched = true;
        } else if (n && !state.current->hasKey(*n)) {
            rows.push_back({n, s, 0});
            state.touched = true;
        }
    }

    void update(const std::string& name, TableState& state) {
        const Condition where = condition();
        const Number n =
            state.current && state.current->keyed && below(4) != 0 ? Number(100 + below(50)) : randomNumber();
        const Text s = randomText();
        const bool both = below(2) == 0;
        const std::string digits = n ? std::to_string(*n) : "";
        exec(("UPDATE " + name + " SET n=?" + (both ? ", s='?'" : "") + where.sql + ";").c_str(),
             n ? digits.c_str() : nullptr, s ? s->c_str() : nullptr);
        if (!state.current || (state.current->keyed && !n)) {
            return;
        }
        TableModel changed = *state.current;
        for (Row& row : changed.rows) {
            if (!where.holds(row)) {
                continue;
            }
            if (changed.keyed && row.n != n && changed.hasKey(*n)) {
                return;
            }
            row.n = n;
            row.s = both ? s : row.s;
        }
        state.current = changed;
        state.touched = true;
    }

    void remove(const std::string& name, TableState& state) {
        const Condition where = condition();
        exec(("DELETE FROM " + name + where.sql + ";").c_str());
        if (!state.current) {
            return;
        }
        std::vector<Row> kept;
        for (const Row& row : state.current->rows) {
            if (!where.holds(row)) {
                kept.push_back(row);
            }
        }
        state.current->rows = kept;
        state.touched = true;
    }

    void select(const std::string& name, const TableState& state) {
        const Condition where = condition();
        const std::string sql = "SELECT s, n, ROWID FROM " + name + where.sql + ";";
        SCOPED_TRACE(sql);
        const Result result = query(sql.c_str());
        ASSERT_EQ(result != nullptr, state.current.has_value());
        if (!result) {
            return;
        }
        for (const Row& row : state.current->rows) {
            if (!where.holds(row)) {
                continue;
            }
            ASSERT_TRUE(result->next());
            EXPECT_EQ(result->getString("s"), row.s.value_or(""));
            EXPECT_EQ(result->wasNull(), !row.s);
            EXPECT_EQ(result->getLong("n"), static_cast<std::int64_t>(row.n.value_or(0)));
            EXPECT_EQ(result->wasNull(), !row.n);
            EXPECT_EQ(static_cast<std::uint64_t>(result->getLong("ROWID")),
                      state.current->keyed ? row.n.value_or(0) : row.rowId);
        }
        EXPECT_FALSE(result->next());
    }

    void statement() {
        const std::string name = below(2) == 0 ? "t" : "k";
        TableState& state = name == "t" ? t_ : k_;
        const unsigned int kind = below(100);
        if (kind < 45) {
            insert(name, state);
        } else if (kind < 60) {
            update(name, state);
        } else if (kind < 70) {
            remove(name, state);
        } else if (kind < 90) {
            select(name, state);
        } else if (kind < 98) {
            create(name, state);
        } else {
            drop(name, state);
        }
        if (!inTransaction_) {
            end(true);
        }
    }

    // Transactions

    void end(bool commits) {
        for (TableState* state : {&t_, &k_}) {
            *state = commits ? TableState{state->current, state->current}
                             : TableState{state->committed, state->committed};
        }
        inTransaction_ = false;
    }

    void transactionStep() {
        if (!inTransaction_) {
            EXPECT_TRUE(database->beginTransaction());
            inTransaction_ = true;
        } else if (below(3) != 0) {
            EXPECT_TRUE(database->commitTransaction());
            end(true);
        } else {
            EXPECT_TRUE(database->rollbackTransaction());
            end(false);
        }
    }

    /// An open transaction is lost with the database. A table that it had changed and then dropped is gone.
    void reopenBoth() {
        for (TableState* state : {&t_, &k_}) {
            if (state->droppedAfterTouch) {
                state->committed.reset();
            }
        }
        end(false);
        reopen();
    }

    void compare() {
        for (const auto& [name, state] : {std::make_pair("t", &t_), std::make_pair("k", &k_)}) {
            ASSERT_EQ(fileExists(tableFile(name)), state->committed.has_value()) << name;
            if (state->committed) {
                ASSERT_EQ(table(name), state->committed->bytes());
            }
            select(name, *state);
        }
        if (!inTransaction_) {
            std::vector<std::string> names;
            if (k_.committed) {
                names.emplace_back("k.table");
            }
            names.emplace_back("master_rollback");
            if (t_.committed) {
                names.emplace_back("t.table");
            }
            ASSERT_EQ(listDirectory(directory()), names);
            ASSERT_EQ(journal(), "0\n");
        }
        log.clear();
    }

    std::mt19937 random_{GetParam()};
    TableState t_;
    TableState k_;
    bool inTransaction_ = false;
};

TEST_P(ModelTest, EngineAndModelAgree) {
    SCOPED_TRACE("seed " + std::to_string(GetParam()));
    open();
    create("t", t_);
    create("k", k_);
    end(true);
    for (int batch = 0; batch < 60 && !HasFatalFailure(); ++batch) {
        SCOPED_TRACE("batch " + std::to_string(batch));
        const unsigned int statements = 1 + below(8);
        for (unsigned int i = 0; i < statements && !HasFatalFailure(); ++i) {
            statement();
        }
        if (below(2) == 0) {
            transactionStep();
        }
        if (below(10) == 0) {
            reopenBoth();
        }
        compare();
    }
    if (inTransaction_) {
        transactionStep();
    }
    reopenBoth();
    compare();
}

INSTANTIATE_TEST_SUITE_P(Seeds, ModelTest, ::testing::Range(1U, 31U));

}  // namespace
}  // namespace Kalt::Vemo::Test
