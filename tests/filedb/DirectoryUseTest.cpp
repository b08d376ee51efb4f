#include "files/DirectoryUse.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <ostream>
#include <streambuf>
#include <string>
#include <thread>
#include <utility>

#include "FileDatabase.h"
#include "OtherProcess.h"
#include "ProgramRun.h"
#include "check/DirectoryRepair.h"
#include "console/ExitStatus.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::FileDatabase;
using ::testing::HasSubstr;
using Tool::DirectoryRepair;
using Tool::DirectoryUse;

/// A closed database with the table t, and the tool's commands that change it.
class DirectoryUseTest : public ProgramTest {
protected:
    void SetUp() override { prepare({"create table t (a text)", "insert into t values ('x')"}); }

    std::string journalFile() const { return directory() + "/master_rollback"; }

    /// Everybody may use the database.
    void letOthersIn() const {
        EXPECT_EQ(chmod(temporary.path().c_str(), 0755), 0);
        EXPECT_EQ(chmod(directory().c_str(), 0777), 0);
        EXPECT_EQ(chmod(journalFile().c_str(), 0666), 0);
        EXPECT_EQ(chmod(tableFile("t").c_str(), 0666), 0);
    }

    /// The process goes on as another user, if it may.
    static bool becomesOther() {
        constexpr uid_t kNobody = 65534;
        return geteuid() != 0 || setuid(kNobody) == 0;
    }

    bool anotherGetsIn() const {
        return inOtherProcess([&] { return FileDatabase().init(path()); });
    }

    std::string refusal(const std::string& command, const std::string& holder) const {
        return "filedb " + command + ": " + directory() + ": " + holder +
               " has it open; stop that process first, or only look at the database\n";
    }

    const LogCapture log;
};

TEST_F(DirectoryUseTest, AChangeIsRefusedWhileAProcessOfAnotherUserHasTheDatabaseOpen) {
    letOthersIn();
    OtherProcess other([&] { return becomesOther() && (new FileDatabase)->init(path()); });
    ASSERT_TRUE(other.hasOpened());
    const auto before = wholeDirectory(directory());
    ProgramOptions options;
    options.seesOwnOnly = true;
    const std::string holder = "process " + std::to_string(other.number());
    EXPECT_EQ(run("repair", {}, options), (ProgramResult{2, "", refusal("repair", holder)}));
    EXPECT_EQ(run("import", {"t", "/dev/null"}, options), (ProgramResult{2, "", refusal("import", holder)}));
    EXPECT_EQ(run("shell", {"-c", "delete from t"}, options),
              (ProgramResult{2, "", refusal("shell", holder)}));
    EXPECT_EQ(run("subs", {"expire"}, options), (ProgramResult{2, "", refusal("subs expire", holder)}));
    EXPECT_EQ(run("subs", {"provision"}, options), (ProgramResult{2, "", refusal("subs provision", holder)}));
    EXPECT_EQ(run("subs", {"replay", "/dev/null"}, options),
              (ProgramResult{2, "", refusal("subs replay", holder)}));
    EXPECT_EQ(run("export", {"t"}, options), (ProgramResult{0, "a\r\nx\r\n", ""}));
    EXPECT_EQ(run("repair", {"--dry-run"}, options).status, 0);
    EXPECT_EQ(wholeDirectory(directory()), before);
    other.leave();
    EXPECT_EQ(run("repair", {}, options).status, 0);
}

