// `filedb watch` beside a writer: what it prints, what it waits for, and that it touches nothing.

#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "FileDatabase.h"
#include "WatchRun.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::FileDatabase;
using Core::Database::Filedb::Synchronous;

class WatchTest : public ProgramTest {
protected:
    void SetUp() override {
        prepare({"CREATE TABLE rooms (name TEXT, floor INTEGER)", "INSERT INTO rooms VALUES ('attic', 2)"});
    }

    /// Each commit with "T" for its time.
    static std::string withoutTimes(const std::string& out) {
        static const std::regex kTime(R"((^|\n)[0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3} )");
        static const std::regex kJsonTime(R"("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:]{8}\.[0-9]{3}Z")");
        return std::regex_replace(std::regex_replace(out, kTime, "$1T "), kJsonTime, "T");
    }

    std::string note(const std::string& text) const {
        return "filedb watch: " + directory() + ": " + text + "\n";
    }

    void plant(const std::string& name, const std::string& content) const {
        writeFile(directory() + "/" + name, content);
    }
};

const std::string kHead = "name~floor~ROWID\n4~1~1\n\n";

TEST_F(WatchTest, PrintsEachCommitAsLines) {
    WatchRun watch({path()});
    watch.waitForErr("watching");
    prepare({"insert into rooms values ('cellar', -1)"});
    watch.waitForOut("+2");
    prepare({"begin", "update rooms set floor = 3, name = null where name = 'attic'",
             "create table boxes (id integer primary key, note text not null)",
             "insert into boxes values (5, 'it''s')", "commit"});
    watch.waitForOut("~1");
    prepare({"delete from rooms where floor = 3"});
    watch.waitForOut("-1");
    prepare({"drop table boxes"});
    watch.waitForOut("boxes - ");
    EXPECT_EQ(watch.end(), 0);
    EXPECT_EQ(withoutTimes(watch.out()),
              "T rooms +2 name='cellar' floor=-1\n"
              "T boxes + (id INTEGER PRIMARY KEY, note TEXT NOT NULL)\n"
              "T boxes +5 id=5 note='it's'\n"
              "T rooms ~1 name='attic' → NULL floor=2 → 3\n"
              "T rooms -1 name=NULL floor=3\n"
              "T boxes -5 id=5 note='it's'\n"
              "T boxes - (id INTEGER PRIMARY KEY, note TEXT NOT NULL)\n");
    EXPECT_EQ(watch.err(), note("watching 1 table, 1 row"));
}

