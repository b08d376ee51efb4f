#include "PendingTable.h"

#include <utility>

#include "FileUtils.h"
#include "Journal.h"

namespace Kalt::Vemo::Core::Database::Filedb {

PendingTable::PendingTable(signed char operation, OpenTable original)
    : operation_(operation), original_(std::move(original)) {}

void PendingTable::drop() {
    *this = PendingTable(kDropOperation);
}

TableVersion PendingTable::take(const OpenTable& table) {
    if (table.identity == copy_) {
        copy_ = {};
        return std::move(version_);
    }
    // How this content differs from the table's own file, nobody has seen.
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
            onDisk_ = false;
        }
        throw;
    }
    version_ = std::move(version);
    version_.undo.reset();
    difference_ = difference_.with(version_.difference);
    onDisk_ = true;
}

void PendingTable::restore(const std::string& copyName) {
    File copy = File::openForOverwrite(copyName);
    const FileIdentity written = copy.overwrite(version_.text.view());
    copy.close();
    copy_ = written;
    onDisk_ = true;
}

void PendingTable::copyOver(const std::string& copyName, const std::string& tableName) {
    if (FileIdentity::of(copyName) == copy_) {
        copyFromMemory(tableName);
        return;
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
