// Programs are stopped at every system call that touches the database, one run for each.
//
// A writer is stopped at every system call that touches the database; after `filedb repair`
// and a new start of the engine the tables hold what they held before the statement or the transaction, or
// what it makes of them, and never anything else.

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "CheckTestSupport.h"
#include "FileDatabase.h"
#include "IResultTable.h"
#include "TracedProgram.h"

namespace Kalt::Vemo::Test {

namespace {

using Core::Database::Filedb::FileDatabase;
namespace fs = std::filesystem;

const std::vector<std::string> kEntries = {"",
                                           "/master_rollback",
                                           "/accounts.table",
                                           "/accounts.backup",
                                           "/notes.table",
                                           "/notes.backup",
                                           "/orders.table",
                                           "/orders.backup",
                                           "/ledger.table",
                                           "/ledger.backup",
                                           "/tags.table",
                                           "/tags.backup"};

class CrashRepairTest : public PlantedDirectoryTest, public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        const LogCapture quiet;
        FileDatabase database;
        ASSERT_TRUE(database.init(root() + "/original"));
        ASSERT_EQ(0, database.executeUpdate("CREATE TABLE accounts (id INTEGER PRIMARY KEY, owner TEXT);"));
        ASSERT_EQ(0, database.executeUpdate("CREATE TABLE notes (text TEXT NOT NULL);"));
        ASSERT_EQ(0, database.executeUpdate("CREATE TABLE orders (id INTEGER, price REAL);"));
        for (const auto& [id, owner] : std::map<std::string, std::string>{{"1", "alice"}, {"2", "bob"}}) {
            database.executeUpdate("INSERT INTO accounts (id, owner) VALUES ('?', '?');", id.c_str(),
                                   owner.c_str());
            database.executeUpdate("INSERT INTO orders (id, price) VALUES ('?', '?');", id.c_str(), "2.5");
        }
        for (const char* text : {"first", "second", "third"}) {
            database.executeUpdate("INSERT INTO notes (text) VALUES ('?');", text);
        }
        before_ = tables("original");
        ASSERT_EQ(3U, before_.size());
    }

    /// A fresh copy of the database under the name that `check` and `repair` work on.
    void restore() {
        fs::remove_all(root() + "/db_filedb");
        fs::copy(root() + "/original_filedb", root() + "/db_filedb");
        letFilesAge();  // or the number of calls changes from run to run
        for (const auto& entry : fs::directory_iterator(root())) {
            if (entry.path().filename().string().rfind("db_filedb.repair-", 0) == 0) {
                fs::remove_all(entry.path());
            }
        }
    }

    Files tables(const std::string& database) const {
        Files files = filesIn(database + "_filedb");
        for (auto file = files.begin(); file != files.end();) {
            file = fs::path(file->first).extension() == ".table" ? std::next(file) : files.erase(file);
        }
        return files;
    }

    std::vector<std::string> writer() const { return {CRASH_WRITER, root() + "/db", GetParam()}; }

    std::vector<std::string> paths() const {
        std::vector<std::string> all;
        for (const std::string& entry : kEntries) {
            all.push_back(root() + "/db_filedb" + entry);
        }
        return all;
    }

    Files before_;
};

std::string dump(const Files& files) {
    std::ostringstream out;
    for (const auto& [name, content] : files) {
        out << "--- " << name << '\n' << content;
    }
    return out.str();
}

std::string nameOfScenario(const ::testing::TestParamInfo<const char*>& scenario) {
    std::string name;
    for (const char* c = scenario.param; *c != '\0'; ++c) {
        name += *c == '-' ? '_' : *c;
    }
    return name;
}

}  // namespace

