#pragma once

#include <string>

#include "Log.h"

/// How the store writes to the platform's log: module 16, its class's name as the tag.
namespace Kalt::Vemo::Notification {

inline constexpr int kLogModule = 16;
inline constexpr const char* kLogTag = "FileSubscriptionDatabase";

// The numbers of the levels are fixed; their names are the device's own.
inline constexpr auto kLogError = static_cast<Log::log_level>(-2);

/// The message has the source line of the call.
inline void logError(const std::string& text, const char* file = __builtin_FILE(),
                     unsigned int line = static_cast<unsigned int>(__builtin_LINE())) {
    Log::Log::log(file, line, kLogModule, kLogTag, kLogError, "%s", text.c_str());
}

}  // namespace Kalt::Vemo::Notification
