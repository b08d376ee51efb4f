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
    std::string text;  // printable: hostile bytes are escaped
};

using Findings = std::vector<Finding>;

}  // namespace Kalt::Vemo::Tool