TEST_P(CrashRepairTest, LeavesTheStateBeforeOrAfterWhereverTheWriterStops) {
    restore();
    const std::vector<Call> calls = callsOf(root(), paths(), writer());
    const Files after = tables("db");
    ASSERT_NE(before_, after);
    ASSERT_GT(calls.size(), 10U);

    std::set<std::string> outcomes;
    for (const Call& call : calls) {
        SCOPED_TRACE(call.name + " number " + std::to_string(call.ordinal));
        restore();
        const ProgramResult stopped = trace(root(), "/dev/null", paths(), stopAt(call), writer());
        ASSERT_EQ(-9, stopped.status) << stopped.err;

        const ProgramResult repaired = repair();
        ASSERT_EQ(0, repaired.status) << repaired.out << repaired.err;
        const ProgramResult checked = check();
        ASSERT_EQ(0, checked.status) << checked.out;
        const Files found = tables("db");
        ASSERT_TRUE(found == before_ || found == after) << repaired.out << dump(database());
        outcomes.insert(found == after ? "after" : "before");

        // The engine's start changes nothing any more, and every table can be read.
        const LogCapture log;
        FileDatabase engine;
        ASSERT_TRUE(engine.init(root() + "/db")) << log.dump();
        ASSERT_EQ(found, tables("db"));
        ASSERT_EQ("0\n", readFile(path("master_rollback")));
        for (const auto& [name, content] : found) {
            const std::string query = "SELECT * FROM " + fs::path(name).stem().string() + ";";
            const std::unique_ptr<Core::Database::IResultTable> rows(engine.executeQuery(query.c_str()));
            ASSERT_NE(nullptr, rows) << query;
        }
    }
    EXPECT_EQ((std::set<std::string>{"after", "before"}), outcomes);
}

INSTANTIATE_TEST_SUITE_P(Writers, CrashRepairTest,
                         ::testing::Values("insert", "update", "delete", "create", "drop",
                                           "commit-three-tables", "commit-drop-of-changed-table"),
                         nameOfScenario);

/// What a restart of the program after the crash leaves for `repair`: the journal is at rest, and the working
/// copy of an interrupted copy-over is named by nobody.
class CrashRestartRepairTest : public CrashRepairTest {
protected:
    static constexpr int kRowCount = 200;

    void SetUp() override {
        CrashRepairTest::SetUp();
        const LogCapture quiet;
        FileDatabase database;
        ASSERT_TRUE(database.init(root() + "/original"));
        ASSERT_EQ(0, database.executeUpdate("CREATE TABLE ledger (entry TEXT);"));
        ASSERT_TRUE(database.beginTransaction());
        for (int row = 1; row <= kRowCount; ++row) {
            const std::string entry = "an entry of middling length, number " + std::to_string(row);
            ASSERT_EQ(0, database.executeUpdate("INSERT INTO ledger (entry) VALUES ('?');", entry.c_str()));
        }
        ASSERT_TRUE(database.commitTransaction());
        before_ = tables("original");
    }

    void restart() {
        const LogCapture quiet;
        FileDatabase engine;
        ASSERT_TRUE(engine.init(root() + "/db"));
    }

    /// The command that the report of a repair names for a reading.
    static std::string commandFor(const std::string& reading, const std::string& report) {
        const std::size_t found = report.find(reading);
        EXPECT_NE(std::string::npos, found) << report;
        const std::size_t begin = found + reading.size();
        return found == std::string::npos ? "false" : report.substr(begin, report.find('\n', begin) - begin);
    }
};

