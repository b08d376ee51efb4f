#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "FaultLayer.h"
#include "LogSink.h"
#include "RefusedCalls.h"
#include "StatementTest.h"

// Every statement and every transaction, with every call on a file refused in turn, in every way: with each
// error, short, once, for as long as the work takes, and as the last thing the process does. Whatever
// happens, rows are those from before or from after, the answer fits them, nobody is held up, and the same
// object works on.
namespace Kalt::Vemo::Test {
namespace {

using ::testing::AnyOf;
using ::testing::IsEmpty;

using Rows = std::vector<std::string>;

/// The rows of a table, or nothing where there is no such table.
using Content = std::optional<Rows>;

struct Statement {
    std::string sql;
    std::vector<std::string> values = {};
};

/// Work under test; "BEGIN" and "COMMIT" stand for the calls.
struct Story {
    std::string name;
    std::vector<Statement> run;
};

constexpr const char* kHead = "a~b~ROWID\n1~4~1\n\n";
constexpr int kSmall = 3;

// More than two times 64 KiB of rows: such a file is read and written in several blocks. The rows are few and
// long, because most of the time of the tests goes into single rows.
constexpr int kLarge = 160;
constexpr std::size_t kLongText = 900;

std::string textOf(int row, int size) {
    std::string text = "row" + std::to_string(row);
    if (size == kLarge) {
        text += std::string(kLongText - text.size(), 'x');
    }
    return text;
}

std::string tableOf(int size) {
    std::string text = kHead;
    for (int row = 1; row <= size; ++row) {
        const std::string number = std::to_string(row);
        text += number + "~'" + textOf(row, size) + "'~" + number + "\n";
    }
    return text;
}

/// The rows in a table file's text, as a query gives them: cells joined by "|".
Rows rowsIn(const std::string& text) {
    Rows result;
    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        if (number > 3) {
            for (std::size_t at = line.find('\''); at != std::string::npos; at = line.find('\'', at)) {
                line.erase(at, 1);
            }
            for (std::size_t at = line.find('~'); at != std::string::npos; at = line.find('~', at)) {
                line[at] = '|';
            }
            result.push_back(line);
        }
    }
    return result;
}

Content contentIn(const Files& files, const std::string& table) {
    const auto found = files.find(table + ".table");
    return found == files.end() ? std::nullopt : std::make_optional(rowsIn(found->second));
}

std::optional<std::string> find(const Files& files, const std::string& name) {
    const auto found = files.find(name);
    return found == files.end() ? std::nullopt : std::make_optional(found->second);
}

std::set<std::string> tablesIn(const Files& files) {
    const std::string suffix = ".table";
    std::set<std::string> names;
    for (const auto& [file, bytes] : files) {
        if (file.size() > suffix.size() && file.substr(file.size() - suffix.size()) == suffix) {
            names.insert(file.substr(0, file.size() - suffix.size()));
        }
    }
    return names;
}

std::vector<Story> statements(int size) {
    const std::string row2 = textOf(2, size);
    const std::string sameLength(row2.rbegin(), row2.rend());
    const std::string update = "UPDATE t SET a=?, b='?' WHERE a = 2;";
    return {
        {"INSERT", {{"INSERT INTO t (a, b) VALUES (?, '?');", {"9", "nine"}}}},
        {"UPDATE, same length", {{update, {"2", sameLength}}}},
        {"UPDATE, longer", {{update, {"2", row2 + " and more than that"}}}},
        {"UPDATE, shorter", {{update, {"2", "2"}}}},
        {"DELETE", {{"DELETE FROM t WHERE a = 2;"}}},
        {"CREATE", {{"CREATE TABLE w (a INTEGER, b TEXT);"}}},
        {"CREATE of a full table", {{"CREATE TABLE t (a INTEGER, b TEXT);"}}},
        {"CREATE IF NOT EXISTS", {{"CREATE TABLE IF NOT EXISTS w (a INTEGER, b TEXT);"}}},
        {"CREATE IF NOT EXISTS of a full table", {{"CREATE TABLE IF NOT EXISTS t (a INTEGER, b TEXT);"}}},
        {"DROP", {{"DROP TABLE t;"}}},
    };
}

Story transactionOver(int tables) {
    if (tables == 1) {
        return {"a transaction over 1 table",
                {{"BEGIN"},
                 {"INSERT INTO t (a, b) VALUES (?, '?');", {"9", "nine"}},
                 {"UPDATE t SET a=?, b='?' WHERE a = 2;", {"2", "two and more than that"}},
                 {"DELETE FROM t WHERE a = 1;"},
                 {"COMMIT"}}};
    }
    if (tables == 3) {
        return {"a transaction over 3 tables and a new one",
                {{"BEGIN"},
                 {"INSERT INTO t (a, b) VALUES (?, '?');", {"9", "nine"}},
                 {"CREATE TABLE w (a INTEGER, b TEXT);"},
                 {"INSERT INTO w (a, b) VALUES (?, '?');", {"8", "eight"}},
                 {"UPDATE u SET a=?, b='?' WHERE a = 2;", {"2", "2"}},
                 {"DROP TABLE v;"},
                 {"DELETE FROM t WHERE a = 1;"},
                 {"COMMIT"}}};
    }
    Story story{"a transaction over " + std::to_string(tables) + " tables", {{"BEGIN"}}};
    for (int table = 10; table < 10 + tables; ++table) {
        story.run.push_back(
            {"INSERT INTO t" + std::to_string(table) + " (a, b) VALUES (?, '?');", {"9", "nine"}});
    }
    story.run.push_back({"COMMIT"});
    return story;
}

Files smallTables() {
    return {{"t.table", tableOf(kSmall)},
            {"u.table", tableOf(kSmall)},
            {"v.table", tableOf(kSmall)},
            {"master_rollback", "0\n"}};
}

Files largeTable() {
    return {{"t.table", tableOf(kLarge)}, {"u.table", tableOf(kSmall)}, {"master_rollback", "0\n"}};
}

Files manyTables(int tables) {
    Files files{{"u.table", tableOf(kSmall)}, {"master_rollback", "0\n"}};
    for (int table = 10; table < 10 + tables; ++table) {
        files["t" + std::to_string(table) + ".table"] = tableOf(kSmall);
    }
    return files;
}

class RefusedCallTest : public StatementTest {
protected:
    void SetUp() override {
        // Errors alone: the trace of a large table would take most of the time.
        Log::setLogSink(
            [this](const Log::LogMessage& message) {
                const std::lock_guard<std::mutex> guard(mutex_);
                if (std::string(message.text) != "line is NULL") {
                    errors_.emplace_back(message.text);
                }
            },
            -2);
    }

