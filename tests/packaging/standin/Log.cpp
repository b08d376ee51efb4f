#include "Log.h"

#include <cstdarg>
#include <cstdio>

namespace Kalt::Vemo::Log {

void Log::log(const char*, unsigned int, int module, const char* tag, log_level level, const char* format,
              ...) {
    if (level > LEVEL_FAILURE) {
        return;
    }
    static_cast<void>(std::fprintf(stderr, "[%d %s] ", module, tag));
    va_list arguments;
    va_start(arguments, format);
    static_cast<void>(std::vfprintf(stderr, format, arguments));
    va_end(arguments);
    static_cast<void>(std::fputc('\n', stderr));
}

}  // namespace Kalt::Vemo::Log
