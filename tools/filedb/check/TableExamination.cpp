#include "check/TableExamination.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "Comparison.h"
#include "FileUtils.h"
#include "RecordReader.h"
#include "console/Printable.h"
#include "sql/StoredForm.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;

namespace {

constexpr std::size_t kMetaLineCount = 3;
constexpr const char* const kMetaLineNames[kMetaLineCount] = {"the column names", "the flag numbers",
                                                              "the primary key"};

std::vector<std::string> fieldsOf(std::string_view lineText) {
    const std::string line = std::string(lineText) + '\n';
    Record record{std::string_view(line)};
    return {record.all().begin(), record.all().end()};
}

bool hasEmptyField(std::string_view line) {
    return !line.empty() && (line.front() == FIELD_SEPARATOR || line.back() == FIELD_SEPARATOR ||
                             line.find(std::string(2, FIELD_SEPARATOR)) != std::string_view::npos);
}

std::string describeLength(std::size_t length) {
    return "line is " + std::to_string(length) + " bytes long with its line feed, the format's limit is " +
           std::to_string(kMaxLineLength);
}

constexpr const char* kEmptyField =
    "empty field (\"~~\", or \"~\" at an end of the line): readers skip it and move the later fields";
constexpr const char* kNulByte = "NUL byte: readers end the line there";
constexpr const char* kNoLineFeed = "last line has no line feed: readers lose its last character";

}  // namespace

TableExamination::TableExamination(std::string file, std::string text)
    : file_(std::move(file)), text_(std::move(text)) {
    const std::vector<Line> lines = cutIntoLines();
    recordCount_ = lines.size() - std::min(lines.size(), kMetaLineCount);
    examineDefinition(lines);
    if (!hasSoundDefinition_) {
        return;
    }
    for (std::size_t index = kMetaLineCount; index < lines.size(); ++index) {
        examineRecord(lines[index]);
    }
}

bool TableExamination::isWhole() const {
    return hasSoundDefinition_ && text_.back() == '\n' && text_.find('\0') == std::string::npos;
}

std::string_view TableExamination::definition() const {
    std::size_t end = 0;
    for (std::size_t line = 0; line < kMetaLineCount; ++line) {
        end = text_.find('\n', end) + 1;
    }
    return std::string_view(text_).substr(0, end);
}

std::string TableExamination::mendedText() const {
    std::vector<Record> records = records_;
    if (hasHiddenRowId_) {
        std::stable_sort(records.begin(), records.end(),
                         [](const Record& a, const Record& b) { return a.rowId < b.rowId; });
    }
    std::string text =
        FileUtils::recordLine(names_) + FileUtils::recordLine(flagTexts_) + FileUtils::recordLine(keyNames_);
    for (const Record& record : records) {
        text += record.line;
    }
    return text;
}

void TableExamination::report(std::size_t line, std::string text) {
    findings_.push_back({file_, line, Finding::Severity::kError, std::move(text)});
}

std::string TableExamination::labelOf(std::size_t column) const {
    return "column " + quoted(names_[column]) + ": ";
}

std::vector<TableExamination::Line> TableExamination::cutIntoLines() const {
    std::vector<Line> lines;
    std::string_view rest = text_;
    while (!rest.empty()) {
        const std::size_t end = rest.find('\n');
        const bool hasLineFeed = end != std::string_view::npos;
        const std::string_view line = rest.substr(0, end);
        lines.push_back({lines.size() + 1, line, hasLineFeed});
        rest.remove_prefix(line.size() + (hasLineFeed ? 1 : 0));
    }
    return lines;
}

// ---- The definition

void TableExamination::examineDefinition(const std::vector<Line>& lines) {
    bool isReadable = true;
    for (std::size_t index = 0; index < kMetaLineCount; ++index) {
        if (index >= lines.size()) {
            report(index + 1, std::string("line is missing: ") + kMetaLineNames[index]);
            isReadable = false;
        } else {
            isReadable = examineMetaLine(lines[index]) && isReadable;
        }
    }
    if (!isReadable) {
        return;
    }
    names_ = fieldsOf(lines[0].text);
    flagTexts_ = fieldsOf(lines[1].text);
    keyNames_ = fieldsOf(lines[2].text);
    const std::size_t before = findings_.size();
    examineColumns();
    if (findings_.size() == before) {
        examineKey();
    }
    hasSoundDefinition_ = findings_.size() == before;
    if (hasSoundDefinition_) {
        mends_ = findings_;
    }
}

