// Repairs on a full disk, across file systems, in directories of others, with the longest names, and at once.

#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <set>
#include <thread>

#include "CheckTestSupport.h"
#include "TracedProgram.h"

namespace Kalt::Vemo::Test {

namespace {

using ::testing::HasSubstr;
namespace fs = std::filesystem;

const std::string kNote = "text~ROWID\n4~1\n\n";

/// A file system of its own in memory, mounted as long as the object lives.
class MountedMemory {
public:
    MountedMemory(std::string directory, const std::string& size) : directory_(std::move(directory)) {
        isMounted_ = mount("none", directory_.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
    }
    ~MountedMemory() {
        if (isMounted_) {
            umount2(directory_.c_str(), MNT_DETACH);
        }
    }
    MountedMemory(const MountedMemory&) = delete;
    MountedMemory& operator=(const MountedMemory&) = delete;

    bool isMounted() const { return isMounted_; }

    std::size_t freeBlocks() const {
        struct statvfs status {};
        EXPECT_EQ(0, statvfs(directory_.c_str(), &status));
        return status.f_bfree;
    }

    /// Leaves so many blocks free.
    void fill(std::size_t blocks) const {
        struct statvfs status {};
        EXPECT_EQ(0, statvfs(directory_.c_str(), &status));
        writeFile(directory_ + "/filler", std::string((status.f_bfree - blocks) * status.f_bsize, 'x'));
        EXPECT_EQ(blocks, freeBlocks());
    }

private:
    const std::string directory_;
    bool isMounted_;
};

constexpr const char* kNeedsMount =
    "SKIPPED: no file system can be mounted here; run the test as root, in a container with "
    "--cap-add=SYS_ADMIN";

class RepairFaultTest : public PlantedDirectoryTest {
protected:
    ProgramResult filedb(const std::string& directory, const std::vector<std::string>& arguments) const {
        std::vector<std::string> words = {filedbProgram()};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return runProgram(directory, words);
    }

