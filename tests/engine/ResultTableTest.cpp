#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "DatabaseTest.h"
#include "EngineTestSupport.h"
#include "FileResultTable.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::IResultTable;
using Core::Database::Filedb::FileResultTable;

static_assert(std::is_base_of_v<IResultTable, FileResultTable>);

const std::string kIndexError = "readCheckNullness: ResultSet Error: Wrong column Index or rowset is not set";
const std::string kLabelError =
    "getColumnLabelIndex: ResultSet Error: Wrong column Label or rowset is not set";
const std::string kUnknownLabel =
    "getColumnLabelIndex: ResultSet Error: Column Label is not found in Result column List...";
const std::string kBooleanError = "getBoolean: ResultSet Error: Can't convert to Boolean Value";

/// One getter in both of its forms.
struct Getter {
    std::string name;
    std::function<void(IResultTable&, int)> byIndex;
    std::function<void(IResultTable&, const std::string&)> byLabel;
};

template <typename Result>
Getter getter(const char* name, Result (IResultTable::*byIndex)(int),
              Result (IResultTable::*byLabel)(const std::string&)) {
    return {name, [byIndex](IResultTable& table, int index) { (table.*byIndex)(index); },
            [byLabel](IResultTable& table, const std::string& label) { (table.*byLabel)(label); }};
}

const std::vector<Getter>& allGetters() {
    static const std::vector<Getter> getters = {
        getter<std::string>("getString", &IResultTable::getString, &IResultTable::getString),
        getter<bool>("getBoolean", &IResultTable::getBoolean, &IResultTable::getBoolean),
        getter<signed char>("getByte", &IResultTable::getByte, &IResultTable::getByte),
        getter<short>("getShort", &IResultTable::getShort, &IResultTable::getShort),
        getter<int>("getInt", &IResultTable::getInt, &IResultTable::getInt),
        getter<std::int64_t>("getLong", &IResultTable::getLong, &IResultTable::getLong),
        getter<float>("getDouble", &IResultTable::getDouble, &IResultTable::getDouble),
    };
    return getters;
}

class ResultTableTest : public DatabaseTest {
protected:
    void SetUp() override { open(); }

    Result select(const std::string& content, const char* sql = "SELECT * FROM t;") {
        writeFile(tableFile("t"), content);
        Result result = query(sql);
        if (!result) {
            ADD_FAILURE() << "no result\n" << log.dump();
        }
        return result;
    }

    /// A result of one row with one column `c` that holds this cell; the cursor is on the row.
    Result cell(const std::string& content) {
        Result result = select("c~ROWID\n4~1\n\n" + content + "~1\n");
        EXPECT_TRUE(result->next());
        return result;
    }

    void expectAllRaise(IResultTable& result, int index, const std::string& raised) {
        for (const Getter& get : allGetters()) {
            SCOPED_TRACE(get.name + " of column " + std::to_string(index));
            EXPECT_EQ(raisedBy([&] { get.byIndex(result, index); }), raised);
        }
    }

    void expectAllRaise(IResultTable& result, const std::string& label, const std::string& raised) {
        for (const Getter& get : allGetters()) {
            SCOPED_TRACE(get.name + " of column '" + label + "'");
            EXPECT_EQ(raisedBy([&] { get.byLabel(result, label); }), raised);
        }
    }
};

// ---- cursor

TEST_F(ResultTableTest, NewResultIsEmpty) {
    FileResultTable result;
    EXPECT_EQ(result.getCount(), 0);
    EXPECT_FALSE(result.wasNull());
    EXPECT_FALSE(result.next());
    expectAllRaise(result, 1, kIndexError);
    expectAllRaise(result, "c", kLabelError);
}

TEST_F(ResultTableTest, CursorWalksTheRows) {
    const Result result = select("c~ROWID\n1~1\n\n10~1\n20~2\n30~3\n");
    EXPECT_EQ(result->getCount(), 3);
    for (const int expected : {10, 20, 30}) {
        ASSERT_TRUE(result->next());
        EXPECT_EQ(result->getInt(1), expected);
        EXPECT_EQ(result->getInt("c"), expected);
    }
    EXPECT_FALSE(result->next());
    EXPECT_FALSE(result->next());
    EXPECT_EQ(result->getCount(), 3);
}

