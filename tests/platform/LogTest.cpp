#include "Log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "LogSink.h"
#include "TestSupport.h"

namespace Kalt::Vemo::Log {
namespace {

using ::testing::ElementsAre;

constexpr const char* kVariable = "VEMO_LOG_LEVEL";

void logAllLevels() {
    Log::log("dir/Some.cpp", 12, 24, "Tag", log_error, "%s", "bad");
    Log::log("dir/Some.cpp", 13, 24, "Tag", log_information, "%s", "good");
    Log::log("dir/Some.cpp", 14, 24, "Tag", log_trace, "%s", "value");
}

class LogSinkTest : public ::testing::Test {
protected:
    ~LogSinkTest() override { setLogSink({}, 0); }

    void collect(int maxLevel) {
        setLogSink([this](const LogMessage& message) { texts.push_back(message.text); }, maxLevel);
    }

    std::vector<std::string> texts;
};

TEST_F(LogSinkTest, GetsEveryPartOfTheMessage) {
    int calls = 0;
    setLogSink(
        [&](const LogMessage& message) {
            ++calls;
            EXPECT_STREQ(message.file, "a/b.cpp");
            EXPECT_EQ(message.line, 77U);
            EXPECT_EQ(message.module, 16);
            EXPECT_STREQ(message.tag, "Store");
            EXPECT_EQ(message.level, -2);
            EXPECT_STREQ(message.text, "7 of nine");
        },
        log_trace);
    Log::log("a/b.cpp", 77, 16, "Store", log_error, "%d of %s", 7, "nine");
    EXPECT_EQ(calls, 1);
}

TEST_F(LogSinkTest, GetsMessagesUpToItsLevel) {
    const struct {
        int maxLevel;
        std::vector<std::string> texts;
    } rows[] = {{-3, {}},
                {-2, {"bad"}},
                {-1, {"bad"}},
                {0, {"bad", "good"}},
                {1, {"bad", "good", "value"}},
                {2, {"bad", "good", "value"}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.maxLevel);
        texts.clear();
        collect(row.maxLevel);
        logAllLevels();
        EXPECT_EQ(texts, row.texts);
    }
}

TEST_F(LogSinkTest, KeepsLineFeedsAndTextOfAnyLength) {
    collect(log_trace);
    std::vector<std::string> sent{"", "line\n", "two\nlines\n", "100%"};
    for (const std::size_t length : {510U, 511U, 512U, 513U, 100000U}) {
        sent.push_back(std::string(length - 1, 'x') + "y");
    }
    for (const std::string& text : sent) {
        Log::log("f", 1, 24, "T", log_error, "%s", text.c_str());
    }
    EXPECT_EQ(texts, sent);
}

TEST_F(LogSinkTest, IsReachedThroughThePlainFunctionToo) {
    collect(log_error);
    const auto function = &Log::log;
    function("f", 1, 24, "T", log_error, "%d", 5);
    function("f", 1, 24, "T", log_information, "%d", 6);
    EXPECT_THAT(texts, ElementsAre("5"));
}

TEST_F(LogSinkTest, MayLogItself) {
    setLogSink(
        [this](const LogMessage& message) {
            texts.push_back(message.text);
            if (texts.size() == 1) {
                Log::log("f", 1, 24, "T", log_error, "inner");
            }
        },
        log_error);
    Log::log("f", 1, 24, "T", log_error, "outer");
    EXPECT_THAT(texts, ElementsAre("outer", "inner"));
}

TEST_F(LogSinkTest, MayReplaceItself) {
    setLogSink(
        [this](const LogMessage& message) {
            texts.push_back(std::string("first ") + message.text);
            collect(log_error);
        },
        log_error);
    Log::log("f", 1, 24, "T", log_error, "a");
    Log::log("f", 1, 24, "T", log_error, "b");
    EXPECT_THAT(texts, ElementsAre("first a", "b"));
}

TEST_F(LogSinkTest, MayLogWhileItIsDestroyed) {
    struct LogsAtItsEnd {
        LogsAtItsEnd() = default;
        ~LogsAtItsEnd() { Log::log("f", 1, 24, "T", log_error, "gone"); }
        LogsAtItsEnd(const LogsAtItsEnd&) = delete;
        LogsAtItsEnd& operator=(const LogsAtItsEnd&) = delete;
    };
    setLogSink([held = std::make_shared<LogsAtItsEnd>()](const LogMessage&) {}, log_error);
    collect(log_error);
    EXPECT_THAT(texts, ElementsAre("gone"));
}

TEST_F(LogSinkTest, LosesNoMessageOfManyThreads) {
    constexpr int kThreads = 4;
    constexpr int kMessages = 2000;
    std::atomic<int> received{0};
    const auto count = [&](const LogMessage&) { ++received; };
    setLogSink(count, log_error);

    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([i] {
            for (int message = 0; message < kMessages; ++message) {
                Log::log("f", 1, 24, "T", log_error, "%d %d", i, message);
                Log::log("f", 1, 24, "T", log_information, "not wanted");
            }
        });
    }
    for (int i = 0; i < 200; ++i) {
        setLogSink(count, log_error);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(received, kThreads * kMessages);
}

class StandardErrorDeathTest : public ::testing::Test {
protected:
    ~StandardErrorDeathTest() override { unsetenv(kVariable); }

