#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "rows/ResultPrinter.h"
#include "sql/ResultSet.h"

namespace Kalt::Vemo::Tool {

enum class Mode { kTable, kLine, kCsv, kJson };

/// The names of the modes, for command lines. Throws: Failure for another name.
Mode modeOf(const std::string& name);

/// Writes rows in one of the forms that programs read.
class RowWriter {
public:
    virtual ~RowWriter() = default;

    virtual void begin(const std::vector<Column>& columns) = 0;
    virtual void row(const std::vector<Cell>& cells) = 0;
    virtual void end() {}
};

/// CSV after RFC 4180, with a heading. NULL is an empty field, an empty text is "".
std::unique_ptr<RowWriter> makeCsvWriter(std::ostream& out);

/// One JSON array, an object a line for each row. INTEGER and REAL are numbers.
std::unique_ptr<RowWriter> makeJsonWriter(std::ostream& out);

/// A transaction of one INSERT for each row.
std::unique_ptr<RowWriter> makeSqlWriter(std::ostream& out, const TableSchema& schema);

/// Writes all rows, and stops early when the output takes no more.
void writeRows(RowWriter& writer, const ResultSet& result, const std::ostream& out);

/// Writes a query's result to standard output, or to `out` what is to go there.
void show(const ResultSet& result, Mode mode);
void show(std::ostream& out, const ResultSet& result, Mode mode, CellWidth cellWidth);

}  // namespace Kalt::Vemo::Tool
