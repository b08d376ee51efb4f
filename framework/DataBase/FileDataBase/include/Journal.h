#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "DirectoryLock.h"
#include "File.h"
#include "Operation.h"
#include "RecordReader.h"

namespace Kalt::Vemo::Core::Database::Filedb {

/// Reads the lines of a journal as recovery does.
///
/// The first line is the state line. When it says that a copy-over is under way, the line after it counts as
/// a state line as well, so the table that an interrupted commit names first keeps its working copy.
///
/// Lifetime: the text must outlive the reader; line(), fields() and entry() are valid until the next call of
/// next().
class JournalReader {
public:
    /// A line CODE~NAME. Of the code's number the low 8 bits count, on every device. The raw byte of a line
    /// that was never overwritten is no digit and gives Operation::none: recovery discards the working copy.
    struct Entry {
        Operation operation;
        std::string_view table;
    };

    explicit JournalReader(std::string_view text) : records_(text) {}
    explicit JournalReader(std::string&& text) = delete;

    /// Moves to the next line; false at the end.
    [[nodiscard]] bool next();

    bool isFirst() const { return isFirst_; }
    bool isStateLine() const { return isStateLine_; }
    std::string_view line() const { return records_.line(); }
    const std::vector<std::string_view>& fields() { return records_.fields(); }

    /// The line's two fields, also of a line that counts as a state line; nothing when it has not two.
    [[nodiscard]] std::optional<Entry> entry();

private:
    RecordReader records_;
    bool hasBegun_ = false;
    bool isFirst_ = false;
    bool isStateLine_ = false;
};

/// The journal "master_rollback": which tables have working copies, and whether a copy-over is under way.
///
///     0\n             state line: 0 at rest, 1 while working copies are copied over tables
///     \x01~accounts\n one line a table: the operation's code as one raw byte, then the table's name
///     5~orders\n      a table that was changed and then dropped: the digit 5 overwrote the raw byte
///
/// While it is open, other processes cannot open it. The operating system has every change when the call
/// returns. Threads: calls come under the database's lock. Throws: DatabaseException; a call that needs an
/// open journal and has none raises the writer's seek error.
class Journal {
public:
    /// @param outlivesPowerCuts whether a line that a recovery acts on is gone from the disk, too, when a
    ///                          reset has removed it
    explicit Journal(bool outlivesPowerCuts) : outlivesPowerCuts_(outlivesPowerCuts) {}

    /// Opens the journal at `path`, made when missing, in place of the one that is open. What it holds is on
    /// the disk then, and nothing else, if it is to outlive power cuts.
    ///
    /// Throws: DirectoryInUse when another process has it open, the open error, write errors. No journal is
    /// open then.
    void open(const std::string& path);

    void close();

    /// Throws: the seek error when no journal is open.
    void requireOpen() { static_cast<void>(requireFile()); }

    /// The open journal.
    const File& file() const { return file_; }

    /// Opens the journal as reset() does, unless one is open. Throws: as reset.
    void ensureOpen(const std::string& path);

    /// Reads the journal and reports the tables whose lines count, in the journal's order.
    ///
    /// @return whether the journal holds any line
    [[nodiscard]] bool read(const std::function<void(Operation operation, const std::string& table)>& report);

    /// Whether it held the one line "0" when it was read: the process before has finished its work.
    bool wasAtRest() const { return wasAtRest_; }

    /// Appends a table's line, at the end that the file has now. On failure the line is removed again.
    void appendTable(Operation operation, const std::string& table);

    /// Removes the line that was appended last, if it still ends the journal.
    void removeLastTable();

    /// Overwrites the first byte of the table's line with the digit 5.
    void markDropped(const std::string& table);

    /// Overwrites the state line. In a journal that was not reset since it was opened, the state is appended,
    /// and a state "1" only once.
    void writeState(bool copying);

    /// Rewrites the journal so that read() gives these tables with their operations: for a commit that the
    /// system keeps from being finished. No byte is added, so it works on a full disk. Tables that the
    /// journal does not name are skipped.
    void leaveToRecovery(const std::set<std::string>& tables);

    /// Makes every code in the journal a 0, on the disk, so that the next reading asks for no working copy:
    /// they may then go one by one. For a journal that was read and not reset since.
    void disarm(const std::string& path);

    /// Leaves the one line "0", also when another program has changed the journal. The file at `path` is made
    /// anew when that name no longer leads to the open file.
    ///
    /// Throws: as open, but the journal that was open before stays so; write errors.
    void reset(const std::string& path);

private:
    template <typename Open>
    File openLocked(const std::string& path, Open open);
    File& requireFile();
    void reopen(const std::string& path);
    void makeAnew(const std::string& path);
    void takePlaceOf(File file);
    void truncate(std::size_t length);
    void sync();

    struct AppendedLine {
        std::size_t begin;
        std::string text;
    };

    bool outlivesPowerCuts_;
    bool isActedOn_ = false;  // it holds, or held, a line that a recovery acts on
    bool isSpoilt_ = false;   // a sync has failed: the disk may never get what was written
    File file_;
    DirectoryLock lock_;
    FileIdentity identity_;  // only to tell whether the path still leads to file_
    bool wasAtRest_ = false;
    bool appends_ = false;      // opened with "a+": every write goes to the end
    bool saysCopying_ = false;  // the state "1" was written last
    std::optional<AppendedLine> lastLine_;
    std::optional<std::size_t> refusedLength_;  // to which the system refused to truncate the file
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
