#include "KnownFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "CoarseStamps.h"
#include "StatementTest.h"

// What the engine remembers of a file counts only while the file is provably the same, also where the times
// that the system tells of files advance in coarse steps.
namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::File;
using Core::Database::Filedb::FileIdentity;
using Core::Database::Filedb::KnownFile;

constexpr long long kMillisecond = 1'000'000;
constexpr long long kFourMilliseconds = 4 * kMillisecond;
constexpr long long kSecond = 1000 * kMillisecond;

struct Step {
    const char* name;
    long long nanoseconds;
    int rounds;
};
const Step kSteps[] = {{"4 ms", kFourMilliseconds, 20000}, {"1 s", kSecond, 20000}};

// One file

class KnownFileTest : public ::testing::Test {
protected:
    File open() const { return File::openExisting(name(), File::Access::readAndWrite); }
    std::string name() const { return temporary_.file("file"); }
    FileIdentity now() const { return FileIdentity::of(name()); }

    /// Looks as if the last modification was so long ago.
    void age(std::chrono::nanoseconds age) const {
        const auto then = std::chrono::system_clock::now() - age;
        const auto seconds = std::chrono::time_point_cast<std::chrono::seconds>(then);
        timespec times[2]{};
        times[0].tv_nsec = UTIME_OMIT;
        times[1].tv_sec = std::chrono::system_clock::to_time_t(seconds);
        times[1].tv_nsec = static_cast<long>((then - seconds).count());
        ASSERT_EQ(utimensat(AT_FDCWD, name().c_str(), times, 0), 0);
    }

    TemporaryDirectory temporary_;
    KnownFile::Memory files_;
};

TEST_F(KnownFileTest, NothingIsProofOfAFileThatIsNotRemembered) {
    writeFile(name(), "one");
    EXPECT_FALSE(KnownFile().isStill(now()));
    EXPECT_FALSE(KnownFile().isStill({}));
}

TEST_F(KnownFileTest, AFileThatWasLeftIsKnownUntilItIsChanged) {
    writeFile(name(), "one");
    for (const long long step : {1LL, kFourMilliseconds, kSecond}) {
        SCOPED_TRACE(step);
        const CoarseStamps stamps(step);
        File file = open();
        const KnownFile left = files_.left(file);
        EXPECT_TRUE(left.isStill(now()));
        EXPECT_TRUE(left.isStill(file.identity()));
        writeFile(name(), "two");
        EXPECT_FALSE(left.isStill(now()));
    }
}

TEST_F(KnownFileTest, TheMarkIsInThePastSoThatNoLaterWriteCanGiveIt) {
    writeFile(name(), "one");
    for (const long long step : {1LL, kFourMilliseconds, kSecond}) {
        SCOPED_TRACE(step);
        const CoarseStamps stamps(step);
        File file = open();
        const KnownFile left = files_.left(file);
        writeFile(name(), "two");
        const auto nanoseconds = [](const timespec& time) { return time.tv_sec * kSecond + time.tv_nsec; };
        EXPECT_GT(nanoseconds(now().modified) - nanoseconds(left.identity().modified), 2 * step);
    }
}

TEST_F(KnownFileTest, AFreshFileThatIsReadIsNotKnown) {
    for (const long long step : {1LL, kFourMilliseconds, kSecond}) {
        SCOPED_TRACE(step);
        const CoarseStamps stamps(step);
        writeFile(name(), "one");
        const KnownFile read = files_.read(open());
        EXPECT_FALSE(read.isStill(now()));
    }
}

TEST_F(KnownFileTest, ABackdatedModificationDoesNotMakeAFreshFileOld) {
    writeFile(name(), "one");
    age(std::chrono::hours(1));
    EXPECT_FALSE(files_.read(open()).isStill(now()));
}