    void TearDown() override {
        database.reset();
        Log::setLogSink({}, 0);
    }

    std::vector<std::string> takeErrors() {
        const std::lock_guard<std::mutex> guard(mutex_);
        return std::exchange(errors_, {});
    }

    /// The files as they are before each story; names the story's tables for messages.
    void start(const Files& base) {
        base_ = base;
        afterwards_.clear();
    }

    void openFresh() {
        restoreFiles(directory(), base_);
        database = std::make_unique<FileDatabase>(level());
        ASSERT_TRUE(database->init(path()));
        takeErrors();
    }

    /// What a statement or call answered, and what it said.
    struct Answer {
        int result = 0;
        std::vector<std::string> errors;
        bool failed() const { return result != 0 || !errors.empty(); }
    };

    Answer step(FileDatabase& target, const Statement& statement) {
        Answer answer;
        if (statement.sql == "BEGIN") {
            answer.result = target.beginTransaction() ? 0 : 1;
        } else if (statement.sql == "COMMIT") {
            answer.result = target.commitTransaction() ? 0 : 1;
        } else {
            std::vector<const char*> values(4);
            std::transform(statement.values.begin(), statement.values.end(), values.begin(),
                           [](const std::string& value) { return value.c_str(); });
            answer.result =
                target.executeUpdate(statement.sql.c_str(), values[0], values[1], values[2], values[3]);
        }
        answer.errors = takeErrors();
        return answer;
    }

    /// The files after those statements of the story that are marked, when nothing goes wrong.
    const Files& afterwards(const Story& story, const std::vector<bool>& marked) {
        std::string key = story.name;
        std::transform(marked.begin(), marked.end(), std::back_inserter(key),
                       [](bool mark) { return mark ? '+' : '-'; });
        const auto known = afterwards_.find(key);
        if (known != afterwards_.end()) {
            return known->second;
        }
        const std::string aside = temporary.file("model");
        restoreFiles(aside + "_filedb", base_);
        FileDatabase model;
        EXPECT_TRUE(model.init(aside));
        for (std::size_t i = 0; i < story.run.size(); ++i) {
            if (marked[i]) {
                step(model, story.run[i]);
            }
        }
        return afterwards_[key] = readFiles(aside + "_filedb");
    }

