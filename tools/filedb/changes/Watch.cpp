#include "changes/Watch.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <iterator>
#include <utility>

#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "files/Snapshot.h"

namespace Kalt::Vemo::Tool {

namespace {

// A commit takes less, unless its program has died or the system holds it up.
constexpr auto kLongCommit = std::chrono::seconds(1);

}  // namespace

Watch::Watch(const std::string& directory, std::string table)
    : directory_(directory), table_(std::move(table)), events_(directory) {}

void Watch::note(const std::string& text) const {
    std::cerr << "filedb watch: " << printable(directory_) << ": " << printable(text) << std::endl;
}

// Nothing while the directory is not at rest.
std::optional<DatabaseState> Watch::read() {
    if (!events_.isThere()) {
        if (!isAbsenceTold_) {
            note(isStarted_ ? "is gone; waiting until it is made again"
                            : "is not there yet; waiting until it is made");
        }
        isAbsenceTold_ = true;
        return DatabaseState();
    }
    const bool isNew = events_.isNew() && isStarted_;
    if (std::exchange(isAbsenceTold_, false) || isNew) {
        note("is made");
    }
    try {
        const std::optional<Snapshot> snapshot = Snapshot::ofLiveAtOnce(directory_);
        return snapshot ? std::optional(tablesOf(*snapshot, table_)) : std::nullopt;
    } catch (const Trouble&) {
        if (!events_.isStillThere()) {
            return std::nullopt;  // its end is the next event
        }
        throw;
    }
}

void Watch::keepUnsoundTables(DatabaseState& state) {
    for (auto table = state.begin(); table != state.end();) {
        const auto& [name, content] = *table;
        if (content.isSound()) {
            ++table;
            continue;
        }
        const DamagedLine& first = content.damage.front();
        const std::string what = first.number == 0 ? name + " " + first.problem
                                                   : name + " cannot be read, line " +
                                                         std::to_string(first.number) + ": " + first.problem;
        problems_.insert(what + "; waiting for its next change, filedb check tells more");
        const bool isKnown = last_ && last_->count(name) > 0;
        if (isKnown) {
            table->second = last_->at(name);
        }
        table = isKnown ? std::next(table) : state.erase(table);
    }
}

// Takes a state, and tells whether it differs from the last.
bool Watch::isNextState(DatabaseState state) {
    keepUnsoundTables(state);
    if (!std::exchange(isStarted_, true)) {
        std::size_t rows = 0;
        for (const auto& [name, table] : state) {
            rows += table.rows.size();
        }
        note("watching " + counted(state.size(), "table") + ", " + counted(rows, "row"));
    }
    if (!last_) {
        last_ = std::move(state);
        return false;
    }
    previous_ = std::move(*last_);
    last_ = std::move(state);
    changes_ = changesBetween(previous_, *last_);
    return !changes_.empty();
}

bool Watch::hasUntoldProblem() const {
    return !std::includes(told_.begin(), told_.end(), problems_.begin(), problems_.end());
}

// Gives false when it is the end.
bool Watch::waitForEvent() {
    const std::optional<std::chrono::milliseconds> timeout =
        hasUntoldProblem() ? std::optional<std::chrono::milliseconds>(kLongCommit) : std::nullopt;
    switch (events_.wait(timeout)) {
        case DirectoryEvents::Wake::kTimeout:
            for (const std::string& problem : problems_) {
                if (told_.insert(problem).second) {
                    note(problem);
                }
            }
            return true;
        case DirectoryEvents::Wake::kChange:
            return true;
        case DirectoryEvents::Wake::kEnd:
        case DirectoryEvents::Wake::kReaderGone:
            break;
    }
    return false;
}

bool Watch::waitForCommit() {
    do {
        problems_.clear();
        std::optional<DatabaseState> state = read();
        if (!state) {
            problems_.insert("a commit does not end; waiting for it");
        } else if (isNextState(*std::move(state))) {
            return true;
        } else if (problems_.empty()) {
            told_.clear();
        }
    } while (waitForEvent());
    return false;
}

}  // namespace Kalt::Vemo::Tool
