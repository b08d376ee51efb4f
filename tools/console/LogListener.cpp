#include "console/LogListener.h"

#include <string_view>
#include <utility>

#include "Log.h"
#include "console/ExitStatus.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr std::string_view kEndOfCopy = "line is NULL";
constexpr std::string_view kRefusedAtOpening = "Syntax Error: No ; found at end of Statement";

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

LogListener::LogListener(Harmless harmless) : harmless_(harmless) {
    listen(Log::log_error);
}

LogListener::~LogListener() {
    Log::setLogSink({}, 0);
}

void LogListener::listen(int maxLevel) {
    Log::setLogSink([this](const Log::LogMessage& message) { take(message); }, maxLevel);
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
    listen(Log::log_trace);
}

void LogListener::stopCopying() {
    listen(Log::log_error);
    const std::lock_guard<std::mutex> guard(mutex_);
    copy_.close();
}

}  // namespace Kalt::Vemo::Tool
