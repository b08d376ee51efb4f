#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "console/ExitStatus.h"
#include "shell/Session.h"
#include "sql/StatementRewriter.h"

#include <gtest/gtest.h>

namespace Kalt::Vemo::Test {
namespace {

using Tool::EngineStatement;
using Tool::PathArgument;
using Tool::Session;
using Tool::StatementRewriter;

/// Runs statements as the shell does, in this process.
class ConditionTest : public ::testing::Test {
protected:
    void SetUp() override { run("CREATE TABLE t (a INTEGER, b INTEGER, s TEXT, r REAL)"); }

    Tool::ResultSet run(const std::string& statement) { return session_.run(rewritten(statement)); }

    EngineStatement rewritten(const std::string& statement) const {
        return StatementRewriter([this](const std::string& table) { return session_.schemaOf(table); },
                                 [this](const std::string& table) { return session_.exists(table); })
            .rewrite(statement);
    }

    /// ROWIDs of the rows that satisfy the condition, each followed by a blank.
    std::string matches(const std::string& condition) {
        std::string text;
        for (const std::vector<Tool::Cell>& row : run("SELECT rowid FROM t WHERE " + condition).rows) {
            text += row.front().value() + " ";
        }
        return text;
    }

    /// The condition as the engine gets it.
    std::string sent(const std::string& condition) const {
        const std::string text = rewritten("DELETE FROM t WHERE " + condition).text;
        return text.substr(std::string("DELETE FROM t WHERE ").size());
    }

    TemporaryDirectory temporary_;
    Session session_{PathArgument(temporary_.file("db")), Session::Access::kChangeOrCreate};
};

TEST_F(ConditionTest, SendsWhatTheEngineUnderstandsAsItIsWritten) {
    EXPECT_EQ(sent("a=1"), "a = ?;");
    EXPECT_EQ(sent("s like 'x%' or s='y'"), "s LIKE ? OR s = ?;");
    EXPECT_EQ(sent("(a = 1) and (b = 2 or s = 'x')"), "a = ? AND ( b = ? OR s = ? );");
    EXPECT_EQ(sent("1 = a"), "a = ?;");
    EXPECT_EQ(sent("rowid < 5"), "ROWID < ?;");
    EXPECT_EQ(sent("((a = 1))"), "a = ?;");
}

TEST_F(ConditionTest, SpellsOutWhatTheEngineWouldRegroupOrRefuse) {
    EXPECT_EQ(sent("a = 1 and b = 2 or s = 'x'"), "a ? = ) b ? = ) AND ) s ? = ) OR );");
    EXPECT_EQ(sent("a = 1 and b = 2 and s = 'x'"), "a ? = ) b ? = ) AND ) s ? = ) AND );");
}

TEST_F(ConditionTest, AnswersEachFormOfComparison) {
    run("INSERT INTO t VALUES (5, -1, 'abc', 2.5)");
    run("INSERT INTO t VALUES (-3, 7, '', 0)");
    run("INSERT INTO t VALUES (NULL, NULL, NULL, NULL)");
    run("INSERT INTO t VALUES (9223372036854775807, -9223372036854775808, 'a_c', -1e20)");
    struct Case {
        const char* condition;
        const char* rows;
    };
    const std::vector<Case> cases{
        {"a = 5", "1 "},
        {"a <> 5", "2 4 "},
        {"a = -3", "2 "},
        {"a == 05", "1 "},
        {"a > -4", "1 2 4 "},
        {"a > 0", "1 4 "},
        {"a < 6", "1 2 "},
        {"a <= -3", "2 "},
        {"a < -3", ""},
        {"a >= -3", "1 2 4 "},
        {"-1 < a", "1 4 "},
        {"a between -3 and 5", "1 2 "},
        {"a not between -3 and 5", "4 "},
        {"not a between -3 and 5", "4 "},
        {"a in (5, -3, 6)", "1 2 "},
        {"a not in (5, 6)", "2 4 "},
        {"a > b", "1 4 "},
        {"a < b", "2 "},
        {"a >= b", "1 4 "},
        {"not a >= b", "2 "},
        {"b < -1", "4 "},
        {"s = ''", "2 "},
        {"s != 'abc'", "2 4 "},
        {"s > 'ab'", "1 "},
        {"s = 5", ""},
        {"s like '%b%'", "1 "},
        {"s like 'a%'", "1 4 "},
        {"s like '%'", "1 2 4 "},
        {"s not like 'a%'", "2 "},
        {"not s like 'a%'", "2 "},
        {"s like '%!_%' escape '!'", "4 "},
        {"s is null", "3 "},
        {"s is not null", "1 2 4 "},
        {"not s is null", "1 2 4 "},
        {"not (s is null or a = 5)", "2 4 "},
        {"r = 2.50", "1 "},
        {"r = -1e20", "4 "},
        {"r < 0", "4 "},
        {"r >= 0 and r <= 2.5", "1 2 "},
        {"r = -0.0", "2 "},
        {"a = 5 or b = 7 and s = 'no'", "1 "},
        {"(a = 5 or b = 7) and s = ''", "2 "},
        {"not not a = 5", "1 "},
        {"rowid = 3", "3 "},
        {"rowid >= 2 and rowid < 4", "2 3 "},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.condition);
        EXPECT_EQ(matches(each.condition), each.rows) << sent(each.condition);
    }
}

TEST_F(ConditionTest, RefusesWhatTheEngineWouldAnswerWrongly) {
    for (const char* condition : {"s like 'a%c'",
                                  "s like 'a_c'",
                                  "s like '!%x' escape '!'",
                                  "a like '5%'",
                                  "a = s",
                                  "a = r",
                                  "a = 1.5",
                                  "s = 'it''s'",
                                  "s like '%''%'",
                                  "1 = 1",
                                  "a",
                                  "a + 1 = 2",
                                  "a = NULL",
                                  "NULL is null",
                                  "a = 1 b = 2",
                                  "(a = 1",
                                  "a = 1)",
                                  "a in ()",
                                  "a between 1",
                                  "a is 5",
                                  "x = 1",
                                  "a = 99999999999999999999"}) {
        SCOPED_TRACE(condition);
        EXPECT_THROW(sent(condition), Tool::Failure);
    }
}

TEST_F(ConditionTest, RefusesColumnsThatTheEngineTakesForOperators) {
    run("CREATE TABLE odd (LIKE TEXT, ALL TEXT, likely TEXT)");
    EXPECT_THROW(rewritten("SELECT * FROM odd WHERE \"LIKE\" = 'x'"), Tool::Failure);
    EXPECT_THROW(rewritten("SELECT * FROM odd WHERE \"ALL\" = 'x'"), Tool::Failure);
    EXPECT_EQ(rewritten("SELECT likely FROM odd WHERE likely = 'x'").text,
              "SELECT likely FROM odd WHERE likely = ?;");
}

TEST_F(ConditionTest, RefusesConditionsThatAreTooLong) {
    std::string list = "a in (0";
    const std::string brackets = std::string(2000, '(') + "a = 1" + std::string(2000, ')');
    for (int i = 0; i < 2000; ++i) {
        list += "," + std::to_string(i);
    }
    EXPECT_THROW(run("SELECT a FROM t WHERE " + list + ")"), Tool::Failure);
    EXPECT_THROW(run("SELECT a FROM t WHERE " + brackets), Tool::Failure);
}

/// A random condition: its text, and whether it holds for a row; nothing stands for "unknown", as SQL has it.
struct Random {
    struct Row {
        std::optional<long long> a;
        std::optional<long long> b;
        std::optional<std::string> s;
    };
    using Truth = std::optional<bool>;
    using Test = std::function<Truth(const Row&)>;
    struct Condition {
        std::string text;
        Test holds;
    };

