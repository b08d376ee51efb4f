#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace Kalt::Vemo::Tool {

/// Whether a file descriptor leads to a terminal.
bool isTerminal(int descriptor);

/// Whether a file descriptor leads to a terminal that understands escape sequences: TERM is set, and not to
/// "dumb".
bool understandsEscapes(int descriptor);

struct TerminalSize {
    std::size_t columns = 0;
    std::size_t rows = 0;
};

/// Nothing where there is no terminal, or one that does not tell its size.
std::optional<TerminalSize> terminalSize(int descriptor);

/// Whether boxes can be drawn with line characters: the user's locale is one of UTF-8.
bool isUtf8Locale();

/// Columns that a printable text takes up on a terminal.
std::size_t displayWidth(std::string_view text);

/// The beginning of a printable text that is shown in at most `columns`, with what combines with its last
/// character. A text that is longer ends in `mark`, which takes up columns as well.
///
/// Requires: `mark` takes up no more than `columns`.
std::string fittedTo(std::string_view text, std::size_t columns, std::string_view mark);

/// Characters of a text in UTF-8, each of them counted as one, however wide it is shown.
std::size_t characterCount(std::string_view text);

/// Puts colour around text, unless NO_COLOR is set or the output is no terminal that understands it.
class Colours {
public:
    explicit Colours(int descriptor);

    std::string heading(const std::string& text) const { return paint("1", text); }
    std::string faint(const std::string& text) const { return paint("2", text); }
    std::string error(const std::string& text) const { return paint("1;31", text); }

private:
    std::string paint(const char* code, const std::string& text) const;

    bool enabled_;
};

}  // namespace Kalt::Vemo::Tool
