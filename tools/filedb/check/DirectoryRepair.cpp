#include "check/DirectoryRepair.h"

#include <utility>

#include "FileUtils.h"
#include "Journal.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "files/DurableFiles.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;

namespace {

constexpr const char* kRejectsSuffix = ".rejects";
constexpr const char* kKeptSuffix = ".kept";

// One line a rejected line: its number in the original, a tabulator, and its bytes.
std::string rejectsText(const TableExamination& content) {
    std::string text;
    for (const TableExamination::Reject& reject : content.rejects()) {
        text += std::to_string(reject.line) + "\t" + reject.text + "\n";
    }
    return text;
}

std::string lineOf(const std::string& name, std::size_t line) {
    return name + ":" + std::to_string(line);
}

}  // namespace

DirectoryRepair::DirectoryRepair(std::string directory, bool dryRun, std::ostream& out)
    : directory_(std::move(directory)),
      use_(dryRun ? std::nullopt : std::make_optional<DirectoryUse>(directory_)),
      out_(out),
      examination_(dryRun ? Snapshot::ofLive(directory_) : Snapshot::ofLocked(directory_)),
      aside_(directory_) {
    if (use_) {
        use_->announce();  // the examination has read the journal
    }
}

void DirectoryRepair::run() {
    if (!examination_.unreadable().empty()) {
        throw Trouble(examination_.unreadable() + "; nothing was changed");
    }
    setForeignAside();
    for (const auto& [table, files] : examination_.tables()) {
        mendTable(table, files);
    }
    resetJournal();
    conclude();
}

void DirectoryRepair::say(const std::string& place, const std::string& text) {
    out_ << printable(directory_ + "/" + place) << ": " << text << '\n';
}

void DirectoryRepair::act(const std::function<void()>& action) {
    ++actionCount_;
    if (use_) {
        use_->lockNew();
        action();
    }
}

void DirectoryRepair::setAside(const std::string& name, const std::string& reason) {
    say(name, "set aside: " + reason);
    act([&] { aside_.moveIn(name); });
}

const JournalExamination::Entry* DirectoryRepair::journalEntry(const std::string& table) const {
    const auto& entries = examination_.journal().entries();
    const auto entry = entries.find(table);
    return entry == entries.end() ? nullptr : &entry->second;
}

bool DirectoryRepair::isDropFinished(const std::string& table) const {
    const JournalExamination::Entry* const entry = journalEntry(table);
    return examination_.journal().isCopying() && entry != nullptr && entry->operation == Operation::dropTable;
}

void DirectoryRepair::mendTable(const std::string& table, const Table& files) {
    settleContent(table, files);
    if (files.copyKind != RawFile::Kind::kMissing) {
        settleCopy(table, files);
    }
}

void DirectoryRepair::settleContent(const std::string& table, const Table& files) {
    const std::string name = table + kTableSuffix;
    if (files.copyUse == CopyUse::kFinish) {
        useContent(table, files, *files.copy, true);
        return;
    }
    if (files.kind == RawFile::Kind::kUnusable) {
        setAside(name, "not a regular file");
        return;
    }
    if (files.content == nullptr || files.copyUse == CopyUse::kUndecided) {
        return;
    }
    if (isDropFinished(table)) {
        setAside(name, "the interrupted DROP TABLE is finished");
    } else if (!files.content->hasSoundDefinition()) {
        const Finding& finding = files.content->findings().front();
        setAside(name, "broken definition (line " + std::to_string(finding.line) + ": " + finding.text + ")");
    } else if (!files.content->isSound()) {
        useContent(table, files, *files.content, false);
    }
}

// Makes what can be kept of `content` the table's content.
void DirectoryRepair::useContent(const std::string& table, const Table& files,
                                 const TableExamination& content, bool isFromCopy) {
    const std::string name = table + kTableSuffix;
    const std::string source = isFromCopy ? table + kBackupSuffix : name;
    const std::string text = content.mendedText();
    // A table that holds already what can be kept is written all the same: the rejected lines are to be told.
    if (files.content != nullptr && files.content->text() == text && content.rejects().empty()) {
        return;
    }
    if (isFromCopy) {
        say(name,
            journalEntry(table) != nullptr
                ? "takes the content of its working copy: the interrupted copy-over is finished"
                : "takes the content of its working copy, which no journal line names: the table is what "
                  "an interrupted copy-over leaves, and that is finished");
    }
    for (const Finding& mend : content.mends()) {
        say(lineOf(source, mend.line), "mended: " + mend.text);
    }
    for (const TableExamination::Reject& reject : content.rejects()) {
        say(lineOf(source, reject.line), "rejected: " + reject.reason);
    }
    rejectCount_ += content.rejects().size();
    say(name, "rewritten: " + counted(content.recordCount() - content.rejects().size(), "record") +
                  " kept, " + std::to_string(content.rejects().size()) + " rejected");
    act([&] {
        if (files.kind == RawFile::Kind::kUnusable) {
            aside_.moveIn(name);
        } else if (files.kind != RawFile::Kind::kMissing) {
            aside_.keepCopy(name);
        }
        if (!content.rejects().empty()) {
            aside_.write(table + kRejectsSuffix, rejectsText(content));
        }
        DurableFiles::replace(directory_, name, text);
    });
}

