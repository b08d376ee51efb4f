#include "SampleOutcome.h"

#include <gtest/gtest.h>

#include <regex>

namespace Kalt::Vemo::Test {

std::ostream& operator<<(std::ostream& out, const SampleOutcome& outcome) {
    out << outcome.returned;
    for (const std::string& error : outcome.errors) {
        out << ", \"" << error << '"';
    }
    out << ", " << outcome.seen;
    for (const std::string& value : outcome.values) {
        out << " `" << value << '`';
    }
    return out;
}

SampleOutcome outcomeOf(const std::string& cell) {
    static const std::regex part(
        "(-?[0-9]+)|\"([^\"]*)\"|`([^`]*)`|(stored|left none|left|columns|no file|no row|no result)");
    SampleOutcome result;
    for (std::sregex_iterator found(cell.begin(), cell.end(), part), end; found != end; ++found) {
        const std::smatch& match = *found;
        if (match[1].matched) {
            result.returned = std::stoi(match[1]);
        } else if (match[2].matched) {
            result.errors.push_back(match[2]);
        } else if (match[3].matched) {
            result.seen = result.seen.empty() ? "rows" : result.seen;
            result.values.push_back(match[3]);
        } else {
            result.seen = match[4] == "left none" ? "left" : match[4] == "no row" ? "rows" : match[4].str();
        }
    }
    const std::string rest = std::regex_replace(cell, part, "");
    EXPECT_EQ(rest.find_first_not_of(", "), std::string::npos) << "not a part of an outcome: " << rest;
    EXPECT_FALSE(cell.empty()) << "an outcome is missing";
    return result;
}

}  // namespace Kalt::Vemo::Test
