// An import with keys, and the loading of a dump of two tables, are stopped at every system call that touches
// the database, and run on disks that become full. The tables are as before or as after, and never anything
// else.

#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ostream>
#include <set>

#include "CheckTestSupport.h"
#include "TracedProgram.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::MatchesRegex;

const std::string kHead = "id~owner~ROWID\n257~260~1\nid~owner\n";

/// A change of many rows of the table `accounts`. The dump has one more table.
struct Scenario {
    std::string command;
    std::vector<std::string> rest;
    bool isRepeatable;  // it does nothing when all is done
};

std::ostream& operator<<(std::ostream& out, const Scenario& scenario) {
    return out << scenario.command;
}

const std::vector<Scenario>& scenarios() {
    static const std::vector<Scenario> all{{"import", {"accounts", "rows.csv"}, false},
                                           {"load", {"rows.dump", "--replace"}, true}};
    return all;
}

std::string csvRows(int count) {
    std::string text = "id,owner\n";
    for (int i = 2; i < count + 2; ++i) {
        text += std::to_string(i) + ",somebody\n";
    }
    return text;
}

std::string dumpOf(int count) {
    std::string text =
        "{\"filedb\":\"dump\",\"version\":1}\n"
        "{\"table\":\"accounts\",\"columns\":[\"id INTEGER NOT NULL\",\"owner TEXT NOT NULL\","
        "\"ROWID INTEGER\"],\"key\":[\"id\",\"owner\"]}\n[1,\"alice\",1]\n";
    for (int i = 2; i < count + 2; ++i) {
        text += "[" + std::to_string(i) + ",\"somebody\"," + std::to_string(i) + "]\n";
    }
    text += "{\"table\":\"notes\",\"columns\":[\"id INTEGER NOT NULL\"],\"key\":[\"id\"]}\n[1]\n";
    return text + "{\"end\":{\"rows\":" + std::to_string(count + 2) + ",\"tables\":2}}\n";
}

std::string tableOf(int count) {
    std::string text = kHead + "1~'alice'~1\n";
    for (int i = 2; i < count + 2; ++i) {
        text += std::to_string(i) + "~'somebody'~" + std::to_string(i) + "\n";
    }
    return text;
}

class TransferCrashTest : public PlantedDirectoryTest, public ::testing::WithParamInterface<Scenario> {
protected:
    void prepare(int rows) {
        clear();
        plant(before());
        writeFile(root() + "/rows.csv", csvRows(rows));
        writeFile(root() + "/rows.dump", dumpOf(rows));
    }

    static Files before() { return {{"master_rollback", "0\n"}, {"accounts.table", tableOf(0)}}; }

    static Files after(int rows) {
        Files files{{"master_rollback", "0\n"}, {"accounts.table", tableOf(rows)}};
        if (GetParam().command == "load") {
            files["notes.table"] = "id\n257\nid\n1\n";
        }
        return files;
    }

    std::vector<std::string> command() const {
        std::vector<std::string> words{filedbProgram(), GetParam().command, "db"};
        words.insert(words.end(), GetParam().rest.begin(), GetParam().rest.end());
        return words;
    }

    ProgramResult transfer() const { return runProgram(root(), command()); }

    std::vector<std::string> paths() const {
        std::vector<std::string> all{root() + "/db_filedb"};
        for (const char* name : {"master_rollback", "accounts.table", "accounts.table.new", "accounts.backup",
                                 "notes.table", "notes.table.new", "notes.backup"}) {
            all.push_back(path(name));
        }
        return all;
    }
};

