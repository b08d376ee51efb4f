// Statements of any text, on a database that overwrites its tables and on one that replaces them.
//
// Each piece of the input is a step:
//
//     B, C, R, O              begin, commit or roll back a transaction; close the database and open it again
//     STATEMENT|VALUE|VALUE   a statement, and what it binds; a "?" without a value is bound to NULL
//
// Both databases give the same results, and hold the same files where they are compared: before each closing,
// after each opening and at the end. With no transaction open there is no working copy, and the journal is at
// rest.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "DatabaseException.h"
#include "FileDatabase.h"
#include "FuzzDirectory.h"
#include "FuzzInput.h"
#include "IResultTable.h"

namespace Kalt::Vemo::Fuzz {
namespace {

using Core::Database::DatabaseException;
using Core::Database::IResultTable;
using Core::Database::Filedb::FileDatabase;
using Core::Database::Filedb::Synchronous;

constexpr std::size_t kMostSteps = 48;
constexpr std::size_t kMostValues = 8;
constexpr int kMostColumns = 8;

const Files kTables{
    {"t.table",
     "n~s~r~ROWID\n1~4~2~1\n\n1~'one'~0.5~1\nNULL~'it's'~NULL~2\n18446744073709551615~''~1e+10~4\n"},
    {"k.table", "id~s\n257~260\nid\n3~'c'\n1~'a'\n"},
    {"p.table", "a~b~c~ROWID\n257~260~4~1\na~b\n1~'x'~NULL~1\n1~'y'~'%z'~9223372036854775807\n"}};

struct Statement {
    explicit Statement(std::string_view piece) {
        std::size_t end = piece.find('|');
        sql = piece.substr(0, end);
        while (end != std::string_view::npos && values.size() < kMostValues) {
            piece.remove_prefix(end + 1);
            end = piece.find('|');
            values.emplace_back(piece.substr(0, end));
        }
    }

    // A table may go by two names, "t" and "./t". With a third one, of which the transaction drops the table,
    // the levels part: copying over makes a table anew under the last name, replacing is done for all names
    // at the first.
    bool isPossible() const {
        for (std::size_t slash = sql.find('/'); slash != std::string::npos;
             slash = sql.find('/', slash + 1)) {
            const bool isSecondName =
                slash > 0 && sql[slash - 1] == '.' && (slash < 2 || sql[slash - 2] != '/');
            if (!isSecondName) {
                return false;
            }
        }
        return std::count(sql.begin(), sql.end(), '?') <= static_cast<std::ptrdiff_t>(kMostValues);
    }

    bool isQuery() const { return sql.find("SELECT") != std::string::npos; }

    const char* value(std::size_t index) const {
        return index < values.size() ? values[index].c_str() : nullptr;
    }

    std::string sql;
    std::vector<std::string> values;
};

class Database {
public:
    Database(const std::string& base, Synchronous level)
        : base_(base), database_(std::make_unique<FileDatabase>(level)), level_(level) {
        putFiles(base_ + "_filedb", kTables);
        require(database_->init(base_), "init is false");
    }

    // Runs a step and tells all that it gives.
    std::string run(std::string_view step) {
        if (step == "B") {
            return std::to_string(database_->beginTransaction());
        }
        if (step == "C") {
            return std::to_string(database_->commitTransaction());
        }
        if (step == "R") {
            return std::to_string(database_->rollbackTransaction());
        }
        if (step == "O") {
            database_ = std::make_unique<FileDatabase>(level_);
            return std::to_string(database_->init(base_));
        }
        const Statement statement(step);
        if (!statement.isPossible()) {
            return {};
        }
        return statement.isQuery() ? query(statement) : change(statement);
    }

    Files files() const { return filesOf(base_ + "_filedb"); }

private:
    std::string change(const Statement& s) {
        const int result =
            database_->executeUpdate(s.sql.c_str(), s.value(0), s.value(1), s.value(2), s.value(3),
                                     s.value(4), s.value(5), s.value(6), s.value(7));
        return std::to_string(result) + " " + std::to_string(database_->getLastInsertRowid());
    }

    std::string query(const Statement& s) {
        const std::unique_ptr<IResultTable> rows(
            database_->executeQuery(s.sql.c_str(), s.value(0), s.value(1), s.value(2), s.value(3), s.value(4),
                                    s.value(5), s.value(6), s.value(7)));
        if (rows == nullptr) {
            return "null";
        }
        std::string cells = std::to_string(rows->getCount());
        int width = kMostColumns;
        while (rows->next()) {
            try {
                for (int column = 1; column <= width; ++column) {
                    cells += '|' + rows->getString(column) + (rows->wasNull() ? "NULL" : "");
                }
            } catch (const DatabaseException&) {
                width = 0;
            }
        }
        return cells;
    }

    const std::string base_;
    std::unique_ptr<FileDatabase> database_;
    const Synchronous level_;
};

class Script {
public:
    Script(const std::string& base, std::string_view input)
        : steps_(piecesOf(input)),
          overwriting_(base + "/off", Synchronous::off),
          replacing_(base + "/full", Synchronous::full) {}

    void run() {
        for (std::size_t index = 0; index < std::min(steps_.size(), kMostSteps); ++index) {
            const std::string_view step = steps_[index];
            if (step == "O") {
                compareFiles();
            }
            const std::string atOff = overwriting_.run(step);
            const std::string atFull = replacing_.run(step);
            if (atOff != atFull) {
                finding("step " + std::to_string(index) + ", " + shown(step) + ", gives " + shown(atOff) +
                        " at level off and " + shown(atFull) + " at level full");
            }
            // A commit that fails leaves the transaction open.
            const bool isEnded = step == "O" || ((step == "C" || step == "R") && atOff == "1");
            failedCommit_ = failedCommit_ || (step == "C" && hasTransaction_ && !isEnded);
            hasTransaction_ = step == "B" || (hasTransaction_ && !isEnded);
            if (step == "O") {
                compareFiles();
            }
        }
        compareFiles();
    }

private:
    void compareFiles() const {
        const Files atOff = overwriting_.files();
        const Files atFull = replacing_.files();
        if (atOff != atFull) {
            finding("the files at level off," + shown(atOff) + "\nare not those at level full" +
                    shown(atFull));
        }
        for (const auto& [name, content] : atOff) {
            const bool isTable = name.size() > 6 && name.compare(name.size() - 6, 6, ".table") == 0;
            if (!hasTransaction_ && !failedCommit_ && !isTable && content != "0\n") {
                finding("no transaction is open, but there is " + name + " " + shown(content));
            }
        }
    }

    const std::vector<std::string_view> steps_;
    Database overwriting_;
    Database replacing_;
    bool hasTransaction_ = false;
    bool failedCommit_ = false;  // an opening leaves the working copy that its journal names first
};

}  // namespace
}  // namespace Kalt::Vemo::Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Kalt::Vemo::Fuzz;
    const std::string_view input = textOf(data, size);
    if (leadsElsewhere(input)) {
        return -1;
    }
    silenceLog();
    Script(FuzzDirectory::emptied().path(), input).run();
    return 0;
}
