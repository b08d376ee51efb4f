#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "EngineAccess.h"
#include "FaultLayer.h"
#include "RefusedCalls.h"
#include "StatementTest.h"

// What the system's calls on files may do to a statement: each of them fails in turn, takes only a part, or
// is the last thing the process does. After every such fault a table must hold its rows from before or from
// after the statement.
namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::EngineAccess;
using ::testing::IsEmpty;
using ::testing::PrintToString;

/// The rows of a table, or nothing where there is no such table.
using Rows = std::optional<std::vector<std::string>>;

/// Statements under test: what is run without a fault before them, and what is run with it.
struct Story {
    std::string name;
    std::vector<std::string> prepare;
    std::vector<std::string> run;
};

const Trouble kTroubles[] = {
    {"no space once", Fault::kNoSpace, false},
    {"no space for long", Fault::kNoSpace, true},
    {"an I/O error", Fault::kIoError, false},
    {"I/O errors for long", Fault::kIoError, true},
    {"half a write, then no space", Fault::kHalfWrite, false},
};

constexpr int kMostSteps = 400;

class CrashTest : public StatementTest,
                  public ::testing::WithParamInterface<Core::Database::Filedb::Synchronous> {
protected:
    CrashTest() { useLevel(GetParam()); }

    void SetUp() override {
        StatementTest::SetUp();
        for (const char* name : {"t", "u", "v"}) {
            run(std::string("CREATE TABLE ") + name + " (a INTEGER, b TEXT);");
            run(std::string("INSERT INTO ") + name + " (a, b) VALUES (?, '?');", "1", "one");
            run(std::string("INSERT INTO ") + name + " (a, b) VALUES (?, '?');", "2", "two");
            run(std::string("INSERT INTO ") + name + " (a, b) VALUES (?, '?');", "3", "three");
        }
        base_ = files();
        database.reset();
    }

    static void step(FileDatabase& target, const std::string& text) {
        if (text == "BEGIN") {
            target.beginTransaction();
        } else if (text == "COMMIT") {
            target.commitTransaction();
        } else if (text == "ROLLBACK") {
            target.rollbackTransaction();
        } else {
            target.executeUpdate(text.c_str(), "9", "nine", "8", "7");
        }
    }

    static void steps(FileDatabase& target, const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            step(target, text);
        }
    }

    /// Puts the directory back to how it was before the story.
    void restore(const Files& content) {
        restoreFiles(directory(), content);
        log.clear();
    }

    void restore() { restore(base_); }

    /// The files after the story, when nothing goes wrong.
    Files finished(const Story& story) {
        restore();
        open(story);
        steps(*database, story.run);
        database.reset();
        EXPECT_THAT(takeErrors(), IsEmpty());
        return files();
    }

    void open(const Story& story) {
        database = std::make_unique<FileDatabase>(level());
        ASSERT_TRUE(database->init(path()));
        steps(*database, story.prepare);
    }

    /// Calls `run` with the steps 1, 2, 3, ... until it tells that it ended before its step.
    static void forEveryStep(const std::function<bool(int)>& run) {
        bool reached = true;
        for (int n = 1; reached; ++n) {
            SCOPED_TRACE("step " + std::to_string(n));
            ASSERT_LT(n, kMostSteps) << "no end in sight";
            reached = run(n);
        }
    }

    /// Does the work with the fault at the n-th call; false when the work ended before it.
    static bool underFault(const Trouble& trouble, int n, const std::function<void()>& work) {
        const FaultLayer faults(trouble.fault, n, trouble.lasting);
        work();
        return FaultLayer::steps() >= n;
    }

    /// Runs the story in a process that the fault ends; false when it ran to its end.
    bool dies(const Story& story, Fault fault, int atStep) {
        database.reset();  // it would keep the other process out
        return endsEarly([&] {
            FileDatabase victim(level());
            if (!victim.init(path())) {
                return false;
            }
            steps(victim, story.prepare);
            const FaultLayer faults(fault, atStep);
            steps(victim, story.run);
            return true;
        });
    }

    static std::optional<std::string> find(const Files& where, const std::string& name) {
        const auto found = where.find(name);
        return found == where.end() ? std::nullopt : std::make_optional(found->second);
    }

    static std::set<std::string> tableNames(const Files& before, const Files& after) {
        std::set<std::string> names;
        for (const Files& side : {before, after}) {
            for (const auto& [file, bytes] : side) {
                if (file.size() > 6 && file.substr(file.size() - 6) == ".table") {
                    names.insert(file.substr(0, file.size() - 6));
                }
            }
        }
        return names;
    }

    /// Every table is as before or as after. One that is neither was caught while it was copied over: then
    /// the state line says so, and the whole working copy is there to finish it from. Gives the names of such
    /// tables; there are none where tables are replaced.
    std::set<std::string> expectWhole(const Files& before, const Files& now, const Files& after) {
        std::set<std::string> torn;
        for (const std::string& name : tableNames(before, after)) {
            const auto content = find(now, name + ".table");
            if (content == find(before, name + ".table") || content == find(after, name + ".table")) {
                continue;
            }
            torn.insert(name);
            EXPECT_EQ(level(), Synchronous::off) << name << " is torn";
            EXPECT_EQ(now.at("master_rollback").substr(0, 2), "1\n") << name << " is torn";
            EXPECT_EQ(find(now, name + ".backup"), find(after, name + ".table")) << name << " is torn";
        }
        return torn;
    }

    Rows rowsOf(const std::string& name) {
        const Result result = query(("SELECT *, ROWID FROM " + name + ";").c_str());
        return result ? std::make_optional(rows(result, 3)) : std::nullopt;
    }

    /// The rows that a fresh look at these files gives.
    Rows rowsOf(const Files& content, const std::string& name) {
        if (!find(content, name + ".table")) {
            return std::nullopt;
        }
        const std::filesystem::path aside = temporary.file("aside_filedb");
        std::filesystem::remove_all(aside);
        std::filesystem::create_directory(aside);
        writeFile(aside / (name + ".table"), content.at(name + ".table"));
        FileDatabase reader(level());
        EXPECT_TRUE(reader.init(temporary.file("aside")));
        const Result result(reader.executeQuery(("SELECT *, ROWID FROM " + name + ";").c_str()));
        return result ? std::make_optional(rows(result, 3)) : std::nullopt;
    }

    /// The ROWID that the next row gets behind these, which end in theirs.
    static int rowIdBehind(const std::vector<std::string>& lines) {
        return lines.empty() ? 1 : std::stoi(lines.back().substr(lines.back().rfind('|') + 1)) + 1;
    }

    std::vector<std::string> errorsOfStatement() {
        std::vector<std::string> errors;
        for (const std::string& text : log.texts(-2)) {
            if (text != "line is NULL") {
                errors.push_back(text);
            }
        }
        return errors;
    }

    Files base_;
};

