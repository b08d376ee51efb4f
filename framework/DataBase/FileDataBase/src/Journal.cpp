#include "Journal.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

#include "DatabaseException.h"
#include "EngineErrors.h"
#include "FileUtils.h"
#include "Replacement.h"
#include "Utils.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

std::string stateLine(bool copying) {
    return std::string(copying ? kCopyingState : kAtRestState) + '\n';
}

}  // namespace

bool JournalReader::next() {
    const bool expectsStateLine =
        !hasBegun_ || (isStateLine_ && !fields().empty() && fields().front() == kCopyingState);
    if (!records_.next()) {
        return false;
    }
    isFirst_ = !hasBegun_;
    hasBegun_ = true;
    isStateLine_ = expectsStateLine;
    return true;
}

std::optional<JournalReader::Entry> JournalReader::entry() {
    if (fields().size() != 2) {
        return std::nullopt;
    }
    const std::string code(fields()[0]);
    const auto number = static_cast<signed char>(std::strtoll(code.c_str(), nullptr, 10));
    return Entry{static_cast<Operation>(number), fields()[1]};
}

File& Journal::requireFile() {
    if (!file_) {
        throw seekError();
    }
    return file_;
}

void Journal::open(const std::string& path) {
    file_ = {};
    try {
        file_ = openLocked(path, [&] { return File::open(path, "a+"); });
        // Lines that an earlier process has removed may still be on the disk. There they would be acted on
        // after a power cut, or the next lines would meet them.
        if (!isSpoilt_) {
            sync();
        }
    } catch (...) {
        close();
        throw;
    }
    appends_ = true;
    saysCopying_ = false;
    refusedLength_.reset();
    if (outlivesPowerCuts_) {
        static_cast<void>(unlink((path + kNewSuffix).c_str()));
    }
}

void Journal::close() {
    file_ = {};
    lock_.release();
}

void Journal::ensureOpen(const std::string& path) {
    if (!file_) {
        reopen(path);
    }
}

// Another process may replace the file between its opening and its locking.
template <typename Open>
File Journal::openLocked(const std::string& path, Open open) {
    constexpr int kMostTries = 10;
    for (int tries = 0; tries < kMostTries; ++tries) {
        File file = open();
        if (lock_.moveTo(path, file.identity())) {
            return file;
        }
    }
    throw openError();
}

bool Journal::read(const std::function<void(Operation operation, const std::string& table)>& report) {
    const Buffer text = requireFile().readWhole();
    wasAtRest_ = text.view() == stateLine(false);
    JournalReader lines(text.view());
    bool found = false;
    while (lines.next()) {
        found = true;
        const std::optional<JournalReader::Entry> entry = lines.entry();
        isActedOn_ = isActedOn_ || (entry && entry->operation != Operation::none);
        if (entry && !lines.isStateLine()) {
            report(entry->operation, std::string(entry->table));
        }
    }
    return found;
}

void Journal::appendTable(Operation operation, const std::string& table) {
    const std::string code = Utils::toString(static_cast<signed char>(operation));
    std::string line = FileUtils::recordLine({code, table});
    auto end = static_cast<std::size_t>(requireFile().identity().size);
    if (refusedLength_) {
        end = std::min(end, *refusedLength_);
        truncate(end);
    }
    lastLine_.reset();
    try {
        file_.writeAt(end, line);
    } catch (const DatabaseException&) {
        truncate(end);
        throw;
    }
    lastLine_ = AppendedLine{end, std::move(line)};
}

void Journal::removeLastTable() {
    if (!lastLine_) {
        return;
    }
    std::string end(lastLine_->text.size() + 1, '\0');
    end.resize(requireFile().readAt(lastLine_->begin, end.data(), end.size()));
    if (end == lastLine_->text) {
        truncate(lastLine_->begin);
    }
}

// What the system refuses is done before the next line is appended.
void Journal::truncate(std::size_t length) {
    refusedLength_ = length;
    file_.truncate(length);
    refusedLength_.reset();
}

void Journal::markDropped(const std::string& table) {
    const Buffer text = requireFile().readWhole();
    JournalReader lines(text.view());
    while (lines.next()) {
        const std::vector<std::string_view>& fields = lines.fields();
        if (!lines.isFirst() && fields.size() > 1 && fields[1] == table) {
            // The line is on the disk before it counts: the digit must not meet another table's line there.
            sync();
            isActedOn_ = true;
            file_.writeAt(static_cast<std::size_t>(lines.line().data() - text.data()), "5");
            return;
        }
    }
}

