#pragma once

namespace Kalt::Vemo::Log {

enum log_level : int { LEVEL_FAILURE = -2, LEVEL_WARNING = -1, LEVEL_NOTE = 0, LEVEL_DETAIL = 1 };

class Log {
public:
    static void log(const char* file, unsigned int line, int module, const char* tag, log_level level,
                    const char* format, ...) __attribute__((format(printf, 6, 7)));
};

}  // namespace Kalt::Vemo::Log