const std::vector<Story> kStatements = {
    {"insert", {}, {"INSERT INTO t (a, b) VALUES (?, '?');"}},
    {"insert that makes the first working copy long",
     {"UPDATE t SET a=?, b='?' WHERE a = 1;"},
     {"INSERT INTO t (b) VALUES ('?');"}},
    {"update", {}, {"UPDATE t SET a=?, b='?' WHERE a = 2;"}},
    {"delete", {}, {"DELETE FROM t WHERE a != 3;"}},
    {"delete all", {}, {"DELETE FROM t;"}},
    {"create", {}, {"CREATE TABLE w (a INTEGER, b TEXT);"}},
    {"drop", {}, {"DROP TABLE t;"}},
};

const std::vector<Story> kCommits = {
    {"three tables",
     {"BEGIN", "INSERT INTO t (a, b) VALUES (?, '?');", "UPDATE u SET a=?, b='?';",
      "DELETE FROM v WHERE a = 2;"},
     {"COMMIT"}},
    {"create, insert, drop, update",
     {"BEGIN", "CREATE TABLE w (a INTEGER, b TEXT);", "INSERT INTO w (a, b) VALUES (?, '?');",
      "DROP TABLE u;", "UPDATE v SET a=?, b='?' WHERE a = 1;", "DROP TABLE v;", "DELETE FROM t WHERE a = 1;"},
     {"COMMIT"}},
    {"the whole transaction",
     {},
     {"BEGIN", "INSERT INTO t (a, b) VALUES (?, '?');", "INSERT INTO t (a, b) VALUES (?, '?');",
      "DELETE FROM u WHERE a = 2;", "UPDATE v SET a=?, b='?';", "COMMIT"}},
};

