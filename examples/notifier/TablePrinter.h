#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace Notifier {

/// The text with control characters and bytes that are not UTF-8 written as \n, \t or \x1b, so that what came
/// from outside cannot disturb the terminal. A backslash is written \\.
std::string printable(const std::string& text);

/// Prints a heading and rows in aligned columns; numbers at the right, all else at the left.
void printTable(std::ostream& out, const std::vector<std::string>& heading,
                const std::vector<std::vector<std::string>>& rows);

}  // namespace Notifier