TEST_F(KnownFileTest, AnOldFileThatIsReadIsKnownUntilItIsChanged) {
    writeFile(name(), "one");
    letFilesAge();
    const KnownFile read = files_.read(open());
    EXPECT_TRUE(read.isStill(now()));
    writeFile(name(), "two");
    EXPECT_FALSE(read.isStill(now()));
}

TEST_F(KnownFileTest, WhereStampsAreCoarseAFileIsOldAfterSeconds) {
    writeFile(name(), "one");
    letFilesAge();
    const CoarseStamps stamps(kFourMilliseconds);
    EXPECT_FALSE(files_.read(open()).isStill(now()));
    std::this_thread::sleep_for(std::chrono::milliseconds(4500));
    EXPECT_TRUE(files_.read(open()).isStill(now()));
}

TEST_F(KnownFileTest, AFileThatWasLeftIsKnownWhenItIsReadByAnyName) {
    writeFile(name(), "one");
    File file = open();
    files_.remember(files_.left(file));
    std::filesystem::create_hard_link(name(), temporary_.file("other"));
    EXPECT_FALSE(files_.read(open()).isStill(now())) << "its count of names has changed";

    files_.remember(files_.left(file));
    const File other = File::openExisting(temporary_.file("other"), File::Access::read);
    EXPECT_TRUE(files_.read(other).isStill(now()));
    writeFile(name(), "two");
    EXPECT_FALSE(files_.read(other).isStill(now()));
}

TEST_F(KnownFileTest, DistrustEndsWhatIsKnown) {
    writeFile(name(), "one");
    File file = open();
    KnownFile left = files_.left(file);
    left.distrust();
    EXPECT_FALSE(left.isStill(now()));
}

TEST_F(KnownFileTest, AMarkThatIsRefusedIsNoErrorAndNoProof) {
    writeFile(name(), "one");
    File file = open();
    {
        const CoarseStamps stamps(1, CoarseStamps::Marks::refused);
        EXPECT_FALSE(files_.left(file).isStill(now()));
    }
    EXPECT_TRUE(files_.left(file).isStill(now()));
}

TEST_F(KnownFileTest, NothingIsProofOnANetworkOrFuseFileSystem) {
    writeFile(name(), "one");
    letFilesAge();
    File file = open();
    const CoarseStamps stamps(1);
    constexpr long kNfs = 0x6969;
    constexpr long kFuse = 0x65735546;
    for (const long type : {kNfs, kFuse}) {
        CoarseStamps::pretendFileSystem(type);
        KnownFile::Memory files;
        files.begin(file);
        EXPECT_FALSE(files.read(file).isStill(now()));
        EXPECT_FALSE(files.left(file).isStill(now()));
    }
    CoarseStamps::pretendFileSystem(0);
    EXPECT_TRUE(files_.left(file).isStill(now()));
}

TEST_F(KnownFileTest, TheDiskOfTheJournalIsNotAskedForAgain) {
    writeFile(name(), "one");
    File file = open();
    const CoarseStamps stamps(1);
    files_.begin(file);
    CoarseStamps::pretendFileSystem(0x6969);
    EXPECT_TRUE(files_.left(file).isStill(now()));
}

// Foreign changes of equal size

