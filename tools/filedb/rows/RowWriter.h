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

/// What becomes of characters that could disturb a terminal.
enum class Bytes {
    kExact,     ///< they stay, for a file or a program
    kPrintable  ///< they are written out (printable()), and a note on standard error says so
};

/// Printable when standard output is a terminal, exact when not.
Bytes bytesForOutput();

/// Writes rows in one of the forms that programs read.
class RowWriter {
public:
    virtual ~RowWriter() = default;

    /// Throws: Failure, before anything is written, for a value that the form cannot hold.
    virtual void examine(const ResultSet& /*result*/) const {}

    virtual void begin(const std::vector<Column>& columns) = 0;
    virtual void row(const std::vector<Cell>& cells) = 0;
    virtual void end() {}
};

/// How CSV is written.
struct CsvFormat {
    char delimiter = ',';
    const char* lineEnd = "\r\n";
};

/// CSV after RFC 4180, with a heading. NULL is an empty field, an empty text is "".
std::unique_ptr<RowWriter> makeCsvWriter(std::ostream& out, Bytes bytes, const CsvFormat& format = {});

/// One JSON array, an object a line for each row. INTEGER and REAL are numbers. Control characters and those
/// that cannot be seen stand as \uNNNN; a text that is no UTF-8 is refused.
std::unique_ptr<RowWriter> makeJsonWriter(std::ostream& out);

/// The same objects, a line each and nothing else.
std::unique_ptr<RowWriter> makeJsonLinesWriter(std::ostream& out);

/// A transaction of one INSERT for each row.
std::unique_ptr<RowWriter> makeSqlWriter(std::ostream& out, Bytes bytes, const TableSchema& schema);

/// Writes all rows, and stops early when the output takes no more. Throws: as RowWriter::examine.
void writeRows(RowWriter& writer, const ResultSet& result, const std::ostream& out);

/// Writes a query's result to standard output, or to `out` what is to go there.
void show(const ResultSet& result, Mode mode);
void show(std::ostream& out, const ResultSet& result, Mode mode, CellWidth cellWidth);

}  // namespace Kalt::Vemo::Tool