INSTANTIATE_TEST_SUITE_P(AtEveryLevel, CrashTest,
                         ::testing::Values(Core::Database::Filedb::Synchronous::off,
                                           Core::Database::Filedb::Synchronous::normal,
                                           Core::Database::Filedb::Synchronous::full),
                         levelName);

// Death

TEST_P(CrashTest, AProcessThatDiesInAStatementLeavesTheTableAsBeforeOrAsAfter) {
    for (const Story& story : kStatements) {
        SCOPED_TRACE(story.name);
        restore();
        open(story);
        database.reset();
        const Files before = files();
        const Files after = finished(story);
        ASSERT_NE(before, after);
        bool sawBefore = false;
        bool sawAfter = false;
        for (const Fault fault : {Fault::kDeath, Fault::kTornDeath}) {
            forEveryStep([&](int n) {
                restore();
                const bool died = dies(story, fault, n);
                const Files crashed = files();
                const std::set<std::string> torn = expectWhole(before, crashed, after);

                reopen();
                const Files reopened = files();
                EXPECT_EQ(journal(), "0\n");
                for (const std::string& name : tableNames(before, after)) {
                    EXPECT_EQ(find(reopened, name + ".table"), find(crashed, name + ".table"));
                }
                for (const std::string& name : torn) {
                    EXPECT_EQ(find(reopened, name + ".backup"), find(after, name + ".table"));
                    std::filesystem::rename(backupFile(name), tableFile(name));
                    EXPECT_EQ(rowsOf(name), rowsOf(after, name));
                }
                const Files mended = files();
                reopen();
                EXPECT_EQ(files(), mended) << "opened once more";

                log.clear();
                step(*database, "CREATE TABLE IF NOT EXISTS t (a INTEGER, b TEXT);");
                step(*database, "INSERT INTO t (a, b) VALUES (?, '?');");
                EXPECT_THAT(errorsOfStatement(), IsEmpty());
                const auto names = listDirectory(directory());
                EXPECT_THAT(names, ::testing::Not(::testing::Contains("t.backup")));
                sawBefore = sawBefore || find(crashed, "t.table") == find(before, "t.table");
                sawAfter = sawAfter || find(crashed, "t.table") == find(after, "t.table");
                return died;
            });
        }
        EXPECT_TRUE(sawBefore && sawAfter);
    }
}

TEST_P(CrashTest, AProcessThatDiesInACommitLeavesEachTableAsBeforeOrAsAfter) {
    for (const Story& story : kCommits) {
        SCOPED_TRACE(story.name);
        const Files after = finished(story);
        ASSERT_NE(base_, after);
        int whole = 0;
        for (const Fault fault : {Fault::kDeath, Fault::kTornDeath}) {
            forEveryStep([&](int n) {
                restore();
                const bool died = dies(story, fault, n);
                const Files crashed = files();
                const std::set<std::string> torn = expectWhole(base_, crashed, after);
                whole += torn.empty() ? 1 : 0;

                reopen();
                EXPECT_EQ(journal(), "0\n");
                const Files reopened = files();
                const bool copying = crashed.at("master_rollback").substr(0, 2) == "1\n";
                for (const std::string& name : tableNames(base_, after)) {
                    if (torn.count(name) != 0) {
                        EXPECT_EQ(find(reopened, name + ".table"), find(crashed, name + ".table"));
                        continue;
                    }
                    const auto content = find(reopened, name + ".table");
                    EXPECT_TRUE(content == find(base_, name + ".table") ||
                                content == find(after, name + ".table"))
                        << name << " is " << PrintToString(content);
                    EXPECT_TRUE(copying || !find(reopened, name + ".backup")) << name;
                }
                reopen();
                EXPECT_EQ(files(), reopened) << "opened once more";
                return died;
            });
        }
        EXPECT_GT(whole, 0);
    }
}

TEST_P(CrashTest, TheJournalPassesThroughItsFourForms) {
    const Story& insert = kStatements[0];
    std::vector<std::string> forms;
    forEveryStep([&](int n) {
        restore();
        // How a table is copied over depends on its age. Here it is the same in every round.
        letFilesAge();
        const bool died = dies(insert, Fault::kDeath, n);
        if (forms.empty() || forms.back() != journal()) {
            forms.push_back(journal());
        }
        return died;
    });
    EXPECT_THAT(forms, ::testing::ElementsAre("0\n", "0\n\x01~t\n", "1\n\x01~t\n", "0\n\x01~t\n", "0\n"));
}