class ForeignChangeTest : public StatementTest,
                          public ::testing::WithParamInterface<Core::Database::Filedb::Synchronous> {
protected:
    ForeignChangeTest() { useLevel(GetParam()); }

    /// As many rounds, or fewer where each waits for the disk.
    int atThisLevel(int rounds) const { return level() == Synchronous::off ? rounds : rounds / 50; }

    void SetUp() override {
        StatementTest::SetUp();
        run("CREATE TABLE t (a INTEGER, b TEXT);");
        writeFile(tableFile("t"), tableOf('a', 'b'));
    }

    /// A table with two rows whose cells are all this letter.
    static std::string tableOf(char first, char second) {
        return "a~b~ROWID\n1~4~1\n\n1~'" + std::string(20, first) + "'~1\n2~'" + std::string(20, second) +
               "'~2\n";
    }
    /// Gives a file other bytes at the same length.
    static void rewrite(const std::string& name, const std::string& content) {
        std::fstream file(name, std::ios::in | std::ios::out | std::ios::binary);
        file << content;
        ASSERT_TRUE(file.flush().good());
    }
    /// The table's text as a query gives its rows.
    std::string rowsOfTable() {
        std::string text = "a~b~ROWID\n1~4~1\n\n";
        for (const std::string& row : rows(query("SELECT *, ROWID FROM t;"), 3)) {
            const std::size_t first = row.find('|');
            const std::size_t second = row.rfind('|');
            text += row.substr(0, first) + "~'" + row.substr(first + 1, second - first - 1) + "'~" +
                    row.substr(second + 1) + "\n";
        }
        return text;
    }
    static std::string texts(char letter) { return std::string(20, letter); }

    /// With each clock, as often as its step says, or that part of it.
    void inRounds(int part, const std::function<void()>& round) {
        for (const Step& step : kSteps) {
            SCOPED_TRACE(step.name);
            const CoarseStamps stamps(step.nanoseconds);
            const int rounds = atThisLevel(step.rounds / part);
            for (int count = 0; count < rounds; ++count) {
                SCOPED_TRACE(count);
                round();
                if (HasFatalFailure()) {
                    return;
                }
                log.clear();
            }
            EXPECT_GT(CoarseStamps::looks(), rounds);
        }
    }

    void update(int row, char letter, const std::string& name = "t") {
        const std::string sql = "UPDATE " + name + " SET a=?, b='?' WHERE a = " + std::to_string(row) + ";";
        ASSERT_EQ(exec(sql.c_str(), std::to_string(row).c_str(), texts(letter).c_str()), 0);
        ASSERT_THAT(takeErrors(), ::testing::IsEmpty());
    }
};

INSTANTIATE_TEST_SUITE_P(AtEveryLevel, ForeignChangeTest,
                         ::testing::Values(Core::Database::Filedb::Synchronous::off,
                                           Core::Database::Filedb::Synchronous::normal,
                                           Core::Database::Filedb::Synchronous::full),
                         levelName);

TEST_P(ForeignChangeTest, OfATableBetweenReadAndCopyOverGivesOneTextWhole) {
    inRounds(1, [&] {
        rewrite(tableFile("t"), tableOf('a', 'b'));
        database->beginTransaction();
        update(2, 'c');
        rewrite(tableFile("t"), tableOf('x', 'y'));
        ASSERT_TRUE(database->commitTransaction());
        ASSERT_EQ(table("t"), tableOf('a', 'c'));
    });
}

TEST_P(ForeignChangeTest, OfATableThatTheEngineWroteLastGivesOneTextWhole) {
    inRounds(4, [&] {
        update(1, 'd');
        database->beginTransaction();
        update(2, 'c');
        rewrite(tableFile("t"), tableOf('x', 'y'));
        ASSERT_TRUE(database->commitTransaction());
        ASSERT_EQ(table("t"), tableOf('d', 'c'));
    });
}

TEST_P(ForeignChangeTest, OfAWorkingCopyBetweenStatementsIsWhatTheNextStatementChanges) {
    inRounds(1, [&] {
        rewrite(tableFile("t"), tableOf('a', 'b'));
        database->beginTransaction();
        update(2, 'c');
        rewrite(backupFile("t"), tableOf('x', 'y'));
        update(2, 'd');
        ASSERT_TRUE(database->commitTransaction());
        ASSERT_EQ(table("t"), tableOf('x', 'd'));
    });
}

TEST_P(ForeignChangeTest, OfAWorkingCopyBeforeTheCommitIsWhatTheTableGets) {
    inRounds(4, [&] {
        rewrite(tableFile("t"), tableOf('a', 'b'));
        database->beginTransaction();
        update(2, 'c');
        rewrite(backupFile("t"), tableOf('x', 'y'));
        ASSERT_TRUE(database->commitTransaction());
        ASSERT_EQ(table("t"), tableOf('x', 'y'));
    });
}

