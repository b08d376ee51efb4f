#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Command.h"
#include "TableFormat.h"
#include "console/ExitStatus.h"
#include "files/ReadOnlyCopy.h"
#include "transfer/DatabaseUse.h"
#include "transfer/DumpFormat.h"
#include "transfer/SoundTable.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kFooter =
    R"(The dump is text of JSON lines: a line for each table's definition, a line for each of its rows, and a last
line with the numbers of both. filedb load makes of it files that are equal to the originals, byte for byte,
ROWIDs included. Texts that are not valid UTF-8 stand as {"hex":"..."}.

A table that is not sound is refused; filedb repair mends it.

Examples:
  filedb dump /var/lib/app/subscriptions > subscriptions.dump
  filedb dump /var/lib/app/subscriptions | diff yesterday.dump -
)";

int dump(const std::string& pathText) {
    LogListener log;
    const PathArgument path(pathText);
    const ReadOnlyCopy copy(path);
    recoverDatabase(copy.path().base(), path.directory(), log);
    const std::string& directory = copy.path().directory();
    std::vector<StoredTable> tables;
    for (const std::string& name : tableNames(directory, Core::Database::Filedb::kTableSuffix)) {
        tables.emplace_back(directory, name);
        if (const std::optional<Unsoundness> unsound = unsoundnessOf(directory, tables.back())) {
            throw Failure(unsound->text);
        }
    }
    writeDump(std::cout, tables);
    return kDone;
}

}  // namespace

void addDumpCommand(CLI::App& app, int& status) {
    CLI::App* const command = app.add_subcommand("dump", "Write all tables as text that load reads");
    const auto path = std::make_shared<std::string>();
    addPath(*command, *path);
    command->footer(kFooter);
    command->callback([path, &status] { status = runCommand("dump", [&] { return dump(*path); }); });
}

}  // namespace Kalt::Vemo::Tool
