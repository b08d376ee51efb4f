#include "console/Printable.h"
#include "rows/JsonText.h"
#include "transfer/DumpFormat.h"

namespace Kalt::Vemo::Tool {

namespace {

std::string dumpedValue(const Column& column, const Cell& cell) {
    if (cell && !isUtf8(*cell)) {
        return R"({"hex":")" + hexadecimal(*cell) + "\"}";
    }
    // Readers of JSON lose the sign of a zero that is a number.
    return cell == "-0" ? jsonText(*cell) : jsonValue(column, cell);
}

std::string definitionOf(const StoredTable& table) {
    std::string text = "{\"table\":" + jsonText(table.schema().name) + ",\"columns\":[";
    for (const Column& column : table.storedColumns()) {
        text += text.back() == '[' ? "" : ",";
        text += jsonText(column.name + " " + column.typeName() + (column.notNull ? " NOT NULL" : ""));
    }
    text += "],\"key\":[";
    for (const std::string& name : table.schema().key) {
        text += (text.back() == '[' ? "" : ",") + jsonText(name);
    }
    return text + "]}";
}

}  // namespace

void writeDump(std::ostream& out, const std::vector<StoredTable>& tables) {
    out << R"({"filedb":"dump","version":1})" << '\n';
    std::size_t rowCount = 0;
    for (const StoredTable& table : tables) {
        out << definitionOf(table) << '\n';
        const ResultSet result = table.rows(true);
        for (const std::vector<Cell>& row : result.rows) {
            for (std::size_t i = 0; i < row.size(); ++i) {
                out << (i == 0 ? "[" : ",") << dumpedValue(result.columns[i], row[i]);
            }
            out << "]\n";
        }
        rowCount += result.rows.size();
        if (!out) {
            return;
        }
    }
    out << R"({"end":{"tables":)" << tables.size() << R"(,"rows":)" << rowCount << "}}\n";
}

}  // namespace Kalt::Vemo::Tool
