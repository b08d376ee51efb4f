#include "Directory.h"

#include <sys/stat.h>

namespace Kalt::Vemo::Platform::Filesystem {

bool Directory::createDirectory(const std::string& path) {
    if (path.find('\0') != std::string::npos) {
        return false;  // the system would take the part before the NUL for the name
    }
    constexpr mode_t kEverybody = 0777;
    if (mkdir(path.c_str(), kEverybody) == 0) {
        return true;
    }
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace Kalt::Vemo::Platform::Filesystem
