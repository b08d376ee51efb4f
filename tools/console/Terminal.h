#pragma once

#include <string>
#include <string_view>

namespace Kalt::Vemo::Tool {

/// Whether a file descriptor leads to a terminal.
bool isTerminal(int descriptor);

/// Whether boxes can be drawn with line characters: the user's locale is one of UTF-8.
bool isUtf8Locale();

/// Columns that a printable text takes up on a terminal.
std::size_t displayWidth(std::string_view text);

/// Characters of a text in UTF-8, each of them counted as one, however wide it is shown.
std::size_t characterCount(std::string_view text);

/// Puts colour around text, unless NO_COLOR is set or the output is no terminal.
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
