#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "check/Finding.h"
#include "check/TableLines.h"

namespace Kalt::Vemo::Tool {

/// Reads the text of a table file, or of a working copy, line by line, tells what is wrong with it and what
/// of it can be kept.
///
/// After a broken definition the records are not looked at. A record is kept when the engine reads it and its
/// content is beyond doubt; what has a stored form of the same value is held in that form. Of such records
/// with the same ROWID or the same primary key the first is kept.
class TableExamination {
public:
    /// A line that cannot be kept.
    struct Reject {
        std::size_t line;
        std::string text;  // as it is in the file, without its line feed
        bool hasLineFeed;
        std::string reason;
    };

    /// @param file name of the entry, for the findings
    TableExamination(std::string file, std::string text);
    TableExamination(const TableExamination&) = delete;
    TableExamination& operator=(const TableExamination&) = delete;

    const Findings& findings() const { return findings_; }
    bool isSound() const { return findings_.empty(); }
    bool hasSoundDefinition() const { return hasSoundDefinition_; }

    /// Whether another program has given the whole file another form: a byte-order mark, carriage returns, no
    /// third line. No writer that was stopped leaves that.
    bool hasForeignForm() const { return hasForeignForm_; }

    /// Why it does not end like a file that was written to its end: no sound definition, a NUL byte, no line
    /// feed as the last byte. Empty for a whole file; records with wrong content may be in it.
    std::string whyNotWhole() const;
    bool isWhole() const { return whyNotWhole().empty(); }

    /// Whether it would be whole, with a last record that can be kept, if it had a last line feed.
    bool lacksOnlyLineFeed() const;

    /// The first three lines, each with its line feed, as the engine writes them.
    /// Requires: hasSoundDefinition().
    std::string definition() const;

    std::size_t recordCount() const { return recordCount_; }
    const std::string& text() const { return text_; }

    /// The lines to set apart, and the findings that mendedText() does away with.
    const std::vector<Reject>& rejects() const { return rejects_; }
    const Findings& mends() const { return mends_; }

    /// The whole file with what can be kept. Requires: hasSoundDefinition().
    std::string mendedText() const;

private:
    struct Record {
        std::uint64_t rowId;
        std::string line;
    };

    void examineForm(const TableLines& lines);
    void examineDefinition(std::vector<TableLine>& lines);
    bool examineMetaLine(const TableLine& line);
    void addMissingKeyLine(std::vector<TableLine>& lines);
    void examineColumns();
    void examineKey();
    void examineRecord(const TableLine& line);
    void takeCarriageReturn(const TableLine& line, std::vector<std::string>& fields);
    void examineShape(const TableLine& line, const std::vector<std::string>& fields);
    void examineValues(const TableLine& line, std::vector<std::string>& fields);
    std::uint64_t examineRowId(const TableLine& line, const std::string& value);
    std::string examineKeyOf(const TableLine& line, const std::vector<std::string>& fields);
    void reject(std::size_t line, std::string reason);
    std::uint64_t largestLastNumber() const;
    void report(std::size_t line, std::string text);
    std::string labelOf(std::size_t column) const;

    const std::string file_;
    const std::string text_;
    Findings findings_;
    bool hasSoundDefinition_ = false;
    bool hasForeignForm_ = false;
    bool hasAddedKeyLine_ = false;
    std::string rejection_;  // why the record at hand cannot be kept; empty as long as it can
    std::size_t recordCount_ = 0;

    std::vector<std::string> names_;
    std::vector<std::string> flagTexts_;
    std::vector<std::string> keyNames_;
    std::vector<long> flags_;
    std::vector<std::size_t> key_;  // positions of the key's columns
    bool hasHiddenRowId_ = false;

    // Of the records that are kept.
    std::unordered_map<std::uint64_t, std::size_t> linesOfRowIds_;
    std::unordered_map<std::string, std::size_t> linesOfKeys_;
    std::uint64_t largestRowId_ = 0;

    std::vector<Record> records_;
    std::vector<Reject> rejects_;
    Findings mends_;
};

}  // namespace Kalt::Vemo::Tool
