#pragma once

#include <ostream>
#include <stdexcept>

namespace Kalt::Vemo::Tool {

/// What the program's exit status says.
enum ExitStatus : int {
    kDone = 0,
    kFailed = 1,   ///< a statement failed, an operation was refused, or a check has findings
    kTrouble = 2,  ///< wrong usage, or something could not be read or written
    kRemoved = 3   ///< a repair has set aside a table, or rows, that were in the database
};

/// Ends a command with kFailed. The text names the thing, the place and the remedy.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Ends a command with kTrouble. The text names the thing, the place and the remedy.
class Trouble : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Throws: Trouble when the output did not take everything.
inline void requireWritten(std::ostream& out) {
    if (!out.flush()) {
        throw Trouble("standard output could not be written");
    }
}

}  // namespace Kalt::Vemo::Tool
