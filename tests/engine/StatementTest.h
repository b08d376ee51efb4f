#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <regex>
#include <string>
#include <vector>

#include "DatabaseTest.h"

namespace Kalt::Vemo::Test {

inline constexpr const char* kNull = nullptr;

/// A statement that must fail: its text, the function that raises, the text after "->", the values for its
/// "?".
struct Refusal {
    std::string sql;
    std::string raiser;
    std::string message;
    std::vector<const char*> values = {};
};

/// An open database, and words for what a statement did to its files and said in the log.
class StatementTest : public DatabaseTest {
protected:
    void SetUp() override {
        open();
        log.clear();
    }

    Files files() const { return readFiles(directory()); }

    /// The error lines since the last call, less the harmless one of every copy and without the source lines:
    /// "insertTable Exception: getTableCurrentFile:: ->text".
    std::vector<std::string> takeErrors() {
        static const std::regex sourceLine("::[1-9][0-9]* ->");
        std::vector<std::string> result;
        for (const LoggedMessage& message : log.messages()) {
            EXPECT_EQ(message.module, 24) << message.text;
            if (message.level != -2 || message.text == "line is NULL") {
                continue;
            }
            EXPECT_EQ(message.tag, "FileDatabase") << message.text;
            result.push_back(std::regex_replace(message.text, sourceLine, ":: ->"));
        }
        log.clear();
        return result;
    }

    /// The error line of an exception as takeErrors gives it.
    static std::string failure(const std::string& handler, const std::string& raiser,
                               const std::string& message) {
        return handler + " Exception: " + raiser + ":: ->" + message + "\n";
    }

    bool logged(int level, const std::string& text) const {
        for (const LoggedMessage& message : log.messages()) {
            if (message.level == level && message.tag == "FileDatabase" && message.text == text) {
                return true;
            }
        }
        return false;
    }

    /// Runs a statement that must succeed without an error line.
    template <typename... Values>
    void run(const std::string& sql, Values... values) {
        SCOPED_TRACE(sql);
        EXPECT_EQ(exec(sql.c_str(), values...), 0);
        EXPECT_THAT(takeErrors(), ::testing::IsEmpty());
    }

    /// Runs a statement with the values of a list; a statement reads no more values than it has "?".
    int execWith(const std::string& sql, const std::vector<const char*>& values) {
        const std::array<const char*, 4> v = padded(values);
        return exec(sql.c_str(), v[0], v[1], v[2], v[3]);
    }

    Result queryWith(const std::string& sql, const std::vector<const char*>& values) {
        const std::array<const char*, 4> v = padded(values);
        return query(sql.c_str(), v[0], v[1], v[2], v[3]);
    }

    /// Each statement must give `result`, log the one exception line of `handler` and leave every file alone.
    void expectRefused(const std::string& handler, int result, const std::vector<Refusal>& statements) {
        const Files before = files();
        takeErrors();
        for (const Refusal& statement : statements) {
            SCOPED_TRACE(statement.sql);
            EXPECT_EQ(execWith(statement.sql, statement.values), result);
            EXPECT_THAT(takeErrors(),
                        ::testing::ElementsAre(failure(handler, statement.raiser, statement.message)));
            EXPECT_EQ(files(), before);
        }
    }

    /// Each query must give no result, log the one exception line and leave every file alone.
    void expectNoResult(const std::vector<Refusal>& queries) {
        const Files before = files();
        takeErrors();
        for (const Refusal& statement : queries) {
            SCOPED_TRACE(statement.sql);
            EXPECT_EQ(queryWith(statement.sql, statement.values), nullptr);
            EXPECT_THAT(takeErrors(),
                        ::testing::ElementsAre(failure("executeQuery", statement.raiser, statement.message)));
            EXPECT_EQ(files(), before);
        }
    }

    /// One error line of `handler` with this message, whichever function raised it.
    void expectOneError(const std::string& handler, const std::string& message) {
        EXPECT_THAT(takeErrors(),
                    ::testing::ElementsAre(::testing::AllOf(::testing::StartsWith(handler + " Exception: "),
                                                            ::testing::EndsWith(":: ->" + message + "\n"))));
    }

    /// The statement must fail on a record that lacks a field, and leave every file alone.
    template <typename... Values>
    void expectShortRecord(const std::string& handler, const char* sql, Values... values) {
        SCOPED_TRACE(sql);
        const Files before = files();
        EXPECT_EQ(exec(sql, values...), 0);
        expectOneError(handler, kShortRecord);
        EXPECT_EQ(files(), before);
    }

    /// The rows of a result, its first `columns` cells joined by "|", NULL as "-".
    static std::vector<std::string> rows(const Result& result, int columns) {
        std::vector<std::string> lines;
        if (!result) {
            ADD_FAILURE() << "the query gave no result";
            return lines;
        }
        while (result->next()) {
            std::string line;
            for (int column = 1; column <= columns; ++column) {
                const std::string cell = result->getString(column);
                line += (column > 1 ? "|" : "") + (result->wasNull() ? "-" : cell);
            }
            lines.push_back(line);
        }
        EXPECT_EQ(static_cast<std::size_t>(result->getCount()), lines.size());
        return lines;
    }

    static constexpr const char* kShortRecord = "DB Error: Record has fewer fields than Table Definition";

private:
    static std::array<const char*, 4> padded(const std::vector<const char*>& values) {
        std::array<const char*, 4> result{};
        std::copy(values.begin(), values.end(), result.begin());
        return result;
    }
};

}  // namespace Kalt::Vemo::Test
