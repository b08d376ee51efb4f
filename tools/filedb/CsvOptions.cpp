#include "CsvOptions.h"

#include <CLI/CLI.hpp>

#include "TableFormat.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"

namespace Kalt::Vemo::Tool {

using Core::Database::Filedb::kRowIdColumn;

void addDelimiter(CLI::App& command, std::string& delimiter) {
    command.add_option("--delimiter", delimiter, "What stands between the fields of CSV; by itself a comma")
        ->type_name("CHARACTER");
}

char delimiterFrom(const std::string& delimiter, const std::string& format) {
    if (delimiter.empty()) {
        return ',';
    }
    if (format != "csv") {
        throw Trouble("--delimiter: only csv has one; leave it out for " + format);
    }
    const std::string text = delimiter == "\\t" ? "\t" : delimiter;
    const bool isOneByte = text.size() == 1 && static_cast<unsigned char>(text.front()) < 0x80;
    if (!isOneByte || text.find_first_of("\"\r\n") != std::string::npos) {
        throw Trouble(
            "--delimiter: " + Tool::quoted(delimiter) +
            " cannot stand between fields; name one character of ASCII, or \\t for a tabulator, but no "
            "quote and no end of a line");
    }
    return text.front();
}

void requireRowIdsApart(const TableSchema& schema) {
    for (const Column& column : schema.columns) {
        if (column.name == kRowIdColumn && schema.hasHiddenRowId) {
            throw Failure("table " + schema.name +
                          " has a column ROWID of its own; leave out --rowid, or use filedb dump");
        }
    }
}

}  // namespace Kalt::Vemo::Tool
