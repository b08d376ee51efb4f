#pragma once

#include <string>
#include <string_view>

namespace Kalt::Vemo::Tool {

/// What printable() writes out, and how.
enum class Escapes {
    kHexadecimal,  ///< all as \xNN, a backslash as it is
    kReversible    ///< a line feed as \n, likewise \r and \t, all else as \xNN; a backslash is doubled
};

/// `bytes` as text that is safe on a terminal and valid in JSON. Written out are control characters, also DEL
/// and those of two bytes, characters that turn the direction of writing or cannot be seen, separators of
/// lines, and bytes that are no UTF-8.
std::string printable(std::string_view bytes, Escapes escapes = Escapes::kHexadecimal);

/// Whether the bytes are well-formed UTF-8.
bool isUtf8(std::string_view bytes);

/// Two digits a byte, in lower case.
std::string hexadecimal(std::string_view bytes);

/// A JSON document that means the same and is safe on a terminal: the characters that printable() writes out
/// stand as \uNNNN. Requires: outside of its texts it has no control characters.
std::string printableJson(std::string_view json);

/// The same as printable(), in hexadecimal, in double quotes; long values are cut, with three dots behind the
/// quote.
std::string quoted(std::string_view bytes);

/// A path as one printable word of a shell's command line.
std::string shellPath(const std::string& path);

/// "1 record", "2 records".
std::string counted(std::size_t count, const std::string& noun);

}  // namespace Kalt::Vemo::Tool
