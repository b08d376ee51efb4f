#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

/// The delimiters of a default Tokenizer: blank, tab, vertical tab, line feed, carriage return, form feed.
inline constexpr const char* DEFAULT_DELIMITER = " \t\v\n\r\f";

/// Splits a text into tokens: the runs of characters between delimiter characters.
///
/// Delimiters at either end are ignored and a run of delimiters counts as one, so a token is never empty: in
/// "a~~b" the delimiter "~" leaves the tokens "a" and "b".
///
/// Threads: an object belongs to one thread. Errors: none.
class Tokenizer {
public:
    /// Every character of `delimiter` is a delimiter.
    Tokenizer(std::string str, const std::string& delimiter);

    /// The next token, or the empty text when there is none. The delimiter that ends it is not consumed.
    std::string next();

    /// The remaining tokens, at most `maxTokens` of them; 0 or less means all.
    std::vector<std::string> split(int maxTokens);

    /// The text from the current position to the end.
    std::string remainder() const;

    bool isDelimiter(char c) const;

    /// Moves past the delimiters at the current position.
    void skipDelimiter();

    // For programs that use this class by itself

    /// An empty text with the delimiters DEFAULT_DELIMITER.
    Tokenizer();

    /// Replace text, delimiters or both, and start again at the beginning of the text.
    void set(std::string str, const std::string& delimiter);
    void setString(std::string str);
    void setDelimiter(const std::string& delimiter);

private:
    std::string buffer_;
    std::array<bool, 256> delimits_{};  // by character code
    std::size_t position_ = 0;
};
