#include "Utils.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "EngineTestSupport.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::Utils;
using Words = std::vector<std::string>;

TEST(UtilsTest, ToStringOfAnUnsignedIntIsItsDecimalDigits) {
    EXPECT_EQ(Utils::toString<unsigned int>(0), "0");
    EXPECT_EQ(Utils::toString<unsigned int>(256), "256");
    EXPECT_EQ(Utils::toString<unsigned int>(4294967295U), "4294967295");
}

TEST(UtilsTest, ToStringOfASignedCharIsTheCharacter) {
    EXPECT_EQ(Utils::toString<signed char>(49), "1");
    for (int code = -128; code < 128; ++code) {
        EXPECT_EQ(Utils::toString<signed char>(static_cast<signed char>(code)),
                  std::string(1, static_cast<char>(code)));
    }
}

TEST(UtilsTest, ToStringIsTheSameInEveryLocale) {
    const CommaLocale locale;
    EXPECT_EQ(Utils::toString<unsigned int>(1234567), "1234567");
    EXPECT_EQ(Utils::toString<signed char>(49), "1");
}

TEST(UtilsTest, Trimming) {
    const struct {
        std::string text, both, left, right;
    } rows[] = {
        {"", "", "", ""},
        {" \t ", "", "", ""},
        {" \t\n\v\f\r", "", "", ""},
        {"a", "a", "a", "a"},
        {"  a ", "a", "a ", "  a"},
        {"\t\n\v\f\ra b\r\f\v\n\t", "a b", "a b\r\f\v\n\t", "\t\n\v\f\ra b"},
        {"a\n\tb", "a\n\tb", "a\n\tb", "a\n\tb"},
        {"\xA0 a", "\xA0 a", "\xA0 a", "\xA0 a"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.text));
        EXPECT_EQ(Utils::trimString(row.text), row.both);
        EXPECT_EQ(Utils::trimmed(row.text), row.both);
        EXPECT_EQ(Utils::leftTrimString(row.text), row.left);
        EXPECT_EQ(Utils::rightTrimString(row.text), row.right);
    }
}

