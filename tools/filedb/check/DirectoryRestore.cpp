#include "check/DirectoryRestore.h"

#include <algorithm>
#include <exception>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "Journal.h"
#include "TableFormat.h"
#include "check/WriteRemedy.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "files/DurableFiles.h"
#include "files/EntryName.h"
#include "files/RawFile.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;

namespace {

std::vector<std::string> namesIn(const std::string& source) {
    try {
        return entriesOf(source);
    } catch (const std::system_error& error) {
        throw Trouble(source + ": cannot be read: " + error.code().message() +
                      "; name the directory in which a repair has set something aside");
    }
}

std::set<std::string> recordsOf(const std::string& text) {
    std::set<std::string> records;
    for (const TableLine& line : TableLines::of(text).lines) {
        records.emplace(line.text);
    }
    return records;
}

std::string describe(const Finding& finding) {
    return "line " + std::to_string(finding.line) + ": " + finding.text;
}

// The text that a table would hold for the one record.
std::string storedAlone(const TableExamination& table, const std::string& record) {
    return TableExamination("", table.definition() + record + "\n")
        .mendedText()
        .substr(table.definition().size());
}

}  // namespace

DirectoryRestore::DirectoryRestore(std::string directory, std::string source, bool dryRun, std::ostream& out,
                                   const std::string& asideParent)
    : directory_(std::move(directory)),
      source_(std::move(source)),
      use_(dryRun ? std::nullopt : std::make_optional<DirectoryUse>(directory_)),
      out_(out),
      examination_(dryRun ? Snapshot::ofLive(directory_) : Snapshot::ofLocked(directory_)),
      aside_(directory_, ".restore-", asideParent),
      journal_(RawFile::read(source_ + "/" + kJournalName)) {
    if (use_) {
        use_->announce();  // the examination has read the journal
    }
}

void DirectoryRestore::run() {
    requireSettled();
    try {
        work();
    } catch (const std::system_error& error) {
        aside_.takeBack();
        throw Trouble(std::string(error.what()) + "; what was printed is done, nothing else: " +
                      remedyFor(error.code()) + ", then run the restore again");
    }
    conclude();
}

void DirectoryRestore::requireSettled() const {
    if (!examination_.unreadable().empty()) {
        throw Trouble(examination_.unreadable() + "; nothing was changed");
    }
    if (!examination_.journal().findings().empty()) {
        throw Failure(directory_ + "/" + kJournalName + ": " +
                      describe(examination_.journal().findings().front()) + "; run \"filedb repair\" first");
    }
}

void DirectoryRestore::work() {
    const std::vector<std::string> names = namesIn(source_);
    for (const std::string& name : names) {
        const EntryName entry = EntryName::of(name);
        if (entry.kind == EntryName::Kind::kTable) {
            restoreTable(entry.table, name);
        }
    }
    for (const std::string& name : names) {
        const std::string table = tableOfRejects(name);
        if (isPossibleName(table)) {
            restoreLines(table, name);
        }
    }
}

// The text of a file that was set aside; nothing, and a line that tells it, for what is no file.
std::optional<std::string> DirectoryRestore::read(const std::string& name) {
    RawFile file = RawFile::read(source_ + "/" + name);
    if (file.kind == RawFile::Kind::kUnreadable) {
        throw Trouble(source_ + "/" + name + " " + file.problem);
    }
    if (!file.isRegular()) {
        refuse(source_ + "/" + name, file.problem);
        return std::nullopt;
    }
    return std::move(file.text);
}

// ---- Tables

// The journal that was set aside tells it; where no journal line named the working copy any more, the table
// that equals it does.
bool DirectoryRestore::isWhatACommitReplaced(const std::string& table, const std::string& text) const {
    const auto entry = journal_.entries().find(table);
    if (entry != journal_.entries().end() && (journal_.isCopying() || entry->second.isCopiedAtInit)) {
        // A table with a broken definition was set aside, and no commit took its place.
        return entry->second.operation == Operation::dropTable || liveText(table);
    }
    const std::string name = table + kBackupSuffix;
    const TableExamination copy(name, RawFile::read(source_ + "/" + name).text);
    return copy.isWhole() && copy.text() != text && liveText(table) == copy.mendedText();
}

