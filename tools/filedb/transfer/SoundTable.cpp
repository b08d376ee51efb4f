#include "transfer/SoundTable.h"

#include "TableFormat.h"
#include "check/FindingsReport.h"
#include "check/TableExamination.h"
#include "console/Printable.h"
#include "files/RawFile.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;

std::optional<Unsoundness> unsoundnessOf(const std::string& directory, const StoredTable& table) {
    const std::string& name = table.schema().name;
    const TableExamination examination(name + kTableSuffix, table.text());
    if (!examination.isSound()) {
        const Finding& first = examination.findings().front();
        const std::size_t more = examination.findings().size() - 1;
        const bool isOfDefinition = !examination.hasSoundDefinition();
        const std::string text = "table " + name + " is not sound: " + first.file + ":" +
                                 std::to_string(first.line) + ": " + first.text +
                                 (more > 0 ? ", and " + counted(more, "finding") + " more" : "") +
                                 "; filedb repair " + (isOfDefinition ? "sets it aside" : "mends it");
        return Unsoundness{text, isOfDefinition};
    }
    const RawFile copy = RawFile::read(directory + "/" + name + kBackupSuffix);
    if (copy.exists() && copy.text != table.text()) {
        return Unsoundness{"table " + name + " has a working copy from a crash, " + name + kBackupSuffix +
                           ", which may hold newer rows; filedb repair settles that"};
    }
    return std::nullopt;
}

std::string damageWarning(const std::string& directory, const StoredTable& table) {
    const std::string& name = table.schema().name;
    const TableExamination examination(directory + "/" + name + kTableSuffix, table.text());
    return warningOf(name, summaryOf(examination.findings()));
}

}  // namespace Kalt::Vemo::Tool
