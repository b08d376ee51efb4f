#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <future>
#include <limits>
#include <locale>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Directory.h"
#include "RecursiveMutex.h"
#include "StringConversion.h"
#include "TestSupport.h"

namespace Kalt::Vemo::Platform {
namespace {

using Filesystem::Directory;
using Test::fileExists;
using Test::GermanLocale;
using Test::listDirectory;
using Test::readFile;
using Test::TemporaryDirectory;
using Test::writeFile;
using Thread::RecursiveMutex;

// --- StringConversion

constexpr std::int64_t kInt64Min = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t kUint64Max = std::numeric_limits<std::uint64_t>::max();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

TEST(StringToInt64, ReadsTheLongestValidPrefix) {
    const struct {
        std::string text;
        std::int64_t value;
    } rows[] = {
        {"", 0},
        {"0", 0},
        {"7", 7},
        {"+7", 7},
        {"-7", -7},
        {"007", 7},
        {" \t\n\v\f\r42", 42},
        {"42 ", 42},
        {"12ab", 12},
        {"12.9", 12},
        {"1e3", 1},
        {"1,000", 1},
        {"0x10", 0},
        {"abc", 0},
        {"-", 0},
        {"+", 0},
        {"--1", 0},
        {"+-1", 0},
        {"- 1", 0},
        {"\xa0"
         "1",
         0},
        {std::string("1\0002", 3), 1},
        {"9223372036854775806", kInt64Max - 1},
        {"9223372036854775807", kInt64Max},
        {"9223372036854775808", kInt64Max},
        {"18446744073709551615", kInt64Max},
        {"18446744073709551616", kInt64Max},
        {"99999999999999999999999", kInt64Max},
        {"0000000000000000000000012", 12},
        {"-9223372036854775807", kInt64Min + 1},
        {"-9223372036854775808", kInt64Min},
        {"-9223372036854775809", kInt64Min},
        {"-99999999999999999999999", kInt64Min},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(StringConversion::stringToint64(row.text), row.value);
    }
}

TEST(StringToUint64, ReadsTheLongestValidPrefix) {
    const struct {
        std::string text;
        std::uint64_t value;
    } rows[] = {
        {"", 0},
        {"0", 0},
        {"-0", 0},
        {"7", 7},
        {"+7", 7},
        {" \t\n\v\f\r42", 42},
        {"12ab", 12},
        {"12.9", 12},
        {"0x10", 0},
        {"NULL", 0},
        {"'5'", 0},
        {"-", 0},
        {"- 1", 0},
        {"-1", kUint64Max},
        {"-2", kUint64Max - 1},
        {"-18446744073709551615", 1},
        {"9223372036854775808", std::uint64_t{1} << 63},
        {"18446744073709551609", kUint64Max - 6},
        {"18446744073709551610", kUint64Max - 5},
        {"18446744073709551615", kUint64Max},
        {"18446744073709551616", kUint64Max},
        {"18446744073709551620", kUint64Max},
        {"184467440737095516150", kUint64Max},
        {"-18446744073709551616", kUint64Max},
        {"-99999999999999999999999", kUint64Max},
        {"0000000000000000000000012", 12},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(StringConversion::stringTouint64(row.text), row.value);
    }
}

struct FloatRow {
    std::string text;
    float value;
};

const std::vector<FloatRow>& floatRows() {
    static const std::vector<FloatRow> rows{
        {"", 0},
        {"0", 0},
        {"1", 1},
        {"+1", 1},
        {"-1", -1},
        {" \t\n\v\f\r2.5", 2.5F},
        {"2.5 ", 2.5F},
        {"2.5e3V", 2500},
        {"2.5E+3", 2500},
        {"-2.5e-3", -0.0025F},
        {".5", 0.5F},
        {"-.5", -0.5F},
        {"1.", 1},
        {"1.e2", 100},
        {"1.5.5", 1.5F},
        {"1,5", 1},
        {"1e", 1},
        {"1e+", 1},
        {"1e-x", 1},
        {"0.1", 0.1F},
        {"16777217", 16777216},
        {"3.4028235e38", std::numeric_limits<float>::max()},
        {"1e39", kInfinity},
        {"-1e39", -kInfinity},
        {"1e-60", 0},
        {"1e99999999999", kInfinity},
        {"0x10", 0},
        {"0X1p3", 0},
        {"inf", 0},
        {"-infinity", 0},
        {"nan", 0},
        {"NAN(1)", 0},
        {".", 0},
        {"-", 0},
        {"e5", 0},
        {".e5", 0},
        {"- 1", 0},
        {"abc", 0},
        {std::string("1\0002", 3), 1},
    };
    return rows;
}

void expectFloatRows() {
    for (const FloatRow& row : floatRows()) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(StringConversion::stringToFloat(row.text), row.value);
    }
}

TEST(StringToFloat, ReadsTheLongestValidPrefix) {
    expectFloatRows();
}

TEST(StringToFloat, KeepsTheSmallestNumbers) {
    EXPECT_EQ(StringConversion::stringToFloat("1e-45"), std::numeric_limits<float>::denorm_min());
    EXPECT_EQ(StringConversion::stringToFloat("1.17549435e-38"), std::numeric_limits<float>::min());
    EXPECT_TRUE(std::signbit(StringConversion::stringToFloat("-0")));
}

class DecimalComma : public std::numpunct<char> {
protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

/// Puts the process's locale back at the end.
class LocaleGuard {
public:
    LocaleGuard() = default;
    ~LocaleGuard() { std::locale::global(before_); }
    LocaleGuard(const LocaleGuard&) = delete;
    LocaleGuard& operator=(const LocaleGuard&) = delete;

private:
    std::locale before_;
};

void expectIntegersAsEver() {
    EXPECT_EQ(StringConversion::stringToint64("1.234"), 1);
    EXPECT_EQ(StringConversion::stringToint64("-1,234"), -1);
    EXPECT_EQ(StringConversion::stringTouint64("1.234"), 1U);
    EXPECT_EQ(StringConversion::stringTouint64("-1"), kUint64Max);
}

TEST(StringConversionLocale, AStreamLocaleWithADecimalCommaChangesNothing) {
    const LocaleGuard guard;
    std::locale::global(std::locale(std::locale::classic(), new DecimalComma));
    expectFloatRows();
    expectIntegersAsEver();
}

TEST(StringConversionLocale, ASystemLocaleWithADecimalCommaChangesNothing) {
    const GermanLocale locale;
    expectFloatRows();
    expectIntegersAsEver();
}

// --- Directory

bool isDirectory(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

class DirectoryTest : public ::testing::Test {
protected:
    TemporaryDirectory temporary;
};

TEST_F(DirectoryTest, IsMadeOnceAndAcceptedAfterwards) {
    const std::string path = temporary.file("new");
    EXPECT_TRUE(Directory::createDirectory(path));
    EXPECT_TRUE(isDirectory(path));
    writeFile(path + "/kept", "content");
    EXPECT_TRUE(Directory::createDirectory(path));
    EXPECT_TRUE(Directory::createDirectory(path + "/"));
    EXPECT_EQ(readFile(path + "/kept"), "content");
}

TEST_F(DirectoryTest, IsAcceptedBehindASymbolicLink) {
    ASSERT_TRUE(Directory::createDirectory(temporary.file("real")));
    ASSERT_EQ(symlink("real", temporary.file("link").c_str()), 0);
    EXPECT_TRUE(Directory::createDirectory(temporary.file("link")));
}

TEST_F(DirectoryTest, IsRefusedWhereSomethingElseStands) {
    writeFile(temporary.file("file"), "content");
    ASSERT_EQ(symlink("file", temporary.file("link").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", temporary.file("dangling").c_str()), 0);
    for (const char* name : {"file", "link", "dangling", "file/below"}) {
        SCOPED_TRACE(name);
        EXPECT_FALSE(Directory::createDirectory(temporary.file(name)));
    }
    EXPECT_EQ(readFile(temporary.file("file")), "content");
    EXPECT_FALSE(fileExists(temporary.file("nowhere")));
}

TEST_F(DirectoryTest, IsNotMadeWithoutItsParent) {
    EXPECT_FALSE(Directory::createDirectory(temporary.file("parent/child")));
    EXPECT_FALSE(fileExists(temporary.file("parent")));
}

TEST_F(DirectoryTest, IsRefusedForAPathThatCannotBeAName) {
    EXPECT_FALSE(Directory::createDirectory(""));
    EXPECT_FALSE(Directory::createDirectory(temporary.file(std::string(300, 'x'))));
    EXPECT_FALSE(Directory::createDirectory(temporary.file(std::string("a\0b", 3))));
    EXPECT_EQ(listDirectory(temporary.path()), std::vector<std::string>{});
}

// --- RecursiveMutex

TEST(RecursiveMutexTest, LetsItsHolderInAgain) {
    RecursiveMutex mutex;
    mutex.lock();
    mutex.lock();
    mutex.unlock();
    mutex.unlock();
}

TEST(RecursiveMutexTest, KeepsOtherThreadsOutUntilTheLastUnlock) {
    RecursiveMutex mutex;
    int value = 0;
    mutex.lock();
    mutex.lock();
    std::promise<void> started;
    std::thread other([&] {
        started.set_value();
        mutex.lock();
        EXPECT_EQ(value, 2);
        mutex.unlock();
    });
    started.get_future().wait();
    value = 1;
    mutex.unlock();
    std::this_thread::yield();
    value = 2;
    mutex.unlock();
    other.join();
}

TEST(RecursiveMutexTest, ExcludesManyThreads) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    RecursiveMutex mutex;
    int count = 0;
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                mutex.lock();
                mutex.lock();
                ++count;
                mutex.unlock();
                ++count;
                mutex.unlock();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(count, 2 * kThreads * kRounds);
}

TEST(RecursiveMutexTest, IgnoresAnUnlockByAThreadThatDoesNotHoldIt) {
    RecursiveMutex mutex;
    mutex.unlock();  // nobody holds it: must not count against the next lock
    mutex.lock();
    int value = 0;
    std::promise<void> tried;
    std::thread other([&] {
        mutex.unlock();
        tried.set_value();
        mutex.lock();
        EXPECT_EQ(value, 1);
        mutex.unlock();
    });
    tried.get_future().wait();
    std::this_thread::yield();
    value = 1;  // a data race, and a wrong value seen, if the other thread's unlock had worked
    mutex.unlock();
    other.join();
}

TEST(RecursiveMutexTest, IgnoresSurplusUnlocksOfItsFormerHolder) {
    RecursiveMutex mutex;
    mutex.lock();
    mutex.unlock();
    mutex.unlock();
    mutex.unlock();
    std::thread([&] {
        mutex.lock();
        mutex.unlock();
    }).join();
    mutex.lock();
    mutex.unlock();
}

TEST(RecursiveMutexTest, MayBeDestroyedWhileHeld) {
    auto mutex = std::make_unique<RecursiveMutex>();
    mutex->lock();
    mutex->lock();
    mutex.reset();

    mutex = std::make_unique<RecursiveMutex>();
    std::thread([&] { mutex->lock(); }).join();
    mutex.reset();
}

}  // namespace
}  // namespace Kalt::Vemo::Platform
