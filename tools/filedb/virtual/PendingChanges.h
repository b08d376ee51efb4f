#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "sql/StatementBuilder.h"
#include "virtual/TableRows.h"
#include "virtual/TableSource.h"

namespace Kalt::Vemo::Tool {

/// UPDATEs and DELETEs of single rows that wait to be sent. Rows that get the same treatment are sent as one
/// statement for each run of neighbouring ROWIDs.
class PendingChanges {
public:
    /// The table of a change, and what was read of it when the change was made; null when only single rows
    /// were.
    struct Target {
        std::shared_ptr<const TableSchema> schema;
        std::shared_ptr<const TableRows> rows;
        bool hasPlainRowIds;
    };
    using Progress = std::function<void(std::size_t done, std::size_t all)>;

    /// @param number counts up from change to change
    /// @param assignments of an UPDATE; none for a DELETE
    void add(const Target& target, std::uint64_t rowId, std::vector<StatementBuilder::Assignment> assignments,
             std::size_t number);

    bool empty() const { return batches_.empty(); }
    void clear();

    /// How many of the changes have a number above `number`, and drops them.
    std::size_t countSince(std::size_t number) const;
    void dropSince(std::size_t number);

    /// Sends all in turn; what was sent is gone from here, also after a failure. Throws: Failure of the first
    /// that fails.
    void send(TableSource& source, const Progress& progress);

private:
    struct Row {
        std::uint64_t id;
        std::size_t number;
    };
    struct Batch {
        Target target;
        std::vector<StatementBuilder::Assignment> assignments;
        std::vector<Row> rows;
    };

    struct Run {
        RowRange range;
        std::size_t rows;
    };

    static std::vector<Run> runsOf(const Batch& batch);
    static EngineStatement statementFor(const Batch& batch, RowRange range);

    std::vector<Batch> batches_;
    std::map<std::string, std::size_t> positions_;  // of a treatment's batch
    std::size_t count_ = 0;
};

}  // namespace Kalt::Vemo::Tool
