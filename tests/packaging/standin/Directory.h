#pragma once

#include <string>

namespace Kalt::Vemo::Platform::Filesystem {

class Directory {
public:
    static bool createDirectory(const std::string& path);
};

}  // namespace Kalt::Vemo::Platform::Filesystem
