#include "console/ExitStatus.h"

#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace Kalt::Vemo::Tool {

namespace {

// Asked of the system afterwards: a stream does not keep the cause of a write that failed.
bool isReaderGone() {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return poll(&output, 1, 0) == 1 && (output.revents & (POLLERR | POLLHUP)) != 0;
}

}  // namespace

void requireWritten(std::ostream& out) {
    if (out.flush()) {
        return;
    }
    if (isReaderGone()) {
        throw ReaderGone();
    }
    throw Trouble("standard output could not be written");
}

void endAsByBrokenPipe() {
    static_cast<void>(std::signal(SIGPIPE, SIG_DFL));
    static_cast<void>(std::raise(SIGPIPE));
    std::_Exit(kTrouble);  // the signal is blocked
}

}  // namespace Kalt::Vemo::Tool
