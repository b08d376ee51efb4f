#include "check/TableExamination.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "Comparison.h"
#include "FileUtils.h"
#include "check/ValueForm.h"
#include "console/Printable.h"
#include "sql/StoredForm.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;

namespace {

constexpr std::size_t kMetaLineCount = 3;
constexpr const char* const kMetaLineNames[kMetaLineCount] = {"the column names", "the flag numbers",
                                                              "the primary key"};

std::string describeLength(std::size_t length) {
    return "line is " + std::to_string(length) + " bytes long with its line feed, the format's limit is " +
           std::to_string(kMaxLineLength);
}

constexpr const char* kEmptyField =
    "empty field (\"~~\", or \"~\" at an end of the line): readers skip it and move the later fields";
constexpr const char* kNulByte = "NUL byte: readers end the line there";
constexpr const char* kCarriageReturn =
    "carriage return before the line feed: readers take it for a part of the last field";
constexpr const char* kNoLineFeed = "last line has no line feed: readers lose its last character";
constexpr const char* kCutLine =
    "last line has no line feed: readers lose its last character, and the end of its last value may be "
    "missing";
constexpr const char* kSetsTableAside = "repair sets the table aside";
constexpr auto kLargestRowId = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());

}  // namespace

TableExamination::TableExamination(std::string file, std::string text)
    : file_(std::move(file)), text_(std::move(text)) {
    TableLines read = TableLines::of(text_);
    std::vector<TableLine>& lines = read.lines;
    examineForm(read);
    examineDefinition(lines);
    recordCount_ = lines.size() - std::min(lines.size(), kMetaLineCount);
    if (!hasSoundDefinition_) {
        for (Finding& finding : findings_) {
            finding.remedy = kSetsTableAside;
        }
        return;
    }
    for (std::size_t index = kMetaLineCount; index < lines.size(); ++index) {
        examineRecord(lines[index]);
    }
}

std::string TableExamination::whyNotWhole() const {
    if (!hasSoundDefinition_) {
        const Finding& first = findings_.front();
        return "its definition is broken (line " + std::to_string(first.line) + ": " + first.text + ")";
    }
    if (text_.find('\0') != std::string::npos) {
        return "it holds a NUL byte";
    }
    return text_.back() == '\n' ? "" : "its last line has no line feed";
}

bool TableExamination::lacksOnlyLineFeed() const {
    if (!hasSoundDefinition_ || text_.back() == '\n' || text_.find('\0') != std::string::npos) {
        return false;
    }
    const TableExamination completed(file_, text_ + '\n');
    const std::size_t last = recordCount_ + kMetaLineCount;
    return recordCount_ > 0 && (completed.rejects().empty() || completed.rejects().back().line != last);
}

std::string TableExamination::definition() const {
    return FileUtils::recordLine(names_) + FileUtils::recordLine(flagTexts_) +
           FileUtils::recordLine(keyNames_);
}

std::string TableExamination::mendedText() const {
    std::vector<Record> records = records_;
    if (hasHiddenRowId_) {
        std::stable_sort(records.begin(), records.end(),
                         [](const Record& a, const Record& b) { return a.rowId < b.rowId; });
    }
    std::string text = definition();
    for (const Record& record : records) {
        text += record.line;
    }
    return text;
}

void TableExamination::report(std::size_t line, std::string text) {
    findings_.push_back({file_, line, Finding::Severity::kError, std::move(text), Remedy::kMends});
}

void TableExamination::reject(std::size_t line, std::string reason) {
    if (rejection_.empty()) {
        rejection_ = reason;
    }
    report(line, std::move(reason));
}

std::string TableExamination::labelOf(std::size_t column) const {
    return "column " + quoted(names_[column]) + ": ";
}

// ---- The definition

void TableExamination::examineForm(const TableLines& lines) {
    hasForeignForm_ = lines.hasMark || lines.hasCarriageReturns;
    if (lines.hasMark) {
        report(1, "byte-order mark before the first line: readers take it for a part of the first name");
    }
    if (lines.hasCarriageReturns) {
        report(
            1,
            "carriage return before every line feed: readers take it for a part of the last field; the file "
            "was saved in the form of another system");
    }
}