TEST_P(CrashTest, AProcessThatDiesInARollbackLeavesEveryTableAsBefore) {
    Story story = kCommits[1];
    story.run = {"ROLLBACK"};
    // What was changed and then dropped is marked in the journal; without such a table nothing is removed.
    story.prepare = {"BEGIN", "CREATE TABLE w (a INTEGER, b TEXT);", "INSERT INTO t (a, b) VALUES (?, '?');",
                     "DROP TABLE u;", "UPDATE v SET a=?, b='?';"};
    ASSERT_EQ(finished(story), base_);
    forEveryStep([&](int n) {
        restore();
        const bool died = dies(story, Fault::kTornDeath, n);
        reopen();
        EXPECT_EQ(files(), base_);
        return died;
    });
}

TEST_P(CrashTest, AProcessThatDiesWhileItRecoversLeavesTheRestToTheNext) {
    const std::string changed = base_.at("t.table") + "9~'nine'~4\n";
    std::vector<std::string> journals = {"0\n\x01~t\n\x03~u\n", "0\n\x01~t\n5~u\n", "1\n\x01~t\n"};
    // Where working copies are copied over tables, a journal that asks for copies may have lost them.
    if (level() != Synchronous::off) {
        journals.insert(journals.end(), {"0\n1~t\n3~u\n", "0\n1~t\n5~u\n"});
    }
    for (const std::string& journalText : journals) {
        SCOPED_TRACE(PrintToString(journalText));
        Files interrupted = base_;
        interrupted["t.backup"] = changed;
        if (journalText[0] != '1') {
            interrupted["u.backup"] = changed;
        }
        interrupted["master_rollback"] = journalText;
        restore(interrupted);
        reopen();
        const Files recovered = files();
        database.reset();

        for (const Fault fault : {Fault::kDeath, Fault::kTornDeath}) {
            forEveryStep([&](int n) {
                restore(interrupted);
                const bool died = endsEarly([&] {
                    FileDatabase victim(level());
                    const FaultLayer faults(fault, n);
                    return victim.init(path());
                });
                reopen();
                database.reset();
                EXPECT_EQ(files(), recovered);
                return died;
            });
        }
    }
}

// Failure without death

TEST_P(CrashTest, AFailedStatementCostsNoRowsAndTheNextOneWorks) {
    for (const Story& story : kStatements) {
        SCOPED_TRACE(story.name);
        restore();
        open(story);
        database.reset();
        const Files before = files();
        const Files after = finished(story);
        const std::string name = story.name == "create" ? "w" : "t";
        const Rows rowsBefore = rowsOf(before, name);
        const Rows rowsAfter = rowsOf(after, name);
        for (const Trouble& trouble : kTroubles) {
            SCOPED_TRACE(trouble.name);
            int failures = 0;
            forEveryStep([&](int n) {
                restore();
                open(story);
                log.clear();
                const bool reached = underFault(trouble, n, [&] { steps(*database, story.run); });
                const std::vector<std::string> errors = errorsOfStatement();
                failures += errors.empty() ? 0 : 1;
                const Files failed = files();
                const std::set<std::string> torn = expectWhole(before, failed, after);

                log.clear();
                const Rows rowsNow = rowsOf(name);
                EXPECT_TRUE(rowsNow == rowsBefore || rowsNow == rowsAfter)
                    << PrintToString(errors) << log.dump();
                // A file that cannot be removed is no error of the statement: a dropped table may so stay.
                if (errors.empty() && !(story.name == "drop" && rowsNow == rowsBefore)) {
                    EXPECT_EQ(rowsNow, rowsAfter) << "without an error line";
                    EXPECT_EQ(find(failed, name + ".table"), find(after, name + ".table"));
                }

                log.clear();
                step(*database, "CREATE TABLE IF NOT EXISTS " + name + " (a INTEGER, b TEXT);");
                std::vector<std::string> wanted = rowsOf(name).value_or(std::vector<std::string>());
                step(*database, "INSERT INTO " + name + " (a, b) VALUES (?, '?');");
                EXPECT_THAT(errorsOfStatement(), IsEmpty()) << "of the later statement";
                wanted.push_back("9|nine|" + std::to_string(rowIdBehind(wanted)));
                EXPECT_EQ(rowsOf(name), wanted);
                EXPECT_EQ(journal(), "0\n");
                EXPECT_FALSE(fileExists(backupFile(name)));
                reopen();
                EXPECT_EQ(rowsOf(name), wanted);
                return reached;
            });
            EXPECT_GT(failures, 0);
        }
    }
}

