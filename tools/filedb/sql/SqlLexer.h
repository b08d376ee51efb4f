#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Kalt::Vemo::Tool {

/// One piece of a statement as a person writes it.
struct SqlToken {
    enum class Kind {
        kWord,    ///< a keyword or a name
        kName,    ///< a name in double quotes: never a keyword
        kNumber,  ///< without a sign
        kText,    ///< in single quotes, a quote inside doubled
        kSymbol,  ///< a bracket, a comma, an operator
        kEnd
    };

    Kind kind = Kind::kEnd;
    std::string text;  ///< without quotes

    /// Whether it is this keyword, given in upper case.
    bool is(std::string_view keyword) const;
    bool isSymbol(std::string_view symbol) const { return kind == Kind::kSymbol && text == symbol; }
};

/// `text` with ASCII letters in upper case.
std::string upperCase(std::string text);

/// Cuts a statement into its pieces; the last one is kEnd. Blanks and comments ("-- ..." and "/* ... */")
/// vanish, and so do semicolons at the end.
/// Throws: Failure for a text or comment that is not closed, and for what no statement has.
std::vector<SqlToken> lexStatement(std::string_view statement);

/// The first words of a statement, in upper case: at most `count`, fewer when something else comes before.
std::vector<std::string> leadingWords(std::string_view statement, std::size_t count);

/// Position behind the ";" that ends the first statement of `text`, npos when none does.
std::size_t endOfStatement(std::string_view text);

/// Whether `text` holds nothing but blanks, comments and semicolons.
bool isBlankStatement(std::string_view text);

}  // namespace Kalt::Vemo::Tool
