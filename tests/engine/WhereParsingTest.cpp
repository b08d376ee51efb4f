#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "EngineTestSupport.h"
#include "TableMetaData.h"
#include "TestSupport.h"
#include "Tokenizer.h"
#include "WhereClause.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::TableMetaData;
using Core::Database::Filedb::WhereClause;
using Words = std::vector<std::string>;

static_assert(std::has_virtual_destructor_v<WhereClause>);

const std::string kNoMatchingBracket = "InfixToPostFix: DB Syntax Error: No matching bracket for ')'";
const std::string kOpenBracketLeft =
    "InfixToPostFix: DB Syntax Error: Stack contains the '(' bracket at end..')'";
const std::string kTooFewValues =
    "parseWhereClause: Syntax Error: passed values less than required values in where clause";
const std::string kNothing = "nothing was raised";

const Words kRefused = {"!<", "!>",  "+=",   "-=",     "*=",        "/=",      "%=",
                        "&=", "^=",  "|=",   "ALL",    "ANY",       "BETWEEN", "EXISTS",
                        "IN", "NOT", "SOME", "EXCEPT", "INTERSECT", "UNION"};

std::string refusal(const std::string& token) {
    return "isNotSupportedOperator: DB Error: " + token + " operator is not supported in File DataBase.";
}

Words wordsOf(const std::string& text) {
    return Tokenizer(text, " ").split(0);
}

class WhereParsingTest : public ::testing::Test {
protected:
    /// The postfix list of a condition that stands at the end of a statement.
    Words postfixOf(const std::string& condition, const Words& values = {}, unsigned int valueIndex = 0) {
        const std::string head = "SELECT * FROM t WHERE ";
        WhereClause where(metaData);
        where.parseWhereClause(head + condition, static_cast<unsigned int>(head.size()), valueIndex, values);
        return where.postfix();
    }

    std::string raisedFor(const std::string& condition, const Words& values = {},
                          unsigned int valueIndex = 0) {
        return raisedBy([&] { postfixOf(condition, values, valueIndex); });
    }

    /// What this class logged at one level.
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
    TableMetaData metaData{nullptr};
};

// ---- operators

TEST_F(WhereParsingTest, OperatorsHaveTheirPrecedence) {
    const struct {
        std::string token;
        int precedence;
    } rows[] = {
        {"*", 6}, {"/", 6}, {"%", 6},  {"+", 5},  {"-", 5},  {"&", 5},    {"^", 5},   {"|", 5},   {"=", 4},
        {">", 4}, {"<", 4}, {">=", 4}, {"<=", 4}, {"!=", 4}, {"LIKE", 4}, {"NOT", 3}, {"AND", 2}, {"OR", 1},
    };
    WhereClause where(metaData);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.token);
        int precedence = 99;
        EXPECT_TRUE(where.isOperatorAndprecedence(row.token, precedence));
        EXPECT_EQ(precedence, row.precedence);
    }
}

TEST_F(WhereParsingTest, OtherTokensAreNoOperators) {
    WhereClause where(metaData);
    for (const char* token :
         {"(",  ")", "and", "or",  "like",  "not", "And", "==", "<>",  "||", "&&",   "=<",   "!",
          "IS", "a", "1",   "'='", "'AND'", "",    " =",  "= ", "a=1", "in", "'IN'", "INTO", "all"}) {
        SCOPED_TRACE(token);
        int precedence = 99;
        EXPECT_FALSE(where.isOperatorAndprecedence(token, precedence));
        EXPECT_EQ(precedence, 0);
        EXPECT_NO_THROW(where.isNotSupportedOperator(token));
    }
}

TEST_F(WhereParsingTest, RefusedOperators) {
    ASSERT_EQ(kRefused.size(), 20U);
    WhereClause where(metaData);
    for (const std::string& token : kRefused) {
        SCOPED_TRACE(token);
        EXPECT_EQ(raisedBy([&] { where.isNotSupportedOperator(token); }), refusal(token));
        if (token == "NOT") {
            continue;  // an operator first
        }
        int precedence = 99;
        EXPECT_EQ(raisedBy([&] { where.isOperatorAndprecedence(token, precedence); }), refusal(token));
        EXPECT_EQ(raisedFor("a " + token + " 1"), refusal(token));
        EXPECT_EQ(raisedFor("a = " + token), refusal(token));
        EXPECT_EQ(raisedFor(token), refusal(token));
        EXPECT_EQ(raisedFor("a = ?", {token}), refusal(token));
        EXPECT_EQ(postfixOf("a = '" + token + "'"), (Words{"a", "'" + token + "'", "="}));
        EXPECT_EQ(postfixOf("a = '?'", {token}), (Words{"a", "'" + token + "'", "="}));
    }
}