    explicit Random(unsigned int seed) : engine(seed) {}

    int upTo(int most) { return std::uniform_int_distribution<int>(0, most)(engine); }

    Condition condition(int depth) {
        switch (depth == 0 ? 0 : upTo(4)) {
            case 1: {
                const Condition inner = condition(depth - 1);
                return {"NOT (" + inner.text + ")", [inner](const Row& row) {
                            const Truth truth = inner.holds(row);
                            return truth ? Truth(!*truth) : Truth();
                        }};
            }
            case 2:
            case 3:
                return junction(condition(depth - 1), upTo(1) == 0, condition(depth - 1));
            default:
                return comparison();
        }
    }

    Condition junction(const Condition& left, bool isAnd, const Condition& right) {
        return {"(" + left.text + (isAnd ? ") AND (" : ") OR (") + right.text + ")",
                [=](const Row& row) -> Truth {
                    const Truth first = left.holds(row);
                    const Truth second = right.holds(row);
                    const bool decisive = !isAnd;
                    if (first == Truth(decisive) || second == Truth(decisive)) {
                        return decisive;
                    }
                    return first && second ? Truth(isAnd) : Truth();
                }};
    }

    Condition comparison() {
        const long long number = upTo(6) - 3;
        const std::string literal = std::to_string(number);
        switch (upTo(5)) {
            case 0:
                return {"a < b",
                        [](const Row& row) { return row.a && row.b ? Truth(*row.a < *row.b) : Truth(); }};
            case 1:
                return {"s IS NULL", [](const Row& row) { return Truth(!row.s); }};
            case 2:
                return {"s LIKE '%x%'", [](const Row& row) {
                            return row.s ? Truth(row.s->find('x') != std::string::npos) : Truth();
                        }};
            case 3:
                return {"a = " + literal,
                        [number](const Row& row) { return row.a ? Truth(*row.a == number) : Truth(); }};
            case 4:
                return {"b >= " + literal,
                        [number](const Row& row) { return row.b ? Truth(*row.b >= number) : Truth(); }};
            default:
                return {"a < " + literal,
                        [number](const Row& row) { return row.a ? Truth(*row.a < number) : Truth(); }};
        }
    }

    std::mt19937 engine;
};

TEST_F(ConditionTest, RandomConditionsMatchTheRowsThatSqlSaysTheyMatch) {
    std::vector<Random::Row> rows;
    for (const auto& a :
         {std::optional<long long>(), std::optional<long long>(-2), std::optional<long long>(2)}) {
        for (const auto& b :
             {std::optional<long long>(), std::optional<long long>(-2), std::optional<long long>(1)}) {
            for (const auto& s : {std::optional<std::string>(), std::optional<std::string>("axe"),
                                  std::optional<std::string>("")}) {
                rows.push_back({a, b, s});
                run("INSERT INTO t (a, b, s) VALUES (" + (a ? std::to_string(*a) : "NULL") + ", " +
                    (b ? std::to_string(*b) : "NULL") + ", " + (s ? "'" + *s + "'" : "NULL") + ")");
            }
        }
    }
    const unsigned int seed = std::random_device()();
    Random random(seed);
    for (int round = 0; round < 300; ++round) {
        const Random::Condition condition = random.condition(4);
        std::string expected;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            if (condition.holds(rows[i]) == Random::Truth(true)) {
                expected += std::to_string(i + 1) + " ";
            }
        }
        ASSERT_EQ(matches(condition.text), expected) << "seed " << seed << ": " << condition.text;
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
