#pragma once

#include <ostream>
#include <string>

#include "Finding.h"

namespace Kalt::Vemo::Tool {

const char* severityName(Finding::Severity severity);

/// One line a finding: FILE:LINE: error|warning: text.
void printFindings(std::ostream& out, const std::string& directory, const Findings& findings);

/// Throws: Trouble when the output did not take everything.
void requireWritten(std::ostream& out);

}  // namespace Kalt::Vemo::Tool
