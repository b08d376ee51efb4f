#include "DatabaseException.h"

#include <gtest/gtest.h>

#include <exception>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>

#include "EngineTestSupport.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::DatabaseException;

static_assert(std::is_base_of_v<std::exception, DatabaseException>);
static_assert(std::is_convertible_v<DatabaseException*, std::exception*>, "public base");
static_assert(std::has_virtual_destructor_v<DatabaseException>);

TEST(DatabaseExceptionTest, MessageIsFunctionLineTextAndLineFeed) {
    const DatabaseException error("checkRemoveSemiColon", 1484,
                                  "Syntax Error: No ; found at end of Statement");
    EXPECT_STREQ(error.what(), "checkRemoveSemiColon::1484 ->Syntax Error: No ; found at end of Statement\n");
}

TEST(DatabaseExceptionTest, TextIsFormatted) {
    const DatabaseException error("f", 7, "Column %s has %d%%, '%c'", "name", 42, 'x');
    EXPECT_STREQ(error.what(), "f::7 ->Column name has 42%, 'x'\n");
}

TEST(DatabaseExceptionTest, ArgumentsAreNotFormattedAgain) {
    const DatabaseException error("f", 7, "%s", "%s%n%d");
    EXPECT_STREQ(error.what(), "f::7 ->%s%n%d\n");
}

TEST(DatabaseExceptionTest, TextIsCutAt1022Characters) {
    for (const std::size_t length : {0U, 1U, 1021U, 1022U, 1023U, 1024U, 5000U}) {
        SCOPED_TRACE(length);
        const std::string text(length, 'x');
        const DatabaseException error("function", 1, "%s", text.c_str());
        EXPECT_EQ(error.what(), "function::1 ->" + text.substr(0, 1022) + "\n");
    }
}

TEST(DatabaseExceptionTest, CutKeepsTheFirstCharactersOfTheWholeText) {
    const std::string digits(1020, '5');
    const DatabaseException error("function", 1, "a%sbcd", digits.c_str());
    EXPECT_EQ(error.what(), "function::1 ->a" + digits + "b\n");
}

TEST(DatabaseExceptionTest, FunctionNameIsNeverCut) {
    const std::string name(3000, 'f');
    const std::string text(2000, 'x');
    const DatabaseException error(name, 12, "%s", text.c_str());
    EXPECT_EQ(error.what(), name + "::12 ->" + text.substr(0, 1022) + "\n");
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-zero-length"
TEST(DatabaseExceptionTest, EmptyFormatGivesAnEmptyText) {
    EXPECT_STREQ(DatabaseException("function", 3, "").what(), "function::3 ->\n");
}
#pragma GCC diagnostic pop

TEST(DatabaseExceptionTest, LineIsPrintedInDecimalInEveryLocale) {
    const CommaLocale locale;
    const DatabaseException error("f", std::numeric_limits<int>::max(), "text");
    EXPECT_STREQ(error.what(), "f::2147483647 ->text\n");
}

TEST(DatabaseExceptionTest, MessageIsReachedThroughTheStandardBase) {
    try {
        throw DatabaseException("insertTable", 5, "broken");
    } catch (const std::exception& error) {
        EXPECT_STREQ(error.what(), "insertTable::5 ->broken\n");
    }
}

TEST(DatabaseExceptionTest, CopyKeepsTheMessage) {
    auto original = std::make_unique<DatabaseException>("f", 1, "text");
    const DatabaseException copy(*original);
    original.reset();
    EXPECT_STREQ(copy.what(), "f::1 ->text\n");
}

}  // namespace
}  // namespace Kalt::Vemo::Test
