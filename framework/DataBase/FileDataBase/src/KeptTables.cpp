#include "KeptTables.h"

#include <algorithm>
#include <new>
#include <utility>

namespace Kalt::Vemo::Core::Database::Filedb {

void KeptTables::setBound(std::size_t bytes) {
    clear();
    bound_ = bytes;
}

bool KeptTables::takes(std::size_t textSize) const {
    return textSize > 0 && textSize + sizeof(Entry) <= bound_;
}

// Also an entry that does not count any more: it is in nobody's way but the next text's of the same file.
KeptTables::Entries::iterator KeptTables::entryOf(const FileIdentity& file) {
    return std::find_if(entries_.begin(), entries_.end(),
                        [&](const Entry& entry) { return entry.file.identity().sameFile(file); });
}

TableVersion* KeptTables::find(const KnownFile& file) {
    const auto entry = entryOf(file.identity());
    if (entry == entries_.end() || !entry->file.isStill(file.identity())) {
        return nullptr;
    }
    entries_.splice(entries_.begin(), entries_, entry);
    trim();  // another statement may have made an index
    return &entries_.front().version;
}

std::optional<TableVersion> KeptTables::take(const KnownFile& file) {
    const auto entry = entryOf(file.identity());
    if (entry == entries_.end()) {
        return std::nullopt;
    }
    std::optional<TableVersion> version;
    if (entry->file.isStill(file.identity())) {
        version = std::move(entry->version);
    }
    entries_.erase(entry);
    return version;
}

void KeptTables::forget(const FileIdentity& file) {
    const auto entry = entryOf(file);
    if (entry != entries_.end()) {
        entries_.erase(entry);
    }
}

std::size_t KeptTables::ownBytes(const TableVersion& version) {
    return sizeof(Entry) + version.bytes() - version.indexBytes();
}

void KeptTables::allowIndex(TableVersion& version) const {
    const std::size_t others = ownBytes(version);
    version.indexRoom = others < bound_ ? bound_ - others : 0;
}

TableVersion* KeptTables::keep(const KnownFile& file, TableVersion version) {
    forget(file.identity());
    const std::size_t bytes = ownBytes(version);
    if (!file.isProof() || !takes(version.text.size()) || bytes > bound_) {
        return nullptr;
    }
    if (bytes + version.indexBytes() > bound_) {
        version.rows.reset();
    }
    allowIndex(version);
    try {
        entries_.push_front({file, std::move(version), bytes});
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    trim();
    return &entries_.front().version;
}

// No entry alone is over the bound. All of them are looked at for each statement, so there are few.
void KeptTables::trim() {
    constexpr std::size_t kMostEntries = 64;
    std::size_t bytes = 0;
    std::size_t count = 0;
    for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
        bytes += entry->ownBytes + entry->version.indexBytes();
        ++count;
        if (bytes > bound_ || count > kMostEntries) {
            entries_.erase(entry, entries_.end());
            return;
        }
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