TEST_P(CrashRestartRepairTest, LeavesTheStateBeforeOrAfterOrThePersonToDecideBetweenThem) {
    restore();
    const std::vector<Call> calls = callsOf(root(), paths(), writer());
    const Files after = tables("db");
    ASSERT_NE(before_, after);

    std::set<std::string> outcomes;
    for (const Call& call : calls) {
        if (!call.isChange) {
            continue;
        }
        SCOPED_TRACE(call.name + " number " + std::to_string(call.ordinal));
        const auto stopAndRestart = [&] {
            restore();
            ASSERT_EQ(-9, trace(root(), "/dev/null", paths(), stopAt(call), writer()).status);
            restart();
        };
        stopAndRestart();
        const Files torn = tables("db");
        const bool isTorn = torn != before_ && torn != after;
        const ProgramResult repaired = repair();
        if (repaired.status == 0) {
            const Files found = tables("db");
            ASSERT_TRUE(found == before_ || found == after) << repaired.out << dump(database());
            outcomes.insert(isTorn ? "torn" : found == after ? "after" : "before");
        } else {
            ASSERT_EQ(1, repaired.status) << repaired.out << repaired.err;
            ASSERT_EQ(torn, tables("db")) << repaired.out;
            outcomes.insert(isTorn ? "torn and sound" : "undecided");
            const std::string take = commandFor("to take it: ", repaired.out);
            ASSERT_EQ(0, runProgram(root(), {"/bin/sh", "-c", take}).status) << take;
            ASSERT_EQ(0, repair().status);
            ASSERT_EQ(after, tables("db"));

            stopAndRestart();
            const std::string keep = commandFor(
                torn.size() == after.size() ? "to keep the table: " : "to do without it: ", repair().out);
            ASSERT_EQ(0, runProgram(root(), {"/bin/sh", "-c", keep}).status) << keep;
            ASSERT_EQ(0, repair().status);
            ASSERT_EQ(torn, tables("db"));
        }
        const ProgramResult checked = check();
        ASSERT_EQ(0, checked.status) << checked.out;
    }
    const std::map<std::string, std::set<std::string>> expected = {
        {"insert", {"before", "undecided", "after"}},
        {"create", {"before", "undecided", "torn", "after"}},
        {"shorten-200-rows", {"before", "undecided", "torn", "after"}},
        {"lengthen-200-rows", {"before", "undecided", "after"}},
    };
    EXPECT_EQ(expected.at(GetParam()), outcomes);
}

TEST_P(CrashRestartRepairTest, KeepsEveryRowWhereverTheCopyOverStopped) {
    // The writer is stopped when the copy-over is decided and has not begun.
    restore();
    const std::vector<Call> calls = callsOf(root(), paths(), writer());
    const Files after = tables("db");
    Files stopped;
    for (auto call = calls.begin(); stopped["master_rollback"].rfind("1\n", 0) != 0; ++call) {
        ASSERT_NE(calls.end(), call);
        restore();
        trace(root(), "/dev/null", paths(), stopAt(*call), writer());
        stopped = database();
    }
    ASSERT_EQ(before_, tables("db"));
    const auto backup = std::find_if(stopped.begin(), stopped.end(), [](const auto& file) {
        return fs::path(file.first).extension() == ".backup";
    });
    ASSERT_NE(stopped.end(), backup);
    const std::string table = fs::path(backup->first).stem().string() + ".table";
    const std::string& copy = backup->second;
    ASSERT_EQ(after.at(table), copy);
    const std::string old = stopped.count(table) > 0 ? stopped[table] : "";

    std::size_t finished = 0;
    const std::size_t step = copy.size() > 1000 ? 499 : 1;
    for (std::size_t written = 0; written < copy.size(); written += step) {
        SCOPED_TRACE(written);
        restore();
        plant(stopped);
        const std::string torn = copy.substr(0, written) + old.substr(std::min(written, old.size()));
        plant(table, torn);
        restart();
        ASSERT_EQ("0\n", readFile(path("master_rollback")));
        ASSERT_EQ(torn, readFile(path(table)));
        ASSERT_EQ(copy, readFile(path(backup->first)));
        const bool isTableSound = check().out.find(table + ":") == std::string::npos;

        const ProgramResult repaired = repair();
        if (isTableSound && torn != copy) {
            ASSERT_EQ(1, repaired.status) << repaired.out;
            ASSERT_EQ(torn, readFile(path(table)));
            ASSERT_EQ(copy, readFile(path(backup->first)));
            continue;
        }
        ASSERT_EQ(0, repaired.status) << repaired.out << repaired.err;
        ASSERT_EQ(after, tables("db")) << repaired.out;
        ASSERT_EQ((Files{{table, torn}, {backup->first, copy}}), filesIn("db_filedb.repair-1"));
        ++finished;
    }
    EXPECT_GT(finished, 3U);
}