    /// What a process with this VEMO_LOG_LEVEL writes to standard error; null leaves the variable unset. The
    /// process is a fork of this one, which has not logged before: death tests are run first.
    static void expectOutput(const char* level, const std::string& expected, void (*write)() = logAllLevels) {
        SCOPED_TRACE(level == nullptr ? "unset" : level);
        if (level == nullptr) {
            unsetenv(kVariable);
        } else {
            setenv(kVariable, level, 1);
        }
        const Vemo::Test::TemporaryDirectory directory;
        const std::string file = directory.file("stderr");
        EXPECT_EXIT(
            {
                if (freopen(file.c_str(), "w", stderr) == nullptr) {
                    exit(1);
                }
                write();
                exit(0);
            },
            ::testing::ExitedWithCode(0), "");
        EXPECT_EQ(Vemo::Test::readFile(file), expected);
    }
};

const char* const kErrorLine = "error Tag Some.cpp:12: bad\n";
const char* const kInfoLine = "info Tag Some.cpp:13: good\n";
const char* const kTraceLine = "trace Tag Some.cpp:14: value\n";

TEST_F(StandardErrorDeathTest, ShowsErrorsWhenTheVariableIsUnset) {
    expectOutput(nullptr, kErrorLine);
}

TEST_F(StandardErrorDeathTest, ShowsNothingWhenOff) {
    expectOutput("off", "");
}

TEST_F(StandardErrorDeathTest, ShowsErrors) {
    expectOutput("error", kErrorLine);
}

TEST_F(StandardErrorDeathTest, ShowsInformation) {
    expectOutput("info", std::string(kErrorLine) + kInfoLine);
}

TEST_F(StandardErrorDeathTest, ShowsTrace) {
    expectOutput("trace", std::string(kErrorLine) + kInfoLine + kTraceLine);
}

TEST_F(StandardErrorDeathTest, NamesAnUnknownLevelOnceAndShowsErrors) {
    expectOutput(
        "loud",
        std::string("VEMO_LOG_LEVEL=loud is not a log level; using error. Accepted: off, error, info, "
                    "trace\n") +
            kErrorLine);
}

TEST_F(StandardErrorDeathTest, TakesAnEmptyOrCapitalisedLevelForUnknown) {
    for (const char* level : {"", "ERROR", "error "}) {
        expectOutput(level, std::string("VEMO_LOG_LEVEL=") + level +
                                " is not a log level; using error. Accepted: off, error, info, trace\n" +
                                kErrorLine);
    }
}

void replaceAndRestoreStandardError() {
    setLogSink([](const LogMessage&) { abort(); }, log_trace);
    setLogSink({}, log_error);
    Log::log("/a/b/File.cpp", 3, 24, "Tag", log_error, "no line feed");
    Log::log("File.cpp", 4, 24, "Tag", log_information, "one line feed\n");
    Log::log("", 5, 24, "", static_cast<log_level>(-7), "%s", "");
    Log::log("File.cpp", 6, 24, "Tag", log_trace, "too detailed");
}

TEST_F(StandardErrorDeathTest, IsRestoredWithItsThresholdByAnEmptySink) {
    expectOutput("info",
                 "error Tag File.cpp:3: no line feed\n"
                 "info Tag File.cpp:4: one line feed\n"
                 "level -7  :5: \n",
                 replaceAndRestoreStandardError);
}

}  // namespace
}  // namespace Kalt::Vemo::Log
