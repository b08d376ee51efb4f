#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sql/Literals.h"
#include "virtual/PendingChanges.h"
#include "virtual/TableRows.h"
#include "virtual/TableSource.h"

namespace Kalt::Vemo::Tool {

/// The tables of one database as SQLite reads and changes them: rows that stay in memory until something
/// changes them, changes that wait to be sent together, and the transaction.
///
/// UPDATEs and DELETEs of single rows wait until the next read, the end of the statement or COMMIT; an INSERT
/// is sent at once, because its ROWID is asked for. The engine cannot take back a part of its transaction:
/// when what was sent has to go, the whole transaction is rolled back, and until SQLite has done the same
/// every call fails.
class TableSpace {
public:
    using Schema = std::shared_ptr<const TableSchema>;
    using Rows = std::shared_ptr<const TableRows>;

    /// A transaction that goes on after the statement is begun and ended at the source; to SQLite each
    /// statement is a transaction of its own.
    explicit TableSpace(TableSource& source) : source_(source) {}

    /// Such a transaction is begun by a BEGIN that SQLite runs.
    /// @param isInside whether one is open
    TableSpace(TableSource& source, std::function<bool()> isInside)
        : source_(source), isInsideSqlite_(std::move(isInside)) {}

    // Each throws Failure.
    Rows allRows(const Schema& schema);
    /// All rows with the ROWID are among these; it is asked for alone where the engine finds it alone.
    Rows rowsWith(const Schema& schema, std::uint64_t rowId);

    /// @param assignments not empty
    void update(const Schema& schema, std::uint64_t rowId,
                std::vector<StatementBuilder::Assignment> assignments);
    void remove(const Schema& schema, std::uint64_t rowId);
    /// @return the new row's ROWID
    std::int64_t insert(const Schema& schema, const std::vector<Column>& columns,
                        const std::vector<Literal>& literals);

    /// To be called with what ended a statement early. Throws: Failure, always, that says so when what the
    /// statement has sent took the whole transaction with it.
    [[noreturn]] void failed(const std::string& cause);

    /// A transaction that may change the table; it is the source's own unless that has one open already.
    void begin(const Schema& schema);
    /// Makes the changes permanent, or only sends them when the transaction goes on. Throws: Failure.
    void commit();
    void rollback();
    /// After either.
    void end() noexcept;

    /// SQLite's savepoints, numbered from the outside in. Throws: Failure when the whole transaction has to
    /// be rolled back.
    void setSavepoint(int number);
    void rollbackTo(int number);
    void release(int number);

    void cursorOpened();
    void cursorClosed() noexcept;

    /// Everything may have changed: forgets what is in memory.
    void forget();

    /// Values of REAL columns that are not stored as they were given, since the last call.
    struct Rounding {
        std::size_t count = 0;
        std::string first;  ///< "column area: 3.14159265 is stored as 3.14159"
    };
    void noteRounding(const std::string& column, const std::string& given, const std::string& stored);
    Rounding takeRounding() { return std::exchange(rounding_, {}); }

    /// Told of every statement that is sent of a number of changes.
    void showProgress(PendingChanges::Progress progress) { progress_ = std::move(progress); }

private:
    struct Known {
        Rows rows;
        bool hasPlainRowIds = false;
    };

    PendingChanges::Target changeableRow(const Schema& schema, std::uint64_t rowId);
    bool isInsideTransaction() const;
    std::size_t statementStart() const;
    void add(const Schema& schema, std::uint64_t rowId,
             std::vector<StatementBuilder::Assignment> assignments);
    void prepareToSend();
    void send();
    void requireUsable() const;
    [[noreturn]] void giveUp(const std::string& cause);
    template <typename Action>
    auto orGiveUp(Action action);

    TableSource& source_;
    std::function<bool()> isInsideSqlite_;
    PendingChanges::Progress progress_;
    std::map<std::string, Known> known_;
    PendingChanges pending_;
    Rounding rounding_;
    std::map<int, std::size_t> savepoints_;  // the number of the last change before each
    std::size_t transactionStart_ = 0;       // the same of SQLite's transaction
    std::size_t changes_ = 0;
    std::string defeat_;       // why the transaction was rolled back under SQLite's feet
    bool goesOn_ = false;      // SQLite's transaction goes on after the statement
    bool isOwn_ = false;       // the transaction was begun here
    bool isChanging_ = false;  // between begin() and end()
    int cursors_ = 0;
};

}  // namespace Kalt::Vemo::Tool
