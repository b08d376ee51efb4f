#include "shell/Session.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "DatabaseException.h"
#include "EngineAccess.h"
#include "FileUtils.h"
#include "SqlText.h"
#include "TableMetaData.h"
#include "Utils.h"
#include "check/FindingsReport.h"
#include "check/TableExamination.h"
#include "check/UnfinishedCommit.h"
#include "console/Printable.h"
#include "files/RawFile.h"
#include "sql/Literals.h"
#include "sql/SqlLexer.h"
#include "sql/StoredForm.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database;
using namespace Core::Database::Filedb;

namespace {

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += (text.empty() ? "" : "\n") + line;
    }
    return text;
}

// The labels that the engine gives to a query that was sent as it stands.
std::vector<Column> rawColumns(const std::string& statement,
                               const std::function<TableSchema(std::string)>& schemaOf) {
    const SqlText::Select select = SqlText::parseSelect(statement);
    const TableSchema schema = schemaOf(Utils::trimString(select.table.written));
    std::size_t width = schema.columns.size() + (schema.hasHiddenRowId ? 1 : 0);
    std::vector<Column> columns;
    for (const SqlText::Item& item : select.items.logged()) {
        if (!item.isStar) {
            columns.push_back({Utils::trimString(item.name.written), Column::Type::kText, false, false});
            continue;
        }
        width -= schema.hasHiddenRowId && width > 0 ? 1 : 0;
        for (std::size_t i = 0; i < width; ++i) {
            columns.push_back({schema.columns[i].name, Column::Type::kText, false, false});
        }
    }
    return columns;
}

// Gives the shown form of a result's cells.
ResultSet shownRows(Rows rows, const std::vector<Column>& columns) {
    ResultSet result{columns, {}};
    result.rows.reserve(static_cast<std::size_t>(rows.count()));
    for (const Row row : rows) {
        std::vector<Cell> cells;
        cells.reserve(columns.size());
        for (std::size_t i = 0; i < columns.size(); ++i) {
            Cell cell = row.get<Cell>(static_cast<int>(i + 1));
            if (cell) {
                cell = shownValue(columns[i], *cell);
            }
            cells.push_back(std::move(cell));
        }
        result.rows.push_back(std::move(cells));
    }
    return result;
}

// Asked about each line that a statement stores. The database would write a line that is too long, and read
// it as two records. What is thrown here is what the statement fails with.
bool requireLineFits(std::size_t length) {
    if (length > kMaxLineLength) {
        throw DatabaseException(
            __func__, __LINE__,
            "the row would take a line of %zu bytes; a table file holds lines of at most %zu", length,
            kMaxLineLength);
    }
    return true;
}

// The rows of a table in memory make a change of single rows cheap, and here there is room.
constexpr std::size_t kKeptBytes = 64U << 20U;

}  // namespace

Session::Session(const PathArgument& path, Access access, Damage damage, LongLines longLines)
    : access_(access),
      damage_(damage),
      path_(path),
      namedDirectory_(path.directory()),
      database_(longLines == LongLines::kStored ? nullptr : requireLineFits) {
    EngineAccess::keepBytes(database_, kKeptBytes);
    if (access == Access::kLook) {
        path.requireDirectory();
        copy_.emplace(path);
        const UnfinishedCommit commit(copy_->path().directory());
        for (const std::string& table : commit.tables()) {
            damages_[table] =
                table + kBackupSuffix + ": left by a commit that was interrupted, may hold newer rows";
        }
        open(copy_->path().base());
        return;
    }
    std::error_code ignored;
    if (access == Access::kChange || std::filesystem::is_directory(namedDirectory_, ignored)) {
        path.requireDirectory();
        openForChanges();
    }
}

void Session::openForChanges() {
    use_.emplace(namedDirectory_);
    if (damage_ != Damage::kAccepted) {
        UnfinishedCommit(namedDirectory_).requireNone(namedDirectory_, optionToForce());
        use_->announce();  // the journal was read
    }
    open(path_.base());
}

