#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "PowerCutTrial.h"

// The power is cut at any moment. From every state that the disk may be left in, the database opens, each
// table is whole, and at `full` nothing is missing that was reported done.
namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::Synchronous;
using ::testing::IsEmpty;
using ::testing::Not;
using Statements = std::vector<std::string>;

namespace fs = std::filesystem;

/// Tables t, u and v of a few rows each.
const Statements kThreeTables = [] {
    Statements statements;
    for (const std::string name : {"t", "u", "v"}) {
        statements.push_back("CREATE TABLE " + name + " (a INTEGER, b TEXT);");
        statements.push_back("INSERT INTO " + name + " (a, b) VALUES ({1}, '{one}');");
        statements.push_back("INSERT INTO " + name + " (a, b) VALUES ({2}, '{two}');");
        statements.push_back("INSERT INTO " + name + " (a, b) VALUES ({3}, '{three}');");
    }
    return statements;
}();

/// A table of several blocks.
std::string largeTable() {
    std::string text = "a~b~ROWID\n1~4~1\n\n";
    for (int row = 1; row <= 20; ++row) {
        text += std::to_string(row) + "~'" + std::string(700, 'x') + "'~" + std::to_string(row) + "\n";
    }
    return text;
}

class PowerCutTest : public ::testing::TestWithParam<Synchronous> {
protected:
    ~PowerCutTest() override {
        const std::size_t states = PowerCutTrial::statesTried() - triedBefore_;
        RecordProperty("states", static_cast<int>(states));
        std::cout << "[  states  ] " << states << " tried\n";
    }

    /// The promise after a cut at any moment of these statements.
    void expectKept(const Statements& statements) { expectKept(kThreeTables, statements); }

    void expectKept(const Statements& prepared, const Statements& statements) {
        SCOPED_TRACE(::testing::PrintToString(statements));
        PowerCutTrial trial(GetParam());
        trial.prepare(prepared);
        expectKept(trial, statements);
    }

    static void expectKept(PowerCutTrial& trial, const Statements& statements) {
        trial.open();
        for (const std::string& statement : statements) {
            statement == "OPEN" ? trial.open() : trial.act(statement);
        }
        EXPECT_THAT(trial.brokenPromises(), IsEmpty());
    }

private:
    std::size_t triedBefore_ = PowerCutTrial::statesTried();
};

INSTANTIATE_TEST_SUITE_P(AtNormalAndFull, PowerCutTest,
                         ::testing::Values(Synchronous::normal, Synchronous::full), [](const auto& level) {
                             return level.param == Synchronous::full ? "full" : "normal";
                         });

TEST_P(PowerCutTest, ASingleStatementIsDoneOrNot) {
    for (const char* statement : {
             "INSERT INTO t (a, b) VALUES ({9}, '{nine}');",
             "UPDATE t SET a={9}, b='{nine}' WHERE a = 2;",
             "DELETE FROM t WHERE a != 3;",
             "DELETE FROM t;",
             "CREATE TABLE w (a INTEGER, b TEXT);",
             "DROP TABLE t;",
         }) {
        expectKept({statement});
    }
}

TEST_P(PowerCutTest, ManyStatementsAreDoneUpToOneOfThem) {
    expectKept({"INSERT INTO t (a, b) VALUES ({9}, '{nine}');",
                "UPDATE u SET a={8}, b='{every}' WHERE a > 0;", "DELETE FROM t WHERE a = 2;",
                "CREATE TABLE w (a INTEGER, b TEXT);", "INSERT INTO w (a, b) VALUES ({1}, '{first}');",
                "DROP TABLE v;"});
}

TEST_P(PowerCutTest, ATransactionOverOneTableIsDoneOrNot) {
    expectKept(
        {"BEGIN", "INSERT INTO t (a, b) VALUES ({9}, '{nine}');", "DELETE FROM t WHERE a = 1;", "COMMIT"});
}

TEST_P(PowerCutTest, ATransactionOverThreeTablesLeavesEachOfThemWhole) {
    expectKept({"BEGIN", "INSERT INTO t (a, b) VALUES ({9}, '{nine}');",
                "UPDATE u SET a={8}, b='{x}' WHERE a = 1;", "DELETE FROM v WHERE a = 2;", "COMMIT"});
    expectKept({"BEGIN", "CREATE TABLE w (a INTEGER, b TEXT);",
                "INSERT INTO w (a, b) VALUES ({1}, '{first}');", "DROP TABLE u;",
                "DELETE FROM v WHERE a = 2;", "COMMIT"});
}

