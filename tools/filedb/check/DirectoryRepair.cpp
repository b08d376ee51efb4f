#include "check/DirectoryRepair.h"

#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "FileUtils.h"
#include "Journal.h"
#include "check/WriteRemedy.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "files/DurableFiles.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;

namespace {

constexpr const char* kKeptSuffix = ".kept";

// One line a rejected line: its number in the original, a tabulator, and its bytes. A last line that may have
// been cut has no line feed here either, so that nobody takes it for a whole one.
std::string rejectsText(const TableExamination& content) {
    std::string text;
    for (const TableExamination::Reject& reject : content.rejects()) {
        text += std::to_string(reject.line) + "\t" + reject.text + (reject.hasLineFeed ? "\n" : "");
    }
    return text;
}

// A sound table that equals its working copy has all lines of that.
bool lacksRejects(const DirectoryExamination::Table& files) {
    const bool isEqual = files.copyUse == DirectoryExamination::CopyUse::kEqual && files.content->isSound();
    return !isEqual && !files.copy->rejects().empty();
}

}  // namespace

DirectoryRepair::DirectoryRepair(std::string directory, bool dryRun, std::ostream& out,
                                 const std::string& asideParent)
    : directory_(std::move(directory)),
      use_(dryRun ? std::nullopt : std::make_optional<DirectoryUse>(directory_)),
      out_(out),
      examination_(dryRun ? Snapshot::ofLive(directory_) : Snapshot::ofLocked(directory_)),
      aside_(directory_, ".repair-", asideParent) {
    if (use_) {
        use_->announce();  // the examination has read the journal
    }
}

void DirectoryRepair::run() {
    if (!examination_.unreadable().empty()) {
        throw Trouble(examination_.unreadable() + "; nothing was changed");
    }
    try {
        work();
    } catch (const std::system_error& error) {
        if (actionCount_ > 0) {
            conclude();
        }
        throw Trouble(std::string(error.what()) + "; " +
                      (actionCount_ == 0 ? "nothing was changed" : "what was printed is done, nothing else") +
                      ": " + remedyFor(error.code()) + ", then run the repair again");
    }
    conclude();
}

void DirectoryRepair::work() {
    setForeignAside();
    for (const auto& [table, files] : examination_.tables()) {
        mendTable(table, files);
    }
    resetJournal();
}

void DirectoryRepair::say(const std::string& place, const std::string& text) {
    said_ += printable(directory_ + "/" + place) + ": " + text + '\n';
}

void DirectoryRepair::print() {
    out_ << said_ << std::flush;
    said_.clear();
}

void DirectoryRepair::act(const std::function<void()>& action) {
    if (use_) {
        try {
            use_->lockNew();
            action();
            aside_.settle();
        } catch (const std::exception&) {
            aside_.takeBack();
            throw;
        }
    }
    ++actionCount_;
    print();
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
        const bool isLink = std::filesystem::is_symlink(pathIn(directory_, name));
        setAside(name, isLink ? "a symbolic link that leads nowhere" : "not a regular file");
        tableCount_ += isLink ? 1U : 0U;  // its records are wherever it led to
        return;
    }
    if (files.content == nullptr || DirectoryExamination::isLeft(files.copyUse)) {
        return;
    }
    if (isDropFinished(table)) {
        setAside(name, "the interrupted DROP TABLE is finished");
    } else if (!files.content->hasSoundDefinition()) {
        const Finding& finding = files.content->findings().front();
        setAside(name, "broken definition (line " + std::to_string(finding.line) + ": " + finding.text + ")");
        ++tableCount_;
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
    say(name, "rewritten: " + counted(content.recordCount() - content.rejects().size(), "record") +
                  " kept, " + std::to_string(content.rejects().size()) + " rejected");
    act([&] {
        if (files.kind == RawFile::Kind::kUnusable) {
            aside_.moveIn(name);
        } else if (files.kind != RawFile::Kind::kMissing) {
            aside_.keep(name);
        }
        if (!content.rejects().empty()) {
            aside_.write(rejectsName(table), rejectsText(content));
        }
        DurableFiles::replace(directory_, name, text);
    });
    rejectCount_ += content.rejects().size();
}

