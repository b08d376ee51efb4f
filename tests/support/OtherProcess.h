#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <string>
#include <tuple>

namespace Kalt::Vemo::Test {

/// A process beside the test's own. It opens something, waits until it is told to go on, and ends.
class OtherProcess {
public:
    /// Starts it and waits until `open` has answered.
    /// @param close what it does when it is told to go on; true makes leave() true
    explicit OtherProcess(const std::function<bool()>& open, const std::function<bool()>& close = {});
    ~OtherProcess();
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    /// What `open` answered.
    bool hasOpened() const { return hasOpened_; }

    pid_t number() const { return child_; }

    /// Tells it to go on.
    void goOn();

    /// Tells it to go on, unless it was told, and waits for its end; what `close` answered.
    bool leave();

    /// Kills it, and waits for its end.
    void kill();

private:
    int wait();

    pid_t child_ = -1;
    int order_ = -1;  // the pipe that it waits for; none when it was told to go on
    bool hasOpened_ = false;
};

/// What the work answers in a process of its own.
bool inOtherProcess(const std::function<bool()>& work);

/// Everything that a look at a directory shows: of it and of each entry the node, the permissions, the owner,
/// the size, both times, and the bytes.
using Status = std::tuple<ino_t, mode_t, uid_t, gid_t, off_t, long long, long long, std::string>;
std::map<std::string, Status> wholeDirectory(const std::string& path);

}  // namespace Kalt::Vemo::Test
