#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "EngineTestSupport.h"
#include "FileUtils.h"
#include "PrimaryKey.h"
#include "RecordReader.h"
#include "StringConversion.h"
#include "TableMetaData.h"
#include "TestSupport.h"
#include "Tokenizer.h"
#include "WhereClause.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::FileUtils;
using Core::Database::Filedb::PrimaryKey;
using Core::Database::Filedb::Record;
using Core::Database::Filedb::TableMetaData;
using Core::Database::Filedb::WhereClause;
using Words = std::vector<std::string>;

constexpr unsigned char kInteger = 1;
constexpr unsigned char kReal = 2;
constexpr unsigned char kText = 4;

const std::string kTooFewOperands = "evaluate: Syntax Error: evaluate stack contains less 2 operands.";
const std::string kWrongClause = "evaluate: Syntax Error: Where clause is wrong";
const std::string kNotUnique = "checkPrimaryKeyValidation: DB Error: PRIMARY KEY must be unique";
const std::string kNothing = "nothing was raised";

std::string unknownColumn(const std::string& name) {
    return "getColumnNameIndex: Column " + name + " not found in Table Definition";
}

/// The metadata lines of a table and what is asked of it.
class Table {
public:
    explicit Table(const std::string& metadataLines) {
        const Stream stream = streamOf(metadataLines);
        metaData.readTableMetaData(stream.get());
    }

    bool holds(const std::string& condition, Words record, const Words& values = {}) {
        WhereClause where(metaData);
        where.parseWhereClause(condition, 0, 0, values);
        const bool result = where.evaluate(record);
        const std::string line = FileUtils::recordLine(record);
        Record cutOnDemand{std::string_view(line)};
        EXPECT_EQ(where.evaluate(cutOnDemand), result) << "cut on demand";
        return result;
    }

    std::string raised(const std::string& condition, const Words& record) {
        return raisedBy([&] { holds(condition, record); });
    }

    TableMetaData metaData{nullptr};
};

class WhereEvaluationTest : public ::testing::Test {
protected:
    /// What the class logged at one level.
    Words logged(int level) const {
        Words texts;
        for (const LoggedMessage& message : log.messages()) {
            if (message.tag == "WhereClause" && message.level == level) {
                EXPECT_EQ(message.module, 24);
                texts.push_back(message.text);
            }
        }
        return texts;
    }

    LogCapture log;
    Table table{"id~price~name~ROWID\n1~2~4~1\n\n"};
    WhereClause where{table.metaData};
    const Words record = {"10", "2.5", "'abc'", "7"};
    const Words nulls = {"NULL", "NULL", "NULL", "8"};
};

// ---- conditions

TEST_F(WhereEvaluationTest, NoConditionMatchesEveryRecord) {
    Words any = record;
    EXPECT_TRUE(where.evaluate(any));
    Words none;
    EXPECT_TRUE(where.evaluate(none));
    EXPECT_EQ(logged(0), (Words{"evaluate", "evaluate"}));
    EXPECT_EQ(logged(1), Words());
}

TEST_F(WhereEvaluationTest, ConditionHoldsOnAfterARefusedFurtherOne) {
    // Short words are kept inside of their strings, which move with the list; long ones are not.
    const std::string condition = "id = 10 AND name != 'a-text-of-more-than-a-few-characters'";
    for (const char* const refused : {"IN", "** id = 10 AND id = 10 AND id = 10", ") id = 10"}) {
        SCOPED_TRACE(refused);
        WhereClause any(table.metaData);
        any.parseWhereClause(condition, 0, 0, {});
        Words matching = record;
        Words other = {"11", "2.5", "'abc'", "7"};
        EXPECT_TRUE(any.evaluate(matching));
        const Words postfix = any.postfix();

        EXPECT_NE(raisedBy([&] { any.parseWhereClause(refused, 0, 0, {}); }), kNothing);
        EXPECT_EQ(any.postfix(), postfix);
        EXPECT_TRUE(any.evaluate(matching));
        EXPECT_FALSE(any.evaluate(other));

        Words tokens = Tokenizer(refused, " ").split(0);
        EXPECT_NE(raisedBy([&] { any.InfixToPostFix(tokens); }), kNothing);
        EXPECT_EQ(any.postfix(), postfix);
        EXPECT_TRUE(any.evaluate(matching));
        EXPECT_FALSE(any.evaluate(other));
    }
}

TEST_F(WhereEvaluationTest, WordsThatARefusedFurtherConditionLeavesMakeTheWholeWrong) {
    where.parseWhereClause("id = 10", 0, 0, {});
    Words any = record;
    EXPECT_TRUE(where.evaluate(any));
    EXPECT_NE(raisedBy([&] { where.parseWhereClause("name IN 1", 0, 0, {}); }), kNothing);
    EXPECT_EQ(where.postfix(), (Words{"id", "10", "=", "name"}));
    EXPECT_EQ(raisedBy([&] { where.evaluate(any); }), kWrongClause);
}

TEST_F(WhereEvaluationTest, ConditionsOnARecord) {
    const struct {
        const char* condition;
        bool expected;
    } rows[] = {
        {"name = 'abc'", true},
        {"'abc' = name", true},
        {"name = 'ab'", false},
        {"name = 'ABC'", false},
        {"name != 'abc'", false},
        {"name != 'abd'", true},
        {"name < 'abd'", true},
        {"name >= 'abc'", true},
        {"name > 'abc'", false},
        {"id = 10", true},
        {"id = '10'", true},
        {"id = 010", false},
        {"id != 010", false},
        {"id > 9", true},
        {"id > 10", false},
        {"id >= 10", true},
        {"id < 9", false},
        {"id <= 10", true},
        {"9 < id", true},
        {"id > -1", false},
        {"price = 2.5", true},
        {"price = 2.50", false},
        {"price != 2.50", false},
        {"price > 2", true},
        {"price > 10", false},
        {"ROWID = 7", true},
        {"name LIKE 'ab%'", true},
        {"name LIKE '%c'", true},
        {"name LIKE '%b%'", true},
        {"name LIKE 'b%'", false},
        {"id LIKE '1%'", true},
        {"id LIKE '%1'", false},
        {"id = 10 AND name = 'abc'", true},
        {"id = 10 AND name = 'x'", false},
        {"id = 11 OR name = 'abc'", true},
        {"id = 11 OR name = 'x'", false},
        {"id = 11 AND id = 12 OR id = 10", false},
        {"( id = 11 AND id = 12 ) OR id = 10", true},
        {"( id = 10 OR id = 11 ) AND name = 'abc'", true},
        {"id = 10 = 1", true},
        {"id = 11 = 1", false},
        {"id = 11 = 0", true},
        {"1 = 1", true},
        {"'a' = 'b'", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.condition);
        EXPECT_EQ(table.holds(row.condition, record), row.expected);
    }
}

