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

std::string summaryOf(const Findings& findings) {
    if (findings.empty()) {
        return {};
    }
    const Finding& first = findings.front();
    const std::size_t more = findings.size() - 1;
    return printable(first.file) + ":" + std::to_string(first.line) + ": " + first.text +
           (more == 0 ? "" : " (and " + counted(more, "more finding") + ")");
}

std::string warningOf(const std::string& table, const std::string& summary) {
    return summary.empty() ? "" : "table " + table + " is damaged: " + summary + "; run filedb check";
}

}  // namespace Kalt::Vemo::Tool
