#pragma once

#include <exception>
#include <string>

#include "DatabaseExport.h"

namespace Kalt::Vemo::Core::Database {

/// The one exception type of the database engine.
///
/// Statements report their failures through return values and the log; the only calls from which a client
/// sees this exception are the getters of `IResultTable`.
///
/// An object never changes after construction, so it may be read from several threads.
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
    /// @param function name of the function that raises the error
    /// @param line     source line of the throw statement
    /// @param format   printf format of the text; text beyond 1022 characters is cut off
    DatabaseException(std::string function, int line, const char* format, ...)
        __attribute__((format(printf, 4, 5)));

    ~DatabaseException() override;

    /// The message, valid as long as the exception.
    const char* what() const noexcept override;

private:
    std::string message_;
};

}  // namespace Kalt::Vemo::Core::Database
