#include "virtual/PendingChanges.h"

#include <algorithm>
#include <utility>

namespace Kalt::Vemo::Tool {

namespace {

using Assignments = std::vector<StatementBuilder::Assignment>;

// New keys may collide with old ones on the way, so their order stays as it was given.
bool changesKey(const TableSchema& schema, const Assignments& assignments) {
    return std::any_of(assignments.begin(), assignments.end(),
                       [&schema](const StatementBuilder::Assignment& each) {
                           return schema.isKey(schema.columns[each.column]);
                       });
}

// Separated by what no value holds.
std::string treatment(const TableSchema& schema, const Assignments& assignments) {
    std::string text = schema.name;
    for (const StatementBuilder::Assignment& each : assignments) {
        text += '\n' + std::to_string(each.column) + '=' + each.stored;
    }
    return text;
}

}  // namespace

void PendingChanges::add(const Target& target, std::uint64_t rowId, Assignments assignments,
                         std::size_t number) {
    std::string key = treatment(*target.schema, assignments);
    if (changesKey(*target.schema, assignments)) {
        key += '\n' + std::to_string(number);
    }
    const auto [found, isNew] = positions_.emplace(std::move(key), batches_.size());
    if (isNew) {
        batches_.push_back({target, std::move(assignments), {}});
    }
    batches_[found->second].rows.push_back({rowId, number});
    ++count_;
}

void PendingChanges::clear() {
    batches_.clear();
    positions_.clear();
    count_ = 0;
}

std::size_t PendingChanges::countSince(std::size_t number) const {
    std::size_t count = 0;
    for (const Batch& batch : batches_) {
        count += static_cast<std::size_t>(std::count_if(
            batch.rows.begin(), batch.rows.end(), [number](const Row& row) { return row.number > number; }));
    }
    return count;
}

void PendingChanges::dropSince(std::size_t number) {
    count_ -= countSince(number);
    for (Batch& batch : batches_) {
        batch.rows.erase(std::remove_if(batch.rows.begin(), batch.rows.end(),
                                        [number](const Row& row) { return row.number > number; }),
                         batch.rows.end());
    }
}

std::vector<PendingChanges::Run> PendingChanges::runsOf(const Batch& batch) {
    std::vector<std::uint64_t> ids;
    ids.reserve(batch.rows.size());
    for (const Row& row : batch.rows) {
        ids.push_back(row.id);
    }
    std::sort(ids.begin(), ids.end());
    const auto areNeighbours = [&rows = batch.target.rows](std::uint64_t first, std::uint64_t last) {
        return first + 1 == last || (rows && first < last && rows->areNeighbours(first, last));
    };
    std::vector<Run> runs;
    for (const std::uint64_t id : ids) {
        if (!runs.empty() && areNeighbours(runs.back().range.last, id)) {
            runs.back().range.last = id;
            ++runs.back().rows;
        } else {
            runs.push_back({{id, id}, 1});
        }
    }
    return runs;
}

EngineStatement PendingChanges::statementFor(const Batch& batch, RowRange range) {
    const TableSchema& schema = *batch.target.schema;
    return batch.assignments.empty()
               ? StatementBuilder::deletion(schema, range, batch.target.hasPlainRowIds)
               : StatementBuilder::update(schema, batch.assignments, range, batch.target.hasPlainRowIds);
}

void PendingChanges::send(TableSource& source, const Progress& progress) {
    const std::vector<Batch> batches = std::exchange(batches_, {});
    const std::size_t all = count_;
    clear();
    std::size_t done = 0;
    for (const Batch& batch : batches) {
        for (const Run& run : runsOf(batch)) {
            source.change(statementFor(batch, run.range));
            done += run.rows;
            if (progress) {
                progress(done, all);
            }
        }
    }
}

}  // namespace Kalt::Vemo::Tool
