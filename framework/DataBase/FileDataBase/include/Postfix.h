#pragma once

#include <string>
#include <vector>

/// Converts the text of a condition to words in postfix form.
///
/// Throws: DatabaseException, where a function says so.
namespace Kalt::Vemo::Core::Database::Filedb::Postfix {

/// The words of the condition that begins at `first`, with values in the place of its "?" and "'?'".
///
/// @param valueIndex index in `values` of the value for the first placeholder
/// Throws: "Syntax Error: passed values less than required values in where clause".
[[nodiscard]] std::vector<std::string> words(const std::string& statement, unsigned int first,
                                             unsigned int valueIndex, const std::vector<std::string>& values);

/// Appends the words to `postfix`, operators after their operands.
///
/// Throws: "DB Syntax Error: No matching bracket for ')'", "DB Syntax Error: Stack contains the '(' bracket
/// at end..')'", and operatorOrOperand's errors; what was appended before stays.
void append(std::vector<std::string> words, std::vector<std::string>& postfix);

}  // namespace Kalt::Vemo::Core::Database::Filedb::Postfix