TEST_F(WhereParsingTest, DoubleStarIsRefusedWithItsOwnText) {
    const std::string refused =
        "isOperatorAndprecedence: DB Error: ** operator is not supported in File DataBase";
    WhereClause where(metaData);
    int precedence = 99;
    EXPECT_EQ(raisedBy([&] { where.isOperatorAndprecedence("**", precedence); }), refused);
    EXPECT_NO_THROW(where.isNotSupportedOperator("**"));
    EXPECT_EQ(raisedFor("a ** 2"), refused);
}

// ---- tokens

TEST_F(WhereParsingTest, StartsEmpty) {
    EXPECT_EQ(WhereClause(metaData).postfix(), Words());
}

TEST_F(WhereParsingTest, TokensAreSetApartByWhiteSpaceAlone) {
    const struct {
        std::string condition;
        Words postfix;
    } rows[] = {
        {"a = 1", {"a", "1", "="}},
        {"a=1", {"a=1"}},
        {"(a = 1)", {"(a", "1)", "="}},
        {"a >1", {"a", ">1"}},
        {"a = 'new york'", {"a", "'new", "york'", "="}},
        {"  a\t=\n1\v\f\r", {"a", "1", "="}},
        {"a = 1 and b = 2", {"a", "1", "and", "b", "=", "2", "="}},
        {"a like 'x'", {"a", "like", "'x'"}},
        {"a = '' AND b = ''''", {"a", "''", "=", "b", "''''", "=", "AND"}},
        {"a =", {"a", "="}},
        {"a", {"a"}},
        {"a b c", {"a", "b", "c"}},
        {"", {}},
        {" 	 ", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.condition);
        EXPECT_EQ(postfixOf(row.condition), row.postfix);
    }
}

TEST_F(WhereParsingTest, ConditionBeginsAtTheGivenCharacter) {
    WhereClause where(metaData);
    Words none;
    where.parseWhereClause("x = 1 AND b = 2", 10, 0, none);
    EXPECT_EQ(where.postfix(), wordsOf("b 2 ="));
}

// ---- placeholders

TEST_F(WhereParsingTest, PlaceholdersTakeTheValuesInTurn) {
    const struct {
        std::string condition;
        Words values;
        unsigned int valueIndex;
        Words postfix;
    } rows[] = {
        {"a = '?' AND b = '?'", {"x", "NULL"}, 0, {"a", "'x'", "=", "b", "NULL", "=", "AND"}},
        {"a = ? AND b = '?'", {"1", "x"}, 0, {"a", "1", "=", "b", "'x'", "=", "AND"}},
        {"a = ?", {"NULL"}, 0, {"a", "NULL", "="}},
        {"a = ?", {"x"}, 0, {"a", "x", "="}},
        {"a = ?", {"'x'"}, 0, {"a", "'x'", "="}},
        {"a = '?'", {"'x'"}, 0, {"a", "''x''", "="}},
        {"a = '?'", {""}, 0, {"a", "''", "="}},
        {"a = '?'", {"null"}, 0, {"a", "'null'", "="}},
        {"a = '?'", {"new york"}, 0, {"a", "'new york'", "="}},
        {"a = ?", {"new york"}, 0, {"a", "new york", "="}},
        {"a = '?'", {"it's"}, 0, {"a", "'it's'", "="}},
        {"a = '?' AND b = ?", {"?", "2"}, 0, {"a", "'?'", "=", "b", "2", "=", "AND"}},
        {"a = ? AND b = ?", {"'?'", "?"}, 0, {"a", "'?'", "=", "b", "?", "=", "AND"}},
        {"a = '?'", {"set", "where"}, 1, {"a", "'where'", "="}},
        {"a = ? AND b = ?", {"0", "1", "2", "3"}, 2, {"a", "2", "=", "b", "3", "=", "AND"}},
        {"a = ?", {"0", "1"}, 0, {"a", "0", "="}},
        {"? = ?", {"a", "1"}, 0, {"a", "1", "="}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.condition + " from " + ::testing::PrintToString(row.values));
        EXPECT_EQ(postfixOf(row.condition, row.values, row.valueIndex), row.postfix);
    }
}

