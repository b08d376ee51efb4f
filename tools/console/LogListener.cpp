#include "console/LogListener.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "Log.h"
#include "console/ExitStatus.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr std::string_view kEndOfCopy = "line is NULL";
constexpr std::string_view kRefusedAtOpening = "Syntax Error: No ; found at end of Statement";

std::mutex& listenersMutex() {
    static std::mutex mutex;
    return mutex;
}

std::vector<LogListener*>& listeners() {
    // Never destroyed: there may be messages to the very end of the process.
    static auto* const all = new std::vector<LogListener*>;
    return *all;
}

}  // namespace

// "insertTable Exception: getColumnNameIndex::93 ->Column x not found" holds the message behind the arrow.
std::string readableError(std::string_view text) {
    constexpr std::string_view kArrow = " ->";
    const std::size_t arrow = text.find(kArrow);
    const std::size_t number = text.find_last_not_of("0123456789", arrow - 1);
    if (arrow != std::string_view::npos && number != std::string_view::npos && text[number] == ':') {
        text.remove_prefix(arrow + kArrow.size());
    }
    return std::string(text.substr(0, text.find_last_not_of(" \n") + 1));
}

LogListener::LogListener(Harmless harmless) : harmless_(harmless), maxLevel_(Log::log_error) {
    const std::lock_guard<std::mutex> guard(listenersMutex());
    listeners().push_back(this);
    listen();
}

LogListener::~LogListener() {
    const std::lock_guard<std::mutex> guard(listenersMutex());
    listeners().erase(std::find(listeners().begin(), listeners().end(), this));
    listen();
}

// Sets the log's sink for all that listen. Requires: listenersMutex() is held.
void LogListener::listen() {
    if (listeners().empty()) {
        Log::setLogSink({}, 0);
        return;
    }
    int maxLevel = Log::log_error;
    for (const LogListener* const each : listeners()) {
        maxLevel = std::max(maxLevel, each->maxLevel_);
    }
    Log::setLogSink(&LogListener::hand, maxLevel);
}

void LogListener::hand(const Log::LogMessage& message) {
    const std::lock_guard<std::mutex> guard(listenersMutex());
    for (LogListener* const each : listeners()) {
        each->take(message);
    }
}

void LogListener::take(const Log::LogMessage& message) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (copy_.is_open()) {
        const std::string_view text = message.text;
        copy_ << message.level << ' ' << message.tag << ": "
              << text.substr(0, text.find_last_not_of('\n') + 1) << '\n';
    }
    if (message.level > Log::log_error) {
        return;
    }
    std::string error = readableError(message.text);
    if (!isHarmless(error)) {
        errors_.push_back(std::move(error));
    }
}

bool LogListener::isHarmless(std::string_view error) const {
    return error == kEndOfCopy || (harmless_ == Harmless::kCopiesAndOpenings && error == kRefusedAtOpening);
}

std::vector<std::string> LogListener::takeErrors() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return std::exchange(errors_, {});
}

void LogListener::setLevel(int maxLevel) {
    const std::lock_guard<std::mutex> guard(listenersMutex());
    maxLevel_ = maxLevel;
    listen();
}

void LogListener::copyTo(const std::string& fileName) {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        copy_.close();
        copy_.clear();
        copy_.open(fileName, std::ios::app);
        if (!copy_) {
            throw Trouble(fileName + ": cannot be opened for writing; check its directory");
        }
    }
    setLevel(Log::log_trace);
}

void LogListener::stopCopying() {
    setLevel(Log::log_error);
    const std::lock_guard<std::mutex> guard(mutex_);
    copy_.close();
}

}  // namespace Kalt::Vemo::Tool