void TableExamination::examineDefinition(std::vector<TableLine>& lines) {
    const std::size_t readable = std::min(lines.size(), kMetaLineCount - 1);
    bool isReadable = readable == kMetaLineCount - 1;
    for (std::size_t index = 0; index < readable; ++index) {
        isReadable = examineMetaLine(lines[index]) && isReadable;
    }
    std::size_t before = findings_.size();
    if (isReadable) {
        names_ = lines[0].fields();
        flagTexts_ = lines[1].fields();
        examineColumns();
        if (findings_.size() == before) {
            addMissingKeyLine(lines);
        }
    }
    bool hasSoundColumns = isReadable && (findings_.size() == before || hasAddedKeyLine_);
    for (std::size_t index = lines.size(); index < kMetaLineCount; ++index) {
        report(index + 1, std::string("line is missing: ") + kMetaLineNames[index]);
        hasSoundColumns = false;
    }
    if (lines.size() < kMetaLineCount || !examineMetaLine(lines[kMetaLineCount - 1]) || !hasSoundColumns) {
        return;
    }
    keyNames_ = lines[kMetaLineCount - 1].fields();
    before = findings_.size();
    examineKey();
    hasSoundDefinition_ = findings_.size() == before;
    if (hasSoundDefinition_) {
        mends_ = findings_;
    }
}

// The third line of a table without a key is empty, and looks as if it could be left out. Where no column is
// NOT NULL, as those of a key are, there can have been no key.
void TableExamination::addMissingKeyLine(std::vector<TableLine>& lines) {
    const bool hasKey =
        std::any_of(flags_.begin(), flags_.end(), [](long flag) { return (flag & kNotNullFlag) != 0; });
    if (hasKey || names_.back() != kRowIdColumn || flags_.back() != kIntegerFlag) {
        return;
    }
    const std::size_t index = kMetaLineCount - 1;
    if (lines.size() > index) {
        const std::vector<std::string> fields = lines[index].fields();
        const bool isRecord = fields.size() == names_.size() &&
                              std::find(names_.begin(), names_.end(), fields.front()) == names_.end();
        if (!isRecord) {
            return;
        }
    }
    lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(index), TableLine{index + 1, "", true});
    hasForeignForm_ = true;
    hasAddedKeyLine_ = true;
    report(
        index + 1,
        "the empty line of a table without a primary key is missing: readers take the first record for it");
}

bool TableExamination::examineMetaLine(const TableLine& line) {
    if (line.hasEmptyField()) {
        report(line.number, kEmptyField);
    }
    const std::size_t before = findings_.size();
    if (line.text.size() + 1 > kMaxLineLength) {
        report(line.number, describeLength(line.text.size() + 1));
    }
    if (line.text.find('\0') != std::string_view::npos) {
        report(line.number, kNulByte);
    }
    if (!line.hasLineFeed) {
        report(line.number, kNoLineFeed);
    }
    return findings_.size() == before;
}

void TableExamination::examineColumns() {
    if (names_.empty()) {
        report(1, "no column names");
    }
    if (names_ == std::vector<std::string>{kRowIdColumn} && flagTexts_ == std::vector<std::string>{"1"}) {
        report(1, "no column but the hidden ROWID: no statement could have made such a table");
    }
    // A client may have a column ROWID of its own in front of the hidden one.
    const bool endsInRowId = !names_.empty() && names_.back() == kRowIdColumn;
    const auto end = names_.end() - (endsInRowId ? 1 : 0);
    for (auto name = names_.begin(); name != names_.end(); ++name) {
        if (!isPossibleName(*name)) {
            report(1, "column name " + quoted(*name) + ": no statement could have made it");
        }
        if (name < end && std::find(names_.begin(), name, *name) != name) {
            report(1, "column " + quoted(*name) + " is there twice");
        }
    }
    if (flagTexts_.size() != names_.size()) {
        report(2, counted(flagTexts_.size(), "flag number") + " for " + counted(names_.size(), "column"));
    }
    for (std::size_t index = 0; index < flagTexts_.size(); ++index) {
        const std::string& text = flagTexts_[index];
        long flag = 0;
        std::from_chars(text.data(), text.data() + text.size(), flag);
        if (typeOfFlag(flag).empty() || std::to_string(flag) != text) {
            report(2, (index < names_.size() ? labelOf(index) : std::string()) + "flag number " +
                          quoted(text) +
                          " is unknown: 1 (INTEGER), 2 (REAL) or 4 (TEXT), plus 256 for NOT NULL");
        }
        flags_.push_back(flag);
    }
}