TEST_P(PowerCutTest, ATransactionThatIsRolledBackLeavesNothing) {
    expectKept({"BEGIN", "INSERT INTO t (a, b) VALUES ({9}, '{nine}');",
                "CREATE TABLE w (a INTEGER, b TEXT);", "DROP TABLE u;", "ROLLBACK",
                "INSERT INTO u (a, b) VALUES ({4}, '{four}');"});
}

TEST_P(PowerCutTest, ADroppedTableMayBeMadeAnew) {
    expectKept({"DROP TABLE t;", "CREATE TABLE t (a INTEGER, b TEXT, c TEXT);",
                "INSERT INTO t (a, b, c) VALUES ({1}, '{one}', '{more}');"});
}

TEST_P(PowerCutTest, ATableThatWasChangedAndDroppedMayBeMadeAnew) {
    expectKept({"BEGIN", "INSERT INTO t (a, b) VALUES ({9}, '{nine}');", "DROP TABLE t;", "COMMIT",
                "CREATE TABLE t (a INTEGER, b TEXT, c TEXT);",
                "INSERT INTO t (a, b, c) VALUES ({1}, '{one}', '{more}');"});
}

TEST_P(PowerCutTest, ATableThatWasChangedAndDroppedIsGoneOnlyUntilItsTransactionEnds) {
    expectKept({"BEGIN", "INSERT INTO t (a, b) VALUES ({9}, '{nine}');",
                "UPDATE u SET a={4}, b='{four}' WHERE a = 1;", "DROP TABLE t;", "ROLLBACK",
                "INSERT INTO t (a, b) VALUES ({9}, '{nine}');"});
}

TEST_P(PowerCutTest, TheLinesOfEarlierTransactionsRemoveNoTable) {
    expectKept({"BEGIN", "INSERT INTO t (a, b) VALUES ({9}, '{nine}');", "ROLLBACK", "BEGIN",
                "INSERT INTO u (a, b) VALUES ({9}, '{nine}');", "DROP TABLE u;", "ROLLBACK",
                "INSERT INTO v (a, b) VALUES ({9}, '{nine}');"});
}

TEST_P(PowerCutTest, TheLinesOfAnEarlierProcessAreGone) {
    PowerCutTrial trial(GetParam());
    trial.prepare(kThreeTables);
    expectKept(trial, {"INSERT INTO t (a, b) VALUES ({9}, '{nine}');", "OPEN", "DELETE FROM t WHERE a = 9;",
                       "BEGIN", "DELETE FROM u WHERE a = 1;", "OPEN", "DELETE FROM u WHERE a = 2;"});
}

TEST_P(PowerCutTest, ATableGrowsAndShrinksByBlocks) {
    PowerCutTrial trial(GetParam());
    trial.prepare({});
    writeFile(trial.directory() + "/t.table", largeTable());
    expectKept(trial, {"INSERT INTO t (a, b) VALUES ({21}, '{the last}');", "DELETE FROM t WHERE a > 2;",
                       "UPDATE t SET a={8}, b='{" + std::string(900, 'y') + "}' WHERE a > 0;"});
}

TEST_P(PowerCutTest, ADirectoryThatInitMakesIsThere) {
    PowerCutTrial trial(GetParam());
    expectKept(trial, {"CREATE TABLE t (a INTEGER, b TEXT);", "INSERT INTO t (a, b) VALUES ({1}, '{one}');"});
}

TEST_P(PowerCutTest, ATableBehindASymbolicLinkIsDoneOrNot) {
    PowerCutTrial trial(GetParam());
    trial.prepare(kThreeTables);
    fs::create_directory(trial.file("elsewhere"));
    fs::rename(trial.directory() + "/t.table", trial.file("elsewhere/real"));
    fs::create_symlink("../elsewhere/real", trial.directory() + "/t.table");
    expectKept(trial, {"INSERT INTO t (a, b) VALUES ({9}, '{nine}');", "BEGIN", "DELETE FROM t WHERE a = 1;",
                       "DELETE FROM u WHERE a = 1;", "COMMIT"});
}

