#include "check/FindingsReport.h"

#include "console/Printable.h"

namespace Kalt::Vemo::Tool {

const char* severityName(Finding::Severity severity) {
    return severity == Finding::Severity::kError ? "error" : "warning";
}

void printFindings(std::ostream& out, const std::string& directory, const Findings& findings) {
    for (const Finding& finding : findings) {
        out << printable(directory + "/" + finding.file) << ':' << finding.line << ": "
            << severityName(finding.severity) << ": " << finding.text << (finding.remedy.empty() ? "" : "; ")
            << finding.remedy << '\n';
    }
}

}  // namespace Kalt::Vemo::Tool
