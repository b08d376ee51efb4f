#include "DirectoryRepair.h"

#include <utility>

#include "DurableFiles.h"
#include "ExitStatus.h"
#include "FileUtils.h"
#include "Journal.h"
#include "Printable.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;

namespace {

constexpr const char* kRejectsSuffix = ".rejects";
constexpr const char* kJournalAtRest = "0\n";

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
      dryRun_(dryRun),
      out_(out),
      examination_(directory_),
      aside_(directory_) {}

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
    if (!dryRun_) {
        action();
    }
}

void DirectoryRepair::setAside(const std::string& name, const std::string& reason) {
    say(name, "set aside: " + reason);
    act([&] { aside_.moveIn(name); });
}

// The operation of an interrupted copy-over that is still to be done on the table, 0 for none.
int DirectoryRepair::finishedOperation(const std::string& table) const {
    const auto& entries = examination_.journal().entries();
    const auto entry = entries.find(table);
    return examination_.journal().isCopying() && entry != entries.end() ? entry->second.operation : 0;
}

void DirectoryRepair::mendTable(const std::string& table, const Table& files) {
    const std::string name = table + kTableSuffix;
    const int operation = finishedOperation(table);
    const bool takesCopy =
        operation != 0 && operation != kDropOperation && files.copy != nullptr && files.copy->isWhole();

    if (takesCopy) {
        useContent(table, files, *files.copy, true);
    } else if (files.kind == RawFile::Kind::kUnusable) {
        setAside(name, "not a regular file");
    } else if (files.content != nullptr && operation == kDropOperation) {
        setAside(name, "the interrupted DROP TABLE is finished");
    } else if (files.content != nullptr && !files.content->hasSoundDefinition()) {
        const Finding& finding = files.content->findings().front();
        setAside(name, "broken definition (line " + std::to_string(finding.line) + ": " + finding.text + ")");
    } else if (files.content != nullptr && !files.content->isSound()) {
        useContent(table, files, *files.content, false);
    }
    if (files.copyKind != RawFile::Kind::kMissing) {
        setCopyAside(table, files, takesCopy);
    }
}

// Makes what can be kept of `content` the table's content.
void DirectoryRepair::useContent(const std::string& table, const Table& files,
                                 const TableExamination& content, bool isFromCopy) {
    const std::string name = table + kTableSuffix;
    const std::string source = isFromCopy ? table + kBackupSuffix : name;
    const std::string text = content.mendedText();
    if (files.content != nullptr && files.content->text() == text) {
        return;
    }
    if (isFromCopy) {
        say(name, "takes the content of its working copy: the interrupted copy-over is finished");
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

void DirectoryRepair::setCopyAside(const std::string& table, const Table& files, bool isTaken) {
    const std::string name = table + kBackupSuffix;
    if (files.copy == nullptr) {
        setAside(name, "not a regular file");
    } else if (isTaken) {
        setAside(name, "working copy that the table now equals");
    } else if (finishedOperation(table) != 0) {
        setAside(
            name,
            "working copy is not whole: the copy-over cannot be finished, the table keeps its own content");
    } else {
        setAside(name, "working copy of a transaction that was not committed");
    }
}

void DirectoryRepair::setForeignAside() {
    for (const std::string& name : examination_.foreignEntries()) {
        setAside(name, "not a file of a database");
    }
}

void DirectoryRepair::resetJournal() {
    const RawFile& file = examination_.journalFile();
    if (file.isRegular() && file.text == kJournalAtRest) {
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
        }
        DurableFiles::replace(directory_, kJournalName, kJournalAtRest);
    });
}

void DirectoryRepair::conclude() {
    if (actionCount_ == 0) {
        out_ << "nothing to repair\n";
        return;
    }
    out_ << counted(actionCount_, "action") << ", " << counted(rejectCount_, "rejected line")
         << ": originals " << (dryRun_ ? "would be kept in " : "are kept in ") << printable(aside_.path())
         << '\n';
}

}  // namespace Kalt::Vemo::Tool
