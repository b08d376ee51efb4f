#define VEMO_LOG_OUT_OF_LINE  // this file defines the function that the header only has a shortcut for
#include "Log.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "LogSink.h"

namespace Kalt::Vemo::Log {

namespace {

constexpr const char* kLevelVariable = "VEMO_LOG_LEVEL";

struct NamedLevel {
    const char* name;
    int level;
};
constexpr std::array<NamedLevel, 4> kNamedLevels{{{"off", std::numeric_limits<int>::min()},
                                                  {"error", log_error},
                                                  {"info", log_information},
                                                  {"trace", log_trace}}};

/// In one call, so that lines of several threads do not mix. Nobody could be told of a failure.
void printLine(const std::string& line) {
    static_cast<void>(std::fwrite(line.data(), 1, line.size(), stderr));
}

int readEnvironment() {
    const char* value = std::getenv(kLevelVariable);
    if (value == nullptr) {
        return log_error;
    }
    for (const NamedLevel& named : kNamedLevels) {
        if (std::strcmp(value, named.name) == 0) {
            return named.level;
        }
    }
    const std::string line = std::string(kLevelVariable) + "=" + value +
                             " is not a log level; using error. Accepted: off, error, info, trace\n";
    printLine(line);
    return log_error;
}

int environmentLevel() {
    static const int level = readEnvironment();
    return level;
}

std::string levelName(int level) {
    for (const NamedLevel& named : kNamedLevels) {
        if (named.level == level) {
            return named.name;
        }
    }
    return "level " + std::to_string(level);
}

void writeToStandardError(const LogMessage& message) {
    const char* slash = std::strrchr(message.file, '/');
    std::string line = levelName(message.level) + " " + message.tag + " " +
                       (slash == nullptr ? message.file : slash + 1) + ":" + std::to_string(message.line) +
                       ": " + message.text;
    if (line.back() != '\n') {
        line += '\n';
    }
    printLine(line);
}

}  // namespace

std::atomic<int> Log::threshold_{std::numeric_limits<int>::max()};

/// Where messages go, and up to which level.
class LogOutput {
public:
    /// Never destroyed, because objects with static lifetime log to the very end of the process.
    static LogOutput& instance() {
        static LogOutput* const output = new LogOutput;
        return *output;
    }

    void set(LogSink sink, int maxLevel) {
        const bool toStandardError = !sink;
        auto target = std::make_shared<const LogSink>(toStandardError ? LogSink(writeToStandardError)
                                                                      : std::move(sink));
        const int level = toStandardError ? environmentLevel() : maxLevel;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            // The earlier sink leaves with `target` and is destroyed outside the lock, where it may log.
            sink_.swap(target);
            maxLevel_ = level;
            Log::threshold_.store(level, std::memory_order_relaxed);
        }
    }

    void emit(const char* file, unsigned int line, int module, const char* tag, int level, const char* format,
              va_list arguments) __attribute__((format(printf, 7, 0))) {
        const std::shared_ptr<const LogSink> sink = sinkFor(level);
        if (!sink) {
            return;
        }
        va_list again;
        va_copy(again, arguments);
        std::array<char, 512> shortText{};
        std::string longText;
        const char* text = shortText.data();
        const int length = std::vsnprintf(shortText.data(), shortText.size(), format, arguments);
        if (length < 0) {
            text =
                format;  // a wide character that the locale cannot print: better the bare format than nothing
        } else if (static_cast<std::size_t>(length) >= shortText.size()) {
            longText.resize(static_cast<std::size_t>(length));
            static_cast<void>(std::vsnprintf(longText.data(), longText.size() + 1, format, again));
            text = longText.c_str();
        }
        va_end(again);
        (*sink)({file, line, module, tag, level, text});
    }

private:
    LogOutput() { set({}, 0); }

    /// The sink, shared so that it outlives its replacement during a call; null when it does not want
    /// `level`.
    std::shared_ptr<const LogSink> sinkFor(int level) {
        const std::lock_guard<std::mutex> guard(mutex_);
        return level <= maxLevel_ ? sink_ : nullptr;
    }

    std::mutex mutex_;
    std::shared_ptr<const LogSink> sink_;
    int maxLevel_ = 0;
};

void Log::log(const char* file, unsigned int line, int module, const char* tag, log_level level,
              const char* format, ...) {
    if (level > threshold_.load(std::memory_order_relaxed)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    LogOutput::instance().emit(file, line, module, tag, level, format, arguments);
    va_end(arguments);
}

void Log::write(const char* file, unsigned int line, int module, const char* tag, log_level level,
                const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    LogOutput::instance().emit(file, line, module, tag, level, format, arguments);
    va_end(arguments);
}

void setLogSink(LogSink sink, int maxLevel) {
    LogOutput::instance().set(std::move(sink), maxLevel);
}

}  // namespace Kalt::Vemo::Log