TEST_F(WhereParsingTest, ValueIsJudgedByItsTextLikeAnyToken) {
    EXPECT_EQ(postfixOf("a ? 1", {"="}), wordsOf("a 1 ="));
    EXPECT_EQ(postfixOf("a = 1 ? b = 2", {"OR"}), wordsOf("a 1 = b 2 = OR"));
    EXPECT_EQ(raisedFor("a ?", {")"}), kNoMatchingBracket);
    EXPECT_EQ(postfixOf("a '?' 1", {"="}), wordsOf("a '=' 1"));
}

TEST_F(WhereParsingTest, QuestionMarkGluedToOtherTextIsNoPlaceholder) {
    EXPECT_EQ(postfixOf("a=?"), (Words{"a=?"}));
    EXPECT_EQ(postfixOf("a = '?x'"), wordsOf("a '?x' ="));
    EXPECT_EQ(postfixOf("a = '%?%'"), wordsOf("a '%?%' ="));
    EXPECT_EQ(postfixOf("(?) = ??"), wordsOf("(?) ?? ="));
    EXPECT_EQ(postfixOf("a=? AND b = ?", {"first", "second"}), wordsOf("a=? b first = AND"));
}

TEST_F(WhereParsingTest, PlaceholderWithoutAValueIsRefused) {
    EXPECT_EQ(raisedFor("a = '?' AND b = '?'", {"x"}), kTooFewValues);
    EXPECT_EQ(raisedFor("a = ?"), kTooFewValues);
    EXPECT_EQ(raisedFor("a = '?'"), kTooFewValues);
    EXPECT_EQ(raisedFor("a = ?", {"x"}, 1), kTooFewValues);
    EXPECT_EQ(raisedFor("a = ?", {"x"}, 4000000000U), kTooFewValues);
    EXPECT_EQ(raisedFor("a = 1", {}, 5), kNothing);
}

// ---- postfix form

TEST_F(WhereParsingTest, OperatorsGoBehindTheirOperands) {
    const struct {
        const char* condition;
        const char* postfix;
    } rows[] = {
        {"a = 1", "a 1 ="},
        {"a + b - c", "a b + c -"},
        {"a * b / c % d", "a b * c / d %"},
        {"a & b | c ^ d", "a b & c | d ^"},
        {"a = b LIKE c", "a b = c LIKE"},
        {"a * b + c", "a b * c +"},
        {"a NOT b", "a b NOT"},
        {"a = 1 AND b = 2", "a 1 = b 2 = AND"},
        {"a > 1 OR b <= 2", "a 1 > b 2 <= OR"},
        {"a != 1 AND b LIKE 'x'", "a 1 != b 'x' LIKE AND"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.condition);
        EXPECT_EQ(postfixOf(row.condition), wordsOf(row.postfix));
    }
}

TEST_F(WhereParsingTest, OperatorPopsAtMostHalfOfTheStackRoundedUp) {
    const struct {
        const char* condition;
        const char* postfix;
    } rows[] = {
        {"a = 1 AND b = 2 OR c = 3", "a 1 = b 2 = c 3 = OR AND"},
        {"a = 1 OR b = 2 AND c = 3", "a 1 = b 2 = c 3 = AND OR"},
        {"a = 1 AND b = 2 AND c = 3", "a 1 = b 2 = c 3 = AND AND"},
        {"a + b * c = d", "a b c * d = +"},
        {"a OR b AND c = d OR e", "a b c d = AND e OR OR"},
        {"a OR b AND c = d + e OR f", "a b c d e + = f OR AND OR"},
        {"a OR b AND c NOT d = e + f OR g", "a b c d e f + = NOT g OR AND OR"},
        {"a OR b AND c NOT d = e + f * g OR h", "a b c d e f g * + = h OR NOT AND OR"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.condition);
        EXPECT_EQ(postfixOf(row.condition), wordsOf(row.postfix));
    }
}

