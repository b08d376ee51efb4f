#include "transfer/SoundTable.h"

#include "TableFormat.h"
#include "check/TableExamination.h"
#include "console/Printable.h"
#include "files/RawFile.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;

std::string describeUnsound(const std::string& directory, const StoredTable& table) {
    const std::string& name = table.schema().name;
    const TableExamination examination(name + kTableSuffix, table.text());
    if (!examination.isSound()) {
        const Finding& first = examination.findings().front();
        const std::size_t more = examination.findings().size() - 1;
        return "table " + name + " is not sound: " + first.file + ":" + std::to_string(first.line) + ": " +
               first.text + (more > 0 ? ", and " + counted(more, "finding") + " more" : "") +
               "; filedb repair mends it";
    }
    const RawFile copy = RawFile::read(directory + "/" + name + kBackupSuffix);
    if (copy.exists() && copy.text != table.text()) {
        return "table " + name + " has a working copy from a crash, " + name + kBackupSuffix +
               ", which may hold newer rows; filedb repair settles that";
    }
    return {};
}

}  // namespace Kalt::Vemo::Tool