TEST_F(ResultTableTest, CursorStaysOnTheLastRowAtTheEnd) {
    const Result result = select("c~ROWID\n1~1\n\n10~1\n20~2\n");
    while (result->next()) {
    }
    EXPECT_EQ(result->getInt(1), 20);
    EXPECT_FALSE(result->next());
    EXPECT_EQ(result->getInt("c"), 20);
}

TEST_F(ResultTableTest, RowsBeyondTheCountAreNeverRead) {
    for (const int rows : {0, 1, 4, 5, 6, 7, 10, 11}) {
        SCOPED_TRACE(rows);
        std::string content = "c~ROWID\n1~1\n\n";
        for (int i = 1; i <= rows; ++i) {
            content += std::to_string(i) + "~" + std::to_string(i) + "\n";
        }
        const Result result = select(content);
        EXPECT_EQ(result->getCount(), rows);
        for (int i = 1; i <= rows; ++i) {
            ASSERT_TRUE(result->next());
            EXPECT_EQ(result->getInt(1), i);
        }
        EXPECT_FALSE(result->next());
    }
}

// ---- text, nullness

TEST_F(ResultTableTest, TextIsReadWithoutItsQuotes) {
    const struct {
        std::string cell, expected;
    } rows[] = {
        {"'abc'", "abc"}, {"'NULL'", "NULL"},
        {"''", ""},       {"'it''s'", "it''s"},
        {"''a''", "'a'"}, {"'a b'", "a b"},
        {"'abc", "'abc"}, {"abc'", "abc'"},
        {"42", "42"},     {"1.23457e+06", "1.23457e+06"},
        {"null", "null"}, {"NULLs", "NULLs"},
        {"'", ""},        {"' '", " "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.cell);
        const Result result = cell(row.cell);
        EXPECT_EQ(result->getString(1), row.expected);
        EXPECT_FALSE(result->wasNull());
        EXPECT_EQ(result->getString("c"), row.expected);
        EXPECT_FALSE(result->wasNull());
    }
}

TEST_F(ResultTableTest, NullCellGivesTheZeroOfEveryType) {
    const Result result = select("n~v~ROWID\n4~1~1\n\nNULL~1~1\n");
    ASSERT_TRUE(result->next());
    const auto readsAsNull = [&](bool zero) {
        const bool null = result->wasNull();
        // A cell that is not null in between shows that every read sets the flag.
        EXPECT_EQ(result->getInt("v"), 1);
        EXPECT_FALSE(result->wasNull());
        return zero && null;
    };
    EXPECT_TRUE(readsAsNull(result->getString(1).empty()));
    EXPECT_TRUE(readsAsNull(result->getString("n").empty()));
    EXPECT_TRUE(readsAsNull(!result->getBoolean(1)));
    EXPECT_TRUE(readsAsNull(!result->getBoolean("n")));
    EXPECT_TRUE(readsAsNull(result->getByte(1) == 0));
    EXPECT_TRUE(readsAsNull(result->getByte("n") == 0));
    EXPECT_TRUE(readsAsNull(result->getShort(1) == 0));
    EXPECT_TRUE(readsAsNull(result->getShort("n") == 0));
    EXPECT_TRUE(readsAsNull(result->getInt(1) == 0));
    EXPECT_TRUE(readsAsNull(result->getInt("n") == 0));
    EXPECT_TRUE(readsAsNull(result->getLong(1) == 0));
    EXPECT_TRUE(readsAsNull(result->getLong("n") == 0));
    EXPECT_TRUE(readsAsNull(result->getDouble(1) == 0.0F));
    EXPECT_TRUE(readsAsNull(result->getDouble("n") == 0.0F));
}