    const Files& afterwards(const Story& story) {
        return afterwards(story, std::vector<bool>(story.run.size(), true));
    }

    Content contentOf(FileDatabase& target, const std::string& table) {
        const Result result(target.executeQuery(("SELECT *, ROWID FROM " + table + ";").c_str()));
        return result ? std::make_optional(rows(result, 3)) : std::nullopt;
    }

    static int failures() {
        return ::testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
    }

    /// Does `run` with the steps `first`, `first` + `stride`, ... until it tells that it ended before its
    /// step.
    template <typename Run>
    static void forSteps(Run run, int first = 1, int stride = 1) {
        constexpr int kMostSteps = 4000;
        const int failuresBefore = failures();
        bool reached = true;
        for (int n = first; reached; n += stride) {
            SCOPED_TRACE("step " + std::to_string(n));
            ASSERT_LT(n, kMostSteps) << "no end in sight";
            reached = run(n);
            if (failures() > failuresBefore) {
                return;  // the steps after it would only say the same
            }
        }
    }

    /// Every table of these files is as before or as after. One that is neither was caught while it was
    /// copied over: then the state line says so, and the whole working copy is there to finish it from.
    static std::set<std::string> expectWhole(const Files& before, const Files& now, const Files& after) {
        std::set<std::string> torn;
        std::set<std::string> names = tablesIn(before);
        names.merge(tablesIn(after));
        for (const std::string& name : names) {
            const auto content = find(now, name + ".table");
            if (content == find(before, name + ".table") || content == find(after, name + ".table")) {
                continue;
            }
            torn.insert(name);
            EXPECT_EQ(find(now, "master_rollback").value_or("").substr(0, 2), "1\n") << name << " is torn";
            EXPECT_TRUE(find(now, name + ".backup") == find(after, name + ".table")) << name << " is torn";
        }
        return torn;
    }

    /// A process that opens a copy of the directory now finds these rows.
    void expectFreshLook(const std::map<std::string, Content>& wanted) {
        const std::string aside = temporary.file("aside");
        restoreFiles(aside + "_filedb", files());
        FileDatabase other;
        EXPECT_TRUE(other.init(aside));
        EXPECT_EQ(readFile(aside + "_filedb/master_rollback"), "0\n");
        for (const auto& [table, content] : wanted) {
            EXPECT_EQ(contentOf(other, table), content) << "of " << table << " for a fresh process";
        }
        takeErrors();
    }

    void expectThatNobodyIsHeldUp() {
        mustEnd("a query of another thread", [&] { contentOf(*database, "u"); });
        takeErrors();
    }

    /// The table takes a row, for this thread and another one.
    void expectWorksOn(const std::string& table) {
        takeErrors();
        EXPECT_EQ(step(*database, {"CREATE TABLE IF NOT EXISTS " + table + " (a INTEGER, b TEXT);"}).result,
                  0);
        Rows wanted = contentOf(*database, table).value_or(Rows{});
        addRow(table, wanted);
        mustEnd("a later statement of another thread", [&] { addRow(table, wanted); });
        EXPECT_EQ(contentOf(*database, table), wanted);
        EXPECT_THAT(takeErrors(), IsEmpty()) << "of a later statement";
        EXPECT_EQ(journal(), "0\n");
        EXPECT_FALSE(fileExists(backupFile(table)));
        expectFreshLook({{table, wanted}});
    }

    void addRow(const std::string& table, Rows& rows) {
        const int rowId = rows.empty() ? 1 : std::stoi(rows.back().substr(rows.back().rfind('|') + 1)) + 1;
        const Answer answer =
            step(*database, {"INSERT INTO " + table + " (a, b) VALUES (?, '?');", {"7", "seven"}});
        EXPECT_FALSE(answer.failed()) << ::testing::PrintToString(answer.errors);
        rows.push_back("7|seven|" + std::to_string(rowId));
    }

    // A single statement

    /// Runs the statement with the trouble from its n-th call on; false when it ended before.
    bool refuseInStatement(const Story& story, const Trouble& trouble, int n) {
        const Files& after = afterwards(story);
        const std::string table = story.name.find("CREATE") == 0 && after.count("w.table") > 0 ? "w" : "t";
        openFresh();
        FaultLayer faults(trouble.fault, n, trouble.lasting);
        const Answer answer = step(*database, story.run[0]);
        if (FaultLayer::steps() < n) {
            return false;
        }
        if (trouble.lasting) {
            expectThatNobodyIsHeldUp();
        }
        faults.lift();
        expectWhole(base_, files(), after);
        expectThatNobodyIsHeldUp();
        expectRowsThatFit(story, answer, after, table);
        if (trouble.fault == Fault::kShort) {
            EXPECT_THAT(answer.errors, IsEmpty()) << "though every byte could be had";
        }
        expectWorksOn(table);
        return true;
    }