bool TableExamination::examineMetaLine(const Line& line) {
    if (hasEmptyField(line.text)) {
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

void TableExamination::examineRecord(const Line& line) {
    const std::size_t before = findings_.size();
    std::vector<std::string> fields = fieldsOf(line.text);
    std::uint64_t rowId = 0;
    std::string key;
    // Every examination reports all it sees, so each of them runs.
    bool isKept = examineShape(line);
    if (isKept) {
        isKept = examineValues(line, fields);
        if (hasHiddenRowId_) {
            isKept = examineRowId(line, fields.back(), rowId) && isKept;
        }
        isKept = examineKeyOf(line, fields, key) && isKept;
    }
    std::string stored = FileUtils::recordLine(fields);
    if (isKept && stored.size() > kMaxLineLength) {
        isKept = false;  // the stored form needs more room than the line gives
    }
    if (isKept) {
        // Only what is kept takes a ROWID and a key: a later record with the same is not lost to a line that
        // is.
        linesOfRowIds_.emplace(rowId, line.number);
        linesOfKeys_.emplace(std::move(key), line.number);
        records_.push_back({rowId, std::move(stored)});
        mends_.insert(mends_.end(), findings_.begin() + static_cast<std::ptrdiff_t>(before), findings_.end());
    } else {
        rejects_.push_back({line.number, std::string(line.text), findings_[before].text});
    }
}

bool TableExamination::examineShape(const Line& line) {
    const std::size_t before = findings_.size();
    if (line.text.size() + 1 > kMaxLineLength) {
        report(line.number, describeLength(line.text.size() + 1));
    }
    if (line.text.find('\0') != std::string_view::npos) {
        report(line.number, kNulByte);
    }
    bool isReadable = findings_.size() == before;
    if (!line.hasLineFeed) {
        report(line.number, kNoLineFeed);
    }
    if (!isReadable) {
        return false;
    }
    if (hasEmptyField(line.text)) {
        report(line.number, kEmptyField);
    }
    const std::size_t count = fieldsOf(line.text).size();
    if (count != names_.size()) {
        report(line.number, (count < names_.size() ? "too few fields: " : "too many fields: ") +
                                std::to_string(count) + " for " + counted(names_.size(), "column"));
        isReadable = false;
    }
    return isReadable;
}

bool TableExamination::examineValues(const Line& line, std::vector<std::string>& fields) {
    const std::size_t valueCount = fields.size() - (hasHiddenRowId_ ? 1 : 0);
    bool isKept = true;
    for (std::size_t column = 0; column < fields.size(); ++column) {
        std::string& value = fields[column];
        const long flag = flags_[column];
        if (column < valueCount && value == kNullWord && (flag & kNotNullFlag) != 0) {
            report(line.number, labelOf(column) + "NULL is not allowed");
            isKept = false;
            continue;
        }
        std::optional<std::string> stored = storedForm(flag, value);
        if (stored == value) {
            continue;
        }
        report(line.number, labelOf(column) + "value " + quoted(value) + " is not in the stored form of " +
                                typeOfFlag(flag) + ", " + describeStoredForm(flag));
        isKept = isKept && stored;
        value = stored.value_or(value);
    }
    return isKept;
}

bool TableExamination::examineRowId(const Line& line, const std::string& value, std::uint64_t& rowId) {
    const char* const end = value.data() + value.size();
    const auto [rest, error] = std::from_chars(value.data(), end, rowId);
    if (error != std::errc() || rest != end) {
        if (value == kNullWord) {
            report(line.number, labelOf(names_.size() - 1) + "NULL is no row number");
        }
        return false;
    }
    const auto first = linesOfRowIds_.find(rowId);
    const bool isNew = first == linesOfRowIds_.end();
    if (!isNew) {
        report(line.number, "ROWID " + value + " repeats that of line " + std::to_string(first->second));
    } else if (rowId < largestRowId_) {
        report(line.number,
               "ROWID " + value + " is out of order: it follows " + std::to_string(largestRowId_));
    }
    largestRowId_ = std::max(largestRowId_, rowId);
    return isNew;
}

// Compares as the engine does: without the quotes, and a NULL is equal to nothing. Gives the text to compare,
// empty for a record that is equal to none.
bool TableExamination::examineKeyOf(const Line& line, const std::vector<std::string>& fields,
                                    std::string& key) {
    if (key_.empty()) {
        return true;
    }
    std::string joined;
    std::string description;
    for (const std::size_t column : key_) {
        if (fields[column] == kNullWord) {
            return true;
        }
        std::string scratch;
        joined.append(withoutQuotes(fields[column], scratch)) += FIELD_SEPARATOR;
        description += (description.empty() ? "" : ", ") + names_[column] + " = " + quoted(fields[column]);
    }
    key = std::move(joined);
    const auto first = linesOfKeys_.find(key);
    const bool isNew = first == linesOfKeys_.end();
    if (!isNew) {
        report(line.number,
               "primary key (" + description + ") repeats that of line " + std::to_string(first->second));
    }
    return isNew;
}

}  // namespace Kalt::Vemo::Tool
