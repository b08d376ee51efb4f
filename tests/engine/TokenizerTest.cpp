#include "Tokenizer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Kalt::Vemo::Test {
namespace {

using Words = std::vector<std::string>;

const std::string kDefaultDelimiters = " \t\v\n\r\f";

TEST(TokenizerTest, SplitsIntoTheRunsBetweenDelimiters) {
    const struct {
        std::string text;
        std::string delimiters;
        int maxTokens;
        Words expected;
    } rows[] = {
        {"  a  b ", kDefaultDelimiters, 0, {"a", "b"}},
        {"  a  b ", kDefaultDelimiters, 1, {"a"}},
        {"  a  b ", kDefaultDelimiters, 2, {"a", "b"}},
        {"  a  b ", kDefaultDelimiters, 3, {"a", "b"}},
        {"a b c d", kDefaultDelimiters, 3, {"a", "b", "c"}},
        {"a b c d", kDefaultDelimiters, -1, {"a", "b", "c", "d"}},
        {"a b c d", kDefaultDelimiters, 65000, {"a", "b", "c", "d"}},
        {"", kDefaultDelimiters, 0, {}},
        {"", kDefaultDelimiters, 65000, {}},
        {" \t\v\n\r\f", kDefaultDelimiters, 0, {}},
        {"a\tb\vc\nd\re\ff", kDefaultDelimiters, 0, {"a", "b", "c", "d", "e", "f"}},
        {"x~~y~", "~", 0, {"x", "y"}},
        {"~~x", "~", 0, {"x"}},
        {"a~~b", "~", 65000, {"a", "b"}},
        {"~", "~", 0, {}},
        {"a b~c", "~", 0, {"a b", "c"}},
        {"INSERT INTO t(a", "( \t\n\v\f\r", 3, {"INSERT", "INTO", "t"}},
        {"a b", "", 0, {"a b"}},
        {std::string("a\0b c", 5), kDefaultDelimiters, 0, {std::string("a\0b", 3), "c"}},
        {std::string("a\0b", 3), std::string("\0", 1), 0, {"a", "b"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.text) + " max " + std::to_string(row.maxTokens));
        EXPECT_EQ(Tokenizer(row.text, row.delimiters).split(row.maxTokens), row.expected);
    }
}

TEST(TokenizerTest, SplitTakesMoreTokensThanTheUsualLimitWhenThereIsNone) {
    std::string text;
    for (int i = 0; i < 65001; ++i) {
        text += "a ";
    }
    EXPECT_EQ(Tokenizer(text, " ").split(0).size(), 65001U);
    EXPECT_EQ(Tokenizer(text, " ").split(65000).size(), 65000U);
}

TEST(TokenizerTest, NextHandsOutOneTokenAfterTheOther) {
    Tokenizer tokenizer(" one,two ", " ,");
    EXPECT_EQ(tokenizer.next(), "one");
    EXPECT_EQ(tokenizer.next(), "two");
    EXPECT_EQ(tokenizer.next(), "");
    EXPECT_EQ(tokenizer.next(), "");
}

TEST(TokenizerTest, SplitGoesOnWhereNextStopped) {
    Tokenizer tokenizer("a b c d", " ");
    EXPECT_EQ(tokenizer.next(), "a");
    EXPECT_EQ(tokenizer.split(1), (Words{"b"}));
    EXPECT_EQ(tokenizer.split(0), (Words{"c", "d"}));
    EXPECT_EQ(tokenizer.split(0), Words());
}

TEST(TokenizerTest, DelimiterThatEndsATokenIsLeftToTheNextCall) {
    Tokenizer tokenizer("a~b", "~");
    EXPECT_EQ(tokenizer.next(), "a");
    tokenizer.skipDelimiter();
    tokenizer.skipDelimiter();
    EXPECT_EQ(tokenizer.next(), "b");
}

TEST(TokenizerTest, DefaultTokenizerIsEmptyAndKnowsTheWhiteSpace) {
    Tokenizer tokenizer;
    EXPECT_EQ(tokenizer.next(), "");
    EXPECT_EQ(tokenizer.split(0), Words());
    for (int code = 0; code < 256; ++code) {
        const char c = static_cast<char>(code);
        EXPECT_EQ(tokenizer.isDelimiter(c), kDefaultDelimiters.find(c) != std::string::npos) << code;
    }
    tokenizer.setString(" a\v b\f");
    EXPECT_EQ(tokenizer.split(0), (Words{"a", "b"}));
}

TEST(TokenizerTest, DelimitersAreExactlyTheCharactersOfTheSet) {
    const Tokenizer tokenizer("text", "~,");
    EXPECT_TRUE(tokenizer.isDelimiter('~'));
    EXPECT_TRUE(tokenizer.isDelimiter(','));
    EXPECT_FALSE(tokenizer.isDelimiter(' '));
    EXPECT_FALSE(tokenizer.isDelimiter('\0'));
}

TEST(TokenizerTest, EverySetterStartsAgain) {
    Tokenizer tokenizer("a b", " ");
    EXPECT_EQ(tokenizer.next(), "a");
    tokenizer.setDelimiter(",");
    EXPECT_EQ(tokenizer.next(), "a b");
    tokenizer.setString("c,d");
    EXPECT_EQ(tokenizer.next(), "c");
    tokenizer.set("e f", " ");
    EXPECT_EQ(tokenizer.split(0), (Words{"e", "f"}));
    tokenizer.setString("g,h i");
    EXPECT_EQ(tokenizer.split(0), (Words{"g,h", "i"}));
}

TEST(TokenizerTest, KeepsACopyOfItsText) {
    std::string text = "one two";
    Tokenizer tokenizer(text, " ");
    text.assign(1000, 'x');
    EXPECT_EQ(tokenizer.split(0), (Words{"one", "two"}));
}

}  // namespace
}  // namespace Kalt::Vemo::Test
