#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace Kalt::Vemo::Test {

/// The calls on files that a fault can touch, by what they do.
enum class Call {
    kOpen,
    kFdopen,
    kClose,
    kFclose,
    kFflush,
    kRead,
    kWrite,
    kStreamRead,
    kStreamWrite,
    kTruncate,
    kFileStatus,
    kPathStatus,
    kLock,
    kMakeDirectory,
    kRemove,     ///< and unlink
    kRename,     ///< named by the new name
    kSync,       ///< of a file or a directory
    kAttributes  ///< times, mode, owner and extended attributes
};

/// One call on a file, for a filter to decide over.
struct FileCall {
    Call call;
    std::string file;    ///< the last part of the file's name
    bool makes = false;  ///< whether it is an open that makes the file
};

/// Says whether a fault is meant for this call.
using CallFilter = std::function<bool(const FileCall&)>;

/// What happens at a file call of the program.
struct Fault {
    enum class Kind {
        kNone,
        kRefusal,     ///< the call gives `error`; calls that cannot give this error are not touched
        kDiskFull,    ///< ENOSPC for a write and for making a file
        kShort,       ///< a read or a write takes half of its bytes and says so
        kShortWrite,  ///< as kShort, writes only
        kNoProgress,  ///< a write takes no byte and says so
        kHalfWrite,   ///< a write takes half of its bytes, and those after it get ENOSPC
        kUnreadable,  ///< a read ends at the byte `offset`, and gives EIO from there on
        kDeath,       ///< the process ends just before the call
        kTornDeath    ///< a write takes half of its bytes, then the process ends; other calls end it at once
    };

    Kind kind = Kind::kNone;
    int error = 0;
    std::size_t offset = 0;

    /// The call is refused with this errno. FaultLayer.cpp has a table of which call can give which.
    static constexpr Fault refusal(int error) { return {Kind::kRefusal, error, 0}; }

    /// The medium cannot be read from this byte of a file on.
    static constexpr Fault unreadableFrom(std::size_t offset) { return {Kind::kUnreadable, 0, offset}; }

    static const Fault kNone;
    static const Fault kNoSpace;  ///< the disk is full: only what needs room is refused
    static const Fault kIoError;  ///< EIO
    static const Fault kShort;
    static const Fault kShortWrite;
    static const Fault kNoProgress;
    static const Fault kHalfWrite;
    static const Fault kDeath;
    static const Fault kTornDeath;
};

bool operator==(const Fault& left, const Fault& right);

/// The exit status of a process that a fault ended.
constexpr int kDeathStatus = 77;

/// While it lives, counts the calls of this program on files and lets some of them fail. Only one may live at
/// a time; the calls may come from any thread.
///
/// The calls reach it because the linker puts it between the engine and the C library: a test program gets
/// that from the function vemo_wrap_file_calls of tests/CMakeLists.txt. Calls on the standard streams are not
/// counted. A call that goes on being refused without end ends the process with a message, so that a test
/// does not hang.
class FaultLayer {
public:
    /// The `step`-th call that the fault can touch fails, counting from 1, and with `lasting` every such call
    /// after it, too.
    FaultLayer(Fault fault, int step, bool lasting = false, CallFilter filter = {});

    /// Every call that the fault can touch and that the filter takes fails, from now on.
    FaultLayer(Fault fault, CallFilter filter);

    ~FaultLayer();
    FaultLayer(const FaultLayer&) = delete;
    FaultLayer& operator=(const FaultLayer&) = delete;

    /// The fault is gone: every call works from now on.
    void lift();

    /// How many calls there were so far that the fault can touch.
    static int steps();

    /// How many of them it has touched.
    static int hits();
};

}  // namespace Kalt::Vemo::Test
