#pragma once

#include <string>
#include <vector>

namespace Notifier {

/// Listens to the platform's log, so that the reasons of failures can be shown with the request they belong
/// to. Only one may live at a time.
class LogNotes {
public:
    LogNotes();
    ~LogNotes();
    LogNotes(const LogNotes&) = delete;
    LogNotes& operator=(const LogNotes&) = delete;

    /// The reasons that were logged since the last call, in order.
    std::vector<std::string> take();

private:
    std::vector<std::string> notes_;
};

}  // namespace Notifier