void TableExamination::examineKey() {
    for (const std::string& name : keyNames_) {
        const auto found = std::find(names_.begin(), names_.end(), name);
        if (found == names_.end()) {
            report(3, "key column " + quoted(name) + " is not a column of the table");
            continue;
        }
        key_.push_back(static_cast<std::size_t>(found - names_.begin()));
        if ((flags_[key_.back()] & kNotNullFlag) == 0) {
            report(2, labelOf(key_.back()) + "flag number " + quoted(flagTexts_[key_.back()]) +
                          " lacks 256, but the column belongs to the primary key");
        }
    }
    if (key_.size() != keyNames_.size()) {
        return;
    }
    const bool keyIsRowId = key_.size() == 1 && (flags_[key_.front()] & kIntegerFlag) != 0;
    hasHiddenRowId_ = !keyIsRowId;
    if (hasHiddenRowId_ && (names_.back() != kRowIdColumn || flags_.back() != kIntegerFlag)) {
        report(1,
               "last column is not ROWID with flag number 1, as in every table without a single INTEGER "
               "primary key");
    }
}

// ---- The records

// Of a line, where not all lines have it. No stored value ends in one.
void TableExamination::takeCarriageReturn(const TableLine& line, std::vector<std::string>& fields) {
    if (fields.empty() || !line.hasLineFeed || fields.back().back() != '\r') {
        return;
    }
    fields.back().pop_back();
    if (fields.back().empty()) {
        fields.pop_back();
    }
    report(line.number, kCarriageReturn);
}

void TableExamination::examineRecord(const TableLine& line) {
    const std::size_t before = findings_.size();
    rejection_.clear();
    std::vector<std::string> fields = line.fields();
    std::uint64_t rowId = 0;
    std::string key;
    takeCarriageReturn(line, fields);
    examineShape(line, fields);
    if (fields.size() == names_.size() && line.text.find('\0') == std::string_view::npos &&
        line.text.size() + 1 <= kMaxLineLength) {
        // Every examination reports all it sees, so each of them runs.
        examineValues(line, fields);
        if (hasHiddenRowId_) {
            rowId = examineRowId(line, fields.back());
        }
        key = examineKeyOf(line, fields);
        const std::size_t length = FileUtils::recordLine(fields).size();
        if (length > kMaxLineLength) {
            reject(line.number, "in the stored form, " + describeLength(length));
        }
    }
    if (!rejection_.empty()) {
        for (std::size_t index = before; index < findings_.size(); ++index) {
            findings_[index].remedy = Remedy::kRejects;
        }
        rejects_.push_back({line.number, std::string(line.text), line.hasLineFeed, rejection_});
        return;
    }
    // Only what is kept takes a ROWID and a key: a later record with the same is not lost to a line that is.
    linesOfRowIds_.emplace(rowId, line.number);
    linesOfKeys_.emplace(std::move(key), line.number);
    records_.push_back({rowId, FileUtils::recordLine(fields)});
    mends_.insert(mends_.end(), findings_.begin() + static_cast<std::ptrdiff_t>(before), findings_.end());
}