TEST_F(ResultTableTest, WasNullTellsOfTheLastRead) {
    const Result result = select("n~v~ROWID\n4~4~1\n\nNULL~'true'~1\n'x'~'y'~2\n");
    EXPECT_FALSE(result->wasNull());
    ASSERT_TRUE(result->next());
    EXPECT_FALSE(result->wasNull());
    EXPECT_EQ(result->getString("n"), "");
    EXPECT_TRUE(result->wasNull());
    ASSERT_TRUE(result->next());
    EXPECT_TRUE(result->wasNull()) << "moving the cursor reads nothing";
    EXPECT_EQ(result->getString("n"), "x");
    EXPECT_FALSE(result->wasNull());
}

TEST_F(ResultTableTest, FailedReadKeepsWasNullUnlessACellWasRead) {
    const Result result = select("n~v~ROWID\n4~4~1\n\nNULL~'true'~1\n");
    ASSERT_TRUE(result->next());
    EXPECT_EQ(result->getString(1), "");
    expectAllRaise(*result, 0, kIndexError);
    expectAllRaise(*result, 3, kIndexError);
    expectAllRaise(*result, "", kLabelError);
    expectAllRaise(*result, "x", kUnknownLabel);
    EXPECT_TRUE(result->wasNull());
    EXPECT_EQ(raisedBy([&] { result->getBoolean(2); }), kBooleanError);
    EXPECT_FALSE(result->wasNull());
    expectAllRaise(*result, 3, kIndexError);
    EXPECT_FALSE(result->wasNull());
    EXPECT_EQ(result->getString(2), "true") << "cursor and rows are unchanged";
}

// ---- conversions

TEST_F(ResultTableTest, Booleans) {
    const struct {
        std::string cell;
        bool expected;
    } rows[] = {{"1", true}, {"0", false}, {"'1'", true}, {"'0'", false}, {"NULL", false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.cell);
        const Result result = cell(row.cell);
        EXPECT_EQ(result->getBoolean(1), row.expected);
        EXPECT_EQ(result->getBoolean("c"), row.expected);
        EXPECT_EQ(result->wasNull(), row.cell == "NULL");
    }
    for (const char* other :
         {"true", "'true'", "'false'", "2", "-1", "01", "1.0", "''", "' 1'", "'NULL'", "TRUE"}) {
        SCOPED_TRACE(other);
        const Result result = cell(other);
        EXPECT_EQ(raisedBy([&] { result->getBoolean(1); }), kBooleanError);
        EXPECT_EQ(raisedBy([&] { result->getBoolean("c"); }), kBooleanError);
    }
}

TEST_F(ResultTableTest, IntegersKeepTheLowBits) {
    const std::int64_t longMax = std::numeric_limits<std::int64_t>::max();
    const std::int64_t longMin = std::numeric_limits<std::int64_t>::min();
    const int intMin = std::numeric_limits<int>::min();
    const struct {
        std::string cell;
        int byteValue, shortValue, intValue;
        std::int64_t longValue;
    } rows[] = {
        {"0", 0, 0, 0, 0},
        {"1", 1, 1, 1, 1},
        {"127", 127, 127, 127, 127},
        {"128", -128, 128, 128, 128},
        {"255", -1, 255, 255, 255},
        {"256", 0, 256, 256, 256},
        {"300", 44, 300, 300, 300},
        {"32767", -1, 32767, 32767, 32767},
        {"32768", 0, -32768, 32768, 32768},
        {"65535", -1, -1, 65535, 65535},
        {"65536", 0, 0, 65536, 65536},
        {"2147483648", 0, 0, intMin, 2147483648},
        {"4294967295", -1, -1, -1, 4294967295},
        {"4294967297", 1, 1, 1, 4294967297},
        {"9223372036854775807", -1, -1, -1, longMax},
        {"9223372036854775808", 0, 0, 0, longMin},
        {"18446744073709551615", -1, -1, -1, -1},
        {"18446744073709551616", -1, -1, -1, -1},
        {"-1", -1, -1, -1, -1},
        {"-300", -44, -300, -300, -300},
        {"'42'", 42, 42, 42, 42},
        {"'12abc'", 12, 12, 12, 12},
        {"'abc'", 0, 0, 0, 0},
        {"''", 0, 0, 0, 0},
        {"2.5", 2, 2, 2, 2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.cell);
        const Result result = cell(row.cell);
        EXPECT_EQ(result->getByte(1), row.byteValue);
        EXPECT_EQ(result->getByte("c"), row.byteValue);
        EXPECT_EQ(result->getShort(1), row.shortValue);
        EXPECT_EQ(result->getShort("c"), row.shortValue);
        EXPECT_EQ(result->getInt(1), row.intValue);
        EXPECT_EQ(result->getInt("c"), row.intValue);
        EXPECT_EQ(result->getLong(1), row.longValue);
        EXPECT_EQ(result->getLong("c"), row.longValue);
        EXPECT_FALSE(result->wasNull());
    }
}

