#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sql/EngineStatement.h"
#include "sql/ResultSet.h"
#include "sql/TableSchema.h"

namespace Kalt::Vemo::Tool {

/// The database behind virtual tables: where their rows come from, and where their changes go.
class TableSource {
public:
    virtual ~TableSource() = default;

    /// Throws: Failure when the table's columns are no longer these.
    virtual void requireSame(const TableSchema& /*schema*/) {}

    /// The rows of a query as they stand in the file, texts without their quotes. Throws: Failure.
    virtual std::vector<std::vector<Cell>> cells(const EngineStatement& query) = 0;

    /// Called before a table is changed. Throws: Failure when it may not be, because the database is for
    /// looking only or the table is damaged.
    virtual void requireChangeable(const std::string& table) = 0;

    /// Runs a change. Throws: Failure with what the engine has against it; nothing is changed then.
    virtual void change(const EngineStatement& statement) = 0;
    virtual std::int64_t lastInsertedRowId() = 0;

    // One transaction at a time. Each throws Failure.
    virtual bool inTransaction() const = 0;
    virtual void begin() = 0;
    virtual void commit() = 0;
    virtual void rollback() = 0;

    /// Called before the first cursor opens and after the last one closed. What is read in between is of one
    /// moment, or of the own transaction. Throws: Failure, Trouble.
    virtual void looksBegin() {}
    virtual void looksEnd() {}

    /// Called before a statement that may change something reads, and after its transaction has ended. In
    /// between nobody else changes the database. Throws: Failure, Trouble.
    virtual void changesBegin() {}
    virtual void changesEnd() {}

    /// Whether the database may change after the looks or the changes ended.
    virtual bool isShared() const { return false; }
};

}  // namespace Kalt::Vemo::Tool
