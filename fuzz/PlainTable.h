#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Kalt::Vemo::Fuzz {

/// The fields of a line.
using Fields = std::vector<std::string>;

/// The lines of a file as docs/file-format.md tells that they are read, written down without any thought of
/// speed: the measure for the engine's own reader.
std::vector<Fields> plainLines(std::string_view text);

/// The line with these fields, as it is written.
std::string plainLine(const Fields& fields);

/// A table as it is read.
struct PlainTable {
    explicit PlainTable(std::string_view text);

    Fields names;
    Fields flags;
    Fields key;
    std::vector<Fields> records;

    /// Whether statements can make sense of the definition: the key names columns, and columns have flags.
    bool isUsable = true;

    /// The one INTEGER column of the key stands in for ROWID.
    bool hasAlias = false;

    /// How many columns "*" stands for.
    std::size_t width() const;

    long flagOf(std::size_t column) const;

    /// The text that a change writes that changes no record.
    std::string text() const;
};

/// A stored cell as the getters give it: a text without its quotes, nothing for NULL.
std::string plainCell(const std::string& field);

}  // namespace Kalt::Vemo::Fuzz