TEST_F(WhereParsingTest, AcceptedBrackets) {
    const struct {
        const char* condition;
        const char* postfix;
    } rows[] = {
        {"( a = 1 )", "a 1 ="},
        {"( a = 1 OR b = 2 )", "a 1 = b 2 = OR"},
        {"( a = 1 AND b = 2 )", "a 1 = b 2 = AND"},
        {"( a = 1 ) AND b = 2", "a 1 = b 2 = AND"},
        {"( a = 1 ) AND ( b = 2 OR c = 3 )", "a 1 = b 2 = c 3 = OR AND"},
        {"a = 1 AND ( b = 2 OR c = 3 )", "a 1 = b 2 = c 3 = OR AND"},
        {"( ( a = 1 OR b = 2 ) AND c = 3 )", "a 1 = b 2 = OR c 3 = AND"},
        {"( a OR b = c ) = d", "a b c = OR d ="},
        {"a AND ( b )", "a b AND"},
        {"a OR b AND ( c )", "a b c AND OR"},
        {"a OR b AND ( c = d )", "a b c d = AND OR"},
        // A closing bracket without an opening one moves the whole stack.
        {"a = 1 )", "a 1 ="},
        {"a = 1 AND b = 2 )", "a 1 = b 2 = AND"},
        {"a = 1 ) AND b = 2", "a 1 = b 2 = AND"},
        {"a = 1 ) 2", "a 1 = 2"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.condition);
        EXPECT_EQ(postfixOf(row.condition), wordsOf(row.postfix));
    }
}

TEST_F(WhereParsingTest, RefusedBrackets) {
    const struct {
        const char* condition;
        std::string raised;
    } rows[] = {
        {")", kNoMatchingBracket},
        {"a )", kNoMatchingBracket},
        {"( )", kNoMatchingBracket},
        {"( a )", kNoMatchingBracket},
        {"( a = 1 ) )", kNoMatchingBracket},
        {"( a = 1 ) AND ( b = 2 )", kNoMatchingBracket},
        {"a = 1 AND ( b = 2 )", kNoMatchingBracket},
        {"( ( a = 1 ) )", kNoMatchingBracket},
        {"( ( a = 1 OR b = 2 ) )", kNoMatchingBracket},
        {"a OR ( b AND ( c = 1 OR d = 2 ) )", kNoMatchingBracket},
        {"a OR b AND ( c = d + e )", kNoMatchingBracket},
        {"(", kOpenBracketLeft},
        {"( a = 1", kOpenBracketLeft},
        {"( a = 1 OR b = 2", kOpenBracketLeft},
        {"( ( a = 1 OR b = 2 )", kOpenBracketLeft},
        {"a = 1 (", kOpenBracketLeft},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.condition);
        EXPECT_EQ(raisedFor(row.condition), row.raised);
    }
}

TEST_F(WhereParsingTest, FurtherCallAppends) {
    WhereClause where(metaData);
    Words none;
    where.parseWhereClause("a = 1", 0, 0, none);
    Words tokens = wordsOf("b = 2");
    where.InfixToPostFix(tokens);
    where.parseWhereClause("c", 0, 0, none);
    EXPECT_EQ(where.postfix(), wordsOf("a 1 = b 2 = c"));
    EXPECT_TRUE(log.has("POSTFIX FORM=[ a 1 = b 2 = c]"));
}

// ---- log

TEST_F(WhereParsingTest, LogsTheWordsAndThePostfixForm) {
    postfixOf("a = '?'  AND	b = ?", {"%s x", "2"});
    EXPECT_EQ(logged(0), (Words{"parseWhereClause", "InfixToPostFix"}));
    EXPECT_EQ(logged(1),
              (Words{"WHERE Vec=[ a = '%s x' AND b = 2]", "POSTFIX FORM=[ a '%s x' = b 2 = AND]"}));
    EXPECT_EQ(logged(-2), Words());
}

TEST_F(WhereParsingTest, LogsAnEmptyCondition) {
    postfixOf("");
    EXPECT_EQ(logged(1), (Words{"WHERE Vec=[]", "POSTFIX FORM=[]"}));
}

TEST_F(WhereParsingTest, LogEndsWhereParsingFails) {
    EXPECT_EQ(raisedFor("( a = 1"), kOpenBracketLeft);
    EXPECT_EQ(logged(0), (Words{"parseWhereClause", "InfixToPostFix"}));
    EXPECT_EQ(logged(1), (Words{"WHERE Vec=[ ( a = 1]"}));
    log.clear();
    EXPECT_EQ(raisedFor("a = ?"), kTooFewValues);
    EXPECT_EQ(logged(0), (Words{"parseWhereClause"}));
    EXPECT_EQ(logged(1), Words());
}

}  // namespace
}  // namespace Kalt::Vemo::Test