std::optional<std::string> DirectoryRestore::liveText(const std::string& table) const {
    const auto replaced = texts_.find(table);
    if (replaced != texts_.end()) {
        return replaced->second;
    }
    const auto found = examination_.tables().find(table);
    return found == examination_.tables().end() || found->second.content == nullptr
               ? std::nullopt
               : std::optional(found->second.content->text());
}

// Why the table cannot take the place of what the database has; empty when it can.
std::string DirectoryRestore::whyNotReplaced(const std::string& table,
                                             const TableExamination& content) const {
    const auto found = examination_.tables().find(table);
    if (found == examination_.tables().end()) {
        return "";
    }
    const DirectoryExamination::Table& files = found->second;
    const bool isMissing = files.kind == RawFile::Kind::kMissing;
    if (files.copyKind != RawFile::Kind::kMissing || (!isMissing && files.content == nullptr) ||
        (files.content != nullptr && !files.content->isSound())) {
        return "the table of the database is not sound or has a working copy; run \"filedb repair\" first";
    }
    if (isMissing || files.content->recordCount() == 0) {
        return "";
    }
    const std::set<std::string> offered = recordsOf(content.text());
    std::set<std::string> present = recordsOf(files.content->text());
    std::size_t lacking = 0;
    for (const std::string& record : present) {
        lacking += offered.count(record) == 0 ? 1U : 0U;
    }
    if (files.content->definition() != content.definition()) {
        return "the database has a table of that name with another definition and with records";
    }
    return lacking == 0
               ? ""
               : "the table of the database has " + counted(lacking, "record") +
                     " that this one lacks; add them to it, or bring single lines in " + rejectsName(table);
}

void DirectoryRestore::restoreTable(const std::string& table, const std::string& name) {
    std::optional<std::string> text = read(name);
    if (!text) {
        return;
    }
    const TableExamination content(name, *std::move(text));
    const std::optional<std::string> live = liveText(table);
    if (live == content.text()) {
        return;
    }
    if (isWhatACommitReplaced(table, content.text())) {
        say(source_ + "/" + name, "left there: it is from before the commit that the repair has finished");
        print();
        return;
    }
    if (!content.isSound()) {
        // The original of a table that was mended is no loss.
        if (!live || !content.hasSoundDefinition()) {
            refuse(source_ + "/" + name, describe(content.findings().front()) + "; correct it there");
        }
        return;
    }
    const std::string obstacle = whyNotReplaced(table, content);
    if (!obstacle.empty()) {
        refuse(source_ + "/" + name, obstacle);
        return;
    }
    say(directory_ + "/" + name, "taken back: " + counted(content.recordCount(), "record"));
    replace(table, content.text());
    ++tableCount_;
}

void DirectoryRestore::replace(const std::string& table, const std::string& text) {
    const std::string name = table + kTableSuffix;
    const bool isThere = liveText(table).has_value();
    hasReplaced_ = hasReplaced_ || isThere;
    if (use_) {
        use_->lockNew();
        if (isThere) {
            aside_.keep(name);
        }
        DurableFiles::replace(directory_, name, text);
        aside_.settle();
    }
    texts_[table] = text;
    print();
}

// ---- Rejected lines

