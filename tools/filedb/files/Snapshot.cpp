#include "files/Snapshot.h"

#include <algorithm>
#include <chrono>
#include <system_error>
#include <thread>
#include <tuple>
#include <utility>

#include "TableFormat.h"
#include "console/ExitStatus.h"
#include "files/EntryName.h"
#include "files/JournalUsers.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kPatience = std::chrono::seconds(3);
constexpr auto kStatement = std::chrono::milliseconds(500);  // a single one is over by then
constexpr auto kPause = std::chrono::milliseconds(5);        // while a commit is under way

bool isSame(const RawFile& a, const RawFile& b) {
    const auto told = [](const RawFile& file) {
        return std::tie(file.kind, file.problem, file.changed.tv_sec, file.changed.tv_nsec, file.text);
    };
    return told(a) == told(b);
}

std::vector<std::string> namesIn(const std::string& directory) {
    try {
        return entriesOf(directory);
    } catch (const std::system_error& error) {
        throw Trouble(directory + ": cannot be read: " + error.code().message() +
                      "; run the command as a user who may read it");
    }
}

}  // namespace

Snapshot::Snapshot(const std::string& directory) {
    for (std::string& name : namesIn(directory)) {
        if (EntryName::of(name).isOfDatabase()) {
            RawFile file = RawFile::read(pathIn(directory, name));
            if (!file.exists()) {
                continue;  // it has vanished meanwhile
            }
            files_.emplace(name, std::move(file));
        }
        names_.push_back(std::move(name));
    }
}

Snapshot Snapshot::ofLocked(const std::string& directory) {
    return Snapshot(directory);
}

Snapshot Snapshot::ofLive(const std::string& directory) {
    const auto start = Clock::now();
    const std::string journal = directory + "/" + kJournalName;
    Snapshot last(directory);
    for (;;) {
        Snapshot next(directory);
        const auto waited = Clock::now() - start;
        const bool isLate = waited >= kPatience;
        const bool isAtRest = next == last;
        const bool isBusy = next.isCopyingOver() || (waited < kStatement && next.hasWorkingCopy());
        if (isAtRest && (isLate || !isBusy || !isJournalInUse(journal))) {
            return next;
        }
        if (isLate) {
            throw Trouble(directory +
                          ": another program keeps changing it; try again, or stop that program first");
        }
        if (isAtRest) {
            std::this_thread::sleep_for(kPause);
        }
        last = std::move(next);
    }
}

std::optional<Snapshot> Snapshot::ofLiveAtOnce(const std::string& directory) {
    Snapshot first(directory);
    if (first.isCopyingOver() || Snapshot(directory) != first) {
        return std::nullopt;
    }
    return first;
}

const RawFile& Snapshot::file(const std::string& name) const {
    static const RawFile kNone;
    const auto found = files_.find(name);
    return found == files_.end() ? kNone : found->second;
}

bool Snapshot::operator==(const Snapshot& other) const {
    return names_ == other.names_ && files_.size() == other.files_.size() &&
           std::equal(files_.begin(), files_.end(), other.files_.begin(), [](const auto& a, const auto& b) {
               return a.first == b.first && isSame(a.second, b.second);
           });
}

// A statement is being run, or a transaction is open.
bool Snapshot::hasWorkingCopy() const {
    return std::any_of(files_.begin(), files_.end(), [](const auto& file) {
        return EntryName::of(file.first).kind == EntryName::Kind::kCopy;
    });
}

// A commit is under way: some tables are new by now and others still old.
bool Snapshot::isCopyingOver() const {
    return file(kJournalName).text.rfind(kCopyingState, 0) == 0;
}

}  // namespace Kalt::Vemo::Tool
