#pragma once

#include <string>

namespace Kalt::Vemo::Tool {

/// Copies the entry `source`, whatever it is, to `destination`, where nothing is: with its owner, permissions
/// and times, a directory with all that is in it, a symbolic link as a link. All is on the disk on return.
///
/// Throws: std::system_error with the path in its text. What was made is removed again then.
void copyEntry(const std::string& source, const std::string& destination);

}  // namespace Kalt::Vemo::Tool
