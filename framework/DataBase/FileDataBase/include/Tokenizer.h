#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

/// The delimiters of a default Tokenizer: blank, tab, vertical tab, line feed, carriage return, form feed.
inline constexpr const char* DEFAULT_DELIMITER = " \t\v\n\r\f";

/// Walks a text and hands out the runs of characters between delimiter characters.
///
/// Delimiters at either end are ignored and a run of delimiters counts as one, so a token is never empty: in
/// "a~~b" the delimiter "~" leaves the tokens "a" and "b".
///
/// Threads: an object belongs to one thread. Errors: none.
class Tokenizer {
public:
    /// An empty text with the delimiters DEFAULT_DELIMITER.
    Tokenizer();

    /// Every character of `delimiter` is a delimiter.
    Tokenizer(std::string str, const std::string& delimiter);

    /// Replace text, delimiters or both, and start again at the beginning of the text.
    void set(std::string str, const std::string& delimiter);
    void setString(std::string str);
    void setDelimiter(const std::string& delimiter);

    bool isDelimiter(char c) const;

    /// Moves past the delimiters at the current position.
    void skipDelimiter();

    /// The next token, or the empty text when there is none. The delimiter that ends it is not consumed.
    std::string next();

    /// The remaining tokens, at most `maxTokens` of them; 0 or less means all.
    std::vector<std::string> split(int maxTokens);

    /// The text from the current position to the end.
    std::string remainder() const;

private:
    std::string buffer_;
    std::array<bool, 256> delimits_{};  // by character code
    std::size_t position_ = 0;
};