TEST_F(ResultTableTest, RealsAreSinglePrecision) {
    const struct {
        std::string cell;
        float expected;
    } rows[] = {
        {"2.5", 2.5F},      {"'2.5'", 2.5F}, {"1.23457e+06", 1234570.0F},
        {"1e-05", 1e-05F},  {"-0.5", -0.5F}, {"16777217", 16777216.0F},
        {"0.1", 0.1F},      {"7", 7.0F},     {"'abc'", 0.0F},
        {"'1.5abc'", 1.5F},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.cell);
        const Result result = cell(row.cell);
        EXPECT_EQ(result->getDouble(1), row.expected);
        EXPECT_EQ(result->getDouble("c"), row.expected);
        EXPECT_FALSE(result->wasNull());
    }
}

TEST_F(ResultTableTest, NumbersAreTheSameInEveryLocale) {
    const Result result = cell("1234.5");
    const CommaLocale locale;
    EXPECT_EQ(result->getDouble(1), 1234.5F);
    EXPECT_EQ(result->getInt(1), 1234);
}

// ---- errors

TEST_F(ResultTableTest, NothingCanBeReadBeforeTheFirstRow) {
    const Result result = select("c~ROWID\n1~1\n\n10~1\n");
    expectAllRaise(*result, 1, kIndexError);
    expectAllRaise(*result, "c", kLabelError);
    expectAllRaise(*result, "x", kLabelError);
    EXPECT_FALSE(result->wasNull());
    ASSERT_TRUE(result->next());
    EXPECT_EQ(result->getInt(1), 10);
}

TEST_F(ResultTableTest, NothingCanBeReadFromAnEmptyResult) {
    const Result result = select("c~ROWID\n1~1\n\n");
    EXPECT_EQ(result->getCount(), 0);
    EXPECT_FALSE(result->next());
    expectAllRaise(*result, 1, kIndexError);
    expectAllRaise(*result, "c", kLabelError);
}

