#include "check/DirectoryExamination.h"

#include <algorithm>
#include <string_view>
#include <tuple>

#include "FileUtils.h"
#include "Journal.h"
#include "console/Printable.h"
#include "files/EntryName.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;

namespace {

constexpr const char* kNamesCommands = "repair names a command for each way";

// What is no regular file, or may not be read.
Finding withoutFile(const std::string& name, const RawFile& file) {
    const bool isUnreadable = file.kind == RawFile::Kind::kUnreadable;
    return {name, 1, Finding::Severity::kError, file.problem,
            isUnreadable ? "see to the cause, or move the file out of the directory" : Remedy::kSetsAside};
}

const char* describeAge(const RawFile& copy, const RawFile& content) {
    const auto age = [](const RawFile& file) {
        return std::tuple(file.changed.tv_sec, file.changed.tv_nsec);
    };
    if (age(copy) == age(content)) {
        return "changed at the same time as the table";
    }
    return age(copy) > age(content) ? "newer than the table" : "older than the table";
}

// Whether the table is what a stopped copy-over leaves: a beginning of the working copy, and the end of what
// was there before. A copy-over never changes a definition, and an empty table is one that was just made.
bool isTorn(const TableExamination& table, const TableExamination& copy) {
    if (table.isSound() || table.hasForeignForm()) {
        return false;
    }
    // What has not reached the disk is NUL bytes.
    const std::string_view text(table.text());
    const std::string_view written = text.substr(0, text.find_last_not_of('\0') + 1);
    const bool isBeginning = std::string_view(copy.text()).substr(0, written.size()) == written &&
                             (text.empty() || !written.empty());
    return isBeginning || (table.hasSoundDefinition() && table.definition() == copy.definition() &&
                           (text.size() > written.size() || text.back() == '\n'));
}

// The lines are views into the table's text.
std::vector<TableLine> recordLines(const TableExamination& table) {
    std::vector<TableLine> lines = TableLines::of(table.text()).lines;
    constexpr std::size_t kDefinitionLines = 3;
    lines.erase(lines.begin(),
                lines.begin() + static_cast<std::ptrdiff_t>(std::min(lines.size(), kDefinitionLines)));
    return lines;
}

// Whether the working copy has a record, or the beginning of one, that the table has not.
bool hasFurtherRecords(const DirectoryExamination::Table& files) {
    std::set<std::string_view> known;
    if (files.content != nullptr) {
        for (const TableLine& line : recordLines(*files.content)) {
            known.insert(line.text);
        }
    }
    const std::vector<TableLine> lines = recordLines(*files.copy);
    return std::any_of(lines.begin(), lines.end(), [&known](const TableLine& line) {
        const std::string_view text = line.text.substr(0, line.text.find('\0'));
        const bool isWhole = line.hasLineFeed && text.size() == line.text.size();
        const auto found = known.lower_bound(text);  // the first line that can begin with the text
        const bool isKnown =
            found != known.end() && (isWhole ? *found : found->substr(0, text.size())) == text;
        return !text.empty() && !isKnown;
    });
}

}  // namespace

DirectoryExamination::DirectoryExamination(const Snapshot& snapshot)
    : journalFile_(snapshot.file(kJournalName)) {
    noteUnreadable(kJournalName, journalFile_);
    journal_ = std::make_unique<JournalExamination>(journalFile_);

    // A table is examined before its working copy, which is told by what sets it apart from the table.
    std::vector<std::string> names = snapshot.names();
    std::stable_partition(names.begin(), names.end(), [](const std::string& name) {
        return EntryName::of(name).kind != EntryName::Kind::kCopy;
    });
    std::map<std::string, Findings> found;
    found[kJournalName] = journal_->findings();
    for (const std::string& name : names) {
        examineEntry(snapshot, name, found[name]);
    }
    nameRemedies(found);
    for (const auto& [name, findings] : found) {
        findings_.insert(findings_.end(), findings.begin(), findings.end());
    }
}

std::size_t DirectoryExamination::errorCount() const {
    return static_cast<std::size_t>(
        std::count_if(findings_.begin(), findings_.end(),
                      [](const Finding& finding) { return finding.severity == Finding::Severity::kError; }));
}

std::set<std::string> DirectoryExamination::unfinishedTables() const {
    std::set<std::string> result;
    for (const auto& [table, files] : tables_) {
        // The start itself finishes what a line behind state "0" tells of.
        const bool isFinishedAtInit = !journal_->isCopying() && journal_->entries().count(table) > 0;
        if (isLeft(files.copyUse) || (files.copyUse == CopyUse::kFinish && !isFinishedAtInit)) {
            result.insert(table);
        }
    }
    return result;
}

void DirectoryExamination::examineEntry(const Snapshot& snapshot, const std::string& name, Findings& found) {
    const EntryName entry = EntryName::of(name);
    switch (entry.kind) {
        case EntryName::Kind::kJournal:
            return;
        case EntryName::Kind::kTable:
            examineTable(name, snapshot.file(name), entry.table, found);
            return;
        case EntryName::Kind::kCopy:
            examineCopy(name, snapshot, entry.table, found);
            return;
        case EntryName::Kind::kUnfinished:
            foreignEntries_.push_back({name, 1, Finding::Severity::kWarning,
                                       "left by a process that was stopped while it made the file; nothing "
                                       "reads it, and it can be removed",
                                       Remedy::kSetsAside});
            break;
        case EntryName::Kind::kImpossible:
            foreignEntries_.push_back(
                {name, 1, Finding::Severity::kError,
                 "table name " + quoted(entry.table) + ": no statement could have made it",
                 Remedy::kSetsAside});
            break;
        case EntryName::Kind::kForeign:
            foreignEntries_.push_back(
                {name, 1, Finding::Severity::kWarning, "not a file of a database", Remedy::kSetsAside});
            break;
    }
    found.push_back(foreignEntries_.back());
}