std::vector<DirectoryRestore::Candidate> DirectoryRestore::candidatesIn(const std::string& name,
                                                                        const std::string& text) {
    std::vector<Candidate> candidates;
    for (const TableLine& line : TableLines::of(text).lines) {
        const std::size_t tabulator = line.text.find('\t');
        const bool hasNumber =
            tabulator != std::string_view::npos && tabulator > 0 &&
            line.text.substr(0, tabulator).find_first_not_of("0123456789") == std::string_view::npos;
        if (!line.hasLineFeed) {
            refuse(lineOf(source_ + "/" + name, line.number),
                   "the line has no line feed, so its end may be missing; complete it there and add the line "
                   "feed");
        } else if (!hasNumber) {
            refuse(lineOf(source_ + "/" + name, line.number),
                   "the line does not begin with a number and a tabulator; add them there");
        } else {
            candidates.push_back({line.number, std::string(line.text.substr(tabulator + 1))});
        }
    }
    return candidates;
}

void DirectoryRestore::restoreLines(const std::string& table, const std::string& name) {
    const std::optional<std::string> lines = read(name);
    if (!lines) {
        return;
    }
    const std::vector<Candidate> candidates = candidatesIn(name, *lines);
    const std::optional<std::string> text = liveText(table);
    const auto files = examination_.tables().find(table);
    const bool hasCopy =
        files != examination_.tables().end() && files->second.copyKind != RawFile::Kind::kMissing;
    if (!text) {
        refuse(source_ + "/" + name, "there is no table " + quoted(table) + " in the database");
        return;
    }
    const TableExamination live(table + kTableSuffix, *text);
    if (!live.isSound() || hasCopy) {
        refuse(source_ + "/" + name,
               "the table of the database is not sound or has a working copy; run \"filedb repair\" first");
        return;
    }
    addLines(table, name, candidates, live);
}

void DirectoryRestore::addLines(const std::string& table, const std::string& name,
                                const std::vector<Candidate>& candidates, const TableExamination& live) {
    const std::set<std::string> present = recordsOf(live.text());
    std::string text = live.text();
    for (const Candidate& candidate : candidates) {
        text += candidate.text + "\n";
    }
    const TableExamination together(table + kTableSuffix, text);
    std::map<std::size_t, std::string> reasons;
    for (const TableExamination::Reject& reject : together.rejects()) {
        reasons[reject.line] = reject.reason;
    }
    const auto liveLines = static_cast<std::size_t>(std::count(live.text().begin(), live.text().end(), '\n'));
    std::size_t taken = 0;
    for (std::size_t index = 0; index < candidates.size(); ++index) {
        const Candidate& candidate = candidates[index];
        const std::string place = lineOf(source_ + "/" + name, candidate.number);
        const auto reason = reasons.find(liveLines + index + 1);
        std::string stored = storedAlone(live, candidate.text);
        stored.resize(stored.empty() ? 0 : stored.size() - 1);
        if (reason == reasons.end()) {
            say(place, "taken back");
            ++taken;
        } else if (stored.empty() || present.count(stored) == 0) {
            refuse(place, reason->second + "; correct it there");
        }
    }
    if (taken > 0) {
        say(directory_ + "/" + table + kTableSuffix,
            "rewritten: " + counted(live.recordCount() + taken, "record"));
        replace(table, together.mendedText());
        rowCount_ += taken;
    }
}

// ---- What is told

void DirectoryRestore::say(const std::string& place, const std::string& text) {
    said_ += printable(place) + ": " + text + '\n';
}

void DirectoryRestore::refuse(const std::string& place, const std::string& reason) {
    out_ << printable(place) << ": not taken: " << reason << '\n';
    ++refusedCount_;
}

void DirectoryRestore::print() {
    out_ << said_ << std::flush;
    said_.clear();
}

void DirectoryRestore::conclude() {
    if (tableCount_ + rowCount_ + refusedCount_ == 0) {
        out_ << "nothing to take back\n";
        return;
    }
    out_ << counted(tableCount_, "table") << ", " << counted(rowCount_, "row") << " taken back";
    if (hasReplaced_) {
        out_ << (use_ ? ", what was replaced is kept in " : ", what is replaced would be kept in ")
             << printable(aside_.path());
    }
    if (refusedCount_ > 0) {
        out_ << "; " << refusedCount_ << " not taken, see above";
    }
    out_ << '\n';
}

}  // namespace Kalt::Vemo::Tool
