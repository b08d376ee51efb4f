#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "DatabaseClient.h"
#include "sql/TableSchema.h"

namespace Kalt::Vemo::Tool {

/// A value as a person gives it: in a statement, or in a file that is imported.
struct Literal {
    enum class Kind { kNull, kNumber, kText };

    Kind kind = Kind::kNull;
    std::string text;  // a number as it was written, a text without its quotes
};

/// The form in which the engine stores a value in a column. Statements bind it, so that nothing about a value
/// is left to the engine's leniency:
///
///     INTEGER   a whole number of 64 bits: its decimal digits, -1 being 18446744073709551615
///     REAL      a number: a single-precision number with six significant digits
///     TEXT      any value: its text in single quotes, quotes inside as they are
///     any       NULL
///
/// A text that holds a number is one where a number belongs, and a number is a text where a text belongs.
///
/// Throws: Failure for a value that the column cannot hold, and for a text that the format of the table's
/// file cannot hold ("~", a line feed, a NUL byte).
std::string storedLiteral(const Column& column, const Literal& literal);

/// What binds a stored form to a "?" in a list of values. Throws: std::invalid_argument.
Core::Database::Value boundForm(const Column& column, const std::string& stored);

/// The value that a stored cell shows: INTEGER is signed.
std::string shownValue(const Column& column, const std::string& cell);

/// A whole text as a number: INTEGER, signed or unsigned, in its 64 bits; REAL, also an infinite one. Nothing
/// for any other text.
std::optional<std::uint64_t> wholeNumber(const std::string& text);
std::optional<double> realNumber(const std::string& text);

/// The fewest digits that read back as the same number, without a point where none is needed, and without an
/// exponent unless the number is very large or small.
std::string shortestDigits(double number);

/// Whether a cell of the column can stand as a number in JSON or SQL text.
bool isShownAsNumber(const Column& column, const std::string& shown);

}  // namespace Kalt::Vemo::Tool
