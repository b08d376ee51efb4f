#pragma once

#include <optional>
#include <string>

#include "files/EntryName.h"

namespace Kalt::Vemo::Tool {

/// "INTEGER", "REAL" or "TEXT" for a column's flag number, empty when no statement makes that number: one
/// type, with or without NOT NULL.
std::string typeOfFlag(long flag);

/// The text under which a file holds `value` in a column of this flag number:
///
///     INTEGER   decimal digits of an unsigned 64-bit number
///     REAL      a single-precision number with six significant digits
///     TEXT      in single quotes
///     any       NULL
///
/// @return equal to `value` when that is the stored form; another text when it means the same value beyond
///         doubt (quotes around a number, leading zeros, a text without any quotes); nothing when only a
///         guess could say what was meant
std::optional<std::string> storedForm(long flag, const std::string& value);

/// The stored form of a type in words, for a message.
std::string describeStoredForm(long flag);

}  // namespace Kalt::Vemo::Tool
