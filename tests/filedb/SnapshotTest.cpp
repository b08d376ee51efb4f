// What the commands that only look make of a directory that a live process changes, and of what else is in
// it.

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "CheckTestSupport.h"
#include "FileDatabase.h"
#include "OtherProcess.h"
#include "TracedProgram.h"
#include "console/ExitStatus.h"
#include "files/Snapshot.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::FileDatabase;
using Core::Database::Filedb::Synchronous;
using ::testing::HasSubstr;
using ::testing::Not;
using Tool::Snapshot;
namespace fs = std::filesystem;

const std::string kNote = "text~ROWID\n4~1\n\n";

/// Changes, makes and drops tables without an end.
bool writeForever(FileDatabase& database) {
    for (;;) {
        database.executeUpdate("INSERT INTO t (a) VALUES ('?');", "an entry");
        database.executeUpdate("CREATE TABLE passing (a TEXT);");
        database.executeUpdate("INSERT INTO passing (a) VALUES ('?');", "another");
        database.executeUpdate("DROP TABLE passing;");
        database.executeUpdate("DELETE FROM t WHERE ROWID < '?';", "20");
    }
}

class SnapshotTest : public PlantedDirectoryTest {
protected:
    std::string directory() const { return root() + "/db_filedb"; }

    ProgramResult filedb(const std::vector<std::string>& arguments) const {
        std::vector<std::string> words = {filedbProgram()};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return runProgram(root(), words);
    }
};

class LiveWriterTest : public SnapshotTest, public ::testing::WithParamInterface<Synchronous> {};

std::string nameOfLevel(const ::testing::TestParamInfo<Synchronous>& level) {
    return level.param == Synchronous::off ? "Off" : level.param == Synchronous::normal ? "Normal" : "Full";
}

}  // namespace

TEST_P(LiveWriterTest, LookingBesideItFindsNoErrorAndNoTrouble) {
    const LogCapture quiet;
    std::unique_ptr<FileDatabase> live;
    OtherProcess writer(
        [&] {
            live = std::make_unique<FileDatabase>(GetParam());
            return live->init(root() + "/db") && live->executeUpdate("CREATE TABLE t (a TEXT);") == 0;
        },
        [&] { return writeForever(*live); });
    ASSERT_TRUE(writer.hasOpened());
    writer.goOn();
    for (int count = 0; count < 100; ++count) {
        const ProgramResult checked = filedb({"check", "db"});
        ASSERT_THAT(checked.out, Not(HasSubstr(": error: "))) << checked.out;
        ASSERT_LT(checked.status, 2) << checked.err;
        const ProgramResult shown = filedb({"schema", "db", "t"});
        ASSERT_EQ("CREATE TABLE t (a TEXT);\n", shown.out) << shown.err;
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, LiveWriterTest,
                         ::testing::Values(Synchronous::off, Synchronous::normal, Synchronous::full),
                         nameOfLevel);

TEST_F(SnapshotTest, HasTheFilesOfADatabaseAndTheNamesOfAllElse) {
    plant({{"master_rollback", "0\n"},
           {"t.table", kNote},
           {"t.backup", kNote + "'x'~1\n"},
           {"t.backup.new", "unfinished"},
           {"my-table.table", kNote},
           {"README", "hello"}});
    fs::create_directory(path("d.table"));
    const Snapshot snapshot = Snapshot::ofLive(directory());
    std::vector<std::string> read;
    for (const auto& [name, file] : snapshot.files()) {
        read.push_back(name);
    }
    EXPECT_EQ((std::vector<std::string>{"d.table", "master_rollback", "t.backup", "t.table"}), read);
    EXPECT_EQ((std::vector<std::string>{"README", "d.table", "master_rollback", "my-table.table", "t.backup",
                                        "t.backup.new", "t.table"}),
              snapshot.names());
    EXPECT_EQ(kNote, snapshot.file("t.table").text);
    EXPECT_EQ("is a directory", snapshot.file("d.table").problem);
    EXPECT_FALSE(snapshot.file("README").exists());
    EXPECT_TRUE(snapshot == Snapshot::ofLocked(directory()));
    plant("t.table", kNote + "'y'~1\n");
    EXPECT_TRUE(snapshot != Snapshot::ofLocked(directory()));
}

TEST_F(SnapshotTest, ADirectoryThatCannotBeReadIsTrouble) {
    EXPECT_THROW(Snapshot::ofLive(root() + "/nothing"), Tool::Trouble);
}

// Nobody copies any more, so nobody has to be waited for.
TEST_F(SnapshotTest, TakesACommitThatWasInterruptedForGoodAtOnce) {
    plant({{"master_rollback", "1\n\x03~t\n"}, {"t.table", kNote}, {"t.backup", kNote}});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(3U, Snapshot::ofLive(directory()).files().size());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(500));
}