    void expectRowsThatFit(const Story& story, const Answer& answer, const Files& after,
                           const std::string& table) {
        const Content rowsBefore = contentIn(base_, table);
        const Content rowsAfter = contentIn(after, table);
        const Content rowsNow = contentOf(*database, table);
        EXPECT_THAT(rowsNow, AnyOf(rowsBefore, rowsAfter)) << ::testing::PrintToString(answer.errors);
        EXPECT_EQ(contentOf(*database, "u"), contentIn(base_, "u"));
        const bool mayTellNothing = story.name == "DROP";  // a file that cannot be removed is no error of it
        if (answer.errors.empty() && !mayTellNothing) {
            EXPECT_EQ(rowsNow, rowsAfter) << "without an error line";
        }
        if (story.name == "CREATE IF NOT EXISTS of a full table") {
            EXPECT_EQ(answer.result, answer.errors.empty() ? 0 : 1);
        } else if (story.name == "CREATE IF NOT EXISTS") {
            EXPECT_THAT(answer.result, AnyOf(0, 1));
            EXPECT_TRUE(answer.result == 0 || !answer.errors.empty());
        } else {
            EXPECT_EQ(answer.result, 0);
        }
        takeErrors();
        expectFreshLook({{table, rowsNow}, {"u", contentIn(base_, "u")}});
    }

    void refuseInStatements(const std::vector<Story>& stories, const std::vector<Trouble>& troubles) {
        for (const Story& story : stories) {
            int refusals = 0;
            for (const Trouble& trouble : troubles) {
                SCOPED_TRACE(story.name + ": " + trouble.name);
                forSteps([&](int n) {
                    ++refusals;
                    return refuseInStatement(story, trouble, n);
                });
            }
            EXPECT_GT(refusals, static_cast<int>(troubles.size())) << "no call was touched: " << story.name;
        }
    }

    /// The rows are those that some of the two statements make; one that told of no error is among them.
    void expectOneOfTheOutcomes(const Story& both, const Answer (&answers)[2]) {
        std::vector<Content> possible;
        for (const bool first : {false, true}) {
            for (const bool second : {false, true}) {
                const bool told = (first || answers[0].failed()) && (second || answers[1].failed());
                const bool mayStay = both.run[1].sql.find("DROP") == 0;  // a file that cannot be removed
                if (told || (mayStay && (first || answers[0].failed()))) {
                    possible.push_back(contentIn(afterwards(both, {first, second}), "t"));
                }
            }
        }
        EXPECT_THAT(answers[0].result, 0);
        EXPECT_THAT(answers[1].result, AnyOf(0, 1));
        EXPECT_TRUE(answers[1].result == 0 || !answers[1].errors.empty());
        const Content now = contentOf(*database, "t");
        EXPECT_THAT(possible, ::testing::Contains(now))
            << ::testing::PrintToString(answers[0].errors) << ::testing::PrintToString(answers[1].errors);
        takeErrors();
        expectFreshLook({{"t", now}});
    }

    // A transaction

    enum class End { kRetry, kRollback };

    /// Runs the transaction with the trouble from its n-th call on, which ends with the commit, or just
    /// before it. What failed in it has left no trace in it; false when the transaction ended before the
    /// call.
    bool refuseInTransaction(const Story& story, const Trouble& trouble, int n, bool liftBeforeCommit,
                             End end) {
        openFresh();
        std::vector<bool> done;
        std::vector<std::string> errors;
        Answer commit;
        bool reached = false;
        {
            FaultLayer faults(trouble.fault, n, trouble.lasting);
            for (const Statement& statement : story.run) {
                if (statement.sql == "COMMIT") {
                    expectTablesUntouched();
                    if (liftBeforeCommit) {
                        faults.lift();
                        expectContentOfTransaction(story, done);
                    }
                    commit = step(*database, statement);
                    done.push_back(true);
                    continue;
                }
                const Answer answer = step(*database, statement);
                EXPECT_THAT(answer.result, AnyOf(0, 1)) << statement.sql;
                EXPECT_TRUE(answer.result == 0 || !answer.errors.empty()) << statement.sql;
                done.push_back(!answer.failed());
                errors.insert(errors.end(), answer.errors.begin(), answer.errors.end());
            }
            reached = FaultLayer::steps() >= n;
        }
        const Files& after = afterwards(story, done);
        if (!reached) {
            EXPECT_EQ(files(), after);
            return false;
        }
        if (trouble.fault == Fault::kShort) {
            EXPECT_THAT(errors, IsEmpty()) << "though every byte could be had";
            EXPECT_FALSE(commit.failed()) << ::testing::PrintToString(commit.errors);
        }
        if (liftBeforeCommit) {
            EXPECT_FALSE(commit.failed()) << ::testing::PrintToString(commit.errors);
        }
        expectWhole(base_, files(), after);
        expectEndOfTransaction(after, commit, end);
        return true;
    }