    /// The content of every file below a directory, the filler's left out.
    static std::multiset<std::string> contentsBelow(const std::string& directory) {
        std::multiset<std::string> contents;
        for (const auto& entry : fs::recursive_directory_iterator(directory)) {
            if (entry.is_regular_file() && entry.path().filename() != "filler") {
                contents.insert(readFile(entry.path().string()));
            }
        }
        return contents;
    }
};

std::string rows(const std::string& text, int count) {
    std::string table = kNote;
    for (int row = 1; row <= count; ++row) {
        table += "'" + text + "'~" + std::to_string(row) + "\n";
    }
    return table;
}

}  // namespace

TEST_F(RepairFaultTest, AFullDiskOfAnySizeLosesNothingAndTheNextTryNeedsNoMoreRoom) {
    const Files damaged = {{"master_rollback", "1\n\x03~c\n"},       {"a.table", rows("a", 900) + "bad\n"},
                           {"b.table", rows("b", 2000) + "2~2~2\n"}, {"c.table", rows("old", 500)},
                           {"c.backup", rows("new", 900)},           {"note.txt", "hello"}};
    const Files repaired = {{"master_rollback", "0\n"},
                            {"a.table", rows("a", 900)},
                            {"b.table", rows("b", 2000)},
                            {"c.table", rows("new", 900)}};
    bool isDone = false;
    int failures = 0;
    int countedFailures = 0;
    for (std::size_t blocks = 0; !isDone; ++blocks) {
        SCOPED_TRACE(std::to_string(blocks) + " blocks are free");
        clear();
        const std::string place = root() + "/small";
        fs::create_directory(place);
        const MountedMemory disk(place, "512k");
        if (!disk.isMounted()) {
            GTEST_SKIP() << kNeedsMount;
        }
        fs::create_directory(place + "/db_filedb");
        for (const auto& [name, content] : damaged) {
            writeFile(place + "/db_filedb/" + name, content);
        }
        disk.fill(blocks);
        const ProgramResult first = filedb(place, {"repair", "db"});
        isDone = first.status == 3;
        if (!isDone) {
            ++failures;
            ASSERT_EQ(2, first.status) << first.out << first.err;
            EXPECT_THAT(first.err, HasSubstr("No space left on device"));
            EXPECT_THAT(first.err, HasSubstr("make room on that file system, then run the repair again"));
            const auto tells = [&first](const char* text) {
                return first.out.find(text) != std::string::npos;
            };
            EXPECT_EQ(tells(": rejected: "), tells("no longer in the database: ")) << first.out;
            countedFailures += tells("no longer in the database: ") ? 1 : 0;
            const std::size_t freeAfter = disk.freeBlocks();
            const ProgramResult second = filedb(place, {"repair", "db"});
            EXPECT_EQ(freeAfter, disk.freeBlocks()) << "a try that fails leaves something behind";
            EXPECT_EQ(2, second.status) << second.out;
            EXPECT_EQ(0U, fs::exists(place + "/db_filedb/filedb.repair-tmp"));
            for (const auto& [name, content] : damaged) {
                EXPECT_LE(1U, contentsBelow(place).count(content)) << "the original of " << name;
            }
            fs::remove(place + "/filler");
            const ProgramResult last = filedb(place, {"repair", "db"});
            ASSERT_TRUE(last.status == 3 || last.status == 0) << last.out << last.err;
        }
        EXPECT_EQ(repaired, readFiles(place + "/db_filedb"));
        const std::multiset<std::string> contents = contentsBelow(place);
        for (const auto& [name, content] : damaged) {
            EXPECT_LE(1U, contents.count(content)) << "the original of " << name << " is gone";
        }
        EXPECT_EQ(0, filedb(place, {"check", "db"}).status);
    }
    EXPECT_GT(failures, 3);
    EXPECT_GT(countedFailures, 0);
}

TEST_F(RepairFaultTest, ARestoreOnAFullDiskLosesNothing) {
    int failures = 0;
    bool isDone = false;
    for (std::size_t blocks = 0; !isDone; ++blocks) {
        SCOPED_TRACE(std::to_string(blocks) + " blocks are free");
        clear();
        const std::string place = root() + "/small";
        fs::create_directory(place);
        const MountedMemory disk(place, "256k");
        if (!disk.isMounted()) {
            GTEST_SKIP() << kNeedsMount;
        }
        fs::create_directory(place + "/db_filedb");
        writeFile(place + "/db_filedb/master_rollback", "0\n");
        writeFile(place + "/db_filedb/t.table", rows("t", 900) + "'x~901\n");
        ASSERT_EQ(3, filedb(place, {"repair", "db"}).status);
        writeFile(place + "/db_filedb.repair-1/t.rejects", "904\t'x'~901\n");
        disk.fill(blocks);
        const ProgramResult first = filedb(place, {"restore", "db", "db_filedb.repair-1"});
        isDone = first.status == 0;
        if (!isDone) {
            ++failures;
            ASSERT_EQ(2, first.status) << first.out << first.err;
            EXPECT_EQ(rows("t", 900), readFile(place + "/db_filedb/t.table"));
            EXPECT_EQ(blocks, disk.freeBlocks());
            fs::remove(place + "/filler");
            ASSERT_EQ(0, filedb(place, {"restore", "db", "db_filedb.repair-1"}).status);
        }
        EXPECT_EQ(rows("t", 900) + "'x'~901\n", readFile(place + "/db_filedb/t.table"));
        EXPECT_EQ(rows("t", 900), readFile(place + "/db_filedb.restore-1/t.table"));
    }
    EXPECT_GT(failures, 1);
}

TEST_F(RepairFaultTest, KeepsWhatItSetsAsideOnAnotherFileSystem) {
    const std::string other = root() + "/other";
    fs::create_directory(other);
    const MountedMemory disk(other, "1m");
    if (!disk.isMounted()) {
        GTEST_SKIP() << kNeedsMount;
    }
    const std::string table = kNote + "'a'~1\nbad\n";
    plant({{"master_rollback", "0\n"}, {"t.table", table}, {"README", "hello"}, {"u.table", "broken"}});
    fs::create_directories(path("sub/below"));
    plant("sub/below/inside", "kept");
    ASSERT_EQ(0, mkfifo(path("pipe").c_str(), 0640));
    fs::create_symlink("nowhere", path("link"));
    ASSERT_EQ(0, chmod(path("README").c_str(), 0604));
    const ProgramResult result = repair({"--aside", "other/kept"});
    EXPECT_THAT(result.out, HasSubstr("6 actions, 1 rejected line: originals are kept in "
                                      "other/kept/db_filedb.repair-1\n"
                                      "no longer in the database: 1 table, 1 row; "));
    EXPECT_EQ(3, result.status) << result.err;
    EXPECT_EQ((Files{{"master_rollback", "0\n"}, {"t.table", kNote + "'a'~1\n"}}), database());
    const std::string aside = other + "/kept/db_filedb.repair-1";
    EXPECT_EQ(
        (Files{{"README", "hello"}, {"t.rejects", "5\tbad\n"}, {"t.table", table}, {"u.table", "broken"}}),
        readFiles(aside));
    EXPECT_EQ("kept", readFile(aside + "/sub/below/inside"));
    EXPECT_TRUE(fs::is_fifo(aside + "/pipe"));
    EXPECT_EQ("nowhere", fs::read_symlink(aside + "/link").string());
    EXPECT_EQ(fs::perms(0604), fs::status(aside + "/README").permissions());
    EXPECT_EQ(0, check().status);
}

TEST_F(RepairFaultTest, NeedsNoRoomForAnOriginalBesideTheDatabase) {
    plant({{"master_rollback", "0\n\x01~t\n"}, {"t.table", kNote + "x\n"}});
    const auto nodeOf = [](const std::string& file) {
        struct stat status {};
        EXPECT_EQ(0, stat(file.c_str(), &status)) << file;
        return status.st_ino;
    };
    const ino_t table = nodeOf(path("t.table"));
    const ino_t journal = nodeOf(path("master_rollback"));
    EXPECT_EQ(3, repair().status);
    EXPECT_EQ(table, nodeOf(root() + "/db_filedb.repair-1/t.table"));
    EXPECT_EQ(journal, nodeOf(root() + "/db_filedb.repair-1/master_rollback"));
    EXPECT_EQ(std::vector<std::string>(), sharedFiles());
}

TEST_F(RepairFaultTest, SetsNothingAsideInTheDatabaseItself) {
    plant({{"master_rollback", "0\n"}, {"README", "hello"}});
    const Files before = database();
    const ProgramResult result = repair({"--aside", "./db_filedb/"});
    EXPECT_EQ(
        "filedb repair: ./db_filedb/ is the database itself; name another directory for what is set aside\n",
        result.err);
    EXPECT_EQ(2, result.status);
    EXPECT_EQ(before, database());
}

TEST_F(RepairFaultTest, SetsNothingAsideInADirectoryOfTheDatabase) {
    plant("master_rollback", "0\n");
    std::filesystem::create_directory(path("sub"));
    const ProgramResult result = repair({"--aside", "db_filedb/sub"});
    EXPECT_EQ(
        "filedb repair: db_filedb/sub is in the database itself; name another directory for what is set "
        "aside\n",
        result.err);
    EXPECT_EQ(2, result.status);
    EXPECT_EQ(0, repair({"--aside", "db_filedb_beside"}).status);
}

TEST_F(RepairFaultTest, MendsADatabaseThatIsAMountPoint) {
    const MountedMemory disk(root() + "/db_filedb", "1m");
    if (!disk.isMounted()) {
        GTEST_SKIP() << kNeedsMount;
    }
    plant({{"master_rollback", "0\n"}, {"t.table", kNote + "x\n"}, {"README", "hello"}});
    EXPECT_EQ(3, repair().status);
    EXPECT_EQ((Files{{"master_rollback", "0\n"}, {"t.table", kNote}}), database());
    EXPECT_EQ((Files{{"README", "hello"}, {"t.rejects", "4\tx\n"}, {"t.table", kNote + "x\n"}}),
              filesIn("db_filedb.repair-1"));
}

// Beside the database only its owner may make a directory; the database itself is the user's.
TEST_F(RepairFaultTest, TellsOfTheOptionWhereNoDirectoryCanBeMadeBesideTheDatabase) {
    constexpr uid_t kNobody = 65534;
    plant({{"master_rollback", "0\n"}, {"t.table", kNote + "x\n"}});
    const Files before = database();
    fs::create_directory(root() + "/mine");
    std::vector<std::string> words;
    if (geteuid() == 0) {
        words = {"setpriv", "--reuid=65534", "--clear-groups"};
        for (fs::path open = root(); open != "/tmp" && open.has_relative_path(); open = open.parent_path()) {
            fs::permissions(open, fs::perms(0755));
        }
        for (const std::string& name :
             {path(""), path("master_rollback"), path("t.table"), root() + "/mine"}) {
            ASSERT_EQ(0, chown(name.c_str(), kNobody, static_cast<gid_t>(-1)));
        }
    } else {
        fs::permissions(root(), fs::perms(0555));
    }
    words.insert(words.end(), {filedbProgram(), "repair", "db"});
    const ProgramResult refused = runProgram(root(), words);
    EXPECT_EQ(
        "filedb repair: db_filedb.repair-1: Permission denied; nothing was changed: run it as a user who "
        "may write there, or name a directory for what is set aside with --aside DIR, then run the repair "
        "again\n",
        refused.err.substr(refused.err.find("filedb repair: ")));
    EXPECT_EQ(2, refused.status);
    EXPECT_EQ(before, database());
    words.insert(words.end(), {"--aside", "mine"});
    const ProgramResult result = runProgram(root(), words);
    EXPECT_EQ(3, result.status) << result.err;
    EXPECT_EQ((Files{{"t.rejects", "4\tx\n"}, {"t.table", kNote + "x\n"}}),
              filesIn("mine/db_filedb.repair-1"));
    fs::permissions(root(), fs::perms(0755));
}

TEST_F(RepairFaultTest, MendsTablesWithTheLongestNames) {
    const std::string longest(NAME_MAX - std::string(".table").size(), 'n');
    const std::string shorter = longest.substr(2);
    plant({{"master_rollback", "0\n"},
           {longest + ".table", kNote + "x\n"},
           {shorter + ".table", kNote + "y\n"}});
    const ProgramResult result = repair();
    EXPECT_EQ(3, result.status) << result.err;
    EXPECT_EQ((Files{{"master_rollback", "0\n"}, {longest + ".table", kNote}, {shorter + ".table", kNote}}),
              database());
    EXPECT_EQ((Files{{longest + ".table", kNote + "x\n"},
                     {longest + ".lines", "4\tx\n"},
                     {shorter + ".table", kNote + "y\n"},
                     {shorter + ".rejects", "4\ty\n"}}),
              filesIn("db_filedb.repair-1"));
    writeFile(root() + "/db_filedb.repair-1/" + longest + ".lines", "4\t'x'~1\n");
    fs::remove(root() + "/db_filedb.repair-1/" + shorter + ".rejects");
    EXPECT_EQ(0, restore().status);
    EXPECT_EQ(kNote + "'x'~1\n", readFile(path(longest + ".table")));
}

TEST_F(RepairFaultTest, AFileThatIsCalledLikeRejectedLinesIsNotTakenForThem) {
    plant({{"master_rollback", "0\n"}, {"t.table", kNote + "x\n"}, {"t.rejects", "4\t'foreign'~1\n"}});
    EXPECT_EQ(3, repair().status);
    EXPECT_EQ((Files{{"t.rejects", "4\tx\n"},
                     {"t.rejects.set-aside", "4\t'foreign'~1\n"},
                     {"t.table", kNote + "x\n"}}),
              filesIn("db_filedb.repair-1"));
}

TEST_F(RepairFaultTest, OfThreeRepairsAtOnceOneWorksAndTheOthersSayWhoDoes) {
    plant({{"master_rollback", "0\n"}, {"t.table", kNote + "x\n"}});
    ProgramResult slow;
    std::thread first([&] {
        slow = runProgram(root(), {"strace", "-o", "/dev/null", "-e", "inject=fsync:delay_enter=700000", "-E",
                                   "ASAN_OPTIONS=detect_leaks=0", filedbProgram(), "repair", "db"});
    });
    while (!fs::exists(root() + "/db_filedb.repair-1")) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ProgramResult second;
    std::thread beside([&] { second = repair(); });
    const ProgramResult third = repair();
    beside.join();
    first.join();
    for (const ProgramResult& refused : {second, third}) {
        EXPECT_THAT(refused.err,
                    ::testing::MatchesRegex("filedb repair: db_filedb: process [0-9]+ has it open; "
                                            "stop that process first, or only look at the "
                                            "database\n"));
        EXPECT_EQ("", refused.out);
        EXPECT_EQ(2, refused.status);
    }
    EXPECT_EQ(3, slow.status) << slow.err;
    EXPECT_EQ((Files{{"master_rollback", "0\n"}, {"t.table", kNote}}), database());
    EXPECT_EQ((std::vector<std::string>{"db_filedb", "db_filedb.repair-1"}), listDirectory(root()));
}

}  // namespace Kalt::Vemo::Test