// A core dump, a key that only root may read and a pipe: whoever looks at the tables is not interested.
TEST_F(SnapshotTest, FilesThatAreNoneOfADatabasesAreNeitherReadNorCopied) {
    plant({{"master_rollback", "0\n"}, {"t.table", kNote + "'x'~1\n"}, {"core", ""}, {"key.pem", "secret"}});
    ASSERT_EQ(0, truncate(path("core").c_str(), (off_t{1} << 30) + 1));
    ASSERT_EQ(0, chmod(path("key.pem").c_str(), 0));
    ASSERT_EQ(0, mkfifo(path("pipe").c_str(), 0600));
    EXPECT_EQ("text\r\nx\r\n", filedb({"export", "db", "t"}).out);
    const std::vector<std::string> opened = {"strace", "-f",
                                             "-e",     "trace=open,openat,creat",
                                             "-o",     root() + "/calls",
                                             "-E",     "ASAN_OPTIONS=detect_leaks=0"};
    for (const char* command : {"check", "tables", "schema"}) {
        SCOPED_TRACE(command);
        std::vector<std::string> words = opened;
        words.insert(words.end(), {filedbProgram(), command, root() + "/db"});
        const ProgramResult result = runProgram(root(), words);
        EXPECT_EQ(command == std::string("check") ? 1 : 0, result.status) << result.err;
        const std::string calls = readFile(root() + "/calls");
        EXPECT_THAT(calls, HasSubstr("/t.table\""));
        for (const char* name : {"/core\"", "/key.pem\"", "/pipe\""}) {
            EXPECT_THAT(calls, Not(HasSubstr(name)));
        }
    }
}

TEST_F(SnapshotTest, ASignalLeavesNoCopyBehindWheneverItComes) {
    plant({{"master_rollback", "0\n"}, {"t.table", kNote + "'x'~1\n"}});
    const TemporaryDirectory place;
    const std::vector<std::string> command = {"/usr/bin/env", "TMPDIR=" + place.path(), filedbProgram(),
                                              "tables", root() + "/db"};
    // The first calls load the program; a call that is not made while a file is named is not stopped at.
    std::size_t stopped = 0;
    std::vector<Call> calls;
    for (const Call& call : callsOf(root(), {}, command)) {
        if (call.name == "mkdir" || call.name == "openat" || call.name == "pwrite64" ||
            call.name == "unlink" || call.name == "unlinkat" || call.name == "rmdir" ||
            call.name == "write" || call.name == "rt_sigaction" || call.name == "rt_sigprocmask" ||
            call.name == "close") {
            calls.push_back(call);
        }
    }
    EXPECT_GT(calls.size(), 50U);
    for (const Call& call : calls) {
        SCOPED_TRACE(call.name + " number " + std::to_string(call.ordinal));
        const ProgramResult result = trace(root(), "/dev/null", {}, stopAt(call, "TERM"), command);
        stopped += result.status == -SIGTERM ? 1U : 0U;
        ASSERT_EQ(std::vector<std::string>(), listDirectory(place.path()));
    }
    EXPECT_GT(stopped, 50U);
}

}  // namespace Kalt::Vemo::Test
