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
    if (copy_.isStill(table.known.identity())) {
        copy_.distrust();
        holdsText_ = false;
        return std::move(version_);
    }
    holdsText_ = false;
    // How this content differs from the table's own file is not known.
    original_ = {};
    return TableVersion(table.file.readWhole(table.known.identity()));
}

void PendingTable::write(File copy, const Difference& difference, TableVersion version) {
    try {
        copy.overwrite(version.text.view(), difference);
        copy_ = KnownFile::left(copy);
        copy.close();
    } catch (...) {
        copy_.distrust();
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
    copy.overwrite(version_.text.view());
    const KnownFile written = KnownFile::left(copy);
    copy.close();
    copy_ = written;
    onDisk_ = true;
}

void PendingTable::copyWasWritten(const FileIdentity& copy) {
    if (copy_.identity().sameFile(copy)) {
        copy_.distrust();
    }
}

void PendingTable::tableWasWritten(const FileIdentity& table) {
    if (original_.known.identity().sameFile(table)) {
        original_.known.distrust();
    }
}

void PendingTable::distrustCopy() {
    copy_.distrust();
    onDisk_ = onDisk_ && !holdsText_;
}

KnownFile PendingTable::copyOver(const std::string& copyName, const std::string& tableName, bool isRetry) {
    const FileIdentity copyNow = FileIdentity::of(copyName);
    const bool isMissing = !copyNow.isFile();
    if (copy_.isStill(copyNow) || (isMissing && holdsText_ && (isRetry || torn_))) {
        return copyFromMemory(tableName);
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
    return {};
}

KnownFile PendingTable::copyFromMemory(const std::string& tableName) {
    OpenTable original = std::move(original_);
    original_ = {};
    const FileIdentity tableNow = FileIdentity::of(tableName);
    if (original.known.isStill(tableNow)) {
        File::logUse(tableName, "r+");
        torn_ = true;
        original.file.overwrite(version_.text.view(), difference_, tableNow);
    } else {
        original.file = File::openForOverwrite(tableName);
        original.file.requireRegular();
        torn_ = true;
        original.file.overwrite(version_.text.view());
    }
    FileUtils::logEndOfCopy();
    const KnownFile left = KnownFile::left(original.file);
    original.file.close();
    torn_ = false;
    return left;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
