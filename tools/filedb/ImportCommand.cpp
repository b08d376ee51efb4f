#include <CLI/CLI.hpp>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>

#include "Command.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "console/Progress.h"
#include "rows/CountedInput.h"
#include "rows/CsvReader.h"
#include "rows/JsonRowReader.h"
#include "shell/Session.h"
#include "sql/StatementBuilder.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kFooter =
    R"(The table must exist. A CSV file names the columns in its first line, an object of a JSON array
names them itself; columns that are not named become NULL, and so does an empty CSV field without
quotes. FILE - is standard input.

The import is one transaction: after any error the table is as it was. An error is told as
FILE:LINE: error: what is wrong. Refused are values that a column or a table file cannot hold: a "~",
a line feed or a NUL byte in a text, and rows that take a line of more than 1023 bytes.

The database writes the whole table anew for each row, so the time grows with the square of the rows.

Examples:
  filedb import /var/lib/app/subscriptions Subscriptions subscriptions.csv
  filedb import /tmp/copy Subscriptions subscriptions.json
)";

struct Options {
    std::string path;
    std::string table;
    std::string file;
    std::string format;
};

bool isJson(const Options& options) {
    return options.format.empty() ? std::filesystem::path(options.file).extension() == ".json"
                                  : options.format == "json";
}

/// Puts the rows of a file into a table.
class Importer {
public:
    Importer(Session& session, const std::string& table)
        : session_(session), schema_(session.schemaOf(table)) {}

    void take(const ImportedRow& row) {
        std::vector<Column> columns;
        std::vector<Literal> literals;
        for (const ImportedField& field : row.fields) {
            const Column column = requireColumn(field, columns);
            // For the field's own line in the message.
            at(field.line, [&] { return storedLiteral(column, field.literal); });
            columns.push_back(column);
            literals.push_back(field.literal);
        }
        if (columns.empty()) {
            throw ImportError(row.line, "the row names no column");
        }
        at(row.line,
           [&] { return session_.run(StatementBuilder::insertion(schema_.name, columns, literals)); });
        ++rows_;
    }

    std::size_t rows() const { return rows_; }

private:
    template <typename Action>
    static void at(std::size_t line, Action action) {
        try {
            static_cast<void>(action());
        } catch (const Failure& error) {
            throw ImportError(line, error.what());
        }
    }

    Column requireColumn(const ImportedField& field, const std::vector<Column>& named) const {
        for (const Column& column : named) {
            if (column.name == field.column) {
                throw ImportError(field.line, "column " + Tool::quoted(field.column) + " is named twice");
            }
        }
        for (const Column& column : schema_.columns) {
            if (column.name == field.column) {
                return column;
            }
        }
        throw ImportError(field.line,
                          "table " + schema_.name + " has no column " + Tool::quoted(field.column));
    }

    Session& session_;
    TableSchema schema_;
    std::size_t rows_ = 0;
};

int importFile(const Options& options) {
    const bool isStandardInput = options.file == "-";
    const std::string name = isStandardInput ? "<stdin>" : options.file;
    std::ifstream file;
    std::error_code unknownSize;
    std::uintmax_t size = 0;
    if (!isStandardInput) {
        file.open(options.file, std::ios::binary);
        if (!file || std::filesystem::is_directory(options.file)) {
            throw Trouble(name + ": cannot be read; name a CSV or JSON file");
        }
        size = std::filesystem::file_size(options.file, unknownSize);
    }
    CountedInput input(isStandardInput ? std::cin : file);

    Session session(PathArgument(options.path), Session::Access::kChange);
    Importer importer(session, options.table);
    session.begin();
    try {
        Progress progress(unknownSize ? 0 : static_cast<std::size_t>(size));
        const auto take = [&](const ImportedRow& row) {
            importer.take(row);
            progress.update(input.bytes(), importer.rows());
        };
        if (isJson(options)) {
            readJsonRows(input, take);
        } else {
            readCsv(input, take);
        }
    } catch (const ImportError& error) {
        session.rollback();
        std::cerr << printable(name) << ':' << error.line() << ": error: " << printable(error.what()) << '\n';
        return kFailed;
    }
    if (input.isBad()) {
        throw Trouble(name + ": cannot be read to its end");
    }
    session.commit();
    std::cout << "imported " << counted(importer.rows(), "row") << " into " << options.table << '\n';
    return kDone;
}

}  // namespace

void addImportCommand(CLI::App& app, int& status) {
    CLI::App* const command =
        app.add_subcommand("import", "Insert the rows of a CSV or JSON file into a table");
    const auto options = std::make_shared<Options>();
    addPath(*command, options->path);
    command->add_option("TABLE", options->table, "The table")->required();
    command->add_option("FILE", options->file, "The file, - for standard input")->required();
    command->add_option("--format", options->format, "csv or json; by itself json for a FILE named *.json")
        ->check(CLI::IsMember({"csv", "json"}));
    command->footer(kFooter);
    command->callback(
        [options, &status] { status = runCommand("import", [&] { return importFile(*options); }); });
}

}  // namespace Kalt::Vemo::Tool
