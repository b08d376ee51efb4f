#include "PendingTable.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "EngineErrors.h"
#include "FileUtils.h"
#include "Replacement.h"
#include "TableFormat.h"

namespace Kalt::Vemo::Core::Database::Filedb {

PendingTable::PendingTable(const KnownFile::Memory& files, Operation operation, OpenTable original)
    : files_(&files), operation_(operation), original_(std::move(original)) {}

std::unique_ptr<PendingTable> PendingTable::found(const KnownFile::Memory& files, Operation operation) {
    auto table = std::make_unique<PendingTable>(files, operation);
    table->isFound_ = true;
    return table;
}

void PendingTable::drop() {
    *this = PendingTable(*files_, Operation::dropTable);
}

TableVersion PendingTable::take(const OpenTable& table) {
    if (holdsText_ && copy_.isStill(table.known.identity())) {
        copy_.distrust();
        holdsText_ = false;
        return std::move(version_);
    }
    holdsText_ = false;
    // How this content differs from the table's own file is not known.
    original_ = {};
    return TableVersion(table.file.readWhole(table.known.identity()));
}

TableVersion* PendingTable::known(const KnownFile& file) {
    return holdsText_ && copy_.isStill(file.identity()) ? &version_ : nullptr;
}

TableVersion PendingTable::takeText() {
    table_.distrust();
    holdsText_ = false;
    return std::move(version_);
}

void PendingTable::write(File copy, const Difference& difference, TableVersion version) {
    table_ = {};
    try {
        copy_ = overwrite(copy, version.text.view(), difference);
        copy.close();
    } catch (...) {
        copy_.distrust();
        synced_ = false;
        if (version.undo && !done_) {
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
    done_ = false;
    synced_ = false;
}

// The look at the file that belongs to its mark shows, too, whether more was in it than `oldSize` tells.
KnownFile PendingTable::overwrite(File& file, std::string_view text, const Difference& difference,
                                  long long oldSize) const {
    const auto size = static_cast<long long>(text.size());
    file.write(text, difference);
    if (oldSize > size) {
        file.truncate(text.size());
    }
    const KnownFile left = files_->left(file);
    if (left.identity().size == size) {
        return left;
    }
    file.truncate(text.size());
    return files_->left(file);
}

void PendingTable::restore(const std::string& copyName, bool anew) {
    File copy = anew ? File::makeAnew(copyName) : File::openForOverwrite(copyName);
    if (anew) {
        adopt(copy);
    }
    const KnownFile written = overwrite(copy, version_.text.view(), {});
    copy.close();
    copy_ = written;
    onDisk_ = true;
    synced_ = false;
}

bool PendingTable::prepare(const std::string& copyName, const std::string& target, bool isRetry) {
    if (isRetry && holdsText_ && !FileIdentity::ofName(copyName).isFile()) {
        restore(copyName, true);
    }
    File copy = File::openNoLink(copyName);
    if (!copy && errno == ENOENT) {
        return false;
    }
    if (isFound_) {
        source_ = FileIdentity::ofName(copyName);
    }
    std::string name = copyName;
    const FileIdentity now = copy ? copy.status() : FileIdentity{};
    if (!made_.sameFile(now) || !copy_.isStill(now)) {
        copy = copyAnew(copyName);
        name += kNewSuffix;
    }
    try {
        Replacement::giveAttributes(copy, target);
        if (!synced_) {
            copy.sync();
        }
        if (name != readyName(copyName) && std::rename(name.c_str(), copyName.c_str()) != 0) {
            throw writeError();
        }
    } catch (...) {
        if (name != copyName) {
            static_cast<void>(unlink(name.c_str()));
        } else if (!synced_) {
            distrustCopy();
        }
        throw;
    }
    synced_ = true;
    const FileIdentity left = copy.status();
    if (name != copyName) {
        copy_ = files_->left(copy);
        adopt(copy);
    } else if (!copy_.isStill(left)) {
        copy_ = copy_.withStatus(left);
        adopt(copy);
    }
    return true;
}

// What takes the table's place when it is prepared.
std::string PendingTable::readyName(const std::string& copyName) const {
    return isFound_ ? copyName + kNewSuffix : copyName;
}

// The caller puts the new file in the working copy's place when it is on the disk: until then that may be all
// there is.
File PendingTable::copyAnew(const std::string& copyName) {
    holdsText_ = false;
    synced_ = false;
    File source = File::openQuietly(copyName);
    if (!source) {
        source = File::open(copyName, "r+");
    }
    source.requireRegular();
    const std::string fresh = copyName + kNewSuffix;
    static_cast<void>(unlink(fresh.c_str()));
    File copy = File::makeNew(fresh);
    if (!copy) {
        throw writeError();
    }
    try {
        FileUtils::overwriteSilently(std::move(copy), std::move(source));
    } catch (...) {
        static_cast<void>(unlink(fresh.c_str()));
        throw;
    }
    copy = File::openNoLink(fresh);
    if (!copy) {
        throw openError();
    }
    return copy;
}

void PendingTable::shareCopy(const PendingTable& other) {
    made_ = other.made_;
    source_ = other.source_;
    copy_ = other.copy_;
    synced_ = other.synced_;
    holdsText_ = false;
}

KnownFile PendingTable::replace(const std::string& copyName, const std::string& target) {
    const std::string name = readyName(copyName);
    const bool isPrepared = made_.sameFile(FileIdentity::ofName(name));
    File copy;
    if (!holdsText_ || !isPrepared) {
        copy = File::open(copyName, "r+");
    }
    if (!isPrepared) {
        throw openError();
    }
    Replacement::requireWritable(target);
    if (copy) {
        FileUtils::logCopyOf(std::move(copy));
    } else {
        File::logWrite(version_.text.view());
        FileUtils::logEndOfCopy();
    }
    Replacement::replace(name, target);
    const KnownFile left = holdsText_ ? copy_.withStatus(FileIdentity::ofName(target)) : KnownFile();
    TableVersion version = std::move(version_);
    becomeDone();
    version_ = std::move(version);
    table_ = left;
    return left;
}

void PendingTable::becomeDone() {
    const bool isFound = isFound_;
    *this = PendingTable(*files_, operation_);
    isFound_ = isFound;
    done_ = true;
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
    if (table_.identity().sameFile(table)) {
        table_.distrust();
    }
}

void PendingTable::distrustCopy() {
    copy_.distrust();
    onDisk_ = onDisk_ && !holdsText_;
}

KnownFile PendingTable::copyOver(const std::string& copyName, const std::string& tableName, bool isRetry) {
    table_ = {};
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
    const FileIdentity now = FileIdentity::of(tableName);
    const bool isKnown = original.known.isStill(now);
    if (original.known.identity().sameFile(now)) {
        File::logUse(tableName, "r+");
    } else {
        original.file = File::openForOverwrite(tableName);
        original.file.requireRegular();
    }
    torn_ = true;
    const KnownFile left =
        overwrite(original.file, version_.text.view(), isKnown ? difference_ : Difference(), now.size);
    FileUtils::logEndOfCopy();
    original.file.close();
    torn_ = false;
    table_ = left;
    return left;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
