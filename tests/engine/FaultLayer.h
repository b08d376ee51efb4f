#pragma once

namespace Kalt::Vemo::Test {

/// What happens at a file call of the program.
enum class Fault {
    kNone,
    kNoSpace,     ///< ENOSPC for a write and for making a file; other calls work
    kIoError,     ///< EIO for the call, whatever it is
    kShortWrite,  ///< a write takes half of its bytes and says so; other calls work
    kHalfWrite,   ///< a write takes half of its bytes, and those behind it get ENOSPC
    kDeath,       ///< the process ends just before the call
    kTornDeath    ///< a write takes half of its bytes, then the process ends; other calls end it at once
};

/// The exit status of a process that a fault ended.
constexpr int kDeathStatus = 77;

/// While it lives, counts the calls of this program on files and lets some of them fail. Only one may live at
/// a time, in a program with one thread.
///
/// The calls reach it because the linker puts it between the engine and the C library, see
/// transactions.cmake.
class FaultLayer {
public:
    /// The `step`-th call fails, counting from 1, and with `lasting` every call behind it, too.
    FaultLayer(Fault fault, int step, bool lasting = false);
    ~FaultLayer();
    FaultLayer(const FaultLayer&) = delete;
    FaultLayer& operator=(const FaultLayer&) = delete;

    /// How many calls there were so far.
    static int steps();

    /// How many of them the fault has touched.
    static int hits();
};

}  // namespace Kalt::Vemo::Test
