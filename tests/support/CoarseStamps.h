#pragma once

namespace Kalt::Vemo::Test {

/// While it lives, the times that the system tells of files advance in steps of so many nanoseconds, as they
/// do on kernels and file systems of devices. Only one may live at a time.
///
/// The calls reach it because the linker puts it between the engine and the C library: a test program gets
/// that from the function vemo_wrap_file_status of tests/CMakeLists.txt.
class CoarseStamps {
public:
    /// Whether a program may set the times of files.
    enum class Marks { allowed, refused };

    explicit CoarseStamps(long long step, Marks marks = Marks::allowed);
    ~CoarseStamps();
    CoarseStamps(const CoarseStamps&) = delete;
    CoarseStamps& operator=(const CoarseStamps&) = delete;

    /// From now on files are on a file system of this type, as statfs(2) gives it.
    static void pretendFileSystem(long type);

    /// How often the status of a file was asked for since the object was made.
    static int looks();
};

}  // namespace Kalt::Vemo::Test