TEST_F(WhereEvaluationTest, IntegerColumnComparesAsNumberAndTextColumnAsText) {
    EXPECT_FALSE(table.holds("id > 10", {"9", "0", "''", "1"}));
    EXPECT_FALSE(table.holds("id > '10'", {"9", "0", "''", "1"}));
    EXPECT_TRUE(table.holds("name > '10'", {"9", "0", "'9'", "1"}));
    EXPECT_TRUE(table.holds("name > 10", {"9", "0", "'9'", "1"}));
}

TEST_F(WhereEvaluationTest, TypeIsTheOneColumnsOrElseTheLargerOne) {
    const struct {
        const char* condition;
        Words record;
        bool expected;
    } rows[] = {
        // literals alone
        {"10 > 9", {}, true},
        {"10 > '9'", {}, false},
        {"'10' > 9", {}, false},
        {"10 > 9.5", {}, true},
        {"16777217 > 16777216", {}, true},
        {"16777217.0 > 16777216", {}, false},
        {"16777217.0 > '16777216'", {}, true},
        // one column
        {"id > 16777216.0", {"16777217", "0", "''", "1"}, true},
        {"16777217 > price", {"0", "16777216", "''", "1"}, false},
        {"price > '10'", {"0", "9", "''", "1"}, false},
        {"name > 9.5", {"0", "0", "'10'", "1"}, false},
        // two columns
        {"id > price", {"16777217", "16777216", "''", "1"}, false},
        {"price < id", {"10", "9.5", "''", "1"}, true},
        {"id > name", {"10", "0", "'9'", "1"}, false},
        {"name > price", {"0", "9", "'10'", "1"}, false},
        {"id > ROWID", {"10", "0", "''", "9"}, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.condition);
        EXPECT_EQ(table.holds(row.condition, row.record), row.expected);
    }
}

TEST_F(WhereEvaluationTest, SingleOperandHoldsUnlessItIsZeroAndIsNoColumn) {
    const struct {
        const char* condition;
        bool expected;
    } rows[] = {{"0", false}, {"1", true},    {"00", true},     {"0.0", true}, {"'0'", true},
                {"id", true}, {"NULL", true}, {"nosuch", true}, {"a=1", true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.condition);
        EXPECT_EQ(table.holds(row.condition, {"0", "0", "''", "1"}), row.expected);
    }
}

TEST_F(WhereEvaluationTest, MalformedConditionsFailWhenEvaluated) {
    const struct {
        const char* condition;
        std::string raised;
    } rows[] = {
        {"id =", kTooFewOperands},        {"=", kTooFewOperands},
        {"AND", kTooFewOperands},         {"NOT id", kTooFewOperands},
        {"id = 10 AND", kTooFewOperands}, {"= id", kTooFewOperands},
        {"id = 10 ) 2", kWrongClause},    {"id name", kWrongClause},
        {"1 2 3", kWrongClause},          {"id = 10 name = 'abc'", kWrongClause},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.condition);
        EXPECT_EQ(table.raised(row.condition, record), row.raised);
    }
}

TEST_F(WhereEvaluationTest, UnknownColumnFailsOnlyWhenARecordIsEvaluated) {
    for (const char* condition : {"nosuch = 1", "1 = nosuch", "id = 10 OR nosuch = 1",
                                  "id = 11 AND nosuch = 1", "nosuch = 1 AND", "nosuch = 1 ) 2"}) {
        SCOPED_TRACE(condition);
        WhereClause clause(table.metaData);
        Words none;
        EXPECT_EQ(raisedBy([&] { clause.parseWhereClause(condition, 0, 0, none); }), kNothing);
        Words any = record;
        EXPECT_EQ(raisedBy([&] { clause.evaluate(any); }), unknownColumn("nosuch"));
    }
}

TEST_F(WhereEvaluationTest, RightOperandIsResolvedFirst) {
    EXPECT_EQ(table.raised("left = right", record), unknownColumn("right"));
    EXPECT_EQ(table.raised("left = 1 AND right = 2", record), unknownColumn("left"));
}

TEST_F(WhereEvaluationTest, NamesAndOperatorsAreCaseSensitive) {
    EXPECT_EQ(table.raised("ID = 10", record), unknownColumn("ID"));
    EXPECT_EQ(table.raised("name = abc", record), unknownColumn("abc"));
    EXPECT_EQ(table.raised("id = 10 and name = 'abc'", record), unknownColumn("and"));
}

TEST_F(WhereEvaluationTest, UnquotedNullIsAColumnName) {
    EXPECT_EQ(table.raised("id = NULL", record), unknownColumn("NULL"));
    EXPECT_EQ(raisedBy([&] { table.holds("name = '?'", record, {"NULL"}); }), unknownColumn("NULL"));
    Table odd("NULL~a\n4~4\n\n");
    EXPECT_TRUE(odd.holds("NULL = 'x'", {"'x'", "'y'"}));
    EXPECT_TRUE(table.holds("name = 'NULL'", {"1", "1", "'NULL'", "1"}));
    EXPECT_FALSE(table.holds("name = 'NULL'", nulls));
}

