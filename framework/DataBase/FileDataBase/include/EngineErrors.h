#pragma once

#include <string>

#include "DatabaseException.h"

/// The errors that several places of the engine raise: each text with its fixed label, once. The source line
/// in a message is the one that calls the function, which is that of the `throw`.
namespace Kalt::Vemo::Core::Database::Filedb {

/// The operating system refused a call: what the statement was to store is not stored, or may not be.
class SystemRefusal : public DatabaseException {
public:
    /// @param function label of the error, as for DatabaseException
    SystemRefusal(const char* function, int line, const std::string& text)
        : DatabaseException(function, line, "%s", text.c_str()) {}
};

/// The statement's own content cannot be stored.
class ContentRefusal : public DatabaseException {
public:
    ContentRefusal(const char* function, int line, const std::string& text)
        : DatabaseException(function, line, "%s", text.c_str()) {}
};

/// A file cannot be opened, or is no regular file.
[[nodiscard]] SystemRefusal openError(int line = __builtin_LINE());

[[nodiscard]] SystemRefusal readError(int line = __builtin_LINE());

/// There is no stream to write to, or its end cannot be found.
[[nodiscard]] SystemRefusal seekError(int line = __builtin_LINE());

/// Names the cause in `errno`: to be called right after the call that failed.
[[nodiscard]] SystemRefusal writeError(int line = __builtin_LINE());

/// A record lacks a field that the statement needs.
[[nodiscard]] DatabaseException shortRecordError(const char* function, int line = __builtin_LINE());

}  // namespace Kalt::Vemo::Core::Database::Filedb
