#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "files/PathArgument.h"
#include "shell/Session.h"
#include "virtual/TableSource.h"

namespace Kalt::Vemo::Tool {

/// The tables of a directory that other processes use as well, for a program that may keep it attached for
/// hours.
///
/// What is read is a snapshot of all tables, taken when the first cursor opens and kept until the last one
/// closes; the engine never opens the directory itself for that. It does so from the first change to the end
/// of the transaction, which keeps every other process out; then the transaction's own rows are read.
///
/// Threads: SQLite sees to it that one thread at a time uses a connection, and so its sources. Objects of
/// several connections may be used at the same time.
class DirectorySource final : public TableSource {
public:
    enum class Access { kRead, kWrite };

    /// Throws: Trouble for a path that cannot be one.
    DirectorySource(const std::string& path, Access access);
    ~DirectorySource() override;

    std::vector<std::string> tables();
    /// Throws: Failure, Trouble.
    TableSchema schemaOf(const std::string& table);
    /// What is wrong with a table's file; empty when it is sound.
    std::string damageWarning(const std::string& table);

    void requireSame(const TableSchema& schema) override;
    std::vector<std::vector<Cell>> cells(const EngineStatement& query) override;
    void requireChangeable(const std::string& table) override;
    void change(const EngineStatement& statement) override;
    std::int64_t lastInsertedRowId() override;
    bool inTransaction() const override;
    void begin() override;
    void commit() override;
    void rollback() override;
    void looksBegin() override;
    void looksEnd() override;
    void changesBegin() override;
    void changesEnd() override;
    bool isShared() const override { return true; }

private:
    struct Table {
        TableSchema schema;
        std::vector<std::vector<Cell>> cells;
        std::string damage;
        std::string problem;  // why it cannot be read; empty when it can
    };
    using Snapshot = std::map<std::string, Table>;

    const Snapshot& snapshot();
    const Table& inSnapshot(const std::string& table);
    static Table read(Session& session, const std::string& table);
    Session& writer();

    PathArgument path_;
    Access access_;
    std::unique_ptr<Snapshot> snapshot_;
    std::unique_ptr<Session> writer_;  // from the first change to the end of the transaction
    std::string changedName_;          // of the directory meanwhile, among those that are being changed
};

}  // namespace Kalt::Vemo::Tool
