#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "FileDatabase.h"
#include "ProgramRun.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::FileDatabase;

std::string stampsOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    std::ostringstream text;
    for (const timespec& time : {status.st_atim, status.st_mtim, status.st_ctim}) {
        text << time.tv_sec << '.' << time.tv_nsec << ' ';
    }
    text << std::oct << status.st_mode << ' ' << status.st_ino;
    return text.str();
}

/// Every byte and every time stamp of a directory, by the names of its entries.
class Picture {
public:
    /// Also sets the times of access back, because many systems note an access only when the last one is old.
    explicit Picture(std::string directory) : directory_(std::move(directory)) {
        contents_ = contents();
        const timespec longAgo{1000000000, 0};
        const std::array<timespec, 2> times{longAgo, timespec{0, UTIME_OMIT}};
        for (const auto& [name, content] : contents_) {
            EXPECT_EQ(utimensat(AT_FDCWD, (directory_ + "/" + name).c_str(), times.data(), 0), 0);
        }
        EXPECT_EQ(utimensat(AT_FDCWD, directory_.c_str(), times.data(), 0), 0);
        stamps_ = stamps();
    }

    void expectUnchanged() const {
        EXPECT_EQ(stamps(), stamps_);  // first: reading the content is an access, too
        EXPECT_EQ(contents(), contents_);
    }

private:
    std::map<std::string, std::string> contents() const {
        std::map<std::string, std::string> result;
        for (const std::string& name : listDirectory(directory_)) {
            result[name] = readFile(directory_ + "/" + name);
        }
        return result;
    }

    std::map<std::string, std::string> stamps() const {
        std::map<std::string, std::string> result{{".", stampsOf(directory_)}};
        for (const auto& [name, content] : contents_) {
            result[name] = stampsOf(directory_ + "/" + name);
        }
        return result;
    }

    std::string directory_;
    std::map<std::string, std::string> contents_;
    std::map<std::string, std::string> stamps_;
};

const std::vector<std::vector<std::string>> kLookingCommands{
    {"tables"},
    {"schema"},
    {"schema", "t"},
    {"export", "t"},
    {"export", "t", "--format", "json"},
    {"export", "t", "--format", "sql"},
    {"check"},
    {"check", "--json"},
    {"shell", "--read-only", "-c", "select * from t"},
    {"shell", "--read-only", "-c", "delete from t"},
    {"shell", "--read-only", "--raw", "-c", "SELECT * FROM t;"},
    {"subs", "list"},
    {"subs", "list", "--mine", "--device", "lamp"},
    {"subs", "find", "--id", "1"},
    {"subs", "find", "--resource", "/light"},
    {"subs", "find", "--resource", "/light", "--resource", "/heat"},
    {"subs", "find", "--mine", "--uri", "/subs/1"},
    {"subs", "find", "--mine", "--device", "lamp", "--resource", "/light"},
};

class ReadOnlyTest : public ProgramTest {
protected:
    void SetUp() override {
        ASSERT_EQ(run("subs", {"provision"}), (ProgramResult{0, "", ""}));
        ASSERT_EQ(run("subs", {"save", "--device", "lamp", "--resource", "/light", "--uri", "/subs/1",
                               "--notify", "n"}),
                  (ProgramResult{0, "saved as 1\n", ""}));
        prepare({"CREATE TABLE t (a TEXT)", "INSERT INTO t VALUES ('x')"});
    }

    ProgramResult look(const std::vector<std::string>& command, const ProgramOptions& options = {}) const {
        return run(command.front(), {command.begin() + 1, command.end()}, options);
    }
};

TEST_F(ReadOnlyTest, LookingLeavesEveryByteAndTimeStampAlone) {
    for (const std::vector<std::string>& command : kLookingCommands) {
        SCOPED_TRACE(::testing::PrintToString(command));
        const Picture before(directory());
        const ProgramResult result = look(command);
        EXPECT_NE(result.status, 2) << result;
        before.expectUnchanged();
    }
}

TEST_F(ReadOnlyTest, WhatACrashLeftBehindStaysWhereItIs) {
    const std::string committed = readFile(tableFile("t"));
    writeFile(directory() + "/t.backup", committed + "'half");
    writeFile(directory() + "/master_rollback", "0\n\x01~t\n");
    const Picture before(directory());
    EXPECT_EQ(run("export", {"t"}), (ProgramResult{0, "a\r\nx\r\n", ""}));
    before.expectUnchanged();
}

TEST_F(ReadOnlyTest, WorksOnADirectoryThatMustNotBeWritten) {
    for (const std::string& name : listDirectory(directory())) {
        ASSERT_EQ(chmod((directory() + "/" + name).c_str(), 0444), 0);
    }
    ASSERT_EQ(chmod(directory().c_str(), 0555), 0);
    ASSERT_EQ(chmod(temporary.path().c_str(), 0755), 0);
    ProgramOptions options;
    options.heedsModes = true;
    EXPECT_EQ(look({"export", "t"}, options), (ProgramResult{0, "a\r\nx\r\n", ""}));
    for (const std::vector<std::string>& command : kLookingCommands) {
        SCOPED_TRACE(::testing::PrintToString(command));
        const ProgramResult result = look(command, options);
        EXPECT_NE(result.status, 2) << result;
        EXPECT_LT(result.status, 126) << result;
    }
    EXPECT_NE(look({"shell", "-c", "delete from t"}, options).status, 0);
    ASSERT_EQ(chmod(directory().c_str(), 0755), 0);
}

TEST_F(ReadOnlyTest, ShowsWhatALiveProcessHasCommitted) {
    const LogCapture log;
    FileDatabase live;
    ASSERT_TRUE(live.init(path()));
    ASSERT_TRUE(live.beginTransaction());
    ASSERT_EQ(live.executeUpdate("INSERT INTO t (a) VALUES ('?');", "pending"), 0);
    ASSERT_TRUE(fileExists(directory() + "/t.backup"));
    EXPECT_EQ(run("export", {"t"}), (ProgramResult{0, "a\r\nx\r\n", ""}));
    EXPECT_EQ(shell({"select * from t"}, {"--read-only"}).out, "a\n-\nx\n");
    const ProgramResult refused{2, "",
                                "filedb shell: " + directory() + ": process " + std::to_string(getpid()) +
                                    " has it open; stop that process first, or only look at the database\n"};
    EXPECT_EQ(shell({"select * from t"}), refused);
    EXPECT_EQ(run("import", {"t", "/dev/null"}).status, 2);
    EXPECT_EQ(run("subs", {"expire"}).status, 2);
    EXPECT_TRUE(fileExists(directory() + "/t.backup"));
    ASSERT_TRUE(live.commitTransaction());
    EXPECT_EQ(run("export", {"t"}), (ProgramResult{0, "a\r\nx\r\npending\r\n", ""}));
}

TEST_F(ReadOnlyTest, LeavesNoCopyBehind) {
    const TemporaryDirectory place;
    ProgramOptions options;
    options.environment = {"TMPDIR=" + place.path()};
    for (const std::vector<std::string>& command : kLookingCommands) {
        static_cast<void>(look(command, options));
    }
    EXPECT_EQ(listDirectory(place.path()), std::vector<std::string>());
    options.environment = {"TMPDIR=" + place.file("missing")};
    EXPECT_EQ(look({"tables"}, options).status, 2);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