TEST(UtilsTest, RemoveSingleQuoteTakesOneEnclosingPair) {
    const struct {
        std::string text, expected;
    } rows[] = {
        {"'ab'", "ab"},   {"'ab", "'ab"},   {"ab'", "ab'"},     {"ab", "ab"},         {"", ""},
        {"'", ""},        {"''", ""},       {"''ab''", "'ab'"}, {"'it''s'", "it''s"}, {"' '", " "},
        {" 'a'", " 'a'"}, {"'a' ", "'a' "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        std::string argument = row.text;
        EXPECT_EQ(Utils::removeSingleQuote(argument), row.expected);
        EXPECT_EQ(argument, row.text);
    }
}

TEST(UtilsTest, AddSingleQuoteEnclosesOnce) {
    const struct {
        std::string text, expected;
    } rows[] = {
        {"ab", "'ab'"}, {"'ab'", "'ab'"}, {"it's", "'it's'"}, {"", "''"},
        {"''", "''"},   {"'ab", "''ab'"}, {"ab'", "'ab''"},   {"'", "'"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        std::string argument = row.text;
        EXPECT_EQ(Utils::addSingleQuote(argument), row.expected);
        EXPECT_EQ(argument, row.text);
        EXPECT_EQ(Utils::inSingleQuotes(row.text), "'" + row.text + "'");
    }
}

TEST(UtilsTest, IsNumberTellsWholeFromDecimal) {
    const struct {
        std::string text;
        int expected;
    } rows[] = {
        {"12", 1},
        {"-12", 1},
        {"+12", 1},
        {"0", 1},
        {"007", 1},
        {"+1.5", 2},
        {"-1.5", 2},
        {"1.", 2},
        {".5", 2},
        {"1.2.3", 0},
        {"1..", 0},
        {"1e5", 0},
        {" 1", 0},
        {"1 ", 0},
        {"", 1},
        {"+", 1},
        {"-", 1},
        {".", 2},
        {"-.", 2},
        {"--1", 0},
        {"+-1", 0},
        {"1-", 0},
        {"1+1", 0},
        {"abc", 0},
        {"0x10", 0},
        {"1,5", 0},
        {"'1'", 0},
        {"1.x", 0},
        {"NULL", 0},
        {"\xB2", 0},
        {"99999999999999999999999999", 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(Utils::isNumber(row.text), row.expected);
    }
}

TEST(UtilsTest, GetSplitVectorCutsAPieceAtEverySeparator) {
    const struct {
        std::string text;
        unsigned int first, last;
        std::string separator;
        Words expected;
    } rows[] = {
        {"a,b", 0, 2, ",", {"a", "b"}},
        {"(x,y)", 1, 3, ",", {"x", "y"}},
        {",a,,", 0, 3, ",", {"", "a", "", ""}},
        {",", 0, 0, ",", {"", ""}},
        {"abc", 0, 2, ",", {"abc"}},
        {"abc", 1, 1, ",", {"b"}},
        {"()", 1, 0, ",", {""}},
        {" a , b ", 0, 6, ",", {" a ", " b "}},
        {"a::b", 0, 3, "::", {"a", ":b"}},
        {"a:::b", 0, 4, "::", {"a", "", ":b"}},
        {"xANDy", 0, 4, "AND", {"x", "NDy"}},
        {"a::", 0, 2, "::", {"a", ":"}},
        {"a,b::", 0, 2, "::", {"a,b"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text + " by " + row.separator);
        Words pieces = {"left", "from", "before"};
        Utils::getSplitVector(row.text, row.first, row.last, pieces, row.separator);
        EXPECT_EQ(pieces, row.expected);
    }
}

TEST(UtilsTest, GetSplitVectorWithoutASeparatorGivesOnePiece) {
    const struct {
        std::string text;
        unsigned int first, last;
        Words expected;
    } rows[] = {
        {"a,b", 0, 2, {"a,b"}}, {"a,b", 1, 2, {",b"}}, {"a", 0, 0, {"a"}},
        {"", 0, 0, {""}},       {"a,b", 2, 9, {"b"}},  {"a,b", 3, 2, {""}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        Words pieces = {"left", "from", "before"};
        Utils::getSplitVector(row.text, row.first, row.last, pieces, "");
        EXPECT_EQ(pieces, row.expected);
    }
}

TEST(UtilsTest, GetSplitVectorFindsNothingOutsideOfTheText) {
    constexpr unsigned int kLargest = 4294967295U;
    const struct {
        std::string text;
        unsigned int first, last;
        Words expected;
    } rows[] = {
        {"a,b", 1, 9, {"", "b"}},
        {"a,b", 2, 9, {"b"}},
        {"a,b", 2, kLargest - 1, {"b"}},
        {"a,b", 3, 3, {""}},
        {"a,b", 3, 9, {""}},
        {"a,b", 9, 9, {""}},
        {"a,b", 9, 12, {""}},
        {"a,b", kLargest, kLargest, {""}},
        {"a,b", kLargest - 1, kLargest - 1, {""}},
        {"a,b", 0, kLargest, {""}},  // one before the first character
        {"a,b", 2, 1, {""}},
        {"a,b", 2, 0, {""}},
        {"a,b", 9, 0, {""}},
        {"a,b", kLargest, 0, {""}},
        {"", 0, 0, {""}},
        {"", 0, 9, {""}},
        {"", 9, 0, {""}},
        {"", kLargest, kLargest, {""}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("[" + row.text + "] " + std::to_string(row.first) + " to " + std::to_string(row.last));
        Words pieces = {"left", "from", "before"};
        Utils::getSplitVector(row.text, row.first, row.last, pieces, ",");
        EXPECT_EQ(pieces, row.expected);
    }
}

/// No text is too short or too strange for the functions that have nothing to refuse.
TEST(UtilsTest, TextsOfAllKindsAreTaken) {
    std::string everyByte;
    for (int code = 0; code < 256; ++code) {
        everyByte += static_cast<char>(code);
    }
    for (const std::string& text :
         {std::string(), std::string(1, '\0'), std::string("'\0'", 3), everyByte, "'" + everyByte + "'",
          std::string(100000, ' '), std::string(100000, '\'')}) {
        EXPECT_NO_THROW({
            Utils::trimString(text);
            Utils::leftTrimString(text);
            Utils::rightTrimString(text);
            static_cast<void>(Utils::trimmed(text));
            Utils::addSingleQuote(text);
            static_cast<void>(Utils::inSingleQuotes(text));
            Utils::removeSingleQuote(text);
            Utils::isNumber(text);
        });
        for (const std::string& separator : {std::string(), std::string(1, '\0'), text, text + "x"}) {
            for (const unsigned int first : {0U, 1U, 255U, 4294967295U}) {
                for (const unsigned int last : {0U, 1U, 255U, 4294967295U}) {
                    Words pieces;
                    EXPECT_NO_THROW(Utils::getSplitVector(text, first, last, pieces, separator));
                    EXPECT_FALSE(pieces.empty());
                }
            }
        }
    }
}

TEST(UtilsTest, ValidateColumnNameGivesTheTrimmedName) {
    const struct {
        std::string name, expected;
    } rows[] = {
        {"  _col1 ", "_col1"},
        {"Name", "Name"},
        {"z", "z"},
        {"A", "A"},
        {"_", "_"},
        {"aZ_09", "aZ_09"},
        {"\t\n\v\f\rab\r\f\v\n\t", "ab"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(Utils::validateColumnName(row.name), row.expected);
    }
}

TEST(UtilsTest, ValidateColumnNameRefusesOtherCharacters) {
    const std::string start = "validateColumnName: Syntax Error: Start Char is invalid for Column Name: ";
    const struct {
        std::string name, raised;
    } rows[] = {
        {"", start},
        {"   ", start + "   "},
        {"1col", start + "1col"},
        {" 1col ", start + " 1col "},
        {"-a", start + "-a"},
        {"'a'", start + "'a'"},
        {"\xC3\xA4", start + "\xC3\xA4"},
        {"*", start + "*"},
        {"col-1", "validateColumnName: Syntax Error: '-' Char is invalid for Column Name col-1"},
        {"my col", "validateColumnName: Syntax Error: ' ' Char is invalid for Column Name my col"},
        {" a.b ", "validateColumnName: Syntax Error: '.' Char is invalid for Column Name  a.b "},
        {"a%sb", "validateColumnName: Syntax Error: '%' Char is invalid for Column Name a%sb"},
        {"a-b+c", "validateColumnName: Syntax Error: '-' Char is invalid for Column Name a-b+c"},
        {"a\tb", "validateColumnName: Syntax Error: '\t' Char is invalid for Column Name a\tb"},
        {"a\xE4", "validateColumnName: Syntax Error: '\xE4' Char is invalid for Column Name a\xE4"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(raisedBy([&] { Utils::validateColumnName(row.name); }), row.raised);
    }
}

TEST(UtilsTest, GetColumnNameIndexFindsTheFirstExactMatch) {
    Words columns = {"name", "Name", "id", "name"};
    EXPECT_EQ(Utils::getColumnNameIndex("name", columns), 0U);
    EXPECT_EQ(Utils::getColumnNameIndex("Name", columns), 1U);
    EXPECT_EQ(Utils::getColumnNameIndex("id", columns), 2U);
}

TEST(UtilsTest, GetColumnNameIndexRefusesAnUnknownName) {
    const struct {
        std::string name;
        Words columns;
    } rows[] = {{"Name", {"name"}}, {" name", {"name"}}, {"nam", {"name"}},
                {"", {"name"}},     {"a", {}},           {"%d", {}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Words columns = row.columns;
        EXPECT_EQ(raisedBy([&] { Utils::getColumnNameIndex(row.name, columns); }),
                  "getColumnNameIndex: Column " + row.name + " not found in Table Definition");
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