TEST_F(WatchTest, PrintsEachCommitAsALineOfJson) {
    WatchRun watch({path(), "--json"});
    watch.waitForErr("watching");
    prepare({"begin", "insert into rooms values ('caf\xe9', null)", "insert into rooms values ('\x1b[1m', 7)",
             "update rooms set floor = 3 where name = 'attic'", "commit"});
    watch.waitForOut("\n");
    prepare({"drop table rooms"});
    watch.waitForOut("dropped");
    EXPECT_EQ(watch.end(), 0);
    EXPECT_EQ(
        withoutTimes(watch.out()),
        R"({"time":T,"changes":[{"table":"rooms","change":"changed","rowid":1,"from":{"floor":2},"to":{"floor":3}},)"
        R"({"table":"rooms","change":"added","rowid":2,"row":{"name":{"hex":"636166e9"},"floor":null}},)"
        R"({"table":"rooms","change":"added","rowid":3,"row":{"name":"\u001b[1m","floor":7}}]})"
        "\n"
        R"({"time":T,"changes":[{"table":"rooms","change":"gone","rowid":1,"row":{"name":"attic","floor":3}},)"
        R"({"table":"rooms","change":"gone","rowid":2,"row":{"name":{"hex":"636166e9"},"floor":null}},)"
        R"({"table":"rooms","change":"gone","rowid":3,"row":{"name":"\u001b[1m","floor":7}},)"
        R"({"table":"rooms","change":"dropped","definition":"name TEXT, floor INTEGER"}]})"
        "\n");
}

TEST_F(WatchTest, OneTableTheFirstRowsAndAFewCommitsWhenAskedFor) {
    prepare({"CREATE TABLE boxes (note TEXT)"});
    WatchRun watch({path(), "rooms", "--initial", "--count", "2"});
    watch.waitForErr("watching 1 table, 1 row");
    watch.waitForOut("+1");
    prepare({"insert into boxes values ('red')"});
    prepare({"insert into rooms values ('cellar', -1)"});
    EXPECT_EQ(watch.wait(), 0);
    EXPECT_EQ(withoutTimes(watch.out()),
              "T rooms + (name TEXT, floor INTEGER)\n"
              "T rooms +1 name='attic' floor=2\n"
              "T rooms +2 name='cellar' floor=-1\n");
}

TEST_F(WatchTest, SaysWhatBecomesOfTheDirectory) {
    const std::string away = temporary.file("away");
    std::filesystem::rename(directory(), away);
    WatchRun watch({path()});
    watch.waitForErr("watching 0 tables, 0 rows\n");
    writeFile(temporary.file("neighbour"), "");
    std::filesystem::rename(away, directory());
    watch.waitForOut("+1");
    std::filesystem::rename(directory(), away);
    watch.waitForOut("rooms - ");
    std::filesystem::copy(away, directory());
    watch.waitForErr("again\n" + note("is made"));
    prepare({"insert into rooms values ('cellar', -1)"});
    watch.waitForOut("+2");
    EXPECT_EQ(watch.end(), 0);
    EXPECT_EQ(watch.err(), note("is not there yet; waiting until it is made") +
                               note("watching 0 tables, 0 rows") + note("is made") +
                               note("is gone; waiting until it is made again") + note("is made"));
    EXPECT_EQ(withoutTimes(watch.out()),
              "T rooms + (name TEXT, floor INTEGER)\nT rooms +1 name='attic' floor=2\n"
              "T rooms -1 name='attic' floor=2\nT rooms - (name TEXT, floor INTEGER)\n"
              "T rooms + (name TEXT, floor INTEGER)\nT rooms +1 name='attic' floor=2\n"
              "T rooms +2 name='cellar' floor=-1\n");
}

TEST_F(WatchTest, WaitsForDirectoriesAboveTheDatabaseToo) {
    WatchRun watch({temporary.file("some/where/db")});
    watch.waitForErr("watching");
    std::filesystem::create_directories(temporary.file("some/where"));
    ASSERT_EQ(runProgram({"shell", temporary.file("some/where/db"), "-c", "create table t (a text)"}).status,
              0);
    watch.waitForOut("t + (a TEXT)");
    EXPECT_EQ(watch.end(), 0);
}

TEST_F(WatchTest, PrintsNothingOfACommitThatIsBeingCopied) {
    prepare({"CREATE TABLE boxes (note TEXT)"});
    WatchRun watch({path()});
    watch.waitForErr("watching");
    plant("master_rollback", "1\n\x01~boxes\n\x03~rooms\n");
    plant("boxes.table", "note~ROWID\n4~1\n\n'red'~1\n");
    watch.waitForErr(note("a commit does not end; waiting for it"));
    plant("rooms.table", kHead + "'attic'~9~");
    plant("rooms.table", kHead + "'attic'~9~1\n");
    plant("master_rollback", "0\n");
    watch.waitForOut("rooms ~1");
    EXPECT_EQ(watch.end(), 0);
    EXPECT_EQ(withoutTimes(watch.out()), "T boxes +1 note='red'\nT rooms ~1 floor=2 → 9\n");
}

TEST_F(WatchTest, NeverPrintsAnUnsoundTable) {
    struct Case {
        std::string text;
        std::string problem;
    };
    const std::vector<Case> cases{
        {kHead + "'attic'~2~1\n'hall'~1", "line 5: the last line has no line feed"},
        {kHead + "'attic'~2~1\n'hall'~1\n", "line 5: 2 fields for 3 columns"},
        {kHead + "'attic'~2~1\n'hall'~~2\n", "line 5: an empty field"},
        {kHead + "'attic'~2~1\n'hall'~1~1\n", "line 5: ROWID 1 stands twice"},
        {kHead + "'attic'~2~1\n" + std::string("'h\0l'~1~2\n", 10), "line 5: a NUL byte"},
        {"name~floor~RO", "line 1: the table's definition cannot be read"},
    };
    WatchRun watch({path()});
    watch.waitForErr("watching");
    std::string notes = note("watching 1 table, 1 row");
    for (const Case& each : cases) {
        SCOPED_TRACE(each.problem);
        plant("rooms.table", each.text);
        notes += note("rooms cannot be read, " + each.problem +
                      "; waiting for its next change, filedb check tells more");
        watch.waitForErr(notes);
    }
    EXPECT_EQ(watch.out(), "");
    plant("rooms.table", kHead + "'attic'~3~1\n");
    watch.waitForOut("\n");
    EXPECT_EQ(watch.end(), 0);
    EXPECT_EQ(withoutTimes(watch.out()), "T rooms ~1 floor=2 → 3\n");
    EXPECT_EQ(watch.err(), notes);
}

TEST_F(WatchTest, TellsWhatStandsInThePlaceOfATable) {
    ASSERT_EQ(mkdir((directory() + "/boxes.table").c_str(), 0700), 0);
    WatchRun watch({path()});
    const std::string notes =
        note("watching 1 table, 1 row") +
        note("boxes is a directory; waiting for its next change, filedb check tells more");
    watch.waitForErr(notes);
    EXPECT_EQ(watch.end(), 0);
    EXPECT_EQ(watch.out(), "");
}

TEST_F(WatchTest, RefusesANameThatNoTableCanHave) {
    EXPECT_EQ(run("watch", {"a b"}),
              (ProgramResult{2, "",
                             "filedb watch: table name \"a b\": no statement could have made it; \"filedb "
                             "tables\" lists the names\n"}));
}

TEST_F(WatchTest, PrintsARowWholeWhoseLineIsTooLong) {
    WatchRun watch({path()});
    watch.waitForErr("watching");
    const std::string name(3000, 'x');
    FileDatabase database(Synchronous::off);
    ASSERT_TRUE(database.init(path().c_str()));
    ASSERT_EQ(database.executeUpdate("INSERT INTO rooms (name, floor) VALUES ('?', ?);", name.c_str(), "4"),
              0);
    watch.waitForOut("\n");
    EXPECT_EQ(watch.end(), 0);
    EXPECT_EQ(withoutTimes(watch.out()), "T rooms +2 name='" + name + "' floor=4\n");
}

TEST_F(WatchTest, FollowsATableBehindASymbolicLink) {
    for (const Synchronous level : {Synchronous::off, Synchronous::normal, Synchronous::full}) {
        SCOPED_TRACE(static_cast<int>(level));
        const TemporaryDirectory elsewhere;
        const std::string target = elsewhere.file("target");
        std::filesystem::rename(tableFile("rooms"), target);
        std::filesystem::create_symlink(target, tableFile("rooms"));
        {
            WatchRun watch({path()});
            watch.waitForErr("watching 1 table, 1 row");
            FileDatabase database(level);
            ASSERT_TRUE(database.init(path().c_str()));
            ASSERT_EQ(database.executeUpdate("UPDATE rooms SET name = '?';", "den"), 0);
            watch.waitForOut("\n");
            ASSERT_EQ(database.executeUpdate("UPDATE rooms SET name = '?';", "attic"), 0);
            watch.waitForOut("→ 'attic'");
            EXPECT_EQ(watch.end(), 0);
            EXPECT_EQ(withoutTimes(watch.out()),
                      "T rooms ~1 name='attic' → 'den'\nT rooms ~1 name='den' → 'attic'\n");
        }
        std::filesystem::remove(tableFile("rooms"));
        std::filesystem::copy(target, tableFile("rooms"));
    }
}

TEST_F(WatchTest, ReadsEverythingAnewAfterLostEvents) {
    WatchRun watch({path()});
    watch.waitForErr("watching");
    watch.send(SIGSTOP);
    std::ifstream limit("/proc/sys/fs/inotify/max_queued_events");
    int queued = 0;
    ASSERT_TRUE(limit >> queued);
    for (int i = 0; i < queued / 2 + 1; ++i) {  // three events each
        const std::string file = directory() + "/other" + std::to_string(i % 2);
        writeFile(file, "");
        std::filesystem::remove(file);
    }
    prepare({"insert into rooms values ('cellar', -1)"});
    watch.send(SIGCONT);
    watch.waitForOut("\n");
    EXPECT_EQ(watch.end(), 0);
    EXPECT_EQ(withoutTimes(watch.out()), "T rooms +2 name='cellar' floor=-1\n");
}

TEST_F(WatchTest, TouchesNothingAndDoesNotPoll) {
    FileDatabase database(Synchronous::off);
    ASSERT_TRUE(database.init(path().c_str()));  // keeps every other user out
    const Files before = readFiles(directory());
    // A time that reading would move on any file system that keeps such times.
    const std::string older = "touch -a -d '2001-01-01' '" + directory() + "' '" + directory() + "'/*";
    ASSERT_EQ(std::system(older.c_str()), 0);
    const auto timesOf = [this] {
        std::vector<long> times;
        for (const std::string& name : {directory(), tableFile("rooms"), directory() + "/master_rollback"}) {
            struct stat status {};
            EXPECT_EQ(stat(name.c_str(), &status), 0);
            times.insert(times.end(), {status.st_atim.tv_sec, status.st_mtim.tv_sec, status.st_mtim.tv_nsec});
        }
        return times;
    };
    const std::vector<long> times = timesOf();
    WatchRun watch({path()});
    watch.waitForErr("watching 1 table, 1 row");
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_EQ(watch.end(), 0);
    EXPECT_LT(watch.usage().ru_nvcsw, 100);
    EXPECT_EQ(timesOf(), times);
    EXPECT_EQ(readFiles(directory()), before);
    EXPECT_EQ(watch.out(), "");
}

TEST_F(WatchTest, EndsWhenNobodyReadsItsOutput) {
    const std::string command = "timeout 60 sh -c \"'" + std::string(FILEDB_PROGRAM) + "' watch '" + path() +
                                "' --initial 2> /dev/null | head -n 1\" > '" + temporary.file("first") + "'";
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(withoutTimes(readFile(temporary.file("first"))), "T rooms + (name TEXT, floor INTEGER)\n");
}

TEST_F(WatchTest, RefusesADirectoryThatItMayNotRead) {
    ProgramOptions options;
    options.heedsModes = true;
    ASSERT_EQ(chmod(directory().c_str(), 0300), 0);
    const ProgramResult result = run("watch", {}, options);
    ASSERT_EQ(chmod(directory().c_str(), 0700), 0);
    EXPECT_EQ(result,
              (ProgramResult{2, "",
                             "filedb watch: " + directory() +
                                 ": cannot be watched: Permission denied; run the command as a user who "
                                 "may read it\n"}));
}

}  // namespace
}  // namespace Kalt::Vemo::Test
