#include "LogNotes.h"

#include <utility>

#include "Log.h"
#include "LogSink.h"

namespace Notifier {

namespace VemoLog = Kalt::Vemo::Log;

namespace {

constexpr int kErrors = -2;

/// The reason in a message of the form "insertTable Exception: insertTable::42 ->reason\n".
std::string reasonIn(std::string message) {
    const std::size_t arrow = message.find("->");
    if (arrow != std::string::npos) {
        message.erase(0, arrow + 2);
    }
    message.erase(message.find_last_not_of('\n') + 1);
    return message;
}

/// Error lines that belong to work going well: every copy of a table ends with the first, and every opening
/// of a store sends one statement that is meant to be refused with the second.
bool isHarmless(const std::string& reason) {
    return reason == "line is NULL" || reason == "Syntax Error: No ; found at end of Statement";
}

}  // namespace

LogNotes::LogNotes() {
    VemoLog::setLogSink(
        [this](const VemoLog::LogMessage& message) {
            std::string reason = reasonIn(message.text);
            if (!isHarmless(reason)) {
                notes_.push_back(std::move(reason));
            }
        },
        kErrors);
}

LogNotes::~LogNotes() {
    VemoLog::setLogSink({}, kErrors);
}

std::vector<std::string> LogNotes::take() {
    return std::exchange(notes_, {});
}

}  // namespace Notifier
