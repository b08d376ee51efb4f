#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "FuzzDirectory.h"

// What the targets share: how they take an input apart, and how they tell a finding.
namespace Kalt::Vemo::Fuzz {

/// What libFuzzer hands over.
std::string_view textOf(const std::uint8_t* data, std::size_t size);

/// The pieces of an input between form feeds.
std::vector<std::string_view> piecesOf(std::string_view input);

/// The files of a database directory: each piece of the input is one, its first byte names it, a later one of
/// the same name counts.
///
///     j           the journal
///     t, u, v     the tables of these names
///     T, U, V     their working copies
///
/// A piece with another first byte is left out.
Files databaseFilesOf(std::string_view input);

/// Whether a name in the text can lead out of the database's directory. Such an input is not run.
bool leadsElsewhere(std::string_view text);

/// Sends the library's log nowhere.
void silenceLog();

/// Ends the process with the text, so that libFuzzer keeps the input.
[[noreturn]] void finding(const std::string& text);

/// The same unless the condition holds.
void require(bool condition, const char* text);

/// A text for a finding: other than printable bytes as \xNN.
std::string shown(std::string_view text);

/// Files for a finding.
std::string shown(const Files& files);

}  // namespace Kalt::Vemo::Fuzz
