#include "virtual/TableSpace.h"

#include <utility>

#include "console/ExitStatus.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kAllIsRolledBack = "; the whole transaction is rolled back";

}  // namespace

void TableSpace::requireUsable() const {
    if (!defeat_.empty()) {
        throw Failure("the transaction was rolled back because of an error, end it with ROLLBACK: " +
                      defeat_);
    }
}

bool TableSpace::isInsideTransaction() const {
    return isInsideSqlite_ ? goesOn_ : source_.inTransaction() && !isOwn_;
}

// Rolls back what the engine has of the transaction.
void TableSpace::giveUp(const std::string& cause) {
    const bool wasInside = isInsideTransaction();
    pending_.clear();
    known_.clear();
    if (source_.inTransaction()) {
        source_.rollback();
    }
    if (!wasInside) {
        throw Failure(cause);
    }
    defeat_ = cause;
    throw Failure(cause + kAllIsRolledBack);
}

template <typename Action>
auto TableSpace::orGiveUp(Action action) {
    try {
        return action();
    } catch (const Failure& error) {
        giveUp(error.what());
    }
}

TableSpace::Rows TableSpace::allRows(const Schema& schema) {
    requireUsable();
    send();
    Known& known = known_[schema->name];
    if (!known.rows) {
        source_.requireSame(*schema);
        known.rows = std::make_shared<TableRows>(*schema, source_.cells(StatementBuilder::reading(*schema)));
        known.hasPlainRowIds = known.rows->hasPlainRowIds();
    }
    return known.rows;
}

TableSpace::Rows TableSpace::rowsWith(const Schema& schema, std::uint64_t rowId) {
    requireUsable();
    send();
    const Known& known = known_[schema->name];
    if (known.rows || !known.hasPlainRowIds) {
        return allRows(schema);
    }
    return std::make_shared<TableRows>(*schema, source_.cells(StatementBuilder::reading(*schema, rowId)));
}

// ---- Changes

PendingChanges::Target TableSpace::changeableRow(const Schema& schema, std::uint64_t rowId) {
    const Known& known = known_[schema->name];
    if (!known.rows && !known.hasPlainRowIds) {
        static_cast<void>(allRows(schema));
    }
    if (!known.hasPlainRowIds && known.rows->count(rowId) != 1) {
        throw Failure("table " + schema->name + " has more than one row with the ROWID " +
                      std::to_string(static_cast<std::int64_t>(rowId)) +
                      ", so none of them can be changed; run filedb repair");
    }
    if (!known.hasPlainRowIds && known.rows->isOdd(rowId)) {
        throw Failure("table " + schema->name +
                      " has a row whose ROWID does not stand in plain digits, which the engine reads as " +
                      std::to_string(static_cast<std::int64_t>(rowId)) +
                      "; it cannot be changed before the file is corrected");
    }
    return {schema, known.rows, known.hasPlainRowIds};
}

void TableSpace::add(const Schema& schema, std::uint64_t rowId,
                     std::vector<StatementBuilder::Assignment> assignments) {
    requireUsable();
    pending_.add(changeableRow(schema, rowId), rowId, std::move(assignments), ++changes_);
}

void TableSpace::update(const Schema& schema, std::uint64_t rowId,
                        std::vector<StatementBuilder::Assignment> assignments) {
    add(schema, rowId, std::move(assignments));
}

void TableSpace::remove(const Schema& schema, std::uint64_t rowId) {
    add(schema, rowId, {});
}

std::int64_t TableSpace::insert(const Schema& schema, const std::vector<Column>& columns,
                                const std::vector<Literal>& literals) {
    requireUsable();
    const EngineStatement statement = StatementBuilder::insertion(schema->name, columns, literals);
    send();
    prepareToSend();
    source_.change(statement);
    ++changes_;
    known_[schema->name].rows.reset();
    return source_.lastInsertedRowId();
}

// The number of the last change before the statement that is running.
std::size_t TableSpace::statementStart() const {
    if (!isInsideSqlite_) {
        return transactionStart_;
    }
    // SQLite sets a savepoint for every statement that can change more than one row.
    return savepoints_.empty() ? changes_ : savepoints_.rbegin()->second;
}

void TableSpace::failed(const std::string& cause) {
    const std::size_t start = statementStart();
    if (defeat_.empty() && isInsideTransaction() && changes_ - start > pending_.countSince(start)) {
        giveUp(cause);
    }
    throw Failure(cause);
}

void TableSpace::prepareToSend() {
    if (!source_.inTransaction()) {
        source_.begin();
        isOwn_ = true;
    }
}

void TableSpace::send() {
    if (pending_.empty()) {
        return;
    }
    orGiveUp([this] {
        prepareToSend();
        pending_.send(source_, progress_);
    });
    for (auto& [name, known] : known_) {
        known.rows.reset();
    }
}

// ---- The transaction

void TableSpace::begin(const Schema& schema) {
    const bool isFirst = !std::exchange(isChanging_, true);
    try {
        source_.changesBegin();
        if (isFirst && source_.isShared()) {
            known_.clear();
        }
        source_.requireSame(*schema);
        source_.requireChangeable(schema->name);
    } catch (const std::exception&) {
        if (isFirst) {
            end();
        }
        throw;
    }
    if (isFirst) {
        transactionStart_ = changes_;
    }
    // Asked here, because COMMIT has left the transaction when it comes to the tables.
    goesOn_ = isInsideSqlite_ && isInsideSqlite_();
}

void TableSpace::end() noexcept {
    isChanging_ = false;
    savepoints_.clear();
    source_.changesEnd();
    if (source_.isShared()) {
        known_.clear();
    }
}

void TableSpace::commit() {
    requireUsable();
    send();
    if (isOwn_) {
        orGiveUp([this] { source_.commit(); });
        isOwn_ = false;
    }
}

void TableSpace::rollback() {
    const bool hasSent = changes_ - transactionStart_ > pending_.countSince(transactionStart_);
    pending_.clear();
    if (source_.inTransaction() && (isOwn_ || hasSent)) {
        source_.rollback();
        known_.clear();
    }
    isOwn_ = false;
    defeat_.clear();
    savepoints_.clear();
}

void TableSpace::setSavepoint(int number) {
    savepoints_.emplace(number, changes_);
}

void TableSpace::rollbackTo(int number) {
    // One that is not known was set before the first table was changed.
    const auto found = savepoints_.find(number);
    const std::size_t before = found == savepoints_.end() ? transactionStart_ : found->second;
    const std::size_t since = changes_ - before;
    if (pending_.countSince(before) < since) {
        giveUp("the engine cannot take back a part of a transaction");
    }
    pending_.dropSince(before);
    changes_ = before;
    savepoints_.erase(savepoints_.upper_bound(number), savepoints_.end());
}

void TableSpace::release(int number) {
    savepoints_.erase(savepoints_.lower_bound(number), savepoints_.end());
}

void TableSpace::noteRounding(const std::string& column, const std::string& given,
                              const std::string& stored) {
    if (++rounding_.count == 1) {
        rounding_.first = "column " + column + ": " + given + " is stored as " + stored;
    }
}

// ---- What is in memory

void TableSpace::cursorOpened() {
    if (cursors_ == 0) {
        source_.looksBegin();
    }
    ++cursors_;
}

void TableSpace::cursorClosed() noexcept {
    --cursors_;
    if (cursors_ > 0) {
        return;
    }
    source_.looksEnd();
    if (source_.isShared() && !isChanging_) {
        known_.clear();
    }
}

void TableSpace::forget() {
    known_.clear();
}

}  // namespace Kalt::Vemo::Tool
