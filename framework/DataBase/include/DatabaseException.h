#pragma once

#include <exception>
#include <string>

#include "DatabaseExport.h"

namespace Kalt::Vemo::Core::Database {

/// The one exception type of the database engine.
///
/// Statements report their failures through return values and the log; the only calls of the library from
/// which a client sees this exception are the getters of `IResultTable`. `DatabaseClient`, which a program
/// compiles in, passes these on and throws one of its own for a query that failed.
///
/// Ownership: it holds a copy of its message. Threads: an object never changes after construction, so several
/// threads may read it.
///
///     try {
///         value = result->getInt("count");
///     } catch (const DatabaseException& error) {
///         std::fputs(error.what(), stderr);   // "getColumnLabelIndex::141 ->ResultSet Error: ...\n"
///     }
class VEMO_DATABASE_EXPORT DatabaseException : public std::exception {
public:
    /// Builds the message: `function`, "::", `line` in decimal, " ->", the formatted text, a line feed.
    ///
    /// @param function label of the error, fixed for clients; often, but not always, the raising function's
    ///                 name
    /// @param line     source line of the throw statement
    /// @param format   printf format of the text, not null; text beyond 1022 bytes is cut off
    DatabaseException(std::string function, int line, const char* format, ...)
        __attribute__((format(printf, 4, 5)));

    ~DatabaseException() override;

    /// Tells what went wrong.
    /// @return the message, valid as long as the exception
    const char* what() const noexcept override;

private:
    std::string message_;
};

}  // namespace Kalt::Vemo::Core::Database
