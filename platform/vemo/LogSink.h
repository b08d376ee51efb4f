#pragma once

#include <functional>

#include "LogExport.h"

namespace Kalt::Vemo::Log {

/// One message on its way to a sink. The texts are valid during the sink's call only; none is null.
struct LogMessage {
    const char* file;   ///< source file of the statement that wrote the message
    unsigned int line;  ///< source line of that statement
    int module;         ///< number of the module that wrote
    const char* tag;    ///< name of the class that wrote
    int level;          ///< a log_level's number: -2 error, 0 information, 1 trace
    const char* text;   ///< the whole text; a line feed at its end is kept
};

/// Takes messages in place of standard error. It may be called by several threads at once, must not throw,
/// and may itself log or call `setLogSink`.
using LogSink = std::function<void(const LogMessage&)>;

/// Sends every message with a level of at most `maxLevel` to `sink`, and no other message anywhere.
///
/// @param sink     what takes the messages; an empty one restores standard error with the threshold that
///                 `VEMO_LOG_LEVEL` gives
/// @param maxLevel the largest level that goes to the sink; without a meaning for an empty one
///
/// Threads: may be called at any time from any thread. A message that another thread is writing at that
/// moment may still reach the earlier sink after the call returned, so what that sink refers to must outlive
/// it.
///
/// For tools and tests that run on the host edition of the platform; a device's log has no sinks.
///
///     setLogSink([](const LogMessage& message) { std::fputs(message.text, stdout); }, log_error);
VEMO_LOG_EXPORT void setLogSink(LogSink sink, int maxLevel);

}  // namespace Kalt::Vemo::Log