    void expectTablesUntouched() {
        const Files now = files();
        for (const std::string& name : tablesIn(base_)) {
            EXPECT_TRUE(find(now, name + ".table") == find(base_, name + ".table")) << name;
        }
    }

    void expectContentOfTransaction(const Story& story, std::vector<bool> done) {
        done.push_back(true);  // the commit, which the model needs
        const Files& wanted = afterwards(story, done);
        for (const std::string& name : tablesIn(wanted)) {
            EXPECT_EQ(contentOf(*database, name), contentIn(wanted, name)) << name << " in the transaction";
        }
        EXPECT_THAT(takeErrors(), IsEmpty());
    }

    void expectEndOfTransaction(const Files& after, const Answer& commit, End end) {
        bool committed = commit.result == 0;
        int failedCommits = committed ? 0 : 1;
        EXPECT_EQ(committed, commit.errors.empty()) << ::testing::PrintToString(commit.errors);
        if (!committed && end == End::kRetry) {
            committed = database->commitTransaction();
            failedCommits += committed ? 0 : 1;
            EXPECT_TRUE(committed) << ::testing::PrintToString(takeErrors());
        }
        if (!committed) {
            EXPECT_TRUE(database->rollbackTransaction()) << ::testing::PrintToString(takeErrors());
        }
        giveBackLockCounts(failedCommits);
        takeErrors();
        std::map<std::string, Content> now;
        std::set<std::string> names = tablesIn(base_);
        names.merge(tablesIn(after));
        for (const std::string& name : names) {
            now[name] = contentOf(*database, name);
            if (committed && after.count(name + ".table") > 0) {
                EXPECT_EQ(now[name], contentIn(after, name)) << name << " after a commit";
            } else {
                EXPECT_THAT(now[name], AnyOf(contentIn(base_, name), contentIn(after, name))) << name;
            }
        }
        takeErrors();
        expectFreshLook(now);
        expectThatNobodyIsHeldUp();
        expectWorksOn("u");
    }

    /// A commit that fails keeps the count of the lock that it took. A statement without a semicolon is
    /// refused before it takes a count, and gives one back all the same.
    void giveBackLockCounts(int failedCommits) {
        for (int i = 0; i < failedCommits; ++i) {
            EXPECT_EQ(exec("SELECT"), 1);
        }
    }

    /// @param stride runs each stride-th step alone, a different set for each trouble
    void refuseInTransaction(const Story& story, const std::vector<Trouble>& troubles, int stride = 1) {
        int refusals = 0;
        int first = 1;
        for (const Trouble& trouble : troubles) {
            SCOPED_TRACE(story.name + ": " + trouble.name);
            for (const bool liftBeforeCommit : {false, true}) {
                SCOPED_TRACE(liftBeforeCommit ? "lifted before the commit" : "lifted after the commit");
                forSteps(
                    [&](int n) {
                        ++refusals;
                        const End end = n % 2 == 0 ? End::kRetry : End::kRollback;
                        return refuseInTransaction(story, trouble, n, liftBeforeCommit, end);
                    },
                    first, stride);
                first = first % stride + 1;
            }
        }
        EXPECT_GT(refusals, static_cast<int>(2 * troubles.size())) << "no call was touched";
    }

    // Death

