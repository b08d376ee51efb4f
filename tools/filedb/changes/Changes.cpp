#include "changes/Changes.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

namespace Kalt::Vemo::Tool {

namespace {

bool isSameDefinition(const TableState& a, const TableState& b) {
    return a.schema.has_value() == b.schema.has_value() &&
           (!a.schema || (a.schema->definition() == b.schema->definition() &&
                          a.schema->hasHiddenRowId == b.schema->hasHiddenRowId));
}

// The differences of one table.
class TableComparison {
public:
    TableComparison(std::string table, std::vector<Change>& changes)
        : table_(std::move(table)), changes_(changes) {}

    void compare(const TableState& before, const TableState& after) {
        compareRows(before, after);
        addLinesWithout(after.damage, before.damage, Change::Kind::kLineGone);
        addLinesWithout(before.damage, after.damage, Change::Kind::kLineAdded);
    }

    void drop(const TableState& before) {
        compare(before, TableState());
        addTable(Change::Kind::kTableDropped, before);
    }

    void create(const TableState& after) {
        addTable(Change::Kind::kTableCreated, after);
        compare(TableState(), after);
    }

private:
    void addTable(Change::Kind kind, const TableState& state) {
        Change change;
        change.kind = kind;
        change.table = table_;
        change.schema = state.schema ? &*state.schema : nullptr;
        changes_.push_back(change);
    }

    void addRow(Change::Kind kind, const TableState& of, const std::string& rowId, const StoredRow* before,
                const StoredRow* after) {
        changes_.push_back({kind, table_, &*of.schema, rowId, before, after, nullptr});
    }

    // Both are in the order of the ids.
    void compareRows(const TableState& before, const TableState& after) {
        auto old = before.rows.begin();
        auto now = after.rows.begin();
        const RowIdOrder isLess;
        while (old != before.rows.end() || now != after.rows.end()) {
            if (now == after.rows.end() || (old != before.rows.end() && isLess(old->first, now->first))) {
                addRow(Change::Kind::kRowGone, before, old->first, &old->second, nullptr);
                ++old;
            } else if (old == before.rows.end() || isLess(now->first, old->first)) {
                addRow(Change::Kind::kRowAdded, after, now->first, nullptr, &now->second);
                ++now;
            } else {
                if (old->second != now->second) {
                    addRow(Change::Kind::kRowChanged, after, now->first, &old->second, &now->second);
                }
                ++old;
                ++now;
            }
        }
    }

    // The lines whose text does not stand among the others, each as often as it is missing there.
    void addLinesWithout(const std::vector<DamagedLine>& others, const std::vector<DamagedLine>& lines,
                         Change::Kind kind) {
        std::multiset<std::string> known;
        for (const DamagedLine& other : others) {
            known.insert(other.text);
        }
        for (const DamagedLine& line : lines) {
            const auto same = known.find(line.text);
            if (same != known.end()) {
                known.erase(same);
                continue;
            }
            Change change;
            change.kind = kind;
            change.table = table_;
            change.line = &line;
            changes_.push_back(change);
        }
    }

    std::string table_;
    std::vector<Change>& changes_;
};

}  // namespace

std::vector<Change> changesBetween(const DatabaseState& before, const DatabaseState& after) {
    std::set<std::string> names;
    for (const DatabaseState* const state : {&before, &after}) {
        std::transform(state->begin(), state->end(), std::inserter(names, names.end()),
                       [](const auto& table) { return table.first; });
    }
    std::vector<Change> changes;
    for (const std::string& name : names) {
        const auto old = before.find(name);
        const auto now = after.find(name);
        TableComparison comparison(name, changes);
        if (old != before.end() && now != after.end() && isSameDefinition(old->second, now->second)) {
            comparison.compare(old->second, now->second);
            continue;
        }
        if (old != before.end()) {
            comparison.drop(old->second);
        }
        if (now != after.end()) {
            comparison.create(now->second);
        }
    }
    return changes;
}

}  // namespace Kalt::Vemo::Tool
