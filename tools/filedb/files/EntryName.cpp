#include "files/EntryName.h"

#include <string_view>

#include "DatabaseException.h"
#include "TableFormat.h"
#include "Utils.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database;
using namespace Core::Database::Filedb;

namespace {

// `name` without `suffix`; empty when it does not end so.
std::string stemOf(const std::string& name, std::string_view suffix) {
    const bool hasSuffix =
        name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0;
    return hasSuffix ? name.substr(0, name.size() - suffix.size()) : std::string();
}

// What a repair of an earlier version put behind a file's name.
constexpr const char* kEarlierSuffix = ".repair-tmp";

bool isUnfinished(const std::string& name) {
    const std::string replaced = stemOf(name, kNewSuffix);
    return name == kTemporaryName || !stemOf(name, kEarlierSuffix).empty() || replaced == kJournalName ||
           !stemOf(replaced, kBackupSuffix).empty() || !stemOf(replaced, kTableSuffix).empty();
}

}  // namespace

bool isPossibleName(const std::string& name) {
    try {
        return Utils::validateColumnName(name) == name;
    } catch (const DatabaseException&) {
        return false;
    }
}

EntryName EntryName::of(const std::string& name) {
    if (name == kJournalName) {
        return {Kind::kJournal, ""};
    }
    const std::string table = stemOf(name, kTableSuffix);
    const std::string copied = stemOf(name, kBackupSuffix);
    const std::string& stem = table.empty() ? copied : table;
    if (stem.empty()) {
        return {isUnfinished(name) ? Kind::kUnfinished : Kind::kForeign, ""};
    }
    if (!isPossibleName(stem)) {
        return {Kind::kImpossible, stem};
    }
    return {table.empty() ? Kind::kCopy : Kind::kTable, stem};
}

}  // namespace Kalt::Vemo::Tool
