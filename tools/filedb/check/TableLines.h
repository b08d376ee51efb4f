#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Kalt::Vemo::Tool {

/// One line of a table file.
struct TableLine {
    std::size_t number = 1;  // in the file, counted from 1
    std::string_view text;   // without the line feed
    bool hasLineFeed = true;

    /// The fields as every reader cuts them: empty ones are left out.
    std::vector<std::string> fields() const;

    bool hasEmptyField() const;

    /// Of a line without a line feed: whether nothing of its last field can be missing with that. A number
    /// may have had more digits, and a text with a closing quote may have had that quote inside.
    ///
    /// @param flag    the flag number of the last column
    /// @param largest the largest number that the last field can hold, when it holds digits
    bool isComplete(long flag, std::uint64_t largest) const;
};

/// The lines of a table file, without what an editor of another system adds to all of them.
struct TableLines {
    std::vector<TableLine> lines;
    bool hasMark = false;             // a byte-order mark before the first line
    bool hasCarriageReturns = false;  // one before every line feed

    /// Lifetime: `text` must outlive the lines.
    static TableLines of(std::string_view text);
};

}  // namespace Kalt::Vemo::Tool
