#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "DatabaseTest.h"

// What does not depend on the level: the bytes that are left, the results, and the log.
namespace Kalt::Vemo::Test {
namespace {

using namespace std::string_literals;
using Core::Database::Filedb::Synchronous;

constexpr Synchronous kLevels[] = {Synchronous::off, Synchronous::normal, Synchronous::full};

class LevelsTest : public DatabaseTest {
protected:
    /// The same directory for each level, so that names in the log are the same.
    void begin(Synchronous level, const Files& content) {
        database.reset();
        std::filesystem::remove_all(directory());
        std::filesystem::create_directory(directory());
        restoreFiles(directory(), content);
        useLevel(level);
        log.clear();
    }

    /// The log without source lines: of each message the level, the tag and the text.
    std::vector<std::string> told() {
        std::vector<std::string> lines;
        for (const LoggedMessage& message : log.messages()) {
            std::string text = message.text;
            const std::size_t line = text.find("::");
            const std::size_t arrow = text.find(" ->");
            if (line != std::string::npos && arrow != std::string::npos && line < arrow) {
                text.erase(line, arrow - line);
            }
            lines.push_back(std::to_string(message.level) + " " + message.tag + ": " + text);
        }
        return lines;
    }

    /// Shows the first line that differs, and the one before it.
    void expectTold(const std::vector<std::string>& wanted) {
        std::vector<std::string> found = told();
        const auto [first, other] = std::mismatch(found.begin(), found.end(), wanted.begin(), wanted.end());
        const std::string before = first == found.begin() ? "the start" : *std::prev(first);
        EXPECT_EQ(first == found.end() ? "the end" : *first, other == wanted.end() ? "the end" : *other)
            << "after: " << before;
    }

    void step(const std::string& text) {
        if (text == "BEGIN") {
            results_.push_back(database->beginTransaction() ? 1 : 0);
        } else if (text == "COMMIT") {
            results_.push_back(database->commitTransaction() ? 1 : 0);
        } else if (text == "ROLLBACK") {
            results_.push_back(database->rollbackTransaction() ? 1 : 0);
        } else if (text.rfind("SELECT", 0) == 0) {
            const Result result = query(text.c_str(), "2", "b", "3", "c");
            results_.push_back(result ? result->getCount() : -1);
        } else if (text == "REOPEN") {
            reopen();
        } else {
            results_.push_back(exec(text.c_str(), "2", "b", "3", "c"));
        }
    }

    std::vector<int> results_;
};

const std::vector<std::string> kSteps = {
    "CREATE TABLE t (a INTEGER, b TEXT);",
    "CREATE TABLE k (a INTEGER PRIMARY KEY, b TEXT NOT NULL);",
    "CREATE TABLE IF NOT EXISTS t (a INTEGER);",
    "CREATE TABLE t (a INTEGER);",
    "INSERT INTO t (a, b) VALUES (?, '?');",
    "INSERT INTO k (a, b) VALUES (?, '?');",
    "INSERT INTO t (a) VALUES (?);",
    "UPDATE t SET a=?, b='?' WHERE a = 2;",
    "UPDATE t SET a=?, b='?';",
    "DELETE FROM t WHERE a = 2;",
    "DELETE FROM k WHERE a = ?;",
    "DROP TABLE t;",
    "DROP TABLE k;",
    "SELECT a FROM t;",
    "SELECT b FROM ./t WHERE a = 2;",
    "ALTER TABLE t ADD c INTEGER;",
    "no statement",
    "BEGIN",
    "COMMIT",
    "COMMIT",
    "ROLLBACK",
    "REOPEN",
};

TEST_F(LevelsTest, ResultsFilesAndLogOfAnyStoryAreTheSameAtEveryLevel) {
    for (unsigned int seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::vector<int> results;
        std::vector<std::string> lines;
        std::vector<Files> content;
        for (const Synchronous level : kLevels) {
            SCOPED_TRACE("level " + std::to_string(static_cast<int>(level)));
            begin(level, {});
            open();
            results_.clear();
            std::vector<Files> found;
            std::mt19937 random(seed);
            step(kSteps[0]);
            step(kSteps[1]);
            for (int n = 0; n < 60; ++n) {
                step(kSteps[random() % kSteps.size()]);
                found.push_back(readFiles(directory()));
            }
            database->deinit();
            found.push_back(readFiles(directory()));
            if (level == Synchronous::off) {
                results = results_;
                lines = told();
                content = found;
            }
            EXPECT_EQ(results_, results);
            EXPECT_EQ(found, content);
            expectTold(lines);
        }
    }
}

TEST_F(LevelsTest, WhatAnEarlierBuildHasLeftIsRecoveredToTheSameBytesAtEveryLevel) {
    const std::string entries[] = {"1~t",    "2~u",   "3~./t", "4~new", "5~t",    "5~u",  "\x01~t",
                                   "\x05~u", "257~t", "261~u", "0~t",   "6~u",    "",     "1",
                                   "0",      "5~t~u", "~~",    "junk",  "1~gone", " 5~u", "5~t\0rest"s};
    const std::string copies[] = {"a~b~ROWID\n1~4~1\n\n1~'new'~1\n", "", "no line feed",
                                  std::string(2000, 'x') + "\n", "a\0b\nc\n"s};
    int opened = 0;
    for (unsigned int seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        std::string journalText = std::string(1, "01x5"[random() % 4]) + "\n";
        for (auto n = random() % 6; n > 0; --n) {
            journalText += entries[random() % std::size(entries)] + "\n";
        }
        Files content{{"master_rollback", journalText}};
        for (const std::string name : {"t", "u", "new"}) {
            if (name != "new") {
                content[name + ".table"] = "a~b~ROWID\n1~4~1\n\n1~'old " + name + "'~1\n";
            }
            if (random() % 4 != 0) {
                content[name + ".backup"] = copies[random() % std::size(copies)];
            }
        }
        bool opens = false;
        Files recovered;
        std::vector<std::string> lines;
        for (const Synchronous level : kLevels) {
            SCOPED_TRACE("level " + std::to_string(static_cast<int>(level)));
            begin(level, content);
            const bool result = database->init(path());
            if (level == Synchronous::off) {
                opens = result;
                recovered = readFiles(directory());
                lines = told();
            }
            EXPECT_EQ(result, opens) << ::testing::PrintToString(journalText);
            EXPECT_EQ(readFiles(directory()), recovered) << ::testing::PrintToString(journalText);
            // By which name a table is done is the level's own.
            if (journalText.find("./") == std::string::npos) {
                expectTold(lines);
            }
        }
        opened += opens ? 1 : 0;
    }
    EXPECT_GT(opened, 0);
    EXPECT_LT(opened, 150);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