TEST_P(TransferCrashTest, WhereverItIsStoppedTheTableIsAsBeforeOrAsAfterAndASecondRunWorks) {
    constexpr int kRows = 20;
    const Files done = after(kRows);
    prepare(kRows);
    const std::vector<Call> calls = callsOf(root(), paths(), command());
    ASSERT_EQ(database(), done);
    ASSERT_GT(calls.size(), 10U);

    std::set<std::string> outcomes;
    for (const Call& call : calls) {
        SCOPED_TRACE(call.name + " number " + std::to_string(call.ordinal));
        prepare(kRows);
        ASSERT_EQ(-9, trace(root(), "/dev/null", paths(), stopAt(call), command()).status);
        const Files left = database();
        const bool isDone = left.at("accounts.table") == done.at("accounts.table");
        ASSERT_TRUE(isDone || left.at("accounts.table") == before().at("accounts.table"));
        outcomes.insert(isDone ? "after" : "before");

        const ProgramResult checked = check();
        for (const auto& [name, content] : left) {
            const bool isNamed = checked.out.find("/" + name + ":") != std::string::npos;
            const bool isTable = done.count(name) > 0 && name != "master_rollback";
            ASSERT_TRUE(isNamed != isTable || name == "master_rollback") << name << '\n' << checked.out;
            ASSERT_TRUE(name != "notes.table" || content == done.at(name));
        }

        const ProgramResult second = transfer();
        const bool refusesTwice = isDone && !GetParam().isRepeatable;
        ASSERT_EQ(second.status, refusesTwice ? 1 : 0) << second.err;
        ASSERT_EQ(database(), done);
    }
    EXPECT_EQ(outcomes, (std::set<std::string>{"after", "before"}));
}

// A table's file is read and written as a whole, so more rows are longer calls and not more of them.
TEST_P(TransferCrashTest, MoreRowsTakeNoMoreSystemCallsOnTheDatabase) {
    prepare(10);
    const std::size_t few = callsOf(root(), paths(), command()).size();
    prepare(10000);
    const std::size_t many = callsOf(root(), paths(), command()).size();
    ASSERT_EQ(database(), after(10000));
    EXPECT_GT(few, 10U);
    EXPECT_LE(many, few + 1);  // the end of a file of several blocks is one more read
}

class FullDiskTest : public TransferCrashTest {
protected:
    /// Why no small disk can be made here; empty when one can. Mounts end with this process.
    static std::string keepMountsPrivate() {
        if (unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0) {
            return {};
        }
        return std::string("mounting a small disk is not allowed: ") + std::strerror(errno) +
               "; run the test as root, in a container with --cap-add=SYS_ADMIN";
    }
};

TEST_P(FullDiskTest, AFullDiskLeavesTheTableAsItWas) {
    const std::string obstacle = keepMountsPrivate();
    if (!obstacle.empty()) {
        GTEST_SKIP() << obstacle;
    }
    constexpr int kRows = 1500;  // some eight pages
    std::set<std::string> outcomes;
    bool isDone = false;
    for (int pages = 3; !isDone; ++pages) {
        SCOPED_TRACE(pages);
        ASSERT_LT(pages, 64);
        prepare(kRows);
        const std::string size = "size=" + std::to_string(pages * 4096);
        const std::string directory = root() + "/db_filedb";
        ASSERT_EQ(mount("tmpfs", directory.c_str(), "tmpfs", 0, size.c_str()), 0) << std::strerror(errno);
        plant(before());
        const ProgramResult result = transfer();
        isDone = result.status == 0;
        EXPECT_EQ(database(), isDone ? after(kRows) : before());
        if (!isDone) {
            EXPECT_EQ(result.status, 2);
            EXPECT_EQ(result.out, "");
            EXPECT_THAT(result.err,
                        MatchesRegex("filedb " + GetParam().command +
                                     ": db_filedb/(accounts|notes)\\.table\\.new: cannot be written: "
                                     "File Error: File write error: No space left on device\n"));
        }
        outcomes.insert(isDone ? "after" : "before");
        EXPECT_EQ(umount(directory.c_str()), 0);
    }
    EXPECT_EQ(outcomes, (std::set<std::string>{"after", "before"}));
}

std::string nameOf(const ::testing::TestParamInfo<Scenario>& scenario) {
    return scenario.param.command;
}

INSTANTIATE_TEST_SUITE_P(Commands, TransferCrashTest, ::testing::ValuesIn(scenarios()), nameOf);
INSTANTIATE_TEST_SUITE_P(Commands, FullDiskTest, ::testing::ValuesIn(scenarios()), nameOf);

}  // namespace
}  // namespace Kalt::Vemo::Test