void Session::requireOpen(bool mayMake) {
    if (isOpen()) {
        return;
    }
    std::error_code ignored;
    if (!mayMake && !std::filesystem::is_directory(namedDirectory_, ignored)) {
        throw NoDatabase("no database at " + namedDirectory_ +
                         "; check the path, or make one with CREATE TABLE");
    }
    openForChanges();
    if (std::exchange(beginsLater_, false)) {
        transaction_.emplace(database_);
    }
}

void Session::open(const std::string& base) {
    const bool isOpen = database_.init(base);
    const std::string errors = joined(log_.takeErrors());
    if (!isOpen) {
        const bool isForbidden =
            access_ != Access::kLook && access(namedDirectory_.c_str(), W_OK | X_OK) != 0;
        throw Trouble(
            namedDirectory_ +
            ": the database cannot be opened: " + (errors.empty() ? "its journal cannot be used" : errors) +
            (isForbidden ? "; run it as a user who may write there, or open it for reading only" : ""));
    }
    directory_ = base + kDirectorySuffix;
}

// Runs `action` and turns what the log says meanwhile into an exception.
template <typename Action>
auto Session::reporting(Action action) {
    static_cast<void>(log_.takeErrors());
    const auto raise = [this](const std::string& otherwise) {
        const std::string errors = joined(log_.takeErrors());
        if (!errors.empty() || !otherwise.empty()) {
            throw Failure(errors.empty() ? otherwise : errors);
        }
    };
    try {
        auto result = action();
        raise("");
        return result;
    } catch (const DatabaseException& error) {
        raise(readableError(error.what()));
        throw;
    } catch (const std::invalid_argument& error) {
        throw Failure(error.what());
    }
}

// The working copy in which the open transaction keeps the table; empty when it keeps none.
std::string Session::workingCopyOf(const std::string& table) const {
    const std::string fileName = directory_ + "/" + table + kBackupSuffix;
    return touched_.count(table) > 0 && FileUtils::fileExist(fileName) ? fileName : "";
}

std::vector<std::string> Session::tables() const {
    if (!isOpen()) {
        return {};
    }
    std::set<std::string> names;
    for (const std::string& name : tableNames(directory_, kTableSuffix)) {
        names.insert(name);
    }
    names.insert(touched_.begin(), touched_.end());
    std::vector<std::string> result;
    std::copy_if(names.begin(), names.end(), std::back_inserter(result),
                 [this](const std::string& name) { return exists(name); });
    return result;
}

bool Session::exists(const std::string& table) const {
    return isOpen() && isPossibleName(table) && dropped_.count(table) == 0 &&
           (FileUtils::fileExist(directory_ + "/" + table + kTableSuffix) || !workingCopyOf(table).empty());
}

TableSchema Session::schemaOf(const std::string& table) const {
    if (!exists(table)) {
        throw Failure("no such table: " + printable(table));
    }
    const std::string workingCopy = workingCopyOf(table);
    return readSchema(table, workingCopy.empty() ? directory_ + "/" + table + kTableSuffix : workingCopy);
}

std::string Session::createStatements(const std::string& table) const {
    std::string text;
    for (const std::string& name : table.empty() ? tables() : std::vector<std::string>{table}) {
        text += schemaOf(name).createStatement() + "\n";
    }
    return text;
}

void Session::requireChangesAllowed() const {
    if (access_ == Access::kLook) {
        throw Failure("the database is open for looking only; leave out --read-only to change it");
    }
}

const std::string& Session::damageOf(const std::string& table) {
    const auto found = damages_.find(table);
    if (found != damages_.end()) {
        return found->second;
    }
    const std::string file = table + kTableSuffix;
    const RawFile raw = RawFile::read(directory_ + "/" + file);
    std::string text;
    // A table that the open transaction made has no file yet.
    if (raw.isRegular()) {
        text = summaryOf(TableExamination(namedDirectory_ + "/" + file, raw.text).findings());
    }
    return damages_.emplace(table, std::move(text)).first->second;
}

std::string Session::damageWarning(const std::string& table) {
    return warningOf(table, damageOf(table));
}

