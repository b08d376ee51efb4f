// A directory of any files, through "filedb check" and "filedb repair".
//
// The input is the files, see databaseFilesOf, and these:
//
//     f   notes.txt, a file that is none of the database's
//     n   t.backup.new and t.table.repair-tmp, which a stopped commit and a stopped repair leave
//     D   a directory v.table
//     L   a symbolic link u.table, to a file beside the directory
//
// - A dry run changes nothing, and tells what the repair then does.
// - No byte is gone: each file is as it was, or it was set aside as it was.
// - No readable row is gone, see requireRows.
// - The directory is sound, unless a decision is left to a person; a second repair has nothing to do; and the
//   engine opens what is sound, changes nothing and reads every row.
// - A restore of what was set aside leaves the directory sound, and every row in it.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "FileDatabase.h"
#include "FuzzDirectory.h"
#include "FuzzInput.h"
#include "IResultTable.h"
#include "PlainTable.h"
#include "TableFormat.h"
#include "check/DirectoryExamination.h"
#include "check/DirectoryRepair.h"
#include "check/DirectoryRestore.h"
#include "check/FindingsReport.h"
#include "check/TableLines.h"
#include "check/ValueForm.h"
#include "files/JournalUsers.h"

namespace Kalt::Vemo::Tool {

// Nobody else has the journal open. Looking for who has takes longer than all the rest of a run.
std::vector<int> processesWithOpenFile(const std::string& /*path*/) {
    return {};
}

bool isJournalInUse(const std::string& /*path*/) {
    return false;
}

}  // namespace Kalt::Vemo::Tool

namespace Kalt::Vemo::Fuzz {
namespace {

using Core::Database::IResultTable;
using Core::Database::Filedb::FileDatabase;
using Core::Database::Filedb::kMaxLineLength;
using Core::Database::Filedb::kNotNullFlag;
using Core::Database::Filedb::Synchronous;
using Tool::DirectoryExamination;
using Tool::DirectoryRepair;
using Tool::DirectoryRestore;
using Tool::TableLine;

constexpr const char* kTableSuffix = ".table";
constexpr const char* kRejectsSuffix = ".rejects";
constexpr const char* kLinkedFile = "/linked";  // beside the directory

void putInput(const std::string& parent, const std::string& directory, std::string_view input) {
    Files files = databaseFilesOf(input);
    bool hasDirectory = false;
    bool hasLink = false;
    for (const std::string_view piece : piecesOf(input)) {
        const std::string rest(piece.substr(std::min<std::size_t>(piece.size(), 1)));
        switch (piece.empty() ? ' ' : piece.front()) {
            case 'f':
                files["notes.txt"] = rest;
                break;
            case 'n':
                files["t.backup.new"] = rest;
                files["t.table.repair-tmp"] = rest;
                break;
            case 'D':
                hasDirectory = true;
                files.erase("v.table");
                break;
            case 'L':
                hasLink = true;
                files.erase("u.table");
                putFile(parent + kLinkedFile, rest);
                break;
            default:
                break;
        }
    }
    putFiles(directory, files);
    if (hasDirectory) {
        require(mkdir((directory + "/v.table").c_str(), 0777) == 0, "cannot make a directory");
    }
    if (hasLink) {
        require(symlink((parent + kLinkedFile).c_str(), (directory + "/u.table").c_str()) == 0,
                "cannot make a link");
    }
}

// Every entry of a directory: the content of a file, and of a link where it leads to.
Files entriesOf(const std::string& directory) {
    Files entries = filesOf(directory);
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        const std::string name = entry.path().filename();
        if (entry.is_symlink()) {
            entries[name] = "link to " + std::filesystem::read_symlink(entry.path()).string();
        } else if (entry.is_directory()) {
            entries[name] = "directory";
        }
    }
    return entries;
}

// The value without its quotes, as keys are compared: a quote inside swallows the character after it.
std::string comparedValue(const std::string& value) {
    if (value.front() != '\'') {
        return value;
    }
    std::string text;
    for (std::size_t index = 1; index + 1 < value.size(); ++index) {
        text += value[index];
        index += value[index] == '\'' ? 1 : 0;
    }
    return text;
}

// Tells of the records of a sound definition which of them a repair has to keep.
class Rows {
public:
    explicit Rows(const PlainTable& table) : table_(table) {}