TEST_P(CrashTest, AFailedStatementCostsNoRowsAfterAReopen) {
    for (const Story& story : kStatements) {
        SCOPED_TRACE(story.name);
        restore();
        open(story);
        database.reset();
        const Files before = files();
        const Files after = finished(story);
        for (const Trouble& trouble : kTroubles) {
            SCOPED_TRACE(trouble.name);
            forEveryStep([&](int n) {
                restore();
                open(story);
                const bool reached = underFault(trouble, n, [&] { steps(*database, story.run); });
                const Files failed = files();
                expectWhole(before, failed, after);
                // A copy-over that had begun is finished when the database is closed.
                const std::string& state = failed.at("master_rollback");
                const bool hadBegun = state.substr(0, 2) == "1\n" && state != "1\n";
                reopen();
                EXPECT_EQ(journal(), "0\n");
                for (const std::string& name : tableNames(before, after)) {
                    EXPECT_EQ(find(files(), name + ".table"),
                              find(hadBegun ? after : failed, name + ".table"));
                }
                return reached;
            });
        }
    }
}

TEST_P(CrashTest, AFailedStatementDiscardsItsWorkingCopyWhenTheFaultIsGoneAtOnce) {
    const Story& story = kStatements[0];
    const Files after = finished(story);
    int discarded = 0;
    forEveryStep([&](int n) {
        restore();
        open(story);
        log.clear();
        const bool reached =
            underFault({"", Fault::kNoSpace, false}, n, [&] { steps(*database, story.run); });
        const Files failed = files();
        if (!errorsOfStatement().empty() && failed.at("t.table") == base_.at("t.table") &&
            !log.has("Copied record:9~'nine'~4\n") && journal() == "0\n") {
            EXPECT_EQ(failed, base_);
            ++discarded;
        }
        return reached;
    });
    EXPECT_GT(discarded, 1);
}

TEST_P(CrashTest, ADiscardThatFailsIsLoggedAndChangesNothingElse) {
    const Story& story = kStatements[0];
    int failedDiscards = 0;
    forEveryStep([&](int n) {
        restore();
        open(story);
        log.clear();
        const bool reached = underFault({"", Fault::kIoError, true}, n, [&] { steps(*database, story.run); });
        const std::vector<std::string> errors = errorsOfStatement();
        if (errors.size() > 1) {  // one of the discard, one of the statement
            ++failedDiscards;
            EXPECT_THAT(errors.back(), ::testing::StartsWith("insertTable Exception: "));
            EXPECT_EQ(table("t"), base_.at("t.table"));
            reopen();
            EXPECT_EQ(table("t"), base_.at("t.table"));
            EXPECT_EQ(journal(), "0\n");
        }
        return reached;
    });
    EXPECT_GT(failedDiscards, 0);
}

TEST_P(CrashTest, AShortWriteIsGoneOnWith) {
    for (const Story& story : kStatements) {
        SCOPED_TRACE(story.name);
        const Files after = finished(story);
        for (const bool lasting : {false, true}) {
            forEveryStep([&](int n) {
                restore();
                open(story);
                log.clear();
                const bool reached =
                    underFault({"", Fault::kShortWrite, lasting}, n, [&] { steps(*database, story.run); });
                EXPECT_THAT(errorsOfStatement(), IsEmpty());
                EXPECT_EQ(files(), after);
                return reached;
            });
        }
    }
}