void Session::requireChangeable(const std::string& table) {
    requireChangesAllowed();
    if (damage_ != Damage::kAccepted && !damageOf(table).empty()) {
        throw Failure("table " + table + " is damaged, and a change would make that final: " +
                      damageOf(table) + "; run filedb repair first" + optionToForce());
    }
}

ResultSet Session::run(const EngineStatement& statement) {
    if (statement.kind == EngineStatement::Kind::kQuery) {
        return query(statement);
    }
    if (statement.kind == EngineStatement::Kind::kChange) {
        change(statement);
    }
    return {};
}

std::vector<std::vector<Cell>> Session::cells(const EngineStatement& query) {
    return reporting([&] {
        std::vector<std::vector<Cell>> result;
        for (const Row row : client_.queryWith(query.text.c_str(), query.values)) {
            std::vector<Cell> cells;
            cells.reserve(query.columns.size());
            for (std::size_t i = 0; i < query.columns.size(); ++i) {
                cells.push_back(row.get<Cell>(static_cast<int>(i + 1)));
            }
            result.push_back(std::move(cells));
        }
        return result;
    });
}

ResultSet Session::query(const EngineStatement& statement) {
    return reporting([&] {
        return shownRows(client_.queryWith(statement.text.c_str(), statement.values), statement.columns);
    });
}

void Session::change(const EngineStatement& statement) {
    requireChangesAllowed();
    if (statement.isDrop) {
        damages_.erase(statement.table);
    }
    const int result =
        reporting([&] { return client_.executeWith(statement.text.c_str(), statement.values); });
    if (result != 0) {
        throw Failure("the engine refused the statement: " + statement.text);
    }
    if (inTransaction()) {
        (statement.isDrop ? dropped_ : touched_).insert(statement.table);
    }
}

ResultSet Session::runRaw(const std::string& statement) {
    if (statement.find('\0') != std::string::npos) {
        throw Failure("the statement holds a NUL byte, where the engine would end it");
    }
    const std::string text = Utils::leftTrimString(statement);
    const std::string keyword = upperCase(text.substr(0, text.find_first_of(" \t\n\v\f\r(*;")));
    if (keyword == "SELECT") {
        return reporting([&] {
            Rows rows = client_.query(statement.c_str());
            return shownRows(std::move(rows),
                             rawColumns(statement.substr(0, statement.find_last_not_of("; \t\n\v\f\r") + 1),
                                        [this](const std::string& table) { return schemaOf(table); }));
        });
    }
    requireChangesAllowed();
    const int result = reporting([&] { return client_.execute(statement.c_str()); });
    // Of all statements only ALTER TABLE gives 1 when it succeeds, and 0 when there is no such table.
    if (result != (keyword == "ALTER" ? 1 : 0)) {
        throw Failure("the engine did nothing: " + text);
    }
    if (inTransaction()) {
        const std::vector<std::string> changed = tableNames(directory_, kBackupSuffix);
        touched_.insert(changed.begin(), changed.end());
    }
    return {};
}

// ---- Transactions

void Session::begin() {
    requireChangesAllowed();
    if (inTransaction()) {
        throw Failure("a transaction is open already; end it with COMMIT or ROLLBACK");
    }
    beginsLater_ = !isOpen();
    if (isOpen()) {
        transaction_.emplace(database_);
    }
}

void Session::endTransaction(bool (Transaction::*end)(), const char* failure) {
    if (!inTransaction()) {
        throw Failure("no transaction is open; BEGIN opens one");
    }
    if (std::exchange(beginsLater_, false)) {
        return;
    }
    if (!reporting([&] { return ((*transaction_).*end)(); })) {
        throw Failure(failure);
    }
    transaction_.reset();
    touched_.clear();
    dropped_.clear();
}

void Session::commit() {
    endTransaction(&Transaction::commit, "the transaction could not be committed");
}

void Session::rollback() {
    endTransaction(&Transaction::rollback, "the transaction could not be rolled back");
}

}  // namespace Kalt::Vemo::Tool
