#pragma once

#include <string>
#include <string_view>

namespace Kalt::Vemo::Tool {

/// `bytes` as text that is safe on a terminal and valid in JSON: control characters and bytes that are no
/// UTF-8 become \xNN.
std::string printable(std::string_view bytes);

/// The same in double quotes; long values are cut, with three dots behind the quote.
std::string quoted(std::string_view bytes);

/// A path as one printable word of a shell's command line.
std::string shellPath(const std::string& path);

/// "1 record", "2 records".
std::string counted(std::size_t count, const std::string& noun);

}  // namespace Kalt::Vemo::Tool