INSTANTIATE_TEST_SUITE_P(Writers, CrashRestartRepairTest,
                         ::testing::Values("insert", "create", "shorten-200-rows", "lengthen-200-rows"),
                         nameOfScenario);

/// A repair that is stopped at one of its calls, and run again.
class RepairRestartTest : public PlantedDirectoryTest {
protected:
    /// A directory with work of every kind: a copy-over to finish, a dropped table, rows to mend, sort and
    /// reject, a torn table, a broken definition and a foreign file.
    static Files damaged() {
        return {{"master_rollback", "1\n\x03~a\n\x05~b\n"},
                {"README", "hello"},
                {"a.table", kHead + "'old'~1\n'"},
                {"a.backup", kHead + "'new'~1\n"},
                {"b.table", kHead + "'dropped'~1\n"},
                {"c.table", kHead + "'z'~2\n'a'~1\nbad\n"},
                {"c.backup", kHead + "'"},
                {"d.table", "no definition"},
                {"e.table", kHead + "'torn'~1\n2"},
                {"e.backup", kHead + "'torn'~1\n2~2\n"}};
    }

    static Files repaired() {
        return {{"a.table", kHead + "'new'~1\n"},
                {"c.table", kHead + "'a'~1\n'z'~2\n"},
                {"e.table", kHead + "'torn'~1\n'2'~2\n"},
                {"master_rollback", "0\n"}};
    }

    /// Every path that a repair may touch.
    std::vector<std::string> paths() const {
        std::vector<std::string> all = {root()};
        for (const char* directory : {"/db_filedb", "/db_filedb.repair-1"}) {
            all.push_back(root() + directory);
            for (const auto& [name, content] : damaged()) {
                all.push_back(root() + directory + "/" + name);
            }
            for (const char* name : {"c.rejects", "filedb.repair-tmp"}) {
                all.push_back(root() + directory + "/" + name);
            }
        }
        return all;
    }

    std::vector<std::string> command() const { return {filedbProgram(), "repair", root() + "/db"}; }

    void startAndStopAt(const Call& call) {
        clear();
        plant(damaged());
        ASSERT_EQ(-9, trace(root(), "/dev/null", paths(), stopAt(call), command()).status);
    }

    /// The content of every file that the runs have set aside.
    std::set<std::string> keptAside() const {
        std::set<std::string> kept;
        for (const char* directory : {"db_filedb.repair-1", "db_filedb.repair-2"}) {
            if (fs::exists(root() + "/" + directory)) {
                for (const auto& [name, content] : filesIn(directory)) {
                    kept.insert(content);
                }
            }
        }
        return kept;
    }

    /// The run that removed a row or a table from the database is the one that says so.
    void expectRepaired() {
        const ProgramResult result = repair();
        ASSERT_TRUE(result.status == 0 || result.status == 3) << result.out << result.err;
        ASSERT_EQ(repaired(), database());
        ASSERT_EQ(0, check().status);
        ASSERT_EQ(std::vector<std::string>(), sharedFiles());
        const std::set<std::string> kept = keptAside();
        for (const auto& [name, content] : damaged()) {
            ASSERT_EQ(1U, kept.count(content)) << "the original of " << name << " is gone";
        }
    }

    static inline const std::string kHead = "text~ROWID\n4~1\n\n";
};

TEST_F(RepairRestartTest, EndsTheSameWayWhereverAnEarlierRunStopped) {
    plant(damaged());
    const std::vector<Call> calls = callsOf(root(), paths(), command(), 3);
    ASSERT_EQ(repaired(), database());

    int stops = 0;
    for (const Call& call : calls) {
        // Between two changes every place to stop leaves the same files.
        if (!call.isChange) {
            continue;
        }
        ++stops;
        SCOPED_TRACE(call.name + " number " + std::to_string(call.ordinal));
        ASSERT_NO_FATAL_FAILURE(startAndStopAt(call));
        ASSERT_NO_FATAL_FAILURE(expectRepaired());
    }
    EXPECT_GT(stops, 30);
}

}  // namespace Kalt::Vemo::Test
