#pragma once

#include <exception>
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

/// Ends a command without a word: the program that reads standard output has left, as `head` does when it has
/// seen enough.
class ReaderGone : public std::exception {};

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

/// Throws: ReaderGone or Trouble when standard output, which `out` writes to, did not take everything.
void requireWritten(std::ostream& out);

/// Ends the program as the signal does that a process gets which writes to a pipe that nobody reads.
[[noreturn]] void endAsByBrokenPipe();

}  // namespace Kalt::Vemo::Tool