TEST_F(DirectoryUseTest, AnImportKeepsOthersOutFromItsFirstRowToItsLast) {
    const std::string rows = temporary.file("rows.csv");
    ASSERT_EQ(mkfifo(rows.c_str(), 0600), 0);
    ProgramResult result;
    std::thread import([&] { result = run("import", {"t", rows}); });
    const int input = open(rows.c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(write(input, "a\ny\n", 4), 4);
    // It reads its first row when it has the database, and refuses to begin while another process looks in.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    int unread = 0;
    while (ioctl(input, FIONREAD, &unread) == 0 && unread > 0 && std::chrono::steady_clock::now() < end) {
    }
    EXPECT_FALSE(anotherGetsIn());
    const ProgramResult second = run("import", {"t", "/dev/null"});
    EXPECT_EQ(second.status, 2);
    EXPECT_THAT(second.err, HasSubstr(" has it open; stop that process first"));
    EXPECT_EQ(write(input, "z\n", 2), 2);
    close(input);
    import.join();
    EXPECT_EQ(result, (ProgramResult{0, "imported 2 rows into t\n", ""}));
    EXPECT_EQ(run("export", {"t"}).out, "a\r\nx\r\ny\r\nz\r\n");
    EXPECT_TRUE(anotherGetsIn());
}

TEST_F(DirectoryUseTest, ARepairKeepsOthersOutWhileItActs) {
    /// Tries to open the database at each line that is printed.
    class Watch : public std::streambuf {
    public:
        explicit Watch(std::function<bool()> getsIn) : getsIn_(std::move(getsIn)) {}
        int lines = 0;

    private:
        int overflow(int character) override {
            if (character == '\n') {
                ++lines;
                EXPECT_FALSE(getsIn_()) << "line " << lines;
            }
            return character;
        }

        std::function<bool()> getsIn_;
    };
    writeFile(journalFile(), "1\n\1~t\n");
    writeFile(directory() + "/t.backup", readFile(tableFile("t")) + "'y'~2\n");
    writeFile(directory() + "/stray", "");
    Watch watch([&] { return anotherGetsIn(); });
    std::ostream out(&watch);
    {
        DirectoryRepair repair(directory(), false, out);
        repair.run();
        EXPECT_GE(watch.lines, 5);
        EXPECT_EQ(readFile(journalFile()), "0\n");
        EXPECT_FALSE(anotherGetsIn()) << "the new journal is locked as well";
    }
    EXPECT_TRUE(anotherGetsIn());
    EXPECT_EQ(run("export", {"t"}).out, "a\r\nx\r\ny\r\n");
}

TEST_F(DirectoryUseTest, ADatabaseWithoutAJournalIsLockedByANewOne) {
    std::filesystem::remove(journalFile());
    DirectoryUse use(directory());
    EXPECT_FALSE(fileExists(journalFile()));
    use.lockNew();
    EXPECT_EQ(readFile(journalFile()), "");
    EXPECT_FALSE(anotherGetsIn());
    use.lockNew();
    EXPECT_FALSE(anotherGetsIn());
}

TEST_F(DirectoryUseTest, AFileIsLockedBeforeItBecomesTheJournal) {
    {
        DirectoryUse use(directory());
        const std::string next = directory() + "/next";
        writeFile(next, "0\n");
        use.lockNext(next);
        std::filesystem::rename(next, journalFile());
        EXPECT_FALSE(anotherGetsIn());
    }
    EXPECT_TRUE(anotherGetsIn());
}

TEST_F(DirectoryUseTest, AProcessThatTheSystemDoesNotNameIsAnotherProcess) {
    letOthersIn();
    OtherProcess other([&] {
        // Whoever reads the journal itself takes its name away.
        return becomesOther() && (new FileDatabase)->init(path()) && readFile(journalFile()) == "0\n";
    });
    ASSERT_TRUE(other.hasOpened());
    ProgramOptions options;
    options.seesOwnOnly = true;
    // The tool sees the processes of its own user all the same.
    const std::string holder =
        geteuid() == 0 ? "another process" : "process " + std::to_string(other.number());
    EXPECT_EQ(run("repair", {}, options), (ProgramResult{2, "", refusal("repair", holder)}));
    EXPECT_EQ(run("repair"),
              (ProgramResult{2, "", refusal("repair", "process " + std::to_string(other.number()))}));
}

}  // namespace
}  // namespace Kalt::Vemo::Test
