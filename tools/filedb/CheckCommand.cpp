#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "Command.h"
#include "check/DirectoryExamination.h"
#include "check/FindingsReport.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "files/PathArgument.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kFooter =
    R"(Findings are printed one a line, FILE:LINE: error|warning: what is wrong; what repair does
about it. The last line counts them.
An error is damage, or data that the next start of the database would lose. A warning is what sound
software does not leave behind: a working copy, a journal that tells of an unfinished transaction, a
file that is none of the database's. While a process has a transaction open, its working copies and
journal lines are reported as such.

After a broken table definition (lines 1 to 3 of a table file) the records of that table are not examined.

Exit status: 0 nothing found, 1 findings of any kind, 2 wrong usage or a file that could not be read.

Examples:
  filedb check /var/lib/app/subscriptions
  filedb check /var/lib/app/subscriptions_filedb --json | jq '.findings[].text'
)";

void printJson(const std::string& directory, const DirectoryExamination& examination) {
    nlohmann::ordered_json findings = nlohmann::ordered_json::array();
    for (const Finding& finding : examination.findings()) {
        findings.push_back({{"file", printable(directory + "/" + finding.file)},
                            {"line", finding.line},
                            {"severity", severityName(finding.severity)},
                            {"text", finding.text},
                            {"remedy", finding.remedy}});
    }
    const std::size_t errors = examination.errorCount();
    const nlohmann::ordered_json document = {{"directory", printable(directory)},
                                             {"tables", examination.tableCount()},
                                             {"records", examination.recordCount()},
                                             {"errors", errors},
                                             {"warnings", examination.findings().size() - errors},
                                             {"findings", findings}};
    std::cout << document.dump(2) << '\n';
}

int check(const std::string& path, bool json) {
    const PathArgument argument(path);
    argument.requireDirectory();
    const std::string& directory = argument.directory();
    const DirectoryExamination examination(Snapshot::ofLive(directory));
    if (json) {
        printJson(directory, examination);
    } else {
        printFindings(std::cout, directory, examination.findings());
        const std::size_t errors = examination.errorCount();
        std::cout << counted(examination.tableCount(), "table") << ", "
                  << counted(examination.recordCount(), "record") << ": " << counted(errors, "error") << ", "
                  << counted(examination.findings().size() - errors, "warning") << '\n';
    }
    if (!examination.unreadable().empty()) {
        return kTrouble;
    }
    return examination.findings().empty() ? kDone : kFailed;
}

}  // namespace

void addCheckCommand(CLI::App& app, int& status) {
    CLI::App* const command = app.add_subcommand("check", "Tell what is wrong with the files of a database");
    const auto path = std::make_shared<std::string>();
    const auto json = std::make_shared<bool>(false);
    addPath(*command, *path);
    command->add_flag("--json", *json, "print one JSON document");
    command->footer(kFooter);
    command->callback(
        [path, json, &status] { status = runCommand("check", [&] { return check(*path, *json); }); });
}

}  // namespace Kalt::Vemo::Tool