// The digits come before the state: after a state "0" recovery discards a table whose code is no digit yet.
void Journal::leaveToRecovery(const std::set<std::string>& tables) {
    const Buffer text = requireFile().readWhole();
    if (appends_) {
        return;  // not changed since it was read
    }
    sync();  // as for markDropped
    JournalReader lines(text.view());
    while (lines.next()) {
        const std::vector<std::string_view>& fields = lines.fields();
        if (!lines.isFirst() && fields.size() == 2 && fields[0].size() == 1 &&
            tables.count(std::string(fields[1])) != 0) {
            const char code = fields[0].front();
            const char digit = code < '0' ? static_cast<char>('0' + code) : code;
            isActedOn_ = true;
            file_.writeAt(static_cast<std::size_t>(fields[0].data() - text.data()), {&digit, 1});
        }
    }
    writeState(false);
}

// Each byte that changes is right beside the old ones, too, should a power cut leave only some of them.
void Journal::disarm(const std::string& path) {
    if (isSpoilt_) {
        reset(path);
        return;
    }
    const Buffer text = requireFile().readWhole();
    File file = File::openQuietly(path);  // the one that is open may be for appending
    if (!file || !file.status().sameFile(file_.status())) {
        return;  // reset() makes it anew
    }
    std::string disarmed(text.view());
    JournalReader lines(text.view());
    while (lines.next()) {
        const std::optional<JournalReader::Entry> entry = lines.entry();
        if (!lines.isStateLine() && entry && entry->operation != Operation::none) {
            const std::string_view code = lines.fields().front();
            disarmed.replace(static_cast<std::size_t>(code.data() - text.data()), code.size(), code.size(),
                             '0');
        }
    }
    file.writeAt(0, disarmed);
    sync();
}

void Journal::writeState(bool copying) {
    requireFile();
    if (appends_ && copying && saysCopying_) {
        return;
    }
    file_.writeAt(0, stateLine(copying));
    saysCopying_ = copying;
}

void Journal::sync() {
    if (!outlivesPowerCuts_) {
        return;
    }
    try {
        requireFile().sync();
    } catch (const DatabaseException&) {
        isSpoilt_ = true;
        isActedOn_ = true;  // what the disk holds is not known
        throw;
    }
}

void Journal::reopen(const std::string& path) {
    // The old file stays open until there is a new one, so that a reset that failed can be tried again.
    File file = openLocked(path, [&] { return File::openForOverwrite(path); });
    takePlaceOf(std::move(file));
}

// The new file is locked before it has the name, so that no other process comes between.
void Journal::makeAnew(const std::string& path) {
    const std::string fresh = path + kNewSuffix;
    static_cast<void>(unlink(fresh.c_str()));
    File file = File::makeNew(fresh);
    if (!file) {
        throw writeError();
    }
    DirectoryLock lock;
    try {
        if (!lock.moveTo(fresh, file.identity())) {
            throw openError();
        }
        if (std::rename(fresh.c_str(), path.c_str()) != 0) {
            throw writeError();
        }
    } catch (...) {
        static_cast<void>(unlink(fresh.c_str()));
        throw;
    }
    lock_.swap(lock);
    takePlaceOf(std::move(file));
}

void Journal::takePlaceOf(File file) {
    identity_ = file.identity();
    std::swap(file_, file);
    file = {};
    appends_ = false;
    lock_.announce();
}

void Journal::reset(const std::string& path) {
    if (isSpoilt_) {
        makeAnew(path);
    } else if (!file_ || appends_ || !identity_.sameFile(FileIdentity::of(path))) {
        reopen(path);
    }
    // The lines go before the state: of tables named after a state line "0" the next init removes the working
    // copies, also those that an interrupted copy-over still needs.
    const std::string atRest = stateLine(false);
    truncate(atRest.size());
    std::string state(atRest.size(), '\0');
    state.resize(file_.readAt(0, state.data(), state.size()));
    if (state != atRest) {  // a look is cheaper than a write
        writeState(false);
    }
    if (isActedOn_) {
        sync();
        if (isSpoilt_) {
            Replacement::syncDirectory(Replacement::directoryOf(path));
        }
    }
    isActedOn_ = false;
    isSpoilt_ = false;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
