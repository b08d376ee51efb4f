#pragma once

#include <cstddef>
#include <string>

#include "SubscriptionRecord.h"

/// How long the line of a row is in its table's file: its fields, each closed by "~" or, the last one, by a
/// line feed. All sizes are in bytes and include the character that closes the field.
namespace Kalt::Vemo::Notification {

inline constexpr std::size_t kFieldCloser = 1;
inline constexpr std::size_t kShortestText = 2 + kFieldCloser;   ///< two quotes
inline constexpr std::size_t kShortestField = 1 + kFieldCloser;  ///< a digit

/// The word NULL is stored bare, any other text in quotes.
std::size_t bytesOfText(const std::string& text);

/// The four texts of a record.
std::size_t bytesOfRecord(const SubscriptionRecord& record);

/// An INTEGER column keeps numbers as unsigned 64-bit ones: -1 is stored as 18446744073709551615.
std::size_t bytesOfInteger(const std::string& number);

/// A text that the database checks and stores as a number; it refuses what is not one.
std::size_t bytesOfTextAsInteger(const std::string& text);

/// Whether a line of so many bytes can be read back. For the database, which asks about each line.
bool mayStoreLine(std::size_t bytes);

/// Logs that the operation's row is too long.
///
/// @return false
bool refuseLength(const char* operation);

/// Whether a line of so many bytes can be read back; says in the log when not.
bool fits(const char* operation, std::size_t line);

}  // namespace Kalt::Vemo::Notification
