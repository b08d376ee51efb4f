#include "check/JournalExamination.h"

#include <algorithm>
#include <string_view>

#include "FileUtils.h"
#include "Journal.h"
#include "console/Printable.h"
#include "sql/StoredForm.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;

namespace {

// What the writer meant: the code as a raw byte, or the digit that marks a drop.
Operation recordedOperation(const std::string& field) {
    if (field.size() != 1) {
        return Operation::none;
    }
    const char code = field.front() >= '1' ? static_cast<char>(field.front() - '0') : field.front();
    const auto operation = static_cast<Operation>(code);
    return writesWorkingCopy(operation) || operation == Operation::dropTable ? operation : Operation::none;
}

const char* nameOfOperation(Operation operation) {
    switch (operation) {
        case Operation::insertRow:
            return "INSERT";
        case Operation::deleteRows:
            return "DELETE";
        case Operation::updateRows:
            return "UPDATE";
        case Operation::createTable:
            return "CREATE TABLE";
        case Operation::dropTable:
            return "DROP TABLE";
        case Operation::none:
            break;
    }
    return "unknown operation";
}

}  // namespace

JournalExamination::JournalExamination(const RawFile& file) {
    if (!file.exists()) {
        report(1, Finding::Severity::kWarning, "journal is missing: the next init makes a new one");
    } else if (!file.isRegular()) {
        report(1, Finding::Severity::kError, "journal " + file.problem);
    } else if (file.text.empty()) {
        report(1, Finding::Severity::kWarning, "journal is empty: the next init writes its state line \"0\"");
    } else {
        examineLines(file.text);
    }
    const bool isDecided = std::any_of(entries_.begin(), entries_.end(),
                                       [](const auto& entry) { return entry.second.isCopiedAtInit; });
    if (isCopying_ || isDecided) {
        state_ = "the commit that it tells of is finished as far as the working copies go";
    } else if (!entries_.empty()) {
        state_ = "the transaction that it tells of was not committed";
    } else if (!findings_.empty()) {
        state_ = findings_.front().text;
    }
}

void JournalExamination::report(std::size_t line, Finding::Severity severity, std::string text) {
    findings_.push_back({kJournalName, line, severity, std::move(text), Remedy::kResets});
}

void JournalExamination::examineLines(const std::string& text) {
    JournalReader lines(text);
    std::size_t line = 1;
    while (lines.next()) {
        const std::vector<std::string> fields(lines.fields().begin(), lines.fields().end());
        const bool isWellFormed = lines.line() == FileUtils::recordLine(fields);
        if (lines.isFirst()) {
            examineStateLine(line, fields, lines.line(), isWellFormed);
        } else {
            examineForm(line, lines.line(), isWellFormed);
            if (const auto entry = lines.entry()) {
                examineTableLine(line, fields[0], *entry, lines.isStateLine());
            } else {
                report(line, Finding::Severity::kError,
                       counted(fields.size(), "field") +
                           " instead of an operation and a table: the next init skips the line");
            }
        }
        if (lines.line().back() == '\n') {
            ++line;
        }
    }
}

void JournalExamination::examineForm(std::size_t line, std::string_view text, bool isWellFormed) {
    if (text.find('\0') != std::string_view::npos) {
        report(line, Finding::Severity::kError, "NUL byte: readers end the line there");
    } else if (!isWellFormed) {
        report(line, Finding::Severity::kError,
               text.back() == '\n' ? "empty field (\"~~\", or \"~\" at an end of the line)"
                                   : (text.size() == kMaxLineLength ? "line is longer than the format allows"
                                                                    : "last line has no line feed"));
    }
}

void JournalExamination::examineStateLine(std::size_t line, const std::vector<std::string>& fields,
                                          std::string_view text, bool isWellFormed) {
    if (text == kAtRestState || text == kCopyingState) {
        report(line, Finding::Severity::kError,
               "state line " + quoted(text) + " has no line feed: readers lose the state");
        return;
    }
    examineForm(line, text, isWellFormed);
    isCopying_ = fields.size() == 1 && fields[0] == kCopyingState && isWellFormed;
    if (isCopying_) {
        report(line, Finding::Severity::kError,
               "state line is \"1\": the copying of working copies over their tables was interrupted; run "
               "\"filedb repair\" before the next init, which would not finish it");
        findings_.back().remedy.clear();
    } else if (fields != std::vector<std::string>{kAtRestState}) {
        report(line, Finding::Severity::kError,
               "state line is " + quoted(text.substr(0, text.find('\n'))) + ", neither \"0\" nor \"1\"");
    }
}

void JournalExamination::examineTableLine(std::size_t line, const std::string& codeField,
                                          const JournalReader::Entry& entry, bool isStateLine) {
    const std::string table(entry.table);
    const Operation operation = recordedOperation(codeField);
    const bool isCopied = writesWorkingCopy(entry.operation);
    const std::string label = "table " + quoted(table) + " (" + nameOfOperation(operation) + "): ";
    if (operation == Operation::none) {
        report(line, Finding::Severity::kError, "operation code " + quoted(codeField) + " is unknown");
    }
    if (!isPossibleName(table)) {
        report(line, Finding::Severity::kError,
               "table name " + quoted(table) + ": no statement could have made it");
    } else if (operation != Operation::none) {
        entries_.try_emplace(table, Entry{line, operation, isCopied && !isStateLine});
    }

    if (isStateLine) {
        report(line, Finding::Severity::kWarning,
               label +
                   "the next init takes this line for a state line, keeps the table as it is and leaves a "
                   "working copy where it is");
        return;
    }
    const auto [first, isNew] = loaded_.try_emplace(table, line);
    if (!isNew) {
        report(line, Finding::Severity::kWarning,
               label + "the next init goes by line " + std::to_string(first->second));
        return;
    }
    if (entry.operation == Operation::dropTable) {
        report(line, Finding::Severity::kError, label + "the next init removes the table");
    } else if (isCopied) {
        report(line, Finding::Severity::kError,
               label + "the next init copies the working copy over the table");
    } else {
        report(line, Finding::Severity::kWarning,
               label + "the next init keeps the table as it is and discards a working copy");
    }
}

}  // namespace Kalt::Vemo::Tool