TEST_P(PowerCutTest, AJournalThatDecidesIsCarriedOutAgain) {
    for (const char* journal :
         {"0\n1~t\n", "0\n5~t\n", "0\n1~t\n5~u\n1~v\n", "1\n\x01~t\n5~u\n", "0\n1~t\n1~./t\n"}) {
        SCOPED_TRACE(journal);
        PowerCutTrial trial(GetParam());
        trial.prepare(kThreeTables);
        for (const char* name : {"t", "v"}) {
            writeFile(trial.directory() + "/" + name + ".backup", largeTable());
        }
        writeFile(trial.directory() + "/master_rollback", journal);
        expectKept(trial, {"INSERT INTO v (a, b) VALUES ({9}, '{nine}');"});
    }
}

TEST_P(PowerCutTest, ACommitThatTheSystemKeepsFromBeingFinishedIsLeftToTheNextProcess) {
    for (const Statements& statements :
         {Statements{"BEGIN", "DELETE FROM t WHERE a = 1;", "DELETE FROM u WHERE a = 2;", "COMMIT"},
          Statements{"BEGIN", "DELETE FROM v WHERE a = 1;", "ROLLBACK", "DELETE FROM u WHERE a = 1;"}}) {
        SCOPED_TRACE(::testing::PrintToString(statements));
        PowerCutTrial trial(GetParam());
        trial.prepare(kThreeTables);
        trial.isRefusedIn(statements, [](const FileCall& call) {
            return call.call == Call::kRename && call.file == "u.table";
        });
        expectKept(trial, {"INSERT INTO u (a, b) VALUES ({9}, '{nine}');"});
    }
}

/// What the next process does after a kill, with a cut at any moment of it.
class PowerCutAfterKillTest : public PowerCutTest {
protected:
    void expectKeptAfterKills(const Statements& prepared, const Statements& killed, const Statements& next) {
        bool isReached = true;
        for (int call = 1; isReached; ++call) {
            SCOPED_TRACE("killed at call " + std::to_string(call));
            PowerCutTrial trial(GetParam());
            if (!prepared.empty()) {
                trial.prepare(prepared);
            }
            isReached = trial.isKilledIn(killed, call);
            trial.skipEarlierCuts();
            expectKept(trial, next);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(AtNormalAndFull, PowerCutAfterKillTest,
                         ::testing::Values(Synchronous::normal, Synchronous::full), [](const auto& level) {
                             return level.param == Synchronous::full ? "full" : "normal";
                         });

TEST_P(PowerCutAfterKillTest, ACommitThatWasKilledIsRecovered) {
    expectKeptAfterKills(kThreeTables,
                         {"BEGIN", "INSERT INTO t (a, b) VALUES ({9}, '{nine}');",
                          "UPDATE u SET a={8}, b='{x}' WHERE a = 1;", "COMMIT"},
                         {"DELETE FROM t WHERE a = 1;"});
}

TEST_P(PowerCutAfterKillTest, ADropOfAChangedTableThatWasKilledIsRecovered) {
    expectKeptAfterKills(
        kThreeTables, {"BEGIN", "INSERT INTO t (a, b) VALUES ({9}, '{nine}');", "DROP TABLE t;", "ROLLBACK"},
        {"CREATE TABLE IF NOT EXISTS t (a INTEGER, b TEXT);",
         "INSERT INTO t (a, b) VALUES ({1}, '{anew}');"});
}

TEST_P(PowerCutAfterKillTest, ADirectoryWhoseMakerWasKilledIsThere) {
    expectKeptAfterKills(
        {}, {"CREATE TABLE t (a INTEGER, b TEXT);"},
        {"CREATE TABLE IF NOT EXISTS t (a INTEGER, b TEXT);", "INSERT INTO t (a, b) VALUES ({1}, '{one}');"});
}

/// What shows that the trial finds what is lost or torn.
class PowerCutAtOffTest : public PowerCutTest {};

INSTANTIATE_TEST_SUITE_P(AtOff, PowerCutAtOffTest, ::testing::Values(Synchronous::off));

TEST_P(PowerCutAtOffTest, RowsThatNobodyTouchedAreLost) {
    PowerCutTrial trial(GetParam());
    trial.prepare(kThreeTables);
    trial.open();
    trial.act("DELETE FROM t WHERE a = 1;");
    EXPECT_THAT(trial.brokenPromises(Synchronous::normal), Not(IsEmpty()));
    EXPECT_THAT(trial.brokenPromises(Synchronous::full), Not(IsEmpty()));
}

}  // namespace
}  // namespace Kalt::Vemo::Test
