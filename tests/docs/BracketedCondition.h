#pragma once

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>

namespace Kalt::Vemo::Test {

/// A condition of comparisons with "=" in which brackets show every grouping, evaluated by the rules of
/// logic.
class BracketedCondition {
public:
    BracketedCondition(const std::string& text, const std::map<std::string, int>& row)
        : words_(text), row_(row) {}

    bool holds() {
        bool result = operand();
        for (std::string word; words_ >> word && word != ")";) {
            const bool right = operand();
            result = word == "AND" ? result && right : result || right;
        }
        return result;
    }

private:
    bool operand() {
        std::string column;
        words_ >> column;
        if (column == "(") {
            return holds();
        }
        std::string equals;
        int value = 0;
        words_ >> equals >> value;
        EXPECT_EQ(equals, "=");
        return row_.at(column) == value;
    }

    std::istringstream words_;
    const std::map<std::string, int>& row_;
};

}  // namespace Kalt::Vemo::Test