TEST_P(CrashTest, AQueryThatCannotReadGivesNothingAndChangesNothing) {
    // A text that cannot be read to be kept is read once more, piece by piece.
    constexpr std::size_t kMegabyte = 1048576;
    const std::pair<std::size_t, int> boundsAndRefusals[] = {{0, 3}, {kMegabyte, 2}};
    for (const auto& [bytes, refusals] : boundsAndRefusals) {
        SCOPED_TRACE(bytes);
        int refused = 0;
        forEveryStep([&, bound = bytes](int n) {
            restore();
            database = std::make_unique<FileDatabase>(level());
            EngineAccess::keepBytes(*database, bound);
            EXPECT_TRUE(database->init(path()));
            letFilesAge();
            log.clear();
            Rows got;
            const bool reached = underFault({"", Fault::kIoError, false}, n, [&] { got = rowsOf("t"); });
            EXPECT_EQ(got.has_value(), errorsOfStatement().empty());
            refused += got ? 0 : 1;
            if (got) {
                EXPECT_EQ(*got, (std::vector<std::string>{"1|one|1", "2|two|2", "3|three|3"}));
            }
            EXPECT_EQ(files(), base_);
            EXPECT_EQ(rowsOf("t"), (std::vector<std::string>{"1|one|1", "2|two|2", "3|three|3"}));
            return reached;
        });
        EXPECT_EQ(refused, refusals);
    }
}

// In a transaction

TEST_P(CrashTest, AFailedStatementLeavesTheTransactionAsItWas) {
    const Story earlier{
        "", {"BEGIN", "INSERT INTO t (a, b) VALUES (?, '?');", "INSERT INTO u (a) VALUES (?);"}, {}};
    const std::vector<std::string> changes = {
        "UPDATE t SET a=?, b='?' WHERE a = 2;",  "UPDATE t SET a=?, b='?';",
        "INSERT INTO t (a, b) VALUES (?, '?');", "DELETE FROM t WHERE a = 1;",
        "DELETE FROM t WHERE a != 3;",
    };
    for (const std::string& change : changes) {
        SCOPED_TRACE(change);
        restore();
        open(earlier);
        const Rows rowsBefore = rowsOf("t");
        const std::string copyBefore = backup("t");
        step(*database, change);
        const Rows rowsAfter = rowsOf("t");
        const std::string copyAfter = backup("t");
        int spoiltCopies = 0;
        for (const Trouble& trouble : kTroubles) {
            SCOPED_TRACE(trouble.name);
            forEveryStep([&](int n) {
                restore();
                open(earlier);
                log.clear();
                const bool reached = underFault(trouble, n, [&] { step(*database, change); });
                const bool failed = !errorsOfStatement().empty();
                const std::string copy = backup("t");
                spoiltCopies += copy == copyBefore || copy == copyAfter ? 0 : 1;
                EXPECT_EQ(rowsOf("t"), failed ? rowsBefore : rowsAfter);
                EXPECT_EQ(exec("ALTER TABLE x t ADD COLUMN c TEXT;"), 1);
                EXPECT_EQ(exec("CREATE TABLE IF NOT EXISTS t (a INTEGER);"), 0);

                EXPECT_TRUE(database->commitTransaction());
                EXPECT_EQ(table("t"), failed ? copyBefore : copyAfter);
                EXPECT_EQ(table("u"), base_.at("u.table") + "9~NULL~4\n");
                EXPECT_EQ(journal(), "0\n");
                return reached;
            });
        }
        EXPECT_GT(spoiltCopies, 0);
    }
}

TEST_P(CrashTest, AFailedWriteInATransactionLeavesItAsBeforeTheStatement) {
    const Story earlier{
        "", {"BEGIN", "INSERT INTO t (a, b) VALUES (?, '?');", "INSERT INTO u (a) VALUES (?);"}, {}};
    for (const Trouble& trouble : kTroubles) {
        SCOPED_TRACE(trouble.name);
        int refusals = 0;
        forEveryStep([&](int n) {
            restore();
            open(earlier);
            log.clear();
            const bool reached =
                underFault(trouble, n, [&] { step(*database, "UPDATE t SET a=?, b='?' WHERE a = 2;"); });
            const bool failed = !errorsOfStatement().empty();
            refusals += failed ? 1 : 0;
            EXPECT_EQ(table("t"), base_.at("t.table"));
            EXPECT_EQ(table("u"), base_.at("u.table"));

            log.clear();
            std::vector<std::string> wanted{"1|one|1", "2|two|2", "3|three|3", "9|nine|4"};
            if (!failed) {
                wanted[1] = "9|nine|2";
            }
            EXPECT_EQ(rowsOf("t"), wanted);
            step(*database, "INSERT INTO t (a, b) VALUES (?, '?');");
            wanted.emplace_back("9|nine|5");
            EXPECT_EQ(rowsOf("t"), wanted);
            EXPECT_EQ(rowsOf("u")->size(), 4U);
            EXPECT_THAT(errorsOfStatement(), IsEmpty());
            EXPECT_TRUE(database->rollbackTransaction());
            EXPECT_EQ(files(), base_);

            step(*database, "INSERT INTO t (a, b) VALUES (?, '?');");
            EXPECT_THAT(errorsOfStatement(), IsEmpty());
            EXPECT_EQ(table("t"), base_.at("t.table") + "9~'nine'~4\n");
            return reached;
        });
        EXPECT_GT(refusals, 0);
    }
}

