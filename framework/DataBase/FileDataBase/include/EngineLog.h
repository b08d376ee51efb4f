#pragma once

#include "Log.h"

/// How the engine writes to the platform's log: module 24, one of four fixed tags, three levels.
/// The tags are "FileDatabase", "FileResultTable", "WhereClause" and "Utils"; a class that has none of its
/// own logs under that of the class it works for.
namespace Kalt::Vemo::Core::Database::Filedb {

inline constexpr int kLogModule = 24;

// The numbers of the levels are fixed; their names are the device's own.
inline constexpr auto kLogError = static_cast<Log::log_level>(-2);
inline constexpr auto kLogInfo = static_cast<Log::log_level>(0);
inline constexpr auto kLogTrace = static_cast<Log::log_level>(1);

}  // namespace Kalt::Vemo::Core::Database::Filedb

/// Logs under the tag kLogTag of the including source file. The arguments are a printf format and its values.
#define FILEDB_LOG(level, ...) \
    ::Kalt::Vemo::Log::Log::log(__FILE__, __LINE__, kLogModule, kLogTag, level, __VA_ARGS__)
