#pragma once

#include <ostream>
#include <string>

#include "check/Finding.h"

namespace Kalt::Vemo::Tool {

const char* severityName(Finding::Severity severity);

/// One line a finding: FILE:LINE: error|warning: text; remedy.
void printFindings(std::ostream& out, const std::string& directory, const Findings& findings);

}  // namespace Kalt::Vemo::Tool
