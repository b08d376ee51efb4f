#include "changes/TableState.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "TableFormat.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "files/EntryName.h"

namespace Kalt::Vemo::Tool {

using Core::Database::Filedb::FIELD_SEPARATOR;

namespace {

constexpr std::size_t kDefinitionLines = 3;

// The lines without their line feeds, and whether the last one has one.
struct Lines {
    std::vector<std::string> texts;
    bool isLastWhole = true;
};

Lines linesOf(std::string_view text) {
    Lines lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        lines.isLastWhole = end != std::string_view::npos;
        lines.texts.emplace_back(text.substr(0, end));
        text.remove_prefix(lines.isLastWhole ? end + 1 : text.size());
    }
    return lines;
}

std::vector<std::string> fieldsOf(const std::string& line) {
    std::vector<std::string> fields;
    std::size_t start = 0;
    for (std::size_t end = 0; end != std::string::npos; start = end + 1) {
        end = line.find(FIELD_SEPARATOR, start);
        fields.push_back(line.substr(start, end - start));
    }
    return fields;
}

// Reads the records of a table whose definition is known.
class RecordReading {
public:
    explicit RecordReading(TableState& table)
        : table_(table),
          width_(table.schema->columns.size() + (table.schema->hasHiddenRowId ? 1 : 0)),
          rowId_(table.schema->hasHiddenRowId ? width_ - 1 : indexOfKey(*table.schema)) {}

    void take(std::size_t number, const std::string& line, bool isWhole) {
        std::vector<std::string> fields = fieldsOf(line);
        std::string problem = problemOf(line, fields, isWhole);
        if (problem.empty() && table_.rows.count(fields[rowId_]) > 0) {
            problem = "ROWID " + printable(fields[rowId_]) + " stands twice";
        }
        if (!problem.empty()) {
            table_.damage.push_back({number, line, problem});
            return;
        }
        const std::string id = fields[rowId_];
        fields.resize(table_.schema->columns.size());
        table_.rows.emplace(id, std::move(fields));
    }

private:
    static std::size_t indexOfKey(const TableSchema& schema) {
        const auto isKey = [&schema](const Column& column) { return schema.isKey(column); };
        return static_cast<std::size_t>(std::find_if(schema.columns.begin(), schema.columns.end(), isKey) -
                                        schema.columns.begin());
    }

    std::string problemOf(const std::string& line, const std::vector<std::string>& fields,
                          bool isWhole) const {
        if (!isWhole) {
            return "the last line has no line feed";
        }
        if (line.find('\0') != std::string::npos) {
            return "a NUL byte";
        }
        if (fields.size() != width_) {
            return counted(fields.size(), "field") + " for " + counted(width_, "column");
        }
        const bool hasEmpty =
            std::any_of(fields.begin(), fields.end(), [](const std::string& field) { return field.empty(); });
        return hasEmpty ? "an empty field" : "";
    }

    TableState& table_;
    std::size_t width_;
    std::size_t rowId_;
};

std::optional<TableSchema> definitionIn(const std::string& table, const Lines& lines) {
    if (lines.texts.size() < kDefinitionLines ||
        (lines.texts.size() == kDefinitionLines && !lines.isLastWhole)) {
        return std::nullopt;
    }
    std::string text;
    for (std::size_t i = 0; i < kDefinitionLines; ++i) {
        text += lines.texts[i] + '\n';
    }
    try {
        return schemaOfText(table, text);
    } catch (const Failure&) {
        return std::nullopt;
    }
}

}  // namespace

TableState TableState::read(const std::string& table, const RawFile& file) {
    TableState state;
    if (!file.isRegular()) {
        state.damage.push_back({0, "", file.problem});
        return state;
    }
    const Lines lines = linesOf(file.text);
    state.schema = definitionIn(table, lines);
    if (!state.schema) {
        for (std::size_t i = 0; i < std::max<std::size_t>(lines.texts.size(), 1); ++i) {
            state.damage.push_back({i + 1, i < lines.texts.size() ? lines.texts[i] : "",
                                    "the table's definition cannot be read"});
        }
        return state;
    }
    RecordReading reading(state);
    for (std::size_t i = kDefinitionLines; i < lines.texts.size(); ++i) {
        reading.take(i + 1, lines.texts[i], lines.isLastWhole || i + 1 < lines.texts.size());
    }
    return state;
}

DatabaseState tablesOf(const Snapshot& snapshot, const std::string& onlyTable) {
    DatabaseState tables;
    for (const auto& [fileName, file] : snapshot.files()) {
        const EntryName entry = EntryName::of(fileName);
        if (entry.kind == EntryName::Kind::kTable && (onlyTable.empty() || entry.table == onlyTable)) {
            tables.emplace(entry.table, TableState::read(entry.table, file));
        }
    }
    return tables;
}

}  // namespace Kalt::Vemo::Tool
