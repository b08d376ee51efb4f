#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>
#include <vector>

namespace Kalt::Vemo::Core::Database::Filedb {

/// The values of a statement's placeholders: one for each "?" of its text, in their order.
using Values = std::vector<std::string>;

namespace BoundValues {

/// How many "?" the raw text has, also inside literals.
[[nodiscard]] std::size_t countPlaceholders(const std::string& sql);

/// As many arguments as there are placeholders; a null pointer becomes the word NULL.
[[nodiscard]] Values collect(std::size_t placeholderCount, va_list arguments);

/// The value as a statement's text has it: in quotes for '?', bare for ?, and the word NULL always bare.
/// Quotes inside the value are not doubled: the reader of the literal decides where it ends.
///
/// @param isQuoted whether the placeholder is '?'
[[nodiscard]] std::string written(const std::string& value, bool isQuoted);

/// What written() gives for the placeholder `holder` of an INSERT or a SET, which is ? or '?'.
///
/// @param index position of the placeholder in its statement
/// Throws: DatabaseException "Not provided value for value Holder: %s" and "Invalid value for value holder
/// String: (%s)".
[[nodiscard]] std::string textFor(const std::string& holder, const Values& values, unsigned int index);

}  // namespace BoundValues

}  // namespace Kalt::Vemo::Core::Database::Filedb