    /// The process ends at each call of the story in turn; what it leaves is whole, and a later one works.
    void endAtEachCall(const Story& story, int stride = 1) {
        const Files& after = afterwards(story);
        for (const Fault fault : {Fault::kDeath, Fault::kTornDeath}) {
            SCOPED_TRACE(story.name + (fault == Fault::kDeath ? ": killed" : ": killed half way"));
            forSteps(
                [&](int n) {
                    database->deinit();  // it would keep the other process out
                    restoreFiles(directory(), base_);
                    const bool died = endsEarly([&] {
                        FileDatabase victim;
                        if (!victim.init(path())) {
                            return false;
                        }
                        const FaultLayer faults(fault, n);
                        for (const Statement& statement : story.run) {
                            step(victim, statement);
                        }
                        return true;
                    });
                    const Files crashed = files();
                    const std::set<std::string> torn = expectWhole(base_, crashed, after);
                    reopen();
                    std::set<std::string> names = tablesIn(base_);
                    names.merge(tablesIn(after));
                    for (const std::string& name : names) {
                        if (torn.count(name) == 0) {
                            EXPECT_THAT(contentOf(*database, name),
                                        AnyOf(contentIn(base_, name), contentIn(after, name)))
                                << name;
                        }
                    }
                    expectWorksOn("x");  // a new table: any other may be torn
                    return died;
                },
                1, stride);
        }
    }

private:
    Files base_;
    std::map<std::string, Files> afterwards_;
    std::mutex mutex_;
    std::vector<std::string> errors_;
};

TEST_F(RefusedCallTest, StatementOnASmallTableGivesRowsFromBeforeOrAfter) {
    start(smallTables());
    refuseInStatements(statements(kSmall), allTroubles());
}

// The size of a table matters to what reads and writes it, and to nothing else: so the statements that move
// rows, and the faults that differ in kind.
TEST_F(RefusedCallTest, StatementOnALargeTableGivesRowsFromBeforeOrAfter) {
    start(largeTable());
    std::vector<Story> stories = statements(kLarge);
    stories.resize(5);
    refuseInStatements(stories, mainTroubles());
}

TEST_F(RefusedCallTest, TransactionOverOneTableKeepsWhatSucceededInIt) {
    start(smallTables());
    refuseInTransaction(transactionOver(1), allTroubles());
}

TEST_F(RefusedCallTest, TransactionOverThreeTablesKeepsWhatSucceededInIt) {
    start(smallTables());
    refuseInTransaction(transactionOver(3), allTroubles());
}

// So many tables make some hundred calls, table after table the same: each trouble takes every 17th of them,
// and another set than the trouble before it.
TEST_F(RefusedCallTest, TransactionOverTwentyTablesKeepsWhatSucceededInIt) {
    start(manyTables(20));
    refuseInTransaction(transactionOver(20), allTroubles(), 17);
}

TEST_F(RefusedCallTest, ProcessThatIsKilledInAStatementLeavesWholeTables) {
    start(smallTables());
    for (const Story& story : statements(kSmall)) {
        endAtEachCall(story);
    }
    start(largeTable());
    const std::vector<Story> large = statements(kLarge);
    endAtEachCall(large[2]);  // longer: the rest of the file moves
    endAtEachCall(large[4]);  // and shorter
}

TEST_F(RefusedCallTest, ProcessThatIsKilledInATransactionLeavesWholeTables) {
    start(smallTables());
    endAtEachCall(transactionOver(1));
    endAtEachCall(transactionOver(3));
    start(manyTables(20));
    endAtEachCall(transactionOver(20), 7);  // table after table the same
}

TEST_F(RefusedCallTest, SecondFaultInARowCostsNoRowsEither) {
    useLevel(Synchronous::off);  // with a sync in each of the many rounds it takes minutes
    open();
    start(smallTables());
    const std::vector<Story> all = statements(kSmall);
    const std::pair<Story, Story> pairs[] = {
        {all[0], all[2]}, {all[2], all[4]}, {all[4], all[0]}, {all[3], all[9]}, {all[2], all[2]}};
    for (const auto& [first, second] : pairs) {
        const Story both{first.name + ", " + second.name, {first.run[0], second.run[0]}};
        for (const Fault fault : {Fault::kIoError, Fault::kNoSpace}) {
            SCOPED_TRACE(both.name + (fault == Fault::kIoError ? ": EIO" : ": disk full"));
            forSteps([&](int n) {
                bool firstReached = false;
                forSteps([&](int m) {
                    openFresh();
                    Answer answers[2];
                    {
                        const FaultLayer faults(fault, n);
                        answers[0] = step(*database, both.run[0]);
                        firstReached = FaultLayer::steps() >= n;
                    }
                    bool secondReached = false;
                    {
                        const FaultLayer faults(fault, m);
                        answers[1] = step(*database, both.run[1]);
                        secondReached = FaultLayer::steps() >= m;
                    }
                    expectOneOfTheOutcomes(both, answers);
                    expectWorksOn("t");
                    return secondReached;
                });
                return firstReached;
            });
        }
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
