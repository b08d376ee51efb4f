#pragma once

#include <cstddef>
#include <string>

#include "SubscriptionRecord.h"

/// The length of a row's line in its table's file. All sizes are in bytes and include the character that
/// closes the field: "~", or a line feed after the last one.
namespace Kalt::Vemo::Notification {

inline constexpr std::size_t kFieldCloser = 1;
inline constexpr std::size_t kShortestText = 2 + kFieldCloser;   ///< two quotes
inline constexpr std::size_t kShortestField = 1 + kFieldCloser;  ///< a digit

/// The word NULL is stored bare, any other text in quotes.
[[nodiscard]] std::size_t bytesOfText(const std::string& text);

/// The four texts of a record.
[[nodiscard]] std::size_t bytesOfRecord(const SubscriptionRecord& record);

/// An INTEGER column stores unsigned 64-bit numbers: -1 as 18446744073709551615.
[[nodiscard]] std::size_t bytesOfInteger(const std::string& number);

/// A text for a column that the database checks as a number; it refuses any other text.
[[nodiscard]] std::size_t bytesOfTextAsInteger(const std::string& text);

/// Whether a line of so many bytes can be read back. The database calls it for each line.
[[nodiscard]] bool mayStoreLine(std::size_t bytes);

/// Logs that the operation's row is too long.
///
/// @return false
bool refuseLength(const char* operation);

/// As mayStoreLine(), with a line in the log when the answer is no.
[[nodiscard]] bool fits(const char* operation, std::size_t line);

}  // namespace Kalt::Vemo::Notification
