#pragma once

#include <string>
#include <string_view>

namespace Kalt::Vemo::Tool {

/// What printable() writes out, and how.
enum class Escapes {
    kHexadecimal,  ///< also format characters and separators of lines; all as \xNN, a backslash as it is
    kReversible    ///< a line feed as \n, likewise \r and \t, all else as \xNN; a backslash is doubled
};

/// `bytes` as text that is safe on a terminal and valid in JSON: control characters and bytes that
/// are no UTF-8 are written out.
std::string printable(std::string_view bytes, Escapes escapes = Escapes::kHexadecimal);

/// The same, in hexadecimal, in double quotes; long values are cut, with three dots behind the quote.
std::string quoted(std::string_view bytes);

/// A path as one printable word of a shell's command line.
std::string shellPath(const std::string& path);

/// "1 record", "2 records".
std::string counted(std::size_t count, const std::string& noun);

}  // namespace Kalt::Vemo::Tool
