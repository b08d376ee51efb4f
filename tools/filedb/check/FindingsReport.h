#pragma once

#include <ostream>
#include <string>

#include "check/Finding.h"

namespace Kalt::Vemo::Tool {

const char* severityName(Finding::Severity severity);

/// One line a finding: FILE:LINE: error|warning: text; remedy.
void printFindings(std::ostream& out, const std::string& directory, const Findings& findings);

/// The first of the findings, FILE:LINE: text, and how many there are besides; empty without any.
std::string summaryOf(const Findings& findings);

/// What to tell who reads a table with these findings; empty without any.
std::string warningOf(const std::string& table, const std::string& summary);

}  // namespace Kalt::Vemo::Tool