TEST_F(WhereEvaluationTest, StoredNullFailsEveryComparison) {
    for (const char* op : {"=", "!=", ">", "<", ">=", "<=", "LIKE"}) {
        SCOPED_TRACE(op);
        const std::string spaced = " " + std::string(op) + " ";
        EXPECT_FALSE(table.holds("name" + spaced + "'NULL'", nulls));
        EXPECT_FALSE(table.holds("name" + spaced + "''", nulls));
        EXPECT_FALSE(table.holds("name" + spaced + "'%'", nulls));
        EXPECT_FALSE(table.holds("5" + spaced + "id", nulls));
        EXPECT_FALSE(table.holds("id" + spaced + "price", nulls));
        EXPECT_FALSE(table.holds("id" + spaced + "ROWID", nulls));
    }
}

TEST_F(WhereEvaluationTest, AndAndOrWorkOnNulls) {
    const struct {
        const char* condition;
        bool expected;
    } rows[] = {
        {"id OR 1", true},
        {"1 OR id", true},
        {"id OR 0", false},
        {"id AND 1", false},
        {"id OR price", false},
        {"id = 5 OR ROWID = 8", true},
        {"ROWID = 8 OR id = 5", true},
        {"ROWID = 8 AND id = 5", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.condition);
        EXPECT_EQ(table.holds(row.condition, nulls), row.expected);
    }
}

TEST_F(WhereEvaluationTest, QuotesAreUndoneOnBothSides) {
    const struct {
        std::string stored, literal;
        bool expected;
    } rows[] = {
        {"'it''s'", "'it''s'", true}, {"'it's'", "'it''", true}, {"'it's'", "'it'x'", true},
        {"'it's'", "'it''s'", false}, {"''", "''", true},        {"''", "'", true},
        {"'abc'", "'abcx", true},     {"'a'", "'b'", false},     {"''''", "''''", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.stored + " = " + row.literal);
        EXPECT_EQ(table.holds("name = " + row.literal, {"1", "1", row.stored, "1"}), row.expected);
    }
}

TEST_F(WhereEvaluationTest, PlaceholderMayHoldBlanksAndOperators) {
    EXPECT_TRUE(table.holds("name = '?'", {"1", "1", "'new york'", "1"}, {"new york"}));
    EXPECT_TRUE(table.holds("name = '?' OR name LIKE '?'", {"1", "1", "'= AND ('", "1"}, {"x", "%AND%"}));
}

TEST_F(WhereEvaluationTest, OneClauseServesManyRecordsAndChangesNone) {
    Words values;
    where.parseWhereClause("id > 5 AND name LIKE 'a%'", 0, 0, values);
    const Words postfix = where.postfix();
    const struct {
        Words record;
        bool expected;
    } rows[] = {
        {{"6", "0", "'abc'", "1"}, true},     {{"5", "0", "'abc'", "2"}, false},
        {{"NULL", "0", "'abc'", "3"}, false}, {{"7", "0", "NULL", "4"}, false},
        {{"7", "0", "'a''b'", "5"}, true},    {{"7", "0", "'b'", "6", "extra", "fields"}, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.record));
        Words copy = row.record;
        EXPECT_EQ(where.evaluate(copy), row.expected);
        EXPECT_EQ(copy, row.record);
        EXPECT_EQ(where.postfix(), postfix);
    }
}

TEST_F(WhereEvaluationTest, FailureLeavesRecordAndPostfixAndTheNextRecordGoes) {
    Words values;
    where.parseWhereClause("name = 'abc'", 0, 0, values);
    Words shortRecord = {"1"};
    EXPECT_EQ(raisedText([&] { where.evaluate(shortRecord); }), kShortRecord);
    EXPECT_EQ(shortRecord, (Words{"1"}));
    EXPECT_EQ(where.postfix(), (Words{"name", "'abc'", "="}));
    Words whole = record;
    EXPECT_TRUE(where.evaluate(whole));
}

TEST_F(WhereEvaluationTest, ClauseMayGrowBetweenRecords) {
    Words tokens = {"id", "=", "10"};
    where.InfixToPostFix(tokens);
    Words any = record;
    EXPECT_TRUE(where.evaluate(any));
    tokens = {"2"};
    where.InfixToPostFix(tokens);
    EXPECT_EQ(raisedBy([&] { where.evaluate(any); }), kWrongClause);
    tokens = {"AND"};
    where.InfixToPostFix(tokens);
    EXPECT_TRUE(where.evaluate(any));
}

// ---- damaged tables

TEST_F(WhereEvaluationTest, RecordWithoutTheFieldIsRefused) {
    EXPECT_EQ(raisedText([&] { table.holds("name = 'abc'", {"10", "2.5"}); }), kShortRecord);
    EXPECT_EQ(raisedText([&] { table.holds("id = 1", {}); }), kShortRecord);
    EXPECT_EQ(raisedText([&] { table.holds("id = 10 OR ROWID = 1", {"10", "2.5", "'abc'"}); }), kShortRecord);
    EXPECT_TRUE(table.holds("id = 10", {"10"}));
    EXPECT_TRUE(table.holds("id = 10", {"10", "1", "'a'", "1", "extra"}));
}

TEST_F(WhereEvaluationTest, ColumnWithoutAFlagIsRefused) {
    Table odd("a~b\n1\n\n");
    EXPECT_TRUE(odd.holds("a = 1", {"1", "2"}));
    EXPECT_EQ(raisedText([&] { odd.holds("b = 2", {"1", "2"}); }), kShortRecord);
}

TEST_F(WhereEvaluationTest, ColumnOfAnUnknownTypeHasNoOrder) {
    Table odd("a\n256\n\n");
    for (const char* op : {">", "<", ">=", "<=", "!="}) {
        SCOPED_TRACE(op);
        EXPECT_FALSE(odd.holds("a " + std::string(op) + " 1", {"2"}));
    }
    EXPECT_TRUE(odd.holds("a = 2", {"2"}));
}

// ---- operands