TEST_F(ResultTableTest, ColumnsAreCountedFromOne) {
    const Result result = select("a~b~ROWID\n1~1~1\n\n10~20~1\n");
    ASSERT_TRUE(result->next());
    EXPECT_EQ(result->getInt(1), 10);
    EXPECT_EQ(result->getInt(2), 20);
    for (const int index : {0, -1, 3, 4, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        expectAllRaise(*result, index, kIndexError);
    }
    EXPECT_EQ(result->getInt(1), 10);
}

TEST_F(ResultTableTest, LabelsAreCaseSensitive) {
    const Result result = select("name~ROWID\n4~1\n\n'x'~1\n");
    ASSERT_TRUE(result->next());
    EXPECT_EQ(result->getString("name"), "x");
    for (const char* label : {"Name", "NAME", "nam", "names", " name", "name ", "ROWID", "*", "1"}) {
        expectAllRaise(*result, label, kUnknownLabel);
    }
    expectAllRaise(*result, "", kLabelError);
}

// ---- labels

TEST_F(ResultTableTest, LabelsFollowTheSelectList) {
    const Result result = select("a~b~ROWID\n1~1~1\n\n10~20~7\n", "SELECT ROWID, b ,a FROM t;");
    ASSERT_TRUE(result->next());
    EXPECT_EQ(result->getInt(1), 7);
    EXPECT_EQ(result->getInt("ROWID"), 7);
    EXPECT_EQ(result->getInt(2), 20);
    EXPECT_EQ(result->getInt("b"), 20);
    EXPECT_EQ(result->getInt(3), 10);
    EXPECT_EQ(result->getInt("a"), 10);
}

TEST_F(ResultTableTest, KeyReadAsRowidBearsThatLabel) {
    const Result result = select("id~a\n257~4\nid\n3~'x'\n", "SELECT ROWID FROM t;");
    ASSERT_TRUE(result->next());
    EXPECT_EQ(result->getLong("ROWID"), 3);
    expectAllRaise(*result, "id", kUnknownLabel);
}

TEST_F(ResultTableTest, LabelThatOccursTwiceMeansTheFirst) {
    const Result result = select("a~a~ROWID\n1~1~1\n\n10~20~1\n");
    ASSERT_TRUE(result->next());
    EXPECT_EQ(result->getInt("a"), 10);
    EXPECT_EQ(result->getInt(2), 20);
}

TEST_F(ResultTableTest, TwoStarsGiveMoreLabelsThanCells) {
    // Labels a, b, c, a, b; cells a, b, a, b.
    const Result result = select("a~b~c~ROWID\n1~1~1~1\n\n10~20~30~1\nNULL~21~31~2\n", "SELECT *, * FROM t;");
    ASSERT_TRUE(result->next());
    EXPECT_EQ(result->getInt(1), 10);
    EXPECT_EQ(result->getInt(2), 20);
    EXPECT_EQ(result->getInt(3), 10);
    EXPECT_EQ(result->getInt(4), 20);
    EXPECT_EQ(result->getInt("a"), 10);
    EXPECT_EQ(result->getInt("b"), 20);
    EXPECT_EQ(result->getInt("c"), 10);
    expectAllRaise(*result, 5, kIndexError);
    expectAllRaise(*result, 6, kIndexError);
    ASSERT_TRUE(result->next());
    EXPECT_EQ(result->getString("c"), "");
    EXPECT_TRUE(result->wasNull());
    expectAllRaise(*result, 5, kIndexError);
    EXPECT_TRUE(result->wasNull());
    EXPECT_EQ(result->getInt(4), 21);
}

TEST_F(ResultTableTest, SurplusLabelRaisesTheIndexError) {
    // Labels a, b, a, c; cells a, a, c.
    const Result result = select("a~b~c~ROWID\n1~1~1~1\n\n10~20~30~1\n", "SELECT *, *, c FROM t;");
    ASSERT_TRUE(result->next());
    EXPECT_EQ(result->getInt("a"), 10);
    EXPECT_EQ(result->getInt("b"), 20);
    EXPECT_EQ(result->getInt("c"), 10);
    EXPECT_EQ(result->getInt(5), 30);
    expectAllRaise(*result, 6, kIndexError);
}

// ---- lifetime

TEST_F(ResultTableTest, ResultOutlivesTableAndDatabase) {
    const Result result = select("a~ROWID\n4~1\n\n'first'~1\n'second'~2\n");
    exec("DELETE FROM t;");
    exec("DROP TABLE t;");
    database.reset();
    EXPECT_FALSE(fileExists(tableFile("t")));
    EXPECT_EQ(result->getCount(), 2);
    ASSERT_TRUE(result->next());
    EXPECT_EQ(result->getString("a"), "first");
    ASSERT_TRUE(result->next());
    EXPECT_EQ(result->getString(1), "second");
    EXPECT_FALSE(result->next());
}

TEST_F(ResultTableTest, ResultIsIndependentOfLaterQueries) {
    const Result first = select("a~ROWID\n1~1\n\n1~1\n2~2\n");
    ASSERT_TRUE(first->next());
    const Result second = query("SELECT a FROM t WHERE a = 2;");
    ASSERT_NE(second, nullptr);
    ASSERT_TRUE(second->next());
    EXPECT_EQ(first->getInt(1), 1);
    EXPECT_EQ(second->getInt(1), 2);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
