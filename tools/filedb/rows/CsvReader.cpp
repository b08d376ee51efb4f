#include "rows/CsvReader.h"

#include <string>
#include <utility>
#include <vector>

#include "console/Printable.h"

namespace Kalt::Vemo::Tool {

namespace {

struct CsvField {
    std::string text;
    bool isQuoted = false;
    std::size_t line = 0;
};

class Reader {
public:
    Reader(CountedInput& input, char delimiter)
        : input_(input), delimiter_(static_cast<unsigned char>(delimiter)) {
        skipByteOrderMark();
    }

    std::size_t line() const { return input_.line(); }

    /// The next record; false at the end of the file.
    bool next(std::vector<CsvField>& record) {
        record.clear();
        if (input_.peek() == CountedInput::kEnd) {
            return false;
        }
        do {
            record.push_back(input_.peek() == '"' ? quotedField() : plainField());
        } while (acceptDelimiter());
        return true;
    }

private:
    void skipByteOrderMark() {
        if (input_.peek() == 0xEF) {
            for (const int expected : {0xEF, 0xBB, 0xBF}) {
                if (input_.get() != expected) {
                    throw ImportError(1, "the file begins with a damaged byte order mark");
                }
            }
        }
    }

    CsvField plainField() {
        CsvField field{{}, false, input_.line()};
        while (!atEndOfField()) {
            const int c = input_.get();
            if (c == '"') {
                throw ImportError(field.line,
                                  "a quote inside a field without quotes; put the field in quotes "
                                  "and double the quote");
            }
            field.text += static_cast<char>(c);
        }
        return field;
    }

    CsvField quotedField() {
        CsvField field{{}, true, input_.line()};
        input_.get();
        for (;;) {
            const int c = input_.get();
            if (c == CountedInput::kEnd) {
                throw ImportError(field.line, "the quote that opens here is not closed");
            }
            if (c == '"' && input_.peek() != '"') {
                break;
            }
            if (c == '"') {
                input_.get();
            }
            field.text += static_cast<char>(c);
        }
        if (!atEndOfField()) {
            throw ImportError(input_.line(),
                              delimiterName() + " or the end of the line must follow a closing quote");
        }
        return field;
    }

    // A carriage return belongs to the end of the line only before a line feed.
    bool atEndOfField() {
        const int c = input_.peek();
        if (c == '\r') {
            return carriageReturnEndsLine();
        }
        return c == delimiter_ || c == '\n' || c == CountedInput::kEnd;
    }

    bool carriageReturnEndsLine() {
        input_.get();
        if (input_.peek() == '\n' || input_.peek() == CountedInput::kEnd) {
            return true;
        }
        throw ImportError(input_.line(), "a carriage return inside a field without quotes");
    }

    // Takes what ends a field; true when it was the delimiter.
    bool acceptDelimiter() { return input_.get() == delimiter_; }

    std::string delimiterName() const {
        return delimiter_ == ','
                   ? "a comma"
                   : "the delimiter " + Tool::quoted(std::string(1, static_cast<char>(delimiter_)));
    }

    CountedInput& input_;
    const int delimiter_;
};

}  // namespace

void readCsv(CountedInput& input, char delimiter, const TakeHeading& takeHeading, const TakeRow& take) {
    Reader reader(input, delimiter);
    std::vector<CsvField> heading;
    if (!reader.next(heading)) {
        throw ImportError(1, "the file is empty; its first line names the columns");
    }
    std::vector<std::string> names;
    names.reserve(heading.size());
    for (const CsvField& field : heading) {
        names.push_back(field.text);
    }
    takeHeading(1, names);
    std::vector<CsvField> record;
    for (std::size_t line = reader.line(); reader.next(record); line = reader.line()) {
        if (record.size() != heading.size()) {
            throw ImportError(line, counted(record.size(), "field") + " where the heading has " +
                                        std::to_string(heading.size()));
        }
        ImportedRow row{line, {}};
        for (std::size_t i = 0; i < record.size(); ++i) {
            CsvField& field = record[i];
            const bool isNull = field.text.empty() && !field.isQuoted;
            row.fields.push_back(
                {names[i],
                 {isNull ? Literal::Kind::kNull : Literal::Kind::kText, std::move(field.text)},
                 field.line});
        }
        take(row);
    }
}

}  // namespace Kalt::Vemo::Tool
