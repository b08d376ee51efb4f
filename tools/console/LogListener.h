#pragma once

#include <fstream>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "LogSink.h"

namespace Kalt::Vemo::Tool {

/// The text of an error of the database, without the names of functions and line numbers before it.
std::string readableError(std::string_view text);

/// Listens to the log while it lives, because the database tells most failures there and nowhere else. Each
/// of several hears everything. Its calls may come from any thread.
class LogListener {
public:
    /// Error lines that belong to work going well.
    enum class Harmless {
        kCopies,            ///< the line that ends every copy of a table
        kCopiesAndOpenings  ///< also that of the statement that every opening of a store sends to be refused
    };

    explicit LogListener(Harmless harmless = Harmless::kCopies);
    ~LogListener();
    LogListener(const LogListener&) = delete;
    LogListener& operator=(const LogListener&) = delete;

    /// The errors since the last call, as a person wants to read them: without the names of functions and
    /// line numbers, and without the harmless ones.
    std::vector<std::string> takeErrors();

    /// Also copies every message to the file. Throws: Trouble when it cannot be opened.
    void copyTo(const std::string& fileName);
    void stopCopying();

private:
    static void hand(const Log::LogMessage& message);
    static void listen();
    void setLevel(int maxLevel);
    bool isHarmless(std::string_view error) const;
    void take(const Log::LogMessage& message);

    const Harmless harmless_;
    std::mutex mutex_;
    std::vector<std::string> errors_;
    std::ofstream copy_;
    int maxLevel_;
};

}  // namespace Kalt::Vemo::Tool
