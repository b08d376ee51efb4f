#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "File.h"
#include "RecordReader.h"

namespace Kalt::Vemo::Core::Database::Filedb {

/// What a statement did to a table, as the journal and the table's working copy record it.
enum Operation : signed char {
    kInsertOperation = 1,
    kDeleteOperation = 2,
    kUpdateOperation = 3,
    kCreateOperation = 4,
    kDropOperation = 5
};

/// Walks the lines of a journal as recovery reads them.
///
/// The first line is the state line. As long as it says that a copy-over is under way, the line behind it is
/// taken for a state line as well, so the table that an interrupted commit names first keeps its working
/// copy.
///
/// Lifetime: the text must outlive the reader; what line(), fields() and entry() show is valid until the next
/// call of next().
class JournalReader {
public:
    /// A line CODE~NAME. The code is cut to 8 bits, after a conversion that is as wide on every device. The
    /// raw byte of a line that was never overwritten is no digit and gives 0, which makes recovery discard
    /// the table's working copy.
    struct Entry {
        signed char operation;
        std::string_view table;
    };

    explicit JournalReader(std::string_view text) : records_(text) {}

    /// Moves to the next line; false at the end.
    bool next();

    bool isFirst() const { return isFirst_; }
    bool isStateLine() const { return isStateLine_; }
    std::string_view line() const { return records_.line(); }
    const std::vector<std::string_view>& fields() { return records_.fields(); }

    /// The line's two fields; nothing when there are more or fewer. Also of a line that counts as a state
    /// line.
    std::optional<Entry> entry();

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
/// Every change is with the operating system when the call returns. Threads: calls come under the database's
/// lock. Throws: DatabaseException; a call that needs an open journal and has none raises the writer's seek
/// error.
class Journal {
public:
    /// Opens the journal at `path`, made when missing, in place of the one that is open.
    void open(const std::string& path);

    void close();

    /// Reads the journal and reports the tables whose lines count, in the journal's order.
    ///
    /// @return whether the journal holds any line
    bool read(const std::function<void(signed char operation, const std::string& table)>& report);

    /// Appends a table's line, at the end that the file has now. On failure the journal is cut back to what
    /// it was.
    void appendTable(signed char operation, const std::string& table);

    /// Cuts off the line that was appended last, if it still ends the journal.
    void takeBackTable();

    /// Overwrites the first byte of the table's line with the digit 5.
    void markDropped(const std::string& table);

    /// Overwrites the state line. In a journal that was not reset since it was opened the state goes to the
    /// end, and a state "1" only once.
    void writeState(bool copying);

    /// Puts the journal into the form from which read() gives these tables with their operations: for a
    /// commit that cannot be finished as long as the system refuses it. No byte is added, so a full disk does
    /// not matter. Tables that the journal does not name are passed over.
    void leaveToRecovery(const std::set<std::string>& tables);

    /// Leaves the one line "0", whatever another program has done to the journal. The file at `path` is made
    /// anew when that name no longer leads to the open file.
    void reset(const std::string& path);

private:
    File& requireFile();
    void cutOff(std::size_t position);

    File file_;
    FileIdentity identity_;
    bool appends_ = false;      // opened with "a+": every write lands at the end
    bool saysCopying_ = false;  // the state "1" was written last
    std::size_t lastLineBegin_ = 0;
    std::string lastLine_;
    std::optional<std::size_t> garbage_;  // from here on the system refused to cut the file
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
