#pragma once

#include <atomic>

#include "LogExport.h"

namespace Kalt::Vemo::Log {

/// Importance of a message: the lower, the more important. Other values between and around these are valid.
enum log_level : int {
    log_error = -2,       ///< something failed
    log_information = 0,  ///< entry into an operation, notable but normal events
    log_trace = 1         ///< values on their way
};

/// The log of the whole process. Holds nothing of its callers: texts are read during the call only. No call
/// throws or fails towards its caller.
///
/// Messages go to standard error, one line each, or to the sink that LogSink.h sets. The environment variable
/// `VEMO_LOG_LEVEL` (`off`, `error`, `info` or `trace`; `error` when unset) says which ones; it is read once,
/// when it is first needed. Any other value counts as `error` and is reported on standard error.
///
/// Threads: every call may come from any thread at any time, also from constructors and destructors of
/// objects with static lifetime.
///
///     Log::log(__FILE__, __LINE__, 24, "FileDatabase", log_error, "cannot open %s", path.c_str());
class VEMO_LOG_EXPORT Log {
public:
    /// Writes one message. A message that nobody wants to see costs one comparison, and its text is not made.
    ///
    /// @param file   source file of the calling statement (`__FILE__`), not null
    /// @param line   source line of the calling statement
    /// @param module number of the module that writes
    /// @param tag    name of the class that writes, not null
    /// @param level  importance of the message; negative is an error
    /// @param format printf format of the text, of any length; a line feed at the end may be left out
    static void log(const char* file, unsigned int line, int module, const char* tag, log_level level,
                    const char* format, ...) __attribute__((format(printf, 6, 7)));

private:
    friend class LogOutput;

    static void write(const char* file, unsigned int line, int module, const char* tag, log_level level,
                      const char* format, ...) __attribute__((format(printf, 6, 7)));

    /// Messages up to this level are wanted. Starts at the largest value, so that the first message of all
    /// gets as far as the library, which then looks at the environment.
    static std::atomic<int> threshold_;
};

// GCC can hand the variable arguments of an inline function on, so the comparison takes place in the caller.
// `gnu_inline` makes this body a shortcut only: the function itself is in the library, where callers find it
// that another compiler built or that take its address.
#if defined(__GNUC__) && !defined(__clang__) && !defined(VEMO_LOG_OUT_OF_LINE)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // the format was checked where log was called
__attribute__((always_inline, gnu_inline)) inline void Log::log(const char* file, unsigned int line,
                                                                int module, const char* tag, log_level level,
                                                                const char* format, ...) {
    if (level <= threshold_.load(std::memory_order_relaxed)) {
        write(file, line, module, tag, level, format, __builtin_va_arg_pack());
    }
}
#pragma GCC diagnostic pop
#endif

}  // namespace Kalt::Vemo::Log