void TableExamination::examineShape(const TableLine& line, const std::vector<std::string>& fields) {
    const bool isTooLong = line.text.size() + 1 > kMaxLineLength;
    const bool hasNulByte = line.text.find('\0') != std::string_view::npos;
    if (isTooLong) {
        reject(line.number, describeLength(line.text.size() + 1));
    }
    if (hasNulByte) {
        reject(line.number, kNulByte);
    }
    const bool isReadable = !isTooLong && !hasNulByte;
    const bool hasAllFields = fields.size() == names_.size();
    if (isReadable && line.hasEmptyField()) {
        report(line.number, kEmptyField);
    }
    if (isReadable && !hasAllFields) {
        reject(line.number, (fields.size() < names_.size() ? "too few fields: " : "too many fields: ") +
                                std::to_string(fields.size()) + " for " + counted(names_.size(), "column"));
    }
    if (line.hasLineFeed) {
        return;
    }
    if (!isReadable || !hasAllFields || line.isComplete(flags_.back(), largestLastNumber())) {
        report(line.number, kNoLineFeed);
    } else {
        reject(line.number, kCutLine);
    }
}

// Of a hidden ROWID, and of what else can be in the last column.
std::uint64_t TableExamination::largestLastNumber() const {
    return hasHiddenRowId_ ? kLargestRowId : std::numeric_limits<std::uint64_t>::max();
}

void TableExamination::examineValues(const TableLine& line, std::vector<std::string>& fields) {
    const std::size_t valueCount = fields.size() - (hasHiddenRowId_ ? 1 : 0);
    for (std::size_t column = 0; column < fields.size(); ++column) {
        std::string& value = fields[column];
        const long flag = flags_[column];
        if (column < valueCount && value == kNullWord && (flag & kNotNullFlag) != 0) {
            reject(line.number, labelOf(column) + "NULL is not allowed");
            continue;
        }
        const ValueForm form = ValueForm::of(flag, value);
        const bool isReadable = form.kind == ValueForm::Kind::kReadable && column < valueCount;
        if (form.kind == ValueForm::Kind::kStored || isReadable) {
            continue;
        }
        std::string text = labelOf(column) + "value " + quoted(value) + " is not in the stored form of " +
                           typeOfFlag(flag) + ", " + describeStoredForm(flag);
        if (form.kind == ValueForm::Kind::kMended) {
            report(line.number, std::move(text));
            value = form.text;
        } else {
            reject(line.number, std::move(text));
        }
    }
}

std::uint64_t TableExamination::examineRowId(const TableLine& line, const std::string& value) {
    std::uint64_t rowId = 0;
    const char* const end = value.data() + value.size();
    const auto [rest, error] = std::from_chars(value.data(), end, rowId);
    if (error != std::errc() || rest != end) {
        if (value == kNullWord) {
            reject(line.number, labelOf(names_.size() - 1) + "NULL is no row number");
        }
        return 0;
    }
    if (rowId == 0 || rowId > kLargestRowId) {
        reject(line.number,
               "ROWID " + value + " is not among the row numbers, 1 to " + std::to_string(kLargestRowId));
        return 0;
    }
    const auto first = linesOfRowIds_.find(rowId);
    if (first != linesOfRowIds_.end()) {
        reject(line.number, "ROWID " + value + " repeats that of line " + std::to_string(first->second));
    } else if (rowId < largestRowId_) {
        report(line.number,
               "ROWID " + value + " is out of order: it follows " + std::to_string(largestRowId_));
    }
    if (rejection_.empty()) {
        largestRowId_ = std::max(largestRowId_, rowId);
    }
    return rowId;
}

// Compares as the engine does: without the quotes, and a NULL is equal to nothing. Gives the text to compare,
// empty for a record that is equal to none.
std::string TableExamination::examineKeyOf(const TableLine& line, const std::vector<std::string>& fields) {
    std::string joined;
    std::string description;
    for (const std::size_t column : key_) {
        if (fields[column] == kNullWord) {
            return "";
        }
        std::string scratch;
        joined.append(withoutQuotes(fields[column], scratch)) += FIELD_SEPARATOR;
        description += (description.empty() ? "" : ", ") + names_[column] + " = " + quoted(fields[column]);
    }
    const auto first = linesOfKeys_.find(joined);
    if (!joined.empty() && first != linesOfKeys_.end()) {
        reject(line.number,
               "primary key (" + description + ") repeats that of line " + std::to_string(first->second));
    }
    return joined;
}

}  // namespace Kalt::Vemo::Tool
