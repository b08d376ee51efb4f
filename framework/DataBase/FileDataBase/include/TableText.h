#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "Buffer.h"
#include "File.h"
#include "RecordReader.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class TableMetaData;

/// One change of a text: `length` bytes now stand at `position` in the place of `removed`.
struct Edit {
    std::size_t position;
    std::size_t length;
    std::string removed;
};

/// The whole text of a table file, and what is known of it.
struct TableVersion {
    TableVersion() = default;
    explicit TableVersion(Buffer content) : text(std::move(content)) {}

    /// The text that this one was made of. Needs no memory. Requires: undo.
    [[nodiscard]] Buffer previous() &&;

    Buffer text;
    /// The text that this one was made of: as a whole, or as the one change. Nothing for a text that was made
    /// of no other.
    std::optional<std::variant<Buffer, Edit>> undo;
    Difference difference;            ///< to the version that it was made of
    std::size_t wellFormedBytes = 0;  ///< how many bytes from the start are known to be well-formed lines
    int wellFormedRecords = 0;        ///< number of records among them
};

/// The text of a table file, in memory, and how a changed version is made of it.
///
/// A change writes the whole table anew: the metadata lines, then every record joined from its fields.
/// Well-formed lines come out as they went in, so runs of them are copied as bytes; any other line counts as
/// a further change. A single change is made in the old text.
///
/// Lifetime: the metadata must outlive the object. Threads: an object belongs to one statement. Throws:
/// DatabaseException, as TableMetaData::readTableMetaData.
class TableText {
public:
    /// Reads the first three lines of a table file's content into `metaData`.
    TableText(TableVersion version, TableMetaData& metaData);

    /// Stands before the first record. Lifetime: this object must outlive the reader.
    RecordReader records() const { return RecordReader(recordText()); }

    int recordCount() {
        scan();
        return recordCount_;
    }

    /// Stands on the last record. Requires: recordCount() is not 0.
    [[nodiscard]] RecordReader lastRecord();

    /// The new version with `line` after the last record.
    [[nodiscard]] TableVersion withLineAtEnd(const std::string& line) &&;

    /// The new version with `line` before the record at `position`, counted from 0.
    [[nodiscard]] TableVersion withLineBefore(int position, const std::string& line) &&;

    /// Makes a new version from the records of the old one. Every record of records() goes, in their order,
    /// to one of keep, replace and leaveOut.
    class Rewriter {
    public:
        /// Uses up the old text. Lifetime: `old` must outlive the object.
        explicit Rewriter(TableText& old);

        void insert(const RecordReader& reader, std::string_view line);  ///< before the reader's record
        void append(std::string_view line);                              ///< after the last record
        void keep(RecordReader& reader);
        void replace(const RecordReader& reader, std::string_view line);
        void leaveOut(const RecordReader& reader) { replace(reader, {}); }

        /// The new version. To be called once, after the last record.
        [[nodiscard]] TableVersion finish();

    private:
        void change(std::string_view old, std::string_view line);
        void startNewText();
        void put(std::string_view old, std::string_view line);
        void passOn(const char* end);

        TableText& old_;
        bool inPlace_ = true;     // there is at most one change, which can be made in the old text
        std::string_view first_;  // what the first change replaces; null while nothing is changed
        std::string firstLine_;
        Buffer text_;      // the new text, unless the change is made in place
        const char* run_;  // start of the lines that wait to be passed on
    };

private:
    std::string_view recordText() const { return text_.view().substr(recordsStart_); }

    /// Counts the records and finds out whether all are well-formed, once.
    void scan();

    const TableMetaData& metaData_;
    Buffer text_;
    std::size_t recordsStart_;
    std::size_t wellFormedBytes_;
    std::optional<bool> isWellFormed_;  // all records; nothing before the scan
    int recordCount_;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
