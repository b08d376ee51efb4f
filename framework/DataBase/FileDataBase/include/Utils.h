#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Kalt::Vemo::Core::Database::Filedb {

/// The characters that count as white space in statements and names, whatever the locale.
inline constexpr const char* WHITESPACE = " \t\n\v\f\r";

/// String helpers of the engine. No state: every function may be called from any thread. Throws:
/// DatabaseException, where a function says so.
class Utils {
public:
    Utils() = delete;

    /// `value` as the classic locale's streams print it: decimal digits for an `unsigned int`, the one
    /// character with that code for a `signed char`.
    template <typename T>
    static std::string toString(T value);

    [[nodiscard]] static bool isWhiteSpace(char c) {
        return c == ' ' || (c >= '\t' && c <= '\r');  // the characters of WHITESPACE
    }

    /// How often `c` is in the text.
    [[nodiscard]] static std::size_t count(std::string_view text, char c);

    /// The words of a text, separated by white space; what follows the 65000th is left out.
    [[nodiscard]] static std::vector<std::string> splitWords(std::string_view text);

    /// `s` without white space at both ends, or at its start.
    static std::string trimString(const std::string& s);
    static std::string leftTrimString(const std::string& s);

    /// trimString() without a copy: the result is a part of `s`.
    [[nodiscard]] static std::string_view trimmed(std::string_view s);
    static std::string_view trimmed(std::string&& s) = delete;

    /// `s` in single quotes; unchanged when it begins and ends with one. Quotes inside are not changed.
    static std::string addSingleQuote(std::string s);

    /// `s` in single quotes, whatever it begins and ends with.
    [[nodiscard]] static std::string inSingleQuotes(std::string_view s);

    /// `s` without the one pair of single quotes that encloses it; unchanged when there is no such pair.
    static std::string removeSingleQuote(const std::string& s);

    /// 1 for an optional sign and digits, 2 for an optional sign, digits and one decimal point, otherwise 0.
    /// No digit is needed: "", "+" and "-" give 1 and "." gives 2.
    static int isNumber(const std::string& s);

    /// Splits the characters `first` to `last` of `str`, both included, at every `separator`; empty pieces
    /// are kept. The search goes on one character after the start of a separator. An empty separator gives
    /// one piece. The part beyond the end of `str` is empty, and so is a `last` before `first`.
    ///
    /// @param out receives the pieces in place of its content
    static void getSplitVector(const std::string& str, unsigned int first, unsigned int last,
                               std::vector<std::string>& out, const std::string& separator);

    /// getSplitVector() without its line in the log, for the whole of `text`.
    ///
    /// @tparam Piece what is made of each piece's text
    template <typename Piece>
    static void splitAt(std::string_view text, std::string_view separator, std::vector<Piece>& out);

    /// The line that getSplitVector() logs.
    static void logSplit(std::string_view text, const char* separator);

    /// `name` without surrounding white space.
    /// Throws: DatabaseException unless it is a letter or "_" followed by letters, digits and "_" (ASCII).
    static std::string validateColumnName(const std::string& name);

    /// What validateColumnName() returns, without its line in the log; empty where it throws.
    [[nodiscard]] static std::string_view columnName(std::string_view name);
    static std::string_view columnName(std::string&& name) = delete;

    /// The line that validateColumnName() logs.
    static void logColumnName(const std::string& name);

    /// Position of `name` in `columns`, compared byte by byte.
    /// Throws: DatabaseException "Column %s not found in Table Definition".
    static unsigned int getColumnNameIndex(const std::string& name, const std::vector<std::string>& columns);

    // For programs that use this class by itself

    /// `s` without white space at its end.
    static std::string rightTrimString(const std::string& s);
};

template <typename Piece>
void Utils::splitAt(std::string_view text, std::string_view separator, std::vector<Piece>& out) {
    std::size_t position = 0;
    for (std::size_t found = text.find(separator); found != std::string_view::npos;
         found = text.find(separator, position)) {
        out.emplace_back(text.substr(position, found - position));
        position = found + 1;
    }
    out.emplace_back(text.substr(position));
}

template <>
std::string Utils::toString<unsigned int>(unsigned int value);
template <>
std::string Utils::toString<signed char>(signed char value);

}  // namespace Kalt::Vemo::Core::Database::Filedb
