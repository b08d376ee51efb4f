#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace Kalt::Vemo::Test {

/// What a sample of a page does, as its cell "Outcome" tells it.
///
/// The parts of a cell stand between commas: a number, errors in quotes, and what is seen of the data.
struct SampleOutcome {
    int returned = 0;                 ///< what executeUpdate returns
    std::vector<std::string> errors;  ///< texts of the log's errors
    std::string seen;                 ///< "stored", "left", "columns", "no file", "rows", "no result" or ""
    std::vector<std::string> values;  ///< the code spans that follow

    bool operator==(const SampleOutcome& other) const {
        return returned == other.returned && errors == other.errors && seen == other.seen &&
               values == other.values;
    }
};

std::ostream& operator<<(std::ostream& out, const SampleOutcome& outcome);

/// Reads a cell. Fails the test when there is something in it that is no part of an outcome.
SampleOutcome outcomeOf(const std::string& cell);

}  // namespace Kalt::Vemo::Test