    // The line under which a table keeps the row; nothing when it is not readable, or its row id or key was
    // there before.
    std::string storedLine(const TableLine& read) {
        const std::string_view line = read.text;
        const long lastFlag = table_.flagOf(table_.names.size() - 1);
        if (!read.hasLineFeed && !read.isComplete(lastFlag, table_.hasAlias ? UINT64_MAX : INT64_MAX)) {
            return {};
        }
        if (line.size() + 1 > kMaxLineLength || line.find('\0') != std::string_view::npos) {
            return {};
        }
        Fields fields = plainLines(std::string(line) + '\n').front();
        if (read.hasLineFeed && !fields.empty() && !fields.back().empty() && fields.back().back() == '\r') {
            fields.back().pop_back();
        }
        if (!fields.empty() && fields.back().empty()) {
            fields.pop_back();
        }
        if (fields.size() != table_.names.size()) {
            return {};
        }
        for (std::size_t column = 0; column < fields.size(); ++column) {
            const bool isRowId = !table_.hasAlias && column + 1 == fields.size();
            const Tool::ValueForm form = Tool::ValueForm::of(table_.flagOf(column), fields[column]);
            const bool isNull = fields[column] == "NULL";
            if (form.kind == Kind::kUnreadable || (isRowId && form.kind == Kind::kReadable) ||
                (isNull && (isRowId || (table_.flagOf(column) & kNotNullFlag) != 0))) {
                return {};
            }
            fields[column] = form.text;
        }
        if (!table_.hasAlias && !isRowNumber(fields.back())) {
            return {};
        }
        std::string result = plainLine(fields);
        const Fields key = keyOf(fields);
        const bool isRepeated =
            (!table_.hasAlias && rowIds_.count(fields.back()) > 0) || (!key.empty() && keys_.count(key) > 0);
        if (isRepeated || result.size() > kMaxLineLength) {
            return {};
        }
        rowIds_.insert(fields.back());
        keys_.insert(key);
        return result;
    }

private:
    using Kind = Tool::ValueForm::Kind;

    static bool isRowNumber(const std::string& digits) {
        std::uint64_t number = 0;
        std::from_chars(digits.data(), digits.data() + digits.size(), number);
        return number > 0 && number <= INT64_MAX;
    }

    // What the record's key is compared by; nothing when it is equal to no other.
    Fields keyOf(const Fields& fields) const {
        Fields key;
        for (const std::string& name : table_.key) {
            const auto column = std::find(table_.names.begin(), table_.names.end(), name);
            const std::string& value = fields[static_cast<std::size_t>(column - table_.names.begin())];
            if (value == "NULL") {
                return {};
            }
            key.push_back(comparedValue(value));
        }
        return key;
    }

    const PlainTable& table_;
    std::set<std::string> rowIds_;
    std::set<Fields> keys_;
};

class Repair {
public:
    explicit Repair(std::string base)
        : base_(std::move(base)), directory_(base_ + "_filedb"), before_(entriesOf(directory_)) {}

    void run() {
        const DirectoryExamination examination(Tool::Snapshot::ofLocked(directory_));
        const std::string announced = repair(true);
        if (entriesOf(directory_) != before_ || std::filesystem::exists(asidePath(1))) {
            fail("a dry run has changed the directory");
        }
        const std::string done = repair(false);
        if (done != announced) {
            fail("the repair has done " + shown(done) + ", the dry run told " + shown(announced));
        }
        after_ = entriesOf(directory_);
        if (std::filesystem::exists(asidePath(1))) {
            aside_ = entriesOf(asidePath(1));
        }
        requireBytes();
        for (const auto& [table, files] : examination.tables()) {
            requireRows(table, files);
        }
        requireSound();
        requireNothingLeftToDo();
        if (!leavesDecision_ && std::filesystem::exists(asidePath(1))) {
            requireHarmlessRestore();
        }
    }

private:
    [[noreturn]] void fail(const std::string& what) const {
        finding(what + "\n  before" + shown(before_) + "\n  after" + shown(after_) + "\n  set aside" +
                shown(aside_));
    }

    std::string asidePath(int number) const { return directory_ + ".repair-" + std::to_string(number); }

    // What a repair tells, in the words of the real one.
    std::string repair(bool dryRun) {
        std::ostringstream out;
        DirectoryRepair repair(directory_, dryRun, out);
        repair.run();
        leavesDecision_ = repair.leavesDecision();
        std::string text = out.str();
        const std::string subjunctive = "originals would be kept in ";
        const std::size_t found = dryRun ? text.rfind(subjunctive) : std::string::npos;
        return found == std::string::npos ? text
                                          : text.replace(found, subjunctive.size(), "originals are kept in ");
    }

    void requireBytes() const {
        const auto has = [](const Files& files, const std::string& name, const std::string& content) {
            const auto found = files.find(name);
            return found != files.end() && found->second == content;
        };
        for (const auto& [name, content] : before_) {
            if (!has(after_, name, content) && !has(aside_, name, content)) {
                fail(name + " is gone");
            }
        }
    }