TEST_P(ForeignChangeTest, OfATableBetweenTwoQueriesIsWhatTheSecondOneReads) {
    char letter = 'a';
    inRounds(25, [&] {
        const auto next = [&] { return letter = letter == 'z' ? 'a' : static_cast<char>(letter + 1); };
        for (int change = 0; change < 3; ++change) {
            rewrite(tableFile("t"), tableOf(next(), next()));
            ASSERT_EQ(rowsOfTable(), table("t"));
            ASSERT_EQ(rowsOfTable(), table("t"));
        }
    });
}

TEST_P(ForeignChangeTest, OfATableThatTheEngineWroteLastIsWhatTheNextQueryReads) {
    inRounds(25, [&] {
        update(1, 'd');
        ASSERT_EQ(rowsOfTable(), table("t"));
        rewrite(tableFile("t"), tableOf('x', 'y'));
        ASSERT_EQ(rowsOfTable(), tableOf('x', 'y'));
        update(2, 'c');
        ASSERT_EQ(table("t"), tableOf('x', 'c'));
    });
}

TEST_P(ForeignChangeTest, OfATableInATransactionIsWhatQueriesAndChangesRead) {
    inRounds(25, [&] {
        rewrite(tableFile("t"), tableOf('a', 'b'));
        ASSERT_EQ(rowsOfTable(), tableOf('a', 'b'));
        database->beginTransaction();
        rewrite(tableFile("t"), tableOf('x', 'y'));
        ASSERT_EQ(rowsOfTable(), tableOf('x', 'y'));
        update(2, 'c');
        ASSERT_EQ(rowsOfTable(), tableOf('x', 'c'));
        rewrite(backupFile("t"), tableOf('u', 'v'));
        ASSERT_EQ(rowsOfTable(), tableOf('u', 'v'));
        ASSERT_TRUE(database->commitTransaction());
        ASSERT_EQ(rowsOfTable(), tableOf('u', 'v'));
    });
}

TEST_P(ForeignChangeTest, OfAnOldTableIsNotHiddenByWhatWasRead) {
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        const CoarseStamps stamps(step.nanoseconds);
        for (int round = 0; round < 8; ++round) {
            rewrite(tableFile("t"), tableOf('a', 'b'));
            std::this_thread::sleep_for(std::chrono::milliseconds(3 * round));
            ASSERT_EQ(rowsOfTable(), tableOf('a', 'b'));
            rewrite(tableFile("t"), tableOf('c', 'd'));
            ASSERT_EQ(rowsOfTable(), tableOf('c', 'd'));
        }
    }
}

// Two names of one table

TEST_P(ForeignChangeTest, TwoNamesOfOneTableInATransactionShareItsWorkingCopy) {
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        const CoarseStamps stamps(step.nanoseconds);
        for (int round = 0; round < 50; ++round) {
            // The other name reads the table's own file, and writes the one working copy.
            rewrite(tableFile("t"), tableOf('a', 'b'));
            database->beginTransaction();
            update(2, 'c');
            update(1, 'd', "./t");
            update(2, 'e');
            ASSERT_TRUE(database->commitTransaction());
            ASSERT_EQ(table("t"), tableOf('d', 'e'));

            rewrite(tableFile("t"), tableOf('a', 'b'));
            database->beginTransaction();
            update(2, 'c');
            update(1, 'd', "./t");
            ASSERT_TRUE(database->commitTransaction());
            ASSERT_EQ(table("t"), tableOf('d', 'b'));

            rewrite(tableFile("t"), tableOf('a', 'b'));
            database->beginTransaction();
            update(1, 'd', "./t");
            update(2, 'c');
            ASSERT_TRUE(database->commitTransaction());
            ASSERT_EQ(table("t"), tableOf('a', 'c'));
            log.clear();
        }
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
