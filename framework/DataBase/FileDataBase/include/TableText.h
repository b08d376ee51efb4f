#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Buffer.h"
#include "File.h"
#include "RecordReader.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class TableMetaData;

/// The way back from a table's text to the one that it was made of: that text, or the place of the one change
/// and the bytes that stood there.
struct Undo {
    Buffer whole;
    bool isWhole = false;
    std::size_t position = 0;
    std::size_t length = 0;
    std::string removed;
};

/// The whole text of a table file, and what is known of it.
struct TableVersion {
    TableVersion() = default;
    explicit TableVersion(Buffer content) : text(std::move(content)) {}

    /// The text that this one was made of. Needs no memory. Requires: undo.
    Buffer previous() &&;

    Buffer text;
    std::optional<Undo> undo;    ///< nothing for a text that was made of no other
    Difference difference;       ///< to the version that it was made of
    std::size_t soundBytes = 0;  ///< how much of its start holds nothing but well-formed records, if known
    int soundRecords = 0;        ///< how many those are
};

/// The text of a table file, in memory, and how a changed version is made of it.
///
/// A change writes the whole table anew: the metadata lines, then every record joined from its fields. Lines
/// that are in that form already come out as they went in, so runs of them are passed on as bytes; a damaged
/// line counts as one more change. As long as there is but one change, it is made in the old text.
///
/// Threads: an object belongs to one statement. Throws: DatabaseException, as
/// TableMetaData::readTableMetaData.
class TableText {
public:
    /// Takes the content of a table file, its first three lines into `metaData`.
    TableText(TableVersion version, TableMetaData& metaData);

    /// Stands before the first record.
    RecordReader records() const { return RecordReader(recordText()); }

    int recordCount() {
        lookOver();
        return recordCount_;
    }

    /// Stands on the last record. Requires: recordCount() is not 0.
    RecordReader lastRecord();

    /// The new version with `line` behind the last record.
    TableVersion withLineAtEnd(const std::string& line) &&;

    /// The new version with `line` in front of the record at `position`, counted from 0.
    TableVersion withLineBefore(int position, const std::string& line) &&;

    /// Puts together a new version from the records of the old one, in their order. Every record that
    /// records() gives is to be handed to one of keep, replace and leaveOut. The old text is used up.
    class Rewriter {
    public:
        explicit Rewriter(TableText& old);

        void insert(const RecordReader& reader, std::string_view line);  ///< in front of the reader's record
        void append(std::string_view line);                              ///< behind the last record
        void keep(RecordReader& reader);
        void replace(const RecordReader& reader, std::string_view line);
        void leaveOut(const RecordReader& reader) { replace(reader, {}); }

        TableVersion take();

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

    /// Counts the records, unless that was done before, and finds out whether all are well-formed.
    void lookOver();

    const TableMetaData& metaData_;
    Buffer text_;
    std::size_t recordsStart_;
    std::size_t soundBytes_;
    std::optional<bool> wellFormed_;  // all records; nothing as long as nobody has looked
    int recordCount_;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
