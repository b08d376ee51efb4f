#include "transfer/GrowingTable.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "Comparison.h"
#include "FileUtils.h"
#include "StringConversion.h"
#include "TableFormat.h"
#include "console/ExitStatus.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;
using Platform::StringConversion;

namespace {

std::string exactDigits(float number) {
    std::array<char, 32> digits{};
    const std::to_chars_result end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    return {digits.data(), end.ptr};
}

// Equal for two values of a key's column exactly when the engine finds them equal.
std::string comparable(const Column& column, std::string_view value) {
    std::string scratch;
    std::string text(withoutQuotes(value, scratch));
    switch (column.type) {
        case Column::Type::kInteger:
            return std::to_string(StringConversion::stringTouint64(text));
        case Column::Type::kReal:
            return exactDigits(StringConversion::stringToFloat(text) + 0.0F);  // -0 and 0 are equal
        case Column::Type::kText:
        case Column::Type::kUnknown:
            break;
    }
    return text;
}

// What a damaged file has in the place of a ROWID is none.
std::optional<std::uint64_t> rowIdOf(std::string_view field) {
    std::uint64_t rowId = 0;
    const auto [rest, error] = std::from_chars(field.data(), field.data() + field.size(), rowId);
    return error == std::errc() && rest == field.data() + field.size() ? std::optional(rowId) : std::nullopt;
}

}  // namespace

GrowingTable::GrowingTable(const StoredTable& table) : table_(table), columns_(table.schema().columns) {
    for (const std::string& name : table.schema().key) {
        const auto column = std::find_if(columns_.begin(), columns_.end(),
                                         [&name](const Column& each) { return each.name == name; });
        key_.push_back(static_cast<std::size_t>(column - columns_.begin()));
    }
    table.forEachRecord(
        [this](const std::vector<std::string_view>& fields, std::size_t /*line*/) { noteRecord(fields); });
}

// A record that lacks fields, in a damaged file, takes neither a key nor a ROWID.
void GrowingTable::noteRecord(const std::vector<std::string_view>& fields) {
    if (fields.size() < columns_.size() + (table_.schema().hasHiddenRowId ? 1 : 0)) {
        return;
    }
    std::string key = keyOf(fields);
    if (!key.empty()) {
        keys_.insert(std::move(key));
    }
    if (!table_.schema().hasHiddenRowId) {
        return;
    }
    if (const std::optional<std::uint64_t> rowId = rowIdOf(fields[columns_.size()])) {
        rowIds_.insert(*rowId);
        largestRowId_ = std::max(largestRowId_, *rowId);
    }
}

// Empty without a key, and for a key that equals none because a part of it is NULL.
std::string GrowingTable::keyOf(const std::vector<std::string_view>& values) const {
    std::string key;
    for (const std::size_t column : key_) {
        if (values[column] == kNullWord) {
            return {};
        }
        key.append(comparable(columns_[column], values[column])) += FIELD_SEPARATOR;
    }
    return key;
}

void GrowingTable::add(std::vector<std::string> values, std::optional<std::uint64_t> rowId) {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        if (columns_[i].notNull && values[i] == kNullWord) {
            throw Failure("DB Error: NULL Value is not allowed");
        }
    }
    std::string key = keyOf({values.begin(), values.end()});
    const bool hasRowId = table_.schema().hasHiddenRowId;
    if (hasRowId) {
        rowId = rowId ? *rowId : nextRowId();
        values.push_back(std::to_string(*rowId));
        if (rowIds_.count(*rowId) > 0) {
            throw Failure("ROWID " + values.back() +
                          " is there already; without it the row gets the next one");
        }
    }
    if (!key.empty() && keys_.count(key) > 0) {
        throw Failure("DB Error: PRIMARY KEY must be unique");
    }
    std::string line = FileUtils::recordLine(values);
    if (line.size() > kMaxLineLength) {
        throw Failure("the row would take a line of " + std::to_string(line.size()) +
                      " bytes; a table file holds lines of at most " + std::to_string(kMaxLineLength));
    }
    if (!key.empty()) {
        keys_.insert(std::move(key));
    }
    if (hasRowId) {
        rowIds_.insert(*rowId);
        largestRowId_ = std::max(largestRowId_, *rowId);
    }
    added_.push_back({hasRowId ? *rowId : 0, std::move(line)});
}

// The one after the last; when there is none left, the first that is free.
std::uint64_t GrowingTable::nextRowId() {
    if (largestRowId_ < INT64_MAX) {
        return largestRowId_ + 1;
    }
    while (rowIds_.count(firstFree_) > 0) {
        ++firstFree_;
    }
    return firstFree_;
}

std::string GrowingTable::text() const {
    const std::string_view old = table_.text();
    const bool hasRowIds = table_.schema().hasHiddenRowId;
    std::vector<AddedLine> added = added_;
    std::stable_sort(added.begin(), added.end(),
                     [](const AddedLine& a, const AddedLine& b) { return a.rowId < b.rowId; });
    std::string text(old.substr(0, table_.definitionLength()));
    auto next = added.begin();
    const auto append = [&](const AddedLine& each) { text += each.line; };
    std::string_view rest = old.substr(table_.definitionLength());
    while (!rest.empty()) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        const std::size_t separator = line.rfind(FIELD_SEPARATOR);
        const std::optional<std::uint64_t> rowId = hasRowIds && separator != std::string_view::npos
                                                       ? rowIdOf(line.substr(separator + 1))
                                                       : std::nullopt;
        for (; rowId && next != added.end() && next->rowId < *rowId; ++next) {
            append(*next);
        }
        text.append(line) += '\n';  // also behind a last line that lacks it
    }
    std::for_each(next, added.end(), append);
    return text;
}

}  // namespace Kalt::Vemo::Tool
