#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Buffer.h"
#include "RecordReader.h"
#include "TableVersion.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class TableMetaData;

/// The text of a table file, in memory, and how a changed version is made of it.
///
/// A change writes the whole table anew: the metadata lines, then every record joined from its fields.
/// Well-formed lines come out as they went in, so runs of them are copied as bytes; any other line counts as
/// a further change. A single change is made in the old text.
///
/// Threads: an object belongs to one statement. Throws: DatabaseException, as
/// TableMetaData::readTableMetaData.
class TableText {
public:
    /// Reads the table's definition.
    explicit TableText(TableVersion version);

    /// Valid as long as the object.
    TableMetaData& metaData() const { return *old_.metaData; }

    /// Stands before the first record. Lifetime: this object must outlive the reader.
    RecordReader records() const { return RecordReader(old_.recordText()); }

    /// The text that no change has been made of yet.
    TableVersion& version() { return old_; }

    int recordCount() {
        scan();
        return *recordCount_;
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
        /// Uses up the old text. Lifetime: `table` must outlive the object.
        explicit Rewriter(TableText& table);

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

        TableText& table_;
        Buffer& old_;
        bool inPlace_ = true;     // there is at most one change, which can be made in the old text
        std::string_view first_;  // what the first change replaces; null while nothing is changed
        std::string firstLine_;
        Buffer text_;                      // the new text, unless the change is made in place
        const char* run_;                  // start of the lines that wait to be passed on
        std::optional<int> newLines_ = 0;  // how many more there are; nothing when not all are well-formed
    };

private:
    /// Counts the records and finds out whether all are well-formed, once.
    void scan();

    /// @param newLines how many lines more the new version has; nothing when not all of them are well-formed
    TableVersion withEdit(std::size_t position, std::string_view removed, std::string_view line,
                          std::optional<int> newLines);
    void passKnowledgeTo(TableVersion& version, std::optional<int> newLines) const;

    TableVersion old_;
    std::optional<int> recordCount_;  // once it is known
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
