#include "PendingTable.h"

#include <utility>

#include "FileUtils.h"

namespace Kalt::Vemo::Core::Database::Filedb {

PendingTable::PendingTable(Operation operation, OpenTable original)
    : operation_(operation), original_(std::move(original)) {}

void PendingTable::drop() {
    *this = PendingTable(Operation::dropTable);
}

TableVersion PendingTable::take(const OpenTable& table) {
    if (table.identity == copy_) {
        copy_ = {};
        holdsText_ = false;
        return std::move(version_);
    }
    holdsText_ = false;
    // How this content differs from the table's own file is not known.
    original_ = {};
    return TableVersion(table.file.readWhole(table.identity));
}

void PendingTable::write(File copy, const Difference& difference, TableVersion version) {
    try {
        copy_ = copy.overwrite(version.text.view(), difference);
        copy.close();
    } catch (...) {
        copy_ = {};
        if (version.undo) {
            version_ = TableVersion(std::move(version).previous());
            holdsText_ = true;
            onDisk_ = false;
        }
        throw;
    }
    version_ = std::move(version);
    version_.undo.reset();
    difference_ = difference_.with(version_.difference);
    holdsText_ = true;
    onDisk_ = true;
}

void PendingTable::restore(const std::string& copyName) {
    File copy = File::openForOverwrite(copyName);
    const FileIdentity written = copy.overwrite(version_.text.view());
    copy.close();
    copy_ = written;
    onDisk_ = true;
}

void PendingTable::distrustCopy() {
    copy_ = {};
    onDisk_ = onDisk_ && !holdsText_;
}

void PendingTable::copyOver(const std::string& copyName, const std::string& tableName, bool isRetry) {
    const FileIdentity copyNow = FileIdentity::of(copyName);
    const bool isMissing = !copyNow.isFile();
    if (copyNow == copy_ || (isMissing && holdsText_ && (isRetry || torn_))) {
        copyFromMemory(tableName);
        return;
    }
    if (!isMissing) {
        holdsText_ = false;
    }
    File copy = File::open(copyName, "r+");
    copy.requireRegular();
    File table = File::openForOverwrite(tableName);
    table.requireRegular();
    torn_ = true;
    FileUtils::overwriteFrom(std::move(table), std::move(copy));
    torn_ = false;
}

void PendingTable::copyFromMemory(const std::string& tableName) {
    OpenTable original = std::move(original_);
    original_ = {};
    if (FileIdentity::of(tableName) == original.identity) {
        File::logUse(tableName, "r+");
        torn_ = true;
        original.file.overwrite(version_.text.view(), difference_, original.identity);
    } else {
        original.file = File::openForOverwrite(tableName);
        original.file.requireRegular();
        torn_ = true;
        original.file.overwrite(version_.text.view());
    }
    FileUtils::logEndOfCopy();
    original.file.close();
    torn_ = false;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
