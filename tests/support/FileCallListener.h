#pragma once

#include <cstddef>
#include <string_view>

namespace Kalt::Vemo::Test {

/// Hears of the calls of this program that change files or bring them to the disk, each after it has worked.
/// The calls come from FaultLayer.cpp, in the thread of the call.
class FileCallListener {
public:
    virtual ~FileCallListener() = default;

    virtual void fileMade(int descriptor) = 0;
    virtual void directoryMade(const char* path) = 0;
    virtual void renamed(const char* from, const char* to) = 0;
    virtual void removed(const char* path) = 0;
    virtual void written(int descriptor, std::size_t offset, std::string_view bytes) = 0;
    virtual void truncated(int descriptor, std::size_t length) = 0;

    /// @param descriptor of a file or a directory
    virtual void synced(int descriptor) = 0;

    /// Something may have been written through a stream: what and where, only the file tells.
    virtual void streamWritten(int descriptor) = 0;
};

/// From now on `listener` hears of the calls, and nobody else; null for nobody.
void setFileCallListener(FileCallListener* listener);

}  // namespace Kalt::Vemo::Test