TEST_F(WhereEvaluationTest, OperandsAreLiteralsNumbersOrColumns) {
    Table flags("i~r~t~ROWID\n257~258~260~1\ni\n");
    WhereClause clause(flags.metaData);
    const Words unchanged = {"5", "1.5", "'it''s'", "9"};
    Words fields = unchanged;
    const struct {
        std::string token, value;
        unsigned char type;
        bool column;
    } rows[] = {
        {"'abc'", "abc", kText, false}, {"''", "", kText, false},         {"'", "", kText, false},
        {"'5'", "5", kText, false},     {"'NULL'", "NULL", kText, false}, {"'i'", "i", kText, false},
        {"12", "12", kInteger, false},  {"-12", "-12", kInteger, false},  {"+", "+", kInteger, false},
        {"", "", kInteger, false},      {"1.5", "1.5", kReal, false},     {".", ".", kReal, false},
        {"i", "5", kInteger, true},     {"r", "1.5", kReal, true},        {"t", "it's", kText, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.token);
        std::string value = "before";
        bool null = false;
        bool column = !row.column;
        EXPECT_EQ(clause.getOperandValueType(row.token, value, null, fields, column), row.type);
        EXPECT_EQ(value, row.value);
        EXPECT_EQ(column, row.column);
        EXPECT_FALSE(null);
    }
    EXPECT_EQ(fields, unchanged);
}

TEST_F(WhereEvaluationTest, OperandThatIsNoColumnIsRefused) {
    for (const char* token : {"nosuch", "NULL", "1e5", "Name", "a=1", " id"}) {
        SCOPED_TRACE(token);
        std::string value;
        bool null = false;
        bool column = false;
        Words fields = record;
        EXPECT_EQ(raisedBy([&] { where.getOperandValueType(token, value, null, fields, column); }),
                  unknownColumn(token));
    }
}

TEST_F(WhereEvaluationTest, StoredNullSetsTheNullFlagAndNothingClearsIt) {
    std::string value;
    bool null = false;
    bool column = false;
    Words fields = nulls;
    where.getOperandValueType("id", value, null, fields, column);
    EXPECT_TRUE(null);
    EXPECT_TRUE(column);
    EXPECT_EQ(value, "NULL");
    EXPECT_EQ(where.getOperandValueType("ROWID", value, null, fields, column), kInteger);
    EXPECT_TRUE(null);
    EXPECT_EQ(value, "8");
    EXPECT_EQ(where.getOperandValueType("'x'", value, null, fields, column), kText);
    EXPECT_TRUE(null);
    EXPECT_FALSE(column);
    EXPECT_EQ(where.getOperandValueType("name", value, null, fields, column), kText);
    EXPECT_TRUE(null);
    EXPECT_EQ(value, "NULL");
}

TEST_F(WhereEvaluationTest, OperandFieldThatIsMissingIsRefused) {
    std::string value;
    bool null = false;
    bool column = false;
    Words fields = {"1", "2"};
    EXPECT_EQ(raisedText([&] { where.getOperandValueType("name", value, null, fields, column); }),
              kShortRecord);
    Table odd("a~b\n1\n\n");
    WhereClause clause(odd.metaData);
    EXPECT_EQ(raisedText([&] { clause.getOperandValueType("b", value, null, fields, column); }),
              kShortRecord);
}

TEST_F(WhereEvaluationTest, RowidIsTheKeyOfAnAliasTable) {
    Table alias("name~id\n4~257\nid\n");
    EXPECT_TRUE(alias.holds("ROWID = 3", {"'x'", "3"}));
    EXPECT_FALSE(alias.holds("ROWID = 4", {"'x'", "3"}));
    EXPECT_TRUE(alias.holds("ROWID > 20", {"'x'", "100"}));
    EXPECT_EQ(alias.raised("rowid = 3", {"'x'", "3"}), unknownColumn("rowid"));
    WhereClause clause(alias.metaData);
    std::string value;
    bool null = false;
    bool column = false;
    Words fields = {"'x'", "3"};
    EXPECT_EQ(clause.getOperandValueType("ROWID", value, null, fields, column), kInteger);
    EXPECT_EQ(value, "3");
    EXPECT_TRUE(column);
}

TEST_F(WhereEvaluationTest, RowidIsAnOrdinaryColumnElsewhere) {
    Table text("name\n260\nname\n");
    EXPECT_EQ(text.raised("ROWID = 3", {"'3'"}), unknownColumn("ROWID"));
    Table two("a~b~ROWID\n257~257~1\na~b\n");
    EXPECT_TRUE(two.holds("ROWID = 3", {"1", "2", "3"}));
}