TEST_P(CrashTest, AFirstStatementThatFailsInATransactionIsUndoneByTheRollback) {
    for (const Story& story : kStatements) {
        SCOPED_TRACE(story.name);
        for (const Trouble& trouble : kTroubles) {
            SCOPED_TRACE(trouble.name);
            forEveryStep([&](int n) {
                restore();
                open({});
                database->beginTransaction();
                const bool reached = underFault(trouble, n, [&] { steps(*database, story.run); });
                EXPECT_TRUE(database->rollbackTransaction()) << log.dump();
                EXPECT_EQ(files(), base_);
                return reached;
            });
        }
    }
}

TEST_P(CrashTest, ACommitThatFailsCanBeTriedAgainWhenTheFaultIsGone) {
    for (const Story& story : {kCommits[0], kCommits[1]}) {
        SCOPED_TRACE(story.name);
        const Files after = finished(story);
        for (const Trouble& trouble : kTroubles) {
            SCOPED_TRACE(trouble.name);
            int failures = 0;
            forEveryStep([&](int n) {
                restore();
                open(story);
                log.clear();
                bool committed = false;
                const bool reached =
                    underFault(trouble, n, [&] { committed = database->commitTransaction(); });
                EXPECT_EQ(committed, errorsOfStatement().empty());
                expectWhole(base_, files(), after);
                if (!committed) {
                    ++failures;
                    EXPECT_TRUE(database->commitTransaction()) << log.dump();
                }
                if (trouble.fault == Fault::kIoError) {  // a file that could not be removed stays
                    expectWhole(base_, files(), after);
                    EXPECT_EQ(table("t"), after.at("t.table"));
                    EXPECT_EQ(journal(), "0\n");
                } else {
                    EXPECT_EQ(files(), after);
                }
                return reached;
            });
            EXPECT_GT(failures, 0);
        }
    }
}

TEST_P(CrashTest, ACommitThatFailsCanBeRolledBackToWholeTables) {
    const Story& story = kCommits[0];
    const Files after = finished(story);
    for (const Trouble& trouble : kTroubles) {
        SCOPED_TRACE(trouble.name);
        forEveryStep([&](int n) {
            restore();
            open(story);
            bool committed = false;
            const bool reached = underFault(trouble, n, [&] { committed = database->commitTransaction(); });
            if (!committed) {
                EXPECT_TRUE(database->rollbackTransaction()) << log.dump();
            }
            for (const char* name : {"t", "u", "v"}) {
                EXPECT_TRUE(table(name) == base_.at(std::string(name) + ".table") ||
                            table(name) == after.at(std::string(name) + ".table"))
                    << name << ": " << table(name);
            }
            EXPECT_EQ(journal(), "0\n");
            return reached;
        });
    }
}

TEST_P(CrashTest, AWorkingCopyThatAnotherProgramChangedIsCopiedWithTheSameCare) {
    const Story story{"", {"BEGIN", "INSERT INTO t (a, b) VALUES (?, '?');"}, {"COMMIT"}};
    const std::string edited = "a~b~ROWID\n1~4~1\n\n5~'" + std::string(900, 'e') + "'~1\n";
    Files after = base_;
    after["t.table"] = edited;
    for (const Trouble& trouble : kTroubles) {
        SCOPED_TRACE(trouble.name);
        forEveryStep([&](int n) {
            restore();
            open(story);
            writeFile(backupFile("t"), edited);
            bool committed = false;
            const bool reached = underFault(trouble, n, [&] { committed = database->commitTransaction(); });
            expectWhole(base_, files(), after);
            if (!committed) {
                EXPECT_TRUE(database->commitTransaction()) << log.dump();
            }
            EXPECT_EQ(table("t"), edited);
            return reached;
        });
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
