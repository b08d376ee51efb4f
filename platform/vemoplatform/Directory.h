#pragma once

#include <string>

#include "PlatformExport.h"

namespace Kalt::Vemo::Platform::Filesystem {

/// Directories of the file system. Holds no state; callable from any thread. Nothing throws.
///
///     if (!Directory::createDirectory("/var/lib/app/store_filedb")) { ... }
class VEMO_PLATFORM_EXPORT Directory {
public:
    /// Makes sure that a directory exists. Its parent must exist already. A new directory is open to
    /// everybody as far as the process's umask allows.
    ///
    /// @param path absolute, or relative to the working directory; a "/" at the end makes no difference
    /// @return true when the directory was made or was there, also behind a symbolic link; false otherwise,
    ///         with nothing changed
    static bool createDirectory(const std::string& path);
};

}  // namespace Kalt::Vemo::Platform::Filesystem