void DirectoryRepair::settleCopy(const std::string& table, const Table& files) {
    const std::string name = table + kBackupSuffix;
    switch (files.copyUse) {
        case CopyUse::kNone:
            setAside(name, "not a regular file");
            break;
        case CopyUse::kFinish:
        case CopyUse::kEqual:
            setAside(name, "working copy that the table now equals");
            break;
        case CopyUse::kCutShort:
            setAside(name,
                     "working copy is not whole: the copy-over cannot be finished, the table keeps its own "
                     "content");
            break;
        case CopyUse::kUncommitted:
            setAside(name, isDropFinished(table) ? "working copy of a dropped table"
                                                 : "working copy of a transaction that was not committed");
            break;
        case CopyUse::kUndecided:
            leaveDecision(table, files.content != nullptr);
            break;
    }
}

// Each of the two commands first keeps what it is going to replace, in a directory that the next repair sets
// aside; it stops when that directory is there already, so it does no harm when it is run twice.
void DirectoryRepair::leaveDecision(const std::string& table, bool hasTable) {
    ++decisionCount_;
    const std::string name = table + kBackupSuffix;
    const std::string content = shellPath(directory_ + "/" + table + kTableSuffix);
    const std::string copy = shellPath(directory_ + "/" + name);
    const std::string kept = shellPath(directory_ + "/" + table + kKeptSuffix);
    const std::string keep = "mkdir " + kept + " && ";
    if (hasTable) {
        say(name,
            "left in place, as is the table: no journal line names it, the two differ, and no file tells "
            "which of them counts");
        say(name, "if a copy-over was interrupted, it counts; to take it: " + keep + "cp -p " + content +
                      " " + kept + " && cp " + copy + " " + content);
        say(name,
            "if its transaction was not committed or the table was changed later, the table counts; to keep "
            "the table: " +
                keep + "mv " + copy + " " + kept);
    } else {
        say(name, "left in place: no journal line names it, and there is no table");
        say(name, "if a copy-over was interrupted, it counts; to take it: cp -p " + copy + " " + content);
        say(name,
            "if its transaction was not committed or the table was dropped later, it does not count; to do "
            "without it: " +
                keep + "mv " + copy + " " + kept);
    }
}

void DirectoryRepair::setForeignAside() {
    for (const std::string& name : examination_.foreignEntries()) {
        setAside(name, "not a file of a database");
    }
}

void DirectoryRepair::resetJournal() {
    const RawFile& file = examination_.journalFile();
    const std::string atRest = std::string(kAtRestState) + '\n';
    if (file.isRegular() && file.text == atRest) {
        return;
    }
    for (const Finding& finding : examination_.journal().findings()) {
        say(lineOf(finding.file, finding.line), "mended: " + finding.text);
    }
    if (!file.exists() || file.isRegular()) {
        say(kJournalName, "reset to the line \"0\"");
    } else {
        say(kJournalName, "set aside, and written anew with the line \"0\"");
    }
    act([&] {
        if (file.isRegular()) {
            aside_.keepCopy(kJournalName);
        } else if (file.exists()) {
            aside_.moveIn(kJournalName);
            use_->lockNew();
        }
        DurableFiles::replace(directory_, kJournalName, atRest,
                              [&](const std::string& next) { use_->lockNext(next); });
    });
}

void DirectoryRepair::conclude() {
    if (actionCount_ > 0) {
        out_ << counted(actionCount_, "action") << ", " << counted(rejectCount_, "rejected line")
             << ": originals " << (use_ ? "are kept in " : "would be kept in ") << printable(aside_.path())
             << '\n';
    } else if (decisionCount_ == 0) {
        out_ << "nothing to repair\n";
    }
    if (decisionCount_ > 0) {
        out_ << counted(decisionCount_, "decision")
             << " left to you: for each run one of its two commands, then \"filedb repair\" again\n";
    }
}

}  // namespace Kalt::Vemo::Tool