// What is wrong with a table goes when its working copy takes its place, or with the table.
void DirectoryExamination::nameRemedies(std::map<std::string, Findings>& found) const {
    for (const auto& [table, files] : tables_) {
        const auto entry = journal_->entries().find(table);
        const bool isDropped = journal_->isCopying() && entry != journal_->entries().end() &&
                               entry->second.operation == Operation::dropTable;
        const char* const remedy = isDropped                           ? "repair finishes the DROP TABLE"
                                   : files.copyUse == CopyUse::kFinish ? "repair finishes the copy-over"
                                   : isLeft(files.copyUse)             ? kNamesCommands
                                                                       : nullptr;
        for (Finding& finding : found[table + kTableSuffix]) {
            finding.remedy = remedy == nullptr ? finding.remedy : remedy;
        }
    }
}

void DirectoryExamination::noteUnreadable(const std::string& name, const RawFile& file) {
    if (file.kind == RawFile::Kind::kUnreadable && unreadable_.empty()) {
        unreadable_ = name + " " + file.problem;
    }
}

void DirectoryExamination::examineTable(const std::string& name, const RawFile& file,
                                        const std::string& table, Findings& found) {
    tables_[table].kind = file.kind;
    ++tableCount_;
    if (!file.isRegular()) {
        found.push_back(withoutFile(name, file));
        noteUnreadable(name, file);
        return;
    }
    auto content = std::make_unique<TableExamination>(name, file.text);
    found.insert(found.end(), content->findings().begin(), content->findings().end());
    recordCount_ += content->recordCount();
    tables_[table].content = std::move(content);
}

void DirectoryExamination::examineCopy(const std::string& name, const Snapshot& snapshot,
                                       const std::string& table, Findings& found) {
    const RawFile& file = snapshot.file(name);
    Table& files = tables_[table];
    files.copyKind = file.kind;
    if (!file.isRegular()) {
        found.push_back(withoutFile(name, file));
        noteUnreadable(name, file);
        return;
    }
    files.copy = std::make_unique<TableExamination>(name, file.text);
    const auto entry = journal_->entries().find(table);
    files.copyUse =
        entry == journal_->entries().end() ? useOfUnnamedCopy(files) : useOfNamedCopy(files, entry->second);
    found.push_back(describeCopy(table, file, snapshot.file(table + kTableSuffix)));
}

DirectoryExamination::CopyUse DirectoryExamination::useOfNamedCopy(
    const Table& files, const JournalExamination::Entry& entry) const {
    const bool isDecided = journal_->isCopying() || entry.isCopiedAtInit;
    if (!isDecided || entry.operation == Operation::dropTable) {
        return CopyUse::kUncommitted;
    }
    if (files.copy->isWhole()) {
        return CopyUse::kFinish;
    }
    if (!files.copy->lacksOnlyLineFeed()) {
        return hasFurtherRecords(files) ? CopyUse::kDamaged : CopyUse::kCutShort;
    }
    // The journal tells that it was whole once.
    return files.content != nullptr && files.content->text() == files.copy->text() + '\n' ? CopyUse::kEqual
                                                                                          : CopyUse::kFinish;
}

// The start of the engine after an interrupted copy-over resets the journal and leaves the working copy of
// the journal's first table behind. So the content of a working copy that no line names may have been
// decided.
DirectoryExamination::CopyUse DirectoryExamination::useOfUnnamedCopy(const Table& files) {
    const TableExamination& copy = *files.copy;
    if (!copy.isWhole()) {
        return CopyUse::kUncommitted;
    }
    if (files.content == nullptr) {
        return CopyUse::kUndecided;
    }
    const std::string& text = files.content->text();
    if (text == copy.text() || text == copy.mendedText()) {
        return CopyUse::kEqual;
    }
    return copy.rejects().empty() && isTorn(*files.content, copy) ? CopyUse::kFinish : CopyUse::kUndecided;
}

Finding DirectoryExamination::describeCopy(const std::string& table, const RawFile& copyFile,
                                           const RawFile& contentFile) const {
    const Table& files = tables_.at(table);
    const TableExamination& copy = *files.copy;
    const bool isNamed = journal_->entries().count(table) > 0;
    std::string text = isNamed ? "leftover working copy: " : "leftover working copy, not in the journal: ";
    if (!copy.isWhole()) {
        text += "not whole, " + copy.whyNotWhole();
    } else if (files.content != nullptr && copy.text() == files.content->text()) {
        text += "whole, equal to the table";
    } else {
        text += "whole, " + counted(copy.recordCount(), "record");
        text += files.content == nullptr
                    ? ", there is no table"
                    : " where the table has " + std::to_string(files.content->recordCount()) + ", " +
                          describeAge(copyFile, contentFile);
    }
    std::string remedy = Remedy::kSetsAside;
    if (files.copyUse == CopyUse::kFinish) {
        text += isNamed ? "" : "; the table is what an interrupted copy-over leaves";
        remedy = "repair finishes the copy-over";
    } else if (files.copyUse == CopyUse::kUndecided) {
        text += "; nothing tells whether it counts";
        remedy = kNamesCommands;
    } else if (files.copyUse == CopyUse::kDamaged) {
        text += "; its transaction was committed, and it has records that the table lacks";
        remedy = kNamesCommands;
    }
    return {table + kBackupSuffix, 1, Finding::Severity::kWarning, std::move(text), std::move(remedy)};
}

}  // namespace Kalt::Vemo::Tool