TEST_F(WhereEvaluationTest, RemoveEscapeCharacter) {
    const struct {
        std::string text, expected;
    } rows[] = {
        {"", ""},
        {"abc", "abc"},
        {"abc'", "abc'"},
        {"a'b''c", "a'b''c"},
        {" 'a'", " 'a'"},
        {"NULL", "NULL"},
        {"'", ""},
        {"''", ""},
        {"'''", "'"},
        {"''''", "'"},
        {"'abc'", "abc"},
        {"'abc", "ab"},
        {"'a", ""},
        {"'a b'", "a b"},
        {"'NULL'", "NULL"},
        {"'it''s'", "it's"},
        {"'it's'", "it'"},
        {"'a''", "a'"},
        {"'a''b''c'", "a'b'c"},
        {"'a''''b'", "a''b"},
        {"'x'y'z'", "x''"},
        {"'''a'", "'a"},
        {"''a'", "'"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        std::string value = row.text;
        where.removeEscapeCharacter(value);
        EXPECT_EQ(value, row.expected);
    }
}

// ---- operators

TEST_F(WhereEvaluationTest, ComparisonsByTypeCode) {
    const struct {
        unsigned char type;
        std::string left, right;
        long order;  // below 0: left is less
    } rows[] = {
        {kInteger, "9", "10", -1},
        {kInteger, "10", "10", 0},
        {kInteger, "010", "10", 0},
        {kInteger, "-1", "5", 1},
        {kInteger, "18446744073709551615", "18446744073709551614", 1},
        {kInteger, "16777217", "16777216", 1},
        {kInteger, "0", "", 0},
        {kReal, "9.5", "10", -1},
        {kReal, "1.0", "1", 0},
        {kReal, "2.5", "2.25", 1},
        {kReal, "-1", "1", -1},
        {kReal, "16777217", "16777216", 0},
        {kReal, "1.23457e+06", "1234567", 1},
        {kReal, "1e-05", "0.00001", 0},
        {kText, "9", "10", 1},
        {kText, "abc", "abd", -1},
        {kText, "abc", "abc", 0},
        {kText, "ab", "abc", -1},
        {kText, "", "a", -1},
        {kText, "B", "a", -1},
        {kText, "\xC3\xA4", "z", 1},
        {kText, "1.0", "1", 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("type " + std::to_string(row.type) + ": " + row.left + " and " + row.right);
        const int greater = row.order > 0 ? 1 : 0;
        const int less = row.order < 0 ? 1 : 0;
        const int different = row.order != 0 ? 1 : 0;
        EXPECT_EQ(where.greaterThanOperater(row.type, row.left, row.right), greater);
        EXPECT_EQ(where.lessThanOperater(row.type, row.left, row.right), less);
        EXPECT_EQ(where.greaterThanAndEqualOperater(row.type, row.left, row.right), 1 - less);
        EXPECT_EQ(where.lessThanAndEqualOperater(row.type, row.left, row.right), 1 - greater);
        EXPECT_EQ(where.notEqualOperater(row.type, row.left, row.right), different);
        EXPECT_EQ(where.operation(">", row.type, row.left, row.right, false), greater);
        EXPECT_EQ(where.operation("<", row.type, row.left, row.right, false), less);
        EXPECT_EQ(where.operation(">=", row.type, row.left, row.right, false), 1 - less);
        EXPECT_EQ(where.operation("<=", row.type, row.left, row.right, false), 1 - greater);
        EXPECT_EQ(where.operation("!=", row.type, row.left, row.right, false), different);
    }
}

TEST_F(WhereEvaluationTest, OtherTypeCodesHaveNoOrder) {
    for (const int code : {0, 3, 5, 6, 7, 8, 255}) {
        SCOPED_TRACE(code);
        const auto type = static_cast<unsigned char>(code);
        for (const char* right : {"1", "2", "3"}) {
            EXPECT_EQ(where.greaterThanOperater(type, "2", right), 0);
            EXPECT_EQ(where.lessThanOperater(type, "2", right), 0);
            EXPECT_EQ(where.greaterThanAndEqualOperater(type, "2", right), 0);
            EXPECT_EQ(where.lessThanAndEqualOperater(type, "2", right), 0);
            EXPECT_EQ(where.notEqualOperater(type, "2", right), 0);
            for (const char* op : {">", "<", ">=", "<=", "!="}) {
                EXPECT_EQ(where.operation(op, type, "2", right, false), 0) << op;
            }
        }
    }
}

TEST_F(WhereEvaluationTest, EqualComparesBytesWhateverTheType) {
    for (const int code : {0, 1, 2, 3, 4, 255}) {
        SCOPED_TRACE(code);
        const auto type = static_cast<unsigned char>(code);
        EXPECT_EQ(where.operation("=", type, "1", "1", false), 1);
        EXPECT_EQ(where.operation("=", type, "", "", false), 1);
        EXPECT_EQ(where.operation("=", type, "1.0", "1", false), 0);
        EXPECT_EQ(where.operation("=", type, "01", "1", false), 0);
        EXPECT_EQ(where.operation("=", type, "a", "A", false), 0);
        EXPECT_EQ(where.operation("=", type, "a ", "a", false), 0);
    }
}

TEST_F(WhereEvaluationTest, AndAndOrLookAtNonZeroNumbersOnly) {
    const struct {
        std::string left, right;
        int andResult, orResult;
    } rows[] = {
        {"0", "0", 0, 0},   {"0", "1", 0, 1},   {"1", "0", 0, 1},   {"1", "1", 1, 1},  {"2", "7", 1, 1},
        {"00", "1", 0, 1},  {"abc", "1", 0, 1}, {"", "", 0, 0},     {"-1", "1", 1, 1}, {"NULL", "1", 0, 1},
        {"0.5", "1", 0, 1}, {"1.5", "1", 1, 1}, {"12a", "1", 1, 1},
    };
    for (const auto& row : rows) {
        for (const bool null : {false, true}) {
            SCOPED_TRACE(row.left + " and " + row.right + (null ? ", null" : ""));
            for (const unsigned char type : {kInteger, kReal, kText}) {
                EXPECT_EQ(where.operation("AND", type, row.left, row.right, null), row.andResult);
                EXPECT_EQ(where.operation("OR", type, row.left, row.right, null), row.orResult);
            }
        }
    }
}

TEST_F(WhereEvaluationTest, NullFlagMakesEveryComparisonFalse) {
    for (const char* op : {"=", "!=", ">", "<", ">=", "<=", "LIKE"}) {
        SCOPED_TRACE(op);
        EXPECT_EQ(where.operation(op, kText, "a", "a", true), 0);
        EXPECT_EQ(where.operation(op, kText, "a", "b", true), 0);
        EXPECT_EQ(where.operation(op, kText, "b", "a", true), 0);
    }
}

TEST_F(WhereEvaluationTest, OperatorsWithoutAMeaningGiveZero) {
    for (const char* op : {"NOT", "*", "/", "%", "+", "-", "&", "^", "|"}) {
        SCOPED_TRACE(op);
        for (const unsigned char type : {kInteger, kReal, kText}) {
            EXPECT_EQ(where.operation(op, type, "6", "3", false), 0);
            EXPECT_EQ(where.operation(op, type, "1", "1", true), 0);
        }
        EXPECT_FALSE(table.holds("id " + std::string(op) + " 3", record));
        EXPECT_FALSE(table.holds("1 " + std::string(op) + " 1", record));
    }
    for (const char* other : {"and", "or", "like", "==", "<>", "a", ""}) {
        SCOPED_TRACE(other);
        EXPECT_EQ(where.operation(other, kInteger, "1", "1", false), 0);
    }
}

struct LikeRow {
    std::string value;
    std::string pattern;
    bool matches;
};

const std::vector<LikeRow> kLikeRows{
    {"", "", true},
    {"a", "", false},
    {"", "%", true},
    {"abc", "%", true},
    {"%", "%", true},
    {"", "%%", true},
    {"abc", "%%", true},
    // The text stands anywhere.
    {"xaby", "%ab%", true},
    {"ab", "%ab%", true},
    {"abx", "%ab%", true},
    {"xab", "%ab%", true},
    {"a", "%ab%", false},
    {"", "%ab%", false},
    {"axb", "%ab%", false},
    {"xABy", "%ab%", false},
    {"a", "%a%", true},
    // At the start.
    {"abc", "ab%", true},
    {"ab", "ab%", true},
    {"xab", "ab%", false},
    {"a", "ab%", false},
    {"", "ab%", false},
    {"abc", "AB%", false},
    {"ABC", "AB%", true},
    {"a", "a%", true},
    // At the end.
    {"xab", "%ab", true},
    {"ab", "%ab", true},
    {"abab", "%ab", true},
    {"abx", "%ab", false},
    {"b", "%ab", false},
    {"", "%ab", false},
    {"a", "%a", true},
    // No wildcard.
    {"abc", "abc", true},
    {"abcd", "abc", false},
    {"ab", "abc", false},
    {"ABC", "abc", false},
    {"abc", "a_c", false},
    {"a_c", "a_c", true},
    // A "%" is an ordinary character within the pattern.
    {"a%b", "a%b", true},
    {"ab", "a%b", false},
    {"axb", "a%b", false},
    {"xa%by", "%a%b%", true},
    {"xaby", "%a%b%", false},
    {"xa%b", "%a%b", true},
    {"xab", "%a%b", false},
    {"a%bx", "a%b%", true},
    {"abx", "a%b%", false},
    {"a%b", "%%%", true},
    {"ab", "%%%", false},
    {"%a", "%%a", true},
    {"a", "%%a", false},
    {"a\\b", "a\\%", true},
    {"a%", "a\\%", false},
};

TEST_F(WhereEvaluationTest, LikePatterns) {
    for (const LikeRow& row : kLikeRows) {
        SCOPED_TRACE("[" + row.value + "] LIKE [" + row.pattern + "]");
        EXPECT_EQ(where.likeOperater(row.value, row.pattern), row.matches ? 1 : 0);
        for (const unsigned char type : {kInteger, kReal, kText}) {
            EXPECT_EQ(where.operation("LIKE", type, row.value, row.pattern, false), row.matches ? 1 : 0);
        }
    }
}

TEST_F(WhereEvaluationTest, RandomPatternsMatchWhatASearchOfTheTextFinds) {
    const auto matches = [](const std::string& value, const std::string& pattern) {
        const std::size_t length = pattern.size();
        const bool anyStart = length > 0 && pattern.front() == '%';
        const bool anyEnd = length > 0 && pattern.back() == '%';
        if (length >= 2 && anyStart && anyEnd) {
            return value.find(pattern.substr(1, length - 2)) != std::string::npos;
        }
        if (anyStart) {
            return value.substr(value.size() - std::min(value.size(), length - 1)) == pattern.substr(1);
        }
        return anyEnd ? value.substr(0, length - 1) == pattern.substr(0, length - 1) : value == pattern;
    };
    std::mt19937 random(20240609);
    const auto text = [&random](std::size_t maxLength, const std::string& characters) {
        std::string result;
        for (std::size_t length = random() % (maxLength + 1); length > 0; --length) {
            result += characters[random() % characters.size()];
        }
        return result;
    };
    int matched = 0;
    for (int round = 0; round < 20000; ++round) {
        const std::string value = text(8, "ab");
        const std::string pattern = text(1, "%") + text(4, round % 4 == 0 ? "ab%" : "ab") + text(1, "%");
        const bool expected = matches(value, pattern);
        matched += expected ? 1 : 0;
        EXPECT_EQ(where.likeOperater(value, pattern), expected ? 1 : 0) << value << " LIKE " << pattern;
    }
    EXPECT_GT(matched, 1000);
}

TEST_F(WhereEvaluationTest, RandomIntegersCompareAsThePlatformConvertsThem) {
    std::mt19937 random(20240610);
    const std::string characters = "0012345678999999-+ x";
    const auto number = [&] {
        std::string text;
        const std::size_t kinds = random() % 3 == 0 ? characters.size() : characters.size() - 4;
        for (std::size_t length = random() % 24; length > 0; --length) {
            text += characters[random() % kinds];
        }
        return text;
    };
    for (int round = 0; round < 5000; ++round) {
        const std::string left = number();
        const std::string right = round % 4 == 0 ? "0" + left : number();
        SCOPED_TRACE(::testing::Message() << "[" << left << "] and [" << right << "]");
        const auto leftValue = Platform::StringConversion::stringTouint64(left);
        const auto rightValue = Platform::StringConversion::stringTouint64(right);
        EXPECT_EQ(where.lessThanOperater(kInteger, left, right), leftValue < rightValue ? 1 : 0);
        EXPECT_EQ(where.notEqualOperater(kInteger, left, right), leftValue != rightValue ? 1 : 0);
        EXPECT_EQ(where.operation("AND", kInteger, left, right, false),
                  leftValue != 0 && rightValue != 0 ? 1 : 0);
    }
}

/// Runs through a condition's postfix list word by word, with a stack of texts.
std::string holdsOnAStack(WhereClause& clause, Words& fields) {
    Words stack;
    for (const std::string& word : clause.postfix()) {
        int precedence = 0;
        if (!clause.isOperatorAndprecedence(word, precedence)) {
            stack.push_back(word);
            continue;
        }
        if (stack.size() < 2) {
            return kTooFewOperands;
        }
        bool null = false;
        bool rightIsColumn = false;
        bool leftIsColumn = false;
        std::string right;
        std::string left;
        const auto rightType = clause.getOperandValueType(stack.back(), right, null, fields, rightIsColumn);
        stack.pop_back();
        const auto leftType = clause.getOperandValueType(stack.back(), left, null, fields, leftIsColumn);
        stack.pop_back();
        const auto type = rightIsColumn == leftIsColumn ? std::max(rightType, leftType)
                          : rightIsColumn               ? rightType
                                                        : leftType;
        stack.push_back(std::to_string(clause.operation(word, type, left, right, null)));
    }
    if (stack.size() != 1) {
        return kWrongClause;
    }
    return stack.front() != "0" ? "holds" : "holds not";
}

/// Operands and operators by turns, now and then out of turn.
Words randomCondition(std::mt19937& random) {
    static const Words operands = {"id",   "price", "name", "ROWID", "'it''s'", "'abc'", "'%b%'",
                                   "'a%'", "10",    "2.5",  "7",     "1",       "0",     "colour"};
    static const Words operators = {"=",   "!=", ">",   "<",  ">=", "<=", "LIKE",
                                    "AND", "OR", "AND", "OR", "+",  "NOT"};
    Words condition;
    const std::size_t length = 1 + random() % 11;
    while (condition.size() < length) {
        const bool isOutOfTurn = random() % 32 == 0;
        const bool isOperator = (condition.size() % 2 == 1) != isOutOfTurn;
        const Words& words = isOperator ? operators : operands;
        condition.push_back(words[random() % words.size()]);
    }
    return condition;
}

/// What `answer` gives, or the error that it raises.
template <typename Answer>
std::string outcomeOf(Answer&& answer) {
    std::string given;
    const std::string error = raisedBy([&] { given = answer(); });
    return error == kNothing ? given : error;
}

// A condition is resolved once and then computed for each record. A run with a stack of texts must give the
// same.
TEST_F(WhereEvaluationTest, RandomConditionsGiveWhatAStackOfTextsGives) {
    std::mt19937 random(20240611);
    const std::vector<Words> records = {record,
                                        nulls,
                                        {"7", "10", "'it''s'", "10"},
                                        {"0", "2.50", "'7'", "1"},
                                        {"10", "2.5", "'xby'"},
                                        {"1", "7", "''''", "2"}};
    std::map<std::string, int> outcomes;
    for (int round = 0; round < 4000; ++round) {
        const Words condition = randomCondition(random);
        WhereClause clause(table.metaData);
        Words words = condition;
        clause.InfixToPostFix(words);
        for (Words fields : records) {
            SCOPED_TRACE(FileUtils::recordLine(condition) + FileUtils::recordLine(fields));
            const std::string outcome =
                outcomeOf([&] { return clause.evaluate(fields) ? "holds" : "holds not"; });
            EXPECT_EQ(outcome, outcomeOf([&] { return holdsOnAStack(clause, fields); }));
            ++outcomes[outcome];
        }
    }
    // Both answers, and each of the four errors.
    EXPECT_EQ(outcomes.size(), 6U);
    EXPECT_GT(outcomes["holds"], 500);
    EXPECT_GT(outcomes["holds not"], 500);
}

// ---- primary keys

TEST_F(WhereEvaluationTest, RecordsWithEqualKeysCollide) {
    const struct {
        std::string metadata;
        Words a, b;
        bool collide;
    } rows[] = {
        {"id~name\n1~4\n\n", {"5", "'x'"}, {"5", "'x'"}, false},
        {"id~name\n257~4\nid\n", {"5", "'x'"}, {"5", "'y'"}, true},
        {"id~name\n257~4\nid\n", {"5", "'x'"}, {"6", "'x'"}, false},
        {"id~name\n257~4\nid\n", {"5", "'x'"}, {"05", "'x'"}, false},
        {"id~name\n257~4\nid\n", {"5", "'x'"}, {"NULL", "'x'"}, false},
        {"id~name\n257~4\nid\n", {"NULL", "'x'"}, {"NULL", "'x'"}, false},
        {"id~name\n1~260\nname\n", {"1", "'x'"}, {"2", "'x'"}, true},
        {"id~name\n1~260\nname\n", {"1", "'x'"}, {"2", "x"}, true},
        {"id~name\n1~260\nname\n", {"1", "'x'"}, {"2", "'X'"}, false},
        {"id~name\n1~260\nname\n", {"1", "'NULL'"}, {"2", "'NULL'"}, true},
        {"id~name\n1~260\nname\n", {"1", "'NULL'"}, {"2", "NULL"}, false},
        {"id~name\n1~260\nname\n", {"1", "'it''s'"}, {"2", "'it'x'"}, false},
        {"id~name\n1~260\nname\n", {"1", "'it's'"}, {"2", "'it'x'"}, true},
        {"price\n258\nprice\n", {"1.5"}, {"1.5"}, true},
        {"price\n258\nprice\n", {"1.5"}, {"1.50"}, false},
        {"a~b~c\n257~260~1\na~b\n", {"1", "'x'", "7"}, {"1", "'x'", "8"}, true},
        {"a~b~c\n257~260~1\na~b\n", {"1", "'x'", "7"}, {"1", "'y'", "7"}, false},
        {"a~b~c\n257~260~1\na~b\n", {"1", "'x'", "7"}, {"2", "'x'", "7"}, false},
        {"a~b~c\n257~260~1\na~b\n", {"1", "NULL", "7"}, {"1", "NULL", "7"}, false},
        {"a~b~c\n257~260~1\nb~a\n", {"1", "'x'", "7"}, {"1", "'x'", "7"}, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.metadata + ::testing::PrintToString(row.a) + ::testing::PrintToString(row.b));
        Table keyed(row.metadata);
        WhereClause clause(keyed.metaData);
        Words a = row.a;
        Words b = row.b;
        const std::string expected = row.collide ? kNotUnique : kNothing;
        EXPECT_EQ(raisedBy([&] { clause.checkPrimaryKeyValidation(a, b); }), expected);
        EXPECT_EQ(raisedBy([&] { clause.checkPrimaryKeyValidation(b, a); }), expected);
        Record recordA(a);
        Record recordB(b);
        PrimaryKey key(keyed.metaData);
        EXPECT_EQ(raisedBy([&] { key.requireDifferent(recordA, recordB); }), expected);
        EXPECT_EQ(a, row.a);
        EXPECT_EQ(b, row.b);
    }
}

TEST_F(WhereEvaluationTest, KeyThatCannotBeLookedUpIsRefused) {
    Table keyed("a~b~c\n257~260~1\na~b\n");
    WhereClause clause(keyed.metaData);
    Words whole = {"1", "'x'", "7"};
    Words cut = {"1"};
    Words other = {"2"};
    EXPECT_EQ(raisedText([&] { clause.checkPrimaryKeyValidation(whole, cut); }), kShortRecord);
    EXPECT_EQ(raisedText([&] { clause.checkPrimaryKeyValidation(cut, whole); }), kShortRecord);
    EXPECT_EQ(raisedBy([&] { clause.checkPrimaryKeyValidation(whole, other); }), kNothing);

    Table missing("a~b\n257~257\na~x\n");
    WhereClause missingClause(missing.metaData);
    EXPECT_EQ(raisedBy([&] { missingClause.checkPrimaryKeyValidation(whole, whole); }), unknownColumn("x"));

    Table unflagged("a~b\n257\na~b\n");
    WhereClause unflaggedClause(unflagged.metaData);
    EXPECT_EQ(raisedText([&] { unflaggedClause.checkPrimaryKeyValidation(whole, whole); }), kShortRecord);
}

TEST_F(WhereEvaluationTest, ChangedRowIsComparedWithTheOthersUpToTheCount) {
    Table keyed("id~name\n257~4\nid\n");
    WhereClause clause(keyed.metaData);
    const struct {
        Words keys;
        int count, index;
        bool collide;
    } rows[] = {
        {{"1", "2", "3"}, 3, 0, false}, {{"1", "2", "3"}, 3, 1, false}, {{"1", "2", "1"}, 3, 0, true},
        {{"1", "2", "1"}, 3, 2, true},  {{"1", "2", "1"}, 3, 1, false}, {{"1", "2", "1"}, 2, 0, false},
        {{"1", "1"}, 2, 1, true},       {{"1"}, 1, 0, false},           {{"NULL", "NULL"}, 2, 0, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.keys) + " count " + std::to_string(row.count) + " index " +
                     std::to_string(row.index));
        std::vector<Words> records;
        for (const std::string& key : row.keys) {
            records.push_back({key, "'x'"});
        }
        records.resize(5);
        const std::vector<Words> before = records;
        EXPECT_EQ(raisedBy([&] { clause.updatePrimaryKeyValidation(records, row.count, row.index); }),
                  row.collide ? kNotUnique : kNothing);
        EXPECT_EQ(records, before);
    }
}

// ---- log

TEST_F(WhereEvaluationTest, LogsEveryStepOfAnEvaluation) {
    Words values;
    where.parseWhereClause("name = 'abc' AND id > 10", 0, 0, values);
    log.clear();
    Words any = record;
    EXPECT_FALSE(where.evaluate(any));
    EXPECT_EQ(logged(0), (Words{"evaluate"}));
    EXPECT_EQ(logged(1),
              (Words{"left:[abc] right:[abc] operator:[=]", "Result of operation = 1. [0=fail, 1=success]",
                     "left:[10] right:[10] operator:[>]", "Result of operation = 0. [0=fail, 1=success]",
                     "left:[1] right:[0] operator:[AND]", "Result of operation = 0. [0=fail, 1=success]",
                     "WHERE evaluation is fail."}));
    EXPECT_EQ(logged(-2), Words());
    log.clear();
    any = {"11", "0", "'abc'", "1"};
    EXPECT_TRUE(where.evaluate(any));
    ASSERT_FALSE(logged(1).empty());
    EXPECT_EQ(logged(1).back(), "WHERE evaluation is true.");
}

TEST_F(WhereEvaluationTest, LogsAStoredNullAsTheWord) {
    Words values;
    where.parseWhereClause("name LIKE '%s%'", 0, 0, values);
    log.clear();
    Words any = nulls;
    EXPECT_FALSE(where.evaluate(any));
    EXPECT_EQ(logged(1),
              (Words{"left:[NULL] right:[%s%] operator:[LIKE]",
                     "Result of operation = 0. [0=fail, 1=success]", "WHERE evaluation is fail."}));
}

TEST_F(WhereEvaluationTest, LogsASingleOperandWithoutAnOperation) {
    Words values;
    where.parseWhereClause("0", 0, 0, values);
    log.clear();
    Words any = record;
    EXPECT_FALSE(where.evaluate(any));
    EXPECT_EQ(logged(0), (Words{"evaluate"}));
    EXPECT_EQ(logged(1), (Words{"WHERE evaluation is fail."}));
}

TEST_F(WhereEvaluationTest, LogEndsWhereEvaluationFails) {
    Words values;
    where.parseWhereClause("id = 10 AND nosuch = 1", 0, 0, values);
    log.clear();
    Words any = record;
    EXPECT_EQ(raisedBy([&] { where.evaluate(any); }), unknownColumn("nosuch"));
    EXPECT_EQ(logged(1),
              (Words{"left:[10] right:[10] operator:[=]", "Result of operation = 1. [0=fail, 1=success]"}));
}

TEST_F(WhereEvaluationTest, OperationLogsItsOperands) {
    where.operation(">=", kText, "a b", "", true);
    EXPECT_EQ(logged(1), (Words{"left:[a b] right:[] operator:[>=]"}));
}

}  // namespace
}  // namespace Kalt::Vemo::Test
