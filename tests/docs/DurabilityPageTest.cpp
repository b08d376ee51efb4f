#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <string>

#include "TestSupport.h"

// Each promise of the page names the test that holds it.
namespace Kalt::Vemo::Test {
namespace {

using Names = std::set<std::string>;

/// What the expression finds in a text: its first group and its second, joined by a full stop.
Names namesIn(const std::string& text, const std::string& expression) {
    const std::regex pattern(expression);
    Names names;
    for (std::sregex_iterator found(text.begin(), text.end(), pattern), end; found != end; ++found) {
        names.insert((*found)[1].str() + "." + (*found)[2].str());
    }
    return names;
}

Names allTests() {
    Names tests;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(std::string(SOURCE_DIRECTORY) + "/tests")) {
        if (entry.path().extension() == ".cpp") {
            tests.merge(namesIn(readFile(entry.path()), R"(TEST(?:_F|_P)?\((\w+),\s+(\w+)\))"));
        }
    }
    return tests;
}

TEST(DurabilityPageTest, EachTestThatItNamesIsThere) {
    const std::string page = readFile(std::string(SOURCE_DIRECTORY) + "/docs/durability.md");
    const Names named = namesIn(page, R"(`(\w+Test)\.(\w+)`)");
    EXPECT_GT(named.size(), 15U);
    EXPECT_THAT(named, ::testing::IsSubsetOf(allTests()));
}

TEST(DurabilityPageTest, EachPromiseNamesATest) {
    const std::string page = readFile(std::string(SOURCE_DIRECTORY) + "/docs/durability.md");
    const std::size_t begin = page.find("| Promise | Level | Test |");
    ASSERT_NE(begin, std::string::npos);
    const std::string table = page.substr(begin, page.find("\n\n", begin) - begin);
    const std::regex row(R"(\n\|[^\n]*)");
    for (std::sregex_iterator found(table.begin(), table.end(), row), end; found != end; ++found) {
        const std::string promise = found->str();
        EXPECT_TRUE(promise.find("|---") != std::string::npos ||
                    std::regex_search(promise, std::regex(R"(`\w+Test\.\w+`)")))
            << promise;
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
