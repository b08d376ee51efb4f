#include "check/UnfinishedCommit.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

#include "TableFormat.h"
#include "check/DirectoryExamination.h"
#include "console/ExitStatus.h"
#include "files/EntryName.h"
#include "files/RawFile.h"
#include "files/Snapshot.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;

namespace {

bool hasWorkingCopy(const std::string& directory) {
    try {
        const std::vector<std::string> names = entriesOf(directory);
        return std::any_of(names.begin(), names.end(), [](const std::string& name) {
            return EntryName::of(name).kind == EntryName::Kind::kCopy;
        });
    } catch (const std::system_error&) {
        return true;  // the closer look tells the cause
    }
}

}  // namespace

UnfinishedCommit::UnfinishedCommit(const std::string& directory) {
    std::error_code ignored;
    if (!std::filesystem::is_directory(directory, ignored)) {
        return;
    }
    const std::string journal = RawFile::read(pathIn(directory, kJournalName)).text;
    if (journal.rfind(kCopyingState, 0) != 0 && !hasWorkingCopy(directory)) {
        return;
    }
    const DirectoryExamination examination(Snapshot::ofLocked(directory));
    tables_ = examination.unfinishedTables();
    isCopying_ = examination.journal().isCopying();
}

void UnfinishedCommit::requireNone(const std::string& directory, const std::string& otherRemedy) const {
    if (tables_.empty() && !isCopying_) {
        return;
    }
    const std::string name = tables_.empty() ? kJournalName : *tables_.begin() + kBackupSuffix;
    throw Trouble(
        pathIn(directory, name) +
        ": a commit was interrupted, and opening the database for changes would lose what it left; run "
        "filedb repair first" +
        otherRemedy);
}

}  // namespace Kalt::Vemo::Tool
