#include "extension/DirectorySource.h"

#include <filesystem>
#include <mutex>
#include <set>
#include <system_error>
#include <utility>

#include "console/ExitStatus.h"
#include "sql/StatementBuilder.h"

namespace Kalt::Vemo::Tool {

namespace {

// Guards all that the objects of a process share: the log, the temporary copy, the directories that are being
// changed.
std::recursive_mutex& sharedMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

// Two engines of one process are not kept apart by the directory's lock.
std::set<std::string>& directoriesBeingChanged() {
    static auto* const directories = new std::set<std::string>;
    return *directories;
}

std::string trueName(const std::string& directory) {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::canonical(directory, error);
    return error ? directory : path.string();
}

using Guard = std::lock_guard<std::recursive_mutex>;

}  // namespace

DirectorySource::DirectorySource(const std::string& path, Access access) : path_(path), access_(access) {}

DirectorySource::~DirectorySource() {
    changesEnd();
}

// ---- What is read

DirectorySource::Table DirectorySource::read(Session& session, const std::string& table) {
    Table result;
    try {
        result.schema = session.schemaOf(table);
        result.damage = session.damageWarning(table);
        result.cells = session.cells(StatementBuilder::reading(result.schema));
    } catch (const Failure& error) {
        result.problem = error.what();
    }
    return result;
}

const DirectorySource::Snapshot& DirectorySource::snapshot() {
    if (!snapshot_) {
        const Guard guard(sharedMutex());
        Session session(path_, Session::Access::kLook);
        auto tables = std::make_unique<Snapshot>();
        for (const std::string& table : session.tables()) {
            tables->emplace(table, read(session, table));
        }
        snapshot_ = std::move(tables);
    }
    return *snapshot_;
}

const DirectorySource::Table& DirectorySource::inSnapshot(const std::string& table) {
    const auto found = snapshot().find(table);
    if (found == snapshot_->end()) {
        throw Failure("no such table: " + table + " in " + path_.directory());
    }
    return found->second;
}

std::vector<std::string> DirectorySource::tables() {
    std::vector<std::string> names;
    for (const auto& [name, table] : snapshot()) {
        names.push_back(name);
    }
    return names;
}

TableSchema DirectorySource::schemaOf(const std::string& table) {
    const Table& found = inSnapshot(table);
    if (found.schema.columns.empty()) {
        throw Failure(found.problem);
    }
    return found.schema;
}

std::string DirectorySource::damageWarning(const std::string& table) {
    return inSnapshot(table).damage;
}

void DirectorySource::requireSame(const TableSchema& schema) {
    const Guard guard(sharedMutex());
    const TableSchema now = writer_ ? writer_->schemaOf(schema.name) : schemaOf(schema.name);
    if (now.definition() != schema.definition()) {
        throw Failure("table " + schema.name +
                      " has been made anew with other columns; DROP the virtual table and create it again");
    }
}

std::vector<std::vector<Cell>> DirectorySource::cells(const EngineStatement& query) {
    const Guard guard(sharedMutex());
    if (writer_) {
        return writer_->cells(query);
    }
    const Table& table = inSnapshot(query.table);
    if (!table.problem.empty()) {
        throw Failure(table.problem);
    }
    return table.cells;
}

void DirectorySource::looksBegin() {
    if (!writer_) {
        static_cast<void>(snapshot());
    }
}

void DirectorySource::looksEnd() {
    snapshot_.reset();
}

// ---- What is changed

void DirectorySource::changesBegin() {
    if (writer_) {
        return;
    }
    if (access_ == Access::kRead) {
        throw Failure("the tables of " + path_.directory() +
                      " are for reading only; name 'write' behind the table to change them");
    }
    const Guard guard(sharedMutex());
    std::string name = trueName(path_.directory());
    if (directoriesBeingChanged().count(name) > 0) {
        throw Trouble(path_.directory() +
                      ": another connection of this program is changing it; end its transaction first");
    }
    writer_ = std::make_unique<Session>(path_, Session::Access::kChange, Session::Damage::kRefused);
    directoriesBeingChanged().insert(name);
    changedName_ = std::move(name);
}

void DirectorySource::changesEnd() {
    if (writer_) {
        const Guard guard(sharedMutex());
        directoriesBeingChanged().erase(changedName_);
        writer_.reset();
    }
    snapshot_.reset();
}

Session& DirectorySource::writer() {
    if (!writer_) {
        throw Failure("no transaction is open");
    }
    return *writer_;
}

void DirectorySource::requireChangeable(const std::string& table) {
    const Guard guard(sharedMutex());
    writer().requireChangeable(table);
}

void DirectorySource::change(const EngineStatement& statement) {
    const Guard guard(sharedMutex());
    writer().change(statement);
}

std::int64_t DirectorySource::lastInsertedRowId() {
    return writer().lastInsertedRowId();
}

bool DirectorySource::inTransaction() const {
    return writer_ && writer_->inTransaction();
}

void DirectorySource::begin() {
    const Guard guard(sharedMutex());
    writer().begin();
}

void DirectorySource::commit() {
    const Guard guard(sharedMutex());
    writer().commit();
}

void DirectorySource::rollback() {
    const Guard guard(sharedMutex());
    writer().rollback();
}

}  // namespace Kalt::Vemo::Tool
