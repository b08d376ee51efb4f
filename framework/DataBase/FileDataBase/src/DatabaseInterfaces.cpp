#include <cstdarg>
#include <cstdio>
#include <utility>

#include "DatabaseException.h"
#include "IDatabase.h"
#include "IResultTable.h"

// The interfaces' destructors are defined here, so that each class has one place for its type information and
// programs can catch the library's exceptions by their type.
namespace Kalt::Vemo::Core::Database {

IDatabase::~IDatabase() = default;
IResultTable::~IResultTable() = default;

DatabaseException::DatabaseException(std::string function, int line, const char* format, ...)
    : message_(std::move(function)) {
    // The last byte of the buffer is never used: the text ends after 1022 characters.
    char text[1024] = "";
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text - 1, format, arguments);
    va_end(arguments);
    message_ += "::" + std::to_string(line) + " ->" + (length < 0 ? "" : text) + "\n";
}

DatabaseException::~DatabaseException() = default;

const char* DatabaseException::what() const noexcept {
    return message_.c_str();
}

}  // namespace Kalt::Vemo::Core::Database
