#pragma once

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "sql/Literals.h"

namespace Kalt::Vemo::Tool {

/// A value of a file that is imported, and the line where it begins.
struct ImportedField {
    std::string column;
    Literal literal;
    std::size_t line;
};

/// One row of the file.
struct ImportedRow {
    std::size_t line;
    std::vector<ImportedField> fields;
};

using TakeRow = std::function<void(const ImportedRow&)>;

/// Takes the names of the columns where a file has them once for all its rows, before the first of these.
using TakeHeading = std::function<void(std::size_t line, const std::vector<std::string>& names)>;

/// What is wrong with the file, and in which line.
class ImportError : public std::runtime_error {
public:
    ImportError(std::size_t line, const std::string& text) : std::runtime_error(text), line_(line) {}

    std::size_t line() const { return line_; }

private:
    std::size_t line_;
};

}  // namespace Kalt::Vemo::Tool
