// What the engine reads a repair keeps, with the value that the engine reads; what may be cut it does not
// make up.

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <set>
#include <sstream>

#include "CheckTestSupport.h"
#include "FileDatabase.h"
#include "IResultTable.h"
#include "check/ValueForm.h"

namespace Kalt::Vemo::Test {

namespace {

using Core::Database::IResultTable;
using Core::Database::Filedb::FileDatabase;
using Tool::ValueForm;
using Kind = ValueForm::Kind;

constexpr long kInteger = 1;
constexpr long kReal = 2;
constexpr long kText = 4;

/// A field, what it is worth in a column, and what a repair makes of it.
struct Value {
    long flag;
    std::string field;
    Kind kind;
    std::string text;
};

const std::vector<Value> kValues = {
    {kInteger, "7", Kind::kStored, "7"},
    {kInteger, "NULL", Kind::kStored, "NULL"},
    {kInteger, "-1", Kind::kMended, "18446744073709551615"},
    {kInteger, "-9223372036854775808", Kind::kMended, "9223372036854775808"},
    {kInteger, "-9223372036854775809", Kind::kUnreadable, "-9223372036854775809"},
    {kInteger, "1.0", Kind::kMended, "1"},
    {kInteger, "1.", Kind::kMended, "1"},
    {kInteger, " 7", Kind::kMended, "7"},
    {kInteger, "7\r", Kind::kMended, "7"},
    {kInteger, "'31'", Kind::kMended, "31"},
    {kInteger, "' 31 '", Kind::kMended, "31"},
    {kInteger, "007", Kind::kMended, "7"},
    {kInteger, "5.5", Kind::kReadable, "5.5"},
    {kInteger, "1.5e+06", Kind::kReadable, "1.5e+06"},
    {kInteger, "'four'", Kind::kReadable, "'four'"},
    {kInteger, "inf", Kind::kReadable, "inf"},
    {kInteger, "five", Kind::kUnreadable, "five"},
    {kInteger, "7x", Kind::kUnreadable, "7x"},
    {kInteger, "-", Kind::kUnreadable, "-"},
    {kInteger, "18446744073709551616", Kind::kUnreadable, "18446744073709551616"},
    {kReal, "2.5", Kind::kStored, "2.5"},
    {kReal, "inf", Kind::kStored, "inf"},
    {kReal, "3.14159265", Kind::kReadable, "3.14159265"},
    {kReal, "1234567", Kind::kReadable, "1234567"},
    {kReal, "1e400", Kind::kReadable, "1e400"},
    {kReal, "2.50", Kind::kMended, "2.5"},
    {kReal, " 2.5 ", Kind::kMended, "2.5"},
    {kReal, "+2.5", Kind::kMended, "2.5"},
    {kReal, ".5", Kind::kMended, "0.5"},
    {kReal, "'2.5'", Kind::kMended, "2.5"},
    {kReal, "1E3", Kind::kMended, "1000"},
    {kReal, "'four'", Kind::kReadable, "'four'"},
    {kReal, "nan", Kind::kUnreadable, "nan"},
    {kReal, "2,5", Kind::kUnreadable, "2,5"},
    {kText, "'a'", Kind::kStored, "'a'"},
    {kText, "'it's'", Kind::kStored, "'it's'"},
    {kText, "a b", Kind::kMended, "'a b'"},
    {kText, "77", Kind::kMended, "'77'"},
    {kText, "'", Kind::kMended, "''"},
    {kText, "it's", Kind::kReadable, "it's"},
    {kText, "'a", Kind::kUnreadable, "'a"},
    {kText, "a'", Kind::kUnreadable, "a'"},
};

class ReadableRowsTest : public PlantedDirectoryTest {
protected:
    /// What the getters make of the column v of all rows, and which comparisons hold for them.
    std::vector<std::string> readings(long flag) const {
        const LogCapture quiet;
        FileDatabase database;
        EXPECT_TRUE(database.init(root() + "/db"));
        std::vector<std::string> result;
        const std::unique_ptr<IResultTable> rows(database.executeQuery("SELECT v FROM t;"));
        while (rows != nullptr && rows->next()) {
            std::ostringstream reading;
            if (flag == kInteger) {
                reading << rows->getLong(1);
            } else if (flag == kReal) {
                reading << std::hexfloat << rows->getDouble(1);
            } else {
                reading << rows->getString(1);
            }
            result.push_back(reading.str());
        }
        const std::vector<std::string> conditions =
            flag == kText ? std::vector<std::string>{"v = 'it''s'", "v > 'b'", "v = ''", "v LIKE '%b'"}
                          : std::vector<std::string>{"v > '5'", "v < '100'", "v != '7'", "v >= '2.5'"};
        for (const std::string& condition : conditions) {
            const std::string query = "SELECT ROWID FROM t WHERE " + condition + ";";
            const std::unique_ptr<IResultTable> found(database.executeQuery(query.c_str()));
            std::string reading = condition + ":";
            while (found != nullptr && found->next()) {
                reading += " " + found->getString(1);
            }
            result.push_back(reading);
        }
        return result;
    }
};

std::vector<std::string> linesOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace

TEST_F(ReadableRowsTest, EveryFieldIsWorthWhatTheEngineMakesOfIt) {
    for (const Value& row : kValues) {
        SCOPED_TRACE(std::to_string(row.flag) + " " + row.field);
        const ValueForm form = ValueForm::of(row.flag, row.field);
        EXPECT_EQ(row.kind, form.kind);
        EXPECT_EQ(row.text, form.text);
    }
}

TEST_F(ReadableRowsTest, ARepairChangesNothingThatTheEngineReads) {
    for (const long flag : {kInteger, kReal, kText}) {
        SCOPED_TRACE(flag);
        clear();
        std::string table = "v~ROWID\n" + std::to_string(flag) + "~1\n\n";
        std::string mended = table;
        int rowId = 0;
        for (const Value& row : kValues) {
            if (row.flag == flag && row.kind != Kind::kUnreadable) {
                const std::string end = "~" + std::to_string(++rowId) + "\n";
                table += row.field + end;
                mended += row.text + end;
            }
        }
        plant({{"master_rollback", "0\n"}, {"t.table", table}});
        const std::vector<std::string> before = readings(flag);
        ASSERT_EQ(static_cast<std::size_t>(rowId) + 4, before.size());
        const ProgramResult result = repair();
        EXPECT_EQ(0, result.status) << result.out;
        EXPECT_EQ(mended, readFile(path("t.table")));
        EXPECT_EQ(before, readings(flag));
        EXPECT_EQ(0, check().status);
    }
}

TEST_F(ReadableRowsTest, WhatMayBeTheBeginningOfATextIsNotCompleted) {
    const std::string first = "id~t\n257~4\nid\n1~'a'\n";
    for (const std::string field : {"inf", "-inf", "1e+05", "18446744073709551615"}) {
        SCOPED_TRACE(field);
        clear();
        plant({{"master_rollback", "0\n"}, {"t.table", first + "2~" + field}});
        EXPECT_EQ(3, repair().status);
        EXPECT_EQ(first, readFile(path("t.table")));
    }
}

TEST_F(ReadableRowsTest, ACarriageReturnOfSomeLinesIsNoPartOfTheirValues) {
    const std::string first = "id~t\n257~4\nid\n1~'a'\n";
    for (const std::string field : {"NULL", "'b'"}) {
        SCOPED_TRACE(field);
        clear();
        plant({{"master_rollback", "0\n"}, {"t.table", first + "2~" + field + "\r\n"}});
        EXPECT_EQ(1, check().status);
        EXPECT_EQ(0, repair().status);
        EXPECT_EQ(first + "2~" + field + "\n", readFile(path("t.table")));
        EXPECT_EQ(0, check().status);
    }
}

TEST_F(ReadableRowsTest, NoRowOfATableThatIsCutAnywhereIsMadeUp) {
    const std::vector<std::string> tables = {
        "text~ROWID\n4~1\n\n'it's'~7\n'a'~12\n'end''~305\n",
        "id~name\n257~4\nid\n1~'it's'\n20~NULL\n30~'the 'end''\n",
        "id~r\n257~2\nid\n10~1.23457e+06\n20~-12.75\n30~inf\n",
    };
    for (const std::string& whole : tables) {
        const std::vector<std::string> lines = linesOf(whole);
        for (std::size_t size = 0; size < whole.size(); ++size) {
            SCOPED_TRACE(whole.substr(0, size));
            clear();
            plant({{"master_rollback", "0\n"}, {"t.table", whole.substr(0, size)}});
            const ProgramResult result = repair();
            ASSERT_TRUE(result.status == 0 || result.status == 3) << result.out;
            ASSERT_EQ(0, check().status);
            if (database().count("t.table") == 0) {
                continue;
            }
            const std::string left = readFile(path("t.table"));
            for (const std::string& line : linesOf(left)) {
                ASSERT_EQ(1, std::count(lines.begin(), lines.end(), line)) << line;
            }
            const auto wholeLines =
                std::count(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size), '\n');
            ASSERT_GE(std::count(left.begin(), left.end(), '\n'), wholeLines);
        }
    }
}

}  // namespace Kalt::Vemo::Test