    // The rows that count are those of the table's file, or of its working copy where an interrupted
    // copy-over is finished; a table that was finished otherwise (dropped, a broken definition, no regular
    // file) is set aside whole, and where a decision is left nothing changes. A row is readable when the
    // engine reads its line whole (up to 1023 bytes without a NUL; of a last one without a line feed
    // nothing may be missing), with a field for each column, and with values that mean something in their
    // columns. Of rows with the same row id or key the first is readable.
    //
    // Each readable row is in the table after the repair, with the same values. Each other line is among the
    // rejected ones, with its number, byte for byte. The table holds nothing else.
    void requireRows(const std::string& table, const DirectoryExamination::Table& files) const {
        const bool isFinished = files.copyUse == DirectoryExamination::CopyUse::kFinish;
        const auto& content = isFinished ? files.copy : files.content;
        const auto now = after_.find(table + kTableSuffix);
        const bool isKept = now != after_.end() && content != nullptr && content->hasSoundDefinition() &&
                            !DirectoryExamination::isLeft(files.copyUse);
        if (!isKept) {
            if (isFinished) {
                fail("the interrupted copy-over of " + table + " is not finished");
            }
            return;
        }
        const PlainTable definition{content->definition()};
        const auto reject = aside_.find(table + kRejectsSuffix);
        std::string rejected;
        std::multiset<std::string> expected;
        Rows rows(definition);
        std::vector<TableLine> lines = Tool::TableLines::of(content->text()).lines;
        const bool hasKeyLine =
            lines.size() > 2 &&
            plainLine(plainLines(std::string(lines[2].text) + '\n').front()) == plainLine(definition.key);
        lines.erase(lines.begin(), lines.begin() + (hasKeyLine ? 3 : 2));
        for (const TableLine& line : lines) {
            const std::string stored = rows.storedLine(line);
            if (stored.empty()) {
                rejected += std::to_string(line.number) + '\t' + std::string(line.text) +
                            (line.hasLineFeed ? "\n" : "");
            } else {
                expected.insert(stored);
            }
        }
        if (rejected != (reject == aside_.end() ? std::string() : reject->second)) {
            fail("the lines that " + table + " is to lose are " + shown(rejected));
        }
        const PlainTable result(contentOf(directory_ + "/" + now->first));  // also behind a link
        std::multiset<std::string> kept;
        for (const Fields& record : result.records) {
            kept.insert(plainLine(record));
        }
        if (kept != expected || result.names != definition.names || result.flags != definition.flags ||
            result.key != definition.key) {
            fail(table + " does not hold its readable rows");
        }
    }

    void requireSound() const {
        const DirectoryExamination examination(Tool::Snapshot::ofLocked(directory_));
        std::ostringstream findings;
        printFindings(findings, directory_, examination.findings());
        if (examination.findings().empty() == leavesDecision_) {
            fail("after the repair a check tells " + shown(findings.str()));
        }
        if (leavesDecision_) {
            return;
        }
        FileDatabase database(Synchronous::off);
        require(database.init(base_), "init is false after a repair");
        for (const auto& [table, files] : examination.tables()) {
            const std::unique_ptr<IResultTable> rows(
                database.executeQuery(("SELECT * FROM " + table + ";").c_str()));
            if (rows == nullptr || rows->getCount() != static_cast<int>(files.content->recordCount())) {
                fail("the engine does not read " + table);
            }
        }
        require(database.deinit() && entriesOf(directory_) == after_,
                "the engine has changed a sound directory");
    }

    void requireNothingLeftToDo() {
        const bool leftDecision = leavesDecision_;
        const std::string done = repair(false);
        if (entriesOf(directory_) != after_ || leavesDecision_ != leftDecision ||
            std::filesystem::exists(asidePath(2)) || (!leftDecision && done != "nothing to repair\n")) {
            fail("a second repair does something, too: " + shown(done));
        }
    }

    // Without a person's corrections a restore brings little back, and costs nothing.
    void requireHarmlessRestore() const {
        std::ostringstream out;
        DirectoryRestore(directory_, asidePath(1), false, out, "").run();
        const DirectoryExamination examination(Tool::Snapshot::ofLocked(directory_));
        if (!examination.findings().empty()) {
            std::ostringstream findings;
            printFindings(findings, directory_, examination.findings());
            fail("after the restore " + shown(out.str()) + " a check tells " + shown(findings.str()));
        }
        const Files restored = entriesOf(directory_);
        for (const auto& [name, content] : after_) {
            const auto now = restored.find(name);
            const std::multiset<Fields> rows = rowsOf(content);
            const std::multiset<Fields> kept = rowsOf(now == restored.end() ? "" : now->second);
            if (!std::includes(kept.begin(), kept.end(), rows.begin(), rows.end())) {
                fail("the restore " + shown(out.str()) + " has cost rows of " + name);
            }
        }
    }

    static std::multiset<Fields> rowsOf(const std::string& text) {
        const std::vector<Fields> lines = plainLines(text);
        return {lines.begin(), lines.end()};
    }

    const std::string base_;
    const std::string directory_;
    const Files before_;
    Files after_;
    Files aside_;
    bool leavesDecision_ = false;
};

}  // namespace
}  // namespace Kalt::Vemo::Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Kalt::Vemo::Fuzz;
    const std::string_view input = textOf(data, size);
    if (leadsElsewhere(input)) {
        return -1;
    }
    silenceLog();
    const std::string parent = FuzzDirectory::emptied().path();
    putInput(parent, parent + "/db_filedb", input);
    const Files beside = filesOf(parent);
    Repair(parent + "/db").run();
    require(filesOf(parent) == beside, "a repair has written through a link");
    return 0;
}