void DirectoryRepair::settleCopy(const std::string& table, const Table& files) {
    const std::string name = table + kBackupSuffix;
    switch (files.copyUse) {
        case CopyUse::kNone:
            setAside(name, "not a regular file");
            break;
        case CopyUse::kFinish:
        case CopyUse::kEqual:
            setAside(name, std::string("working copy that the table now equals") +
                               (lacksRejects(files) ? ", but for the rejected lines" : ""));
            break;
        case CopyUse::kCutShort:
            setAside(name, "the copy-over of this working copy cannot be finished, for " +
                               files.copy->whyNotWhole());
            break;
        case CopyUse::kUncommitted:
            setAside(name,
                     isDropFinished(table) ? "working copy of a dropped table"
                     : journalEntry(table) != nullptr
                         ? "working copy of a transaction that was not committed"
                         : "working copy that no journal line names and nothing can be taken from, for " +
                               files.copy->whyNotWhole());
            break;
        case CopyUse::kUndecided:
        case CopyUse::kDamaged:
            leaveDecision(table, files);
            break;
    }
}

// Each of the two commands first keeps what it is going to replace, in a directory that the next repair sets
// aside; it stops when that directory is there already, so it does no harm when it is run twice.
void DirectoryRepair::leaveDecision(const std::string& table, const Table& files) {
    ++decisionCount_;
    const bool hasTable = files.content != nullptr;
    const bool isDamaged = files.copyUse == CopyUse::kDamaged;
    const std::string name = table + kBackupSuffix;
    const std::string content = shellPath(directory_ + "/" + table + kTableSuffix);
    const std::string copy = shellPath(directory_ + "/" + name);
    const std::string kept = shellPath(directory_ + "/" + table + kKeptSuffix);
    const std::string keep = "mkdir " + kept + " && ";
    const std::string take =
        (hasTable ? keep + "cp -p " + content + " " + kept + " && cp " : "cp -p ") + copy + " " + content;
    const std::string leave = keep + "mv " + copy + " " + kept;
    if (isDamaged) {
        say(name, std::string("left in place") +
                      (hasTable ? ", as is the table" : ", and there is no table") +
                      ": its transaction was committed and it has records that the table lacks, but it is "
                      "not whole, for " +
                      files.copy->whyNotWhole());
        say(name, "to take what is in it: " + take);
        say(name, "to do without it: " + leave);
    } else if (hasTable) {
        say(name,
            "left in place, as is the table: no journal line names it, the two differ, and no file tells "
            "which of them counts");
        say(name, "if a copy-over was interrupted, it counts; to take it: " + take);
        say(name,
            "if its transaction was not committed or the table was changed later, the table counts; to keep "
            "the table: " +
                leave);
    } else {
        say(name, "left in place: no journal line names it, and there is no table");
        say(name, "if a copy-over was interrupted, it counts; to take it: " + take);
        say(name,
            "if its transaction was not committed or the table was dropped later, it does not count; to do "
            "without it: " +
                leave);
    }
    leavesCommit_ = leavesCommit_ || isDamaged;
    print();
}

void DirectoryRepair::setForeignAside() {
    for (const Finding& entry : examination_.foreignEntries()) {
        setAside(entry.file, entry.text);
    }
}

void DirectoryRepair::resetJournal() {
    const RawFile& file = examination_.journalFile();
    const std::string atRest = std::string(kAtRestState) + '\n';
    if (leavesCommit_ || (file.isRegular() && file.text == atRest)) {
        return;
    }
    const std::string reason = ": " + examination_.journal().state();
    if (!file.exists() || file.isRegular()) {
        say(kJournalName, "reset to the line \"0\"" + reason);
    } else {
        say(kJournalName, "set aside, and written anew with the line \"0\"" + reason);
    }
    act([&] {
        if (file.isRegular()) {
            aside_.keep(kJournalName);
        } else if (file.exists()) {
            aside_.moveIn(kJournalName);
            use_->lockNew();
        }
        DurableFiles::replace(directory_, kJournalName, atRest,
                              [&](const std::string& next) { use_->lockNext(next); });
    });
}

void DirectoryRepair::conclude() {
    said_.clear();
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

void DirectoryRepair::countRemoved(const std::string& path) const {
    if (!hasRemoved()) {
        return;
    }
    out_ << (use_ ? "no longer in the database: " : "would no longer be in the database: ")
         << counted(tableCount_, "table") << ", " << counted(rejectCount_, "row")
         << "; correct them in that directory, then run: filedb restore " << shellPath(path) << ' '
         << shellPath(aside_.path()) << '\n';
}

}  // namespace Kalt::Vemo::Tool
