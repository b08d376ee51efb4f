#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Kalt::Vemo::Tool {

/// What is wrong at one place of a database directory.
struct Finding {
    enum class Severity { kError, kWarning };

    std::string file;      // name of the entry in the database directory, as it is on the disk
    std::size_t line = 1;  // counted from 1; 1 also for what concerns the file as a whole
    Severity severity = Severity::kError;
    std::string text;    // printable: hostile bytes are escaped
    std::string remedy;  // what repair does about it, or what a person can do
};

using Findings = std::vector<Finding>;

/// How a line of a file is named.
inline std::string lineOf(const std::string& file, std::size_t line) {
    return file + ":" + std::to_string(line);
}

/// What repair does, for a finding.
namespace Remedy {
inline constexpr const char* kMends = "repair mends it";
inline constexpr const char* kRejects = "repair sets the line aside";
inline constexpr const char* kSetsAside = "repair sets the file aside";
inline constexpr const char* kResets = "repair resets the journal";
}  // namespace Remedy

}  // namespace Kalt::Vemo::Tool
