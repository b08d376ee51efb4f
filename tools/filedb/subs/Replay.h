#pragma once

#include <string>

#include "files/PathArgument.h"

namespace Kalt::Vemo::Tool {

/// Applies the requests of a file to a store, one JSON object a line, and tells what came of each as
/// FILE:LINE: operation: ok or failed; what the log says of it goes to standard error.
///
/// @param fileName "-" for standard input
/// @return kFailed when a line was malformed, or a request failed or was logged as failing
/// Throws: Trouble when the file cannot be read or the store cannot be opened.
int replay(const PathArgument& path, const std::string& fileName, int expirySeconds);

}  // namespace Kalt::Vemo::Tool
